// The host utilities as the plug-in uses them. Every buffer is released with delete[] here,
// in another module than the one that allocated it: with one shared C++ runtime that is
// sound, and a mismatch of runtimes shows up as heap corruption in these tests.
#include "hrx/hrxutil.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>

namespace {

std::string TakeText(char* buffer) {
    EXPECT_NE(buffer, nullptr);
    std::string text = buffer != nullptr ? buffer : "";
    delete[] buffer;
    return text;
}

struct Conversion {
    const wchar_t* wide;
    const char* narrow;
};

TEST(Wtom, ConvertsPolishTextToCodePage1250) {
    if (GetACP() != 1250) {
        GTEST_SKIP() << "needs the Polish ANSI code page (LC_ALL=pl_PL.UTF-8 under Wine)";
    }
    const Conversion cases[] = {
        {L"Zażółć gęślą jaźń", "Za\xbf\xf3\xb3\xe6 g\xea\x9cl\xb9 ja\x9f\xf1"},
        {L"ĄĆĘŁŃÓŚŹŻ", "\xa5\xc6\xca\xa3\xd1\xd3\x8c\x8f\xaf"},
        {L"€ „cytat”",
         "\x80 \x84"
         "cytat\x94"},
        // Not in the code page: the default character, never a look-alike letter.
        {L"Ωō", "??"},
        {L"", ""},
        {nullptr, ""},
    };
    for (const Conversion& c : cases) {
        EXPECT_EQ(TakeText(wtom(c.wide)), c.narrow) << c.narrow;
    }
}

TEST(Wtou, ConvertsToUtf8) {
    const Conversion cases[] = {
        {L"Zażółć", "Za\xc5\xbc\xc3\xb3\xc5\x82\xc4\x87"},
        {L"\U0001F600", "\xf0\x9f\x98\x80"},
        {L"ASCII 123", "ASCII 123"},
        {L"", ""},
        {nullptr, ""},
    };
    for (const Conversion& c : cases) {
        EXPECT_EQ(TakeText(wtou(c.wide)), c.narrow) << c.narrow;
    }
}

struct Base64Case {
    const char* name;
    std::string text;
    std::string decoded;
};

TEST(LutBase64Decode, DecodesWhatTheProfileStoreHolds) {
    const Base64Case cases[] = {
        {"profile record", "AAMRIjNEVWZ3iAEAfw==",
         std::string("\x00\x03\x11\x22\x33\x44\x55\x66\x77\x88\x01\x00\x7f", 13)},
        {"full group", "TWFu", "Man"},
        {"one padding", "TWE=", "Ma"},
        {"two paddings", "TQ==", "M"},
        {"no padding, two bytes", "TWE", "Ma"},
        {"no padding, one byte", "TQ", "M"},
        {"a lone character holds no byte", "T", ""},
        {"blanks anywhere", " TW\tFu\r\nTQ ==", "ManM"},
        {"stops at an invalid character", "TWFu!TWFu", "Man"},
        {"url-safe characters are not Base64", "TW-u", "M"},
        {"stops at padding", "TWE=TWFu", "Ma"},
        {"stops at non-ASCII", "TWFu\xc5\xbcTWFu", "Man"},
        {"only padding", "====", ""},
        {"empty", "", ""},
        {"every byte value",
         "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+"
         "P0BBQkNE"
         "RUZHSElKS0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+"
         "AgYKDhIWGh4iJ"
         "iouMjY6PkJGSk5SVlpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8vb6/"
         "wMHCw8TFxsfIycrLzM3O"
         "z9DR0tPU1dbX2Nna29zd3t/g4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7/P3+/w==",
         [] {
             std::string all;
             for (int b = 0; b < 256; ++b) {
                 all += static_cast<char>(b);
             }
             return all;
         }()},
    };
    for (const Base64Case& c : cases) {
        unsigned char* out = nullptr;
        const size_t count = lutBase64Decode(c.text.data(), c.text.size(), &out);
        ASSERT_NE(out, nullptr) << c.name;  // a buffer even when nothing was decoded
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(out), count), c.decoded) << c.name;
        delete[] out;
        // Counting alone, without a buffer, gives the same number.
        EXPECT_EQ(lutBase64Decode(c.text.data(), c.text.size(), nullptr), c.decoded.size())
            << c.name;
    }
}

TEST(LutBase64Decode, ReadsOnlyTheGivenLength) {
    const char text[] = "TWFuTWFu";  // no terminator is looked for past the length
    unsigned char* out = nullptr;
    EXPECT_EQ(lutBase64Decode(text, 4, &out), 3u);
    EXPECT_EQ(std::memcmp(out, "Man", 3), 0);
    delete[] out;

    out = nullptr;
    EXPECT_EQ(lutBase64Decode(nullptr, 0, &out), 0u);
    EXPECT_NE(out, nullptr);
    delete[] out;
}

}  // namespace
