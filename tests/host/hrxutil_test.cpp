// The host utilities as the plug-in uses them. Every buffer is released with delete[] here,
// in another module than the one that allocated it: with one shared C++ runtime that is
// sound, and a mismatch of runtimes shows up as heap corruption in these tests.
#include "hrx/hrxutil.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>

namespace {

TEST(Conversions, WtomGivesCodePage1250AndWtouUtf8) {
    struct Conversion {
        char* (*convert)(const wchar_t*);
        const wchar_t* wide;
        const char* narrow;
    };
    const Conversion cases[] = {
        {wtom, L"Zażółć gęślą jaźń", "Za\xbf\xf3\xb3\xe6 g\xea\x9cl\xb9 ja\x9f\xf1"},
        // Not in the code page: the default character, never a look-alike letter.
        {wtom, L"Ωō", "??"},
        {wtom, L"", ""},
        {wtom, nullptr, ""},
        {wtou, L"Zażółć", "Za\xc5\xbc\xc3\xb3\xc5\x82\xc4\x87"},
        {wtou, L"\U0001F600", "\xf0\x9f\x98\x80"},
        {wtou, L"", ""},
        {wtou, nullptr, ""},
    };
    for (const Conversion& c : cases) {
        if (c.convert == wtom && GetACP() != 1250) {
            continue;  // needs the Polish ANSI code page (LC_ALL=pl_PL.UTF-8 under Wine)
        }
        char* buffer = c.convert(c.wide);
        ASSERT_NE(buffer, nullptr) << c.narrow;
        EXPECT_EQ(std::string(buffer), c.narrow);
        delete[] buffer;
    }
}

TEST(LutBase64Decode, DecodesWhatTheProfileStoreHolds) {
    struct Base64Case {
        const char* text;
        std::string decoded;
        size_t length = std::string::npos;  // npos: the whole text
    };
    const Base64Case cases[] = {
        {"AAMRIjNEVWZ3iAEAfw==",  // a profile record
         std::string("\x00\x03\x11\x22\x33\x44\x55\x66\x77\x88\x01\x00\x7f", 13)},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
         std::string("\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51\x55\x97\x61"
                     "\x96\x9b\x71"
                     "\xd7\x9f\x82\x18\xa3\x92\x59\xa7\xa2\x9a\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d"
                     "\xb7\xe3\x9e"
                     "\xbb\xf3\xdf\xbf",
                     48)},
        {"TWE=", "Ma"},
        {"TQ==", "M"},
        {"TWE", "Ma"},  // padding may be left out
        {"TQ", "M"},
        {"T", ""},  // a lone character holds no byte
        {" TW\tFu\r\nTQ ==", "ManM"},
        {"TWFu!TWFu", "Man"},  // stops at an invalid character
        {"TW-u", "M"},         // url-safe characters are not Base64
        {"TWE=TWFu", "Ma"},    // stops at padding
        {"TWFu\xc5\xbcTWFu", "Man"},
        {"====", ""},
        {"", ""},
        {"TWFuTWFu", "Man", 4},  // no terminator is looked for past the length
        {nullptr, "", 0},
    };
    for (const Base64Case& c : cases) {
        const size_t length = c.length != std::string::npos ? c.length : std::strlen(c.text);
        unsigned char* out = nullptr;
        const size_t count = lutBase64Decode(c.text, length, &out);
        ASSERT_NE(out, nullptr) << c.text;  // a buffer even when nothing was decoded
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(out), count), c.decoded) << c.text;
        delete[] out;
        // Counting alone, without a buffer, gives the same number.
        EXPECT_EQ(lutBase64Decode(c.text, length, nullptr), c.decoded.size()) << c.text;
    }
}

}  // namespace
