// The GSM 7-bit alphabet and its packing (cases in tests/data/septets.txt), and the
// Windows-1250 code page of the narrow text.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "pdu/cp1250.h"
#include "pdu/gsm_alphabet.h"
#include "pdu/septets.h"
#include "tests/unit/case_file.h"

namespace tarnik {
namespace {

TEST(Septets, CasesOfTheDataFile) {
    for (const test::Case& c : test::ReadCases("septets.txt")) {
        for (const test::CaseLine& line : c.All("pack")) {
            SCOPED_TRACE(c.name + ": " + line.Text("pack").substr(0, 20));
            std::string hex;
            const auto header = static_cast<size_t>(std::stoull(line.Word("header", "0")));
            EXPECT_EQ(PackSeptets(line.Text("pack"), header, hex), std::stoi(line.Word("udl")));
            EXPECT_EQ(hex, line.Text("hex"));
        }
        for (const test::CaseLine& line : c.All("unpack")) {
            SCOPED_TRACE(c.name + ": " + line.Text("unpack"));
            const auto header = static_cast<size_t>(std::stoull(line.Word("header", "0")));
            EXPECT_EQ(UnpackSeptets(line.Text("unpack"), header), line.Text("text"));
        }
    }
}

// Every byte the table can carry survives pack and unpack, in any position and with
// either header size; the only addition is one '@' from spare bits.
TEST(Septets, RoundTripOfEveryTableCharacter) {
    std::string alphabet;
    for (int b = 0; b < 256; ++b) {
        const auto byte = static_cast<uint8_t>(b);
        const bool inExtension = ExtensionSeptetFromByte(byte) != 0;
        const bool roundTrips = ByteFromSeptet(SeptetFromByte(byte)) == byte &&
                                (SeptetFromByte(byte) != 0x20 || byte == 0x20);
        if ((inExtension || roundTrips) && byte != kGsmEscape)
            alphabet.push_back(static_cast<char>(b));
    }
    ASSERT_EQ(alphabet.size(), 127u + 10u - 1u);  // 128 septets less the escape, plus 10

    std::mt19937 rng(1234);
    for (size_t header : {size_t{0}, size_t{6}, size_t{7}, size_t{12}}) {
        for (int round = 0; round < 300; ++round) {
            std::string text;
            const int length = static_cast<int>(rng() % 60);
            for (int i = 0; i < length; ++i)
                text.push_back(alphabet[rng() % alphabet.size()]);
            std::string hex;
            const int udl = PackSeptets(text, header, hex);
            ASSERT_EQ(hex.size(), 2u * ((udl * 7u + 7) / 8));
            std::string back = UnpackSeptets(hex, header);
            if (back.size() == text.size() + 1 && back.back() == '@')
                back.pop_back();
            ASSERT_EQ(back, text) << "header " << header << " hex " << hex;
        }
    }
}

// The fast maps answer as the walks over the tables do, for every value.
TEST(GsmAlphabet, FastMapsAnswerAsTheTableWalks) {
    using C = GsmColumn;
    for (int v = 0; v < 256; ++v) {
        SCOPED_TRACE(v);
        const auto b = static_cast<uint8_t>(v);
        EXPECT_EQ(SeptetFromByte(b), GsmLookup(b, C::kByte, C::kSeptet));
        EXPECT_EQ(ByteFromSeptet(b), GsmLookup(b & 0x7F, C::kSeptet, C::kByte));
        EXPECT_EQ(ByteFromExtensionSeptet(b), GsmExtLookup(b, C::kSeptet, C::kByte));
        // 0 stands for a byte outside the extension table, which the walk reads as a space.
        const uint8_t ext = ExtensionSeptetFromByte(b);
        EXPECT_EQ(ext == 0 ? kGsmNotFound : ext, GsmExtLookup(b, C::kByte, C::kSeptet));
    }
}

TEST(CodePage, Cp1250) {
    for (int b = 0; b < 256; ++b) {
        const std::string narrow(1, static_cast<char>(b));
        EXPECT_EQ(Cp1250FromUtf16(Utf16FromCp1250(narrow)), narrow) << b;
    }
    EXPECT_EQ(Cp1250FromUtf16(u"ąćęłńóśźżĄĆĘŁŃÓŚŹŻ€"),
              "\xB9\xE6\xEA\xB3\xF1\xF3\x9C\x9F\xBF\xA5\xC6\xCA\xA3\xD1\xD3\x8C\x8F\xAF\x80");
    EXPECT_EQ(Cp1250FromUtf16(u"Ωя😀"), "???");  // a surrogate pair is one character
    EXPECT_EQ(Utf16FromCp1250("\xB3\xF3\xBF"), u"łóż");
}

}  // namespace
}  // namespace tarnik
