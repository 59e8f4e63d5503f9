#include "pdu/septets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>

#include "pdu/gsm_alphabet.h"

namespace tarnik {
namespace {

struct PackCase {
    const char* name;
    std::string text;
    size_t header;
    int udl;
    std::string hex;
};

TEST(PackSeptets, KnownVectors) {
    const PackCase cases[] = {
        {"empty", "", 0, 0, ""},
        {"Test", "Test", 0, 4, "D4F29C0E"},
        {"seven chars give seven octets", "ABCDEFG", 0, 7, "41E19058341E01"},
        {"eight chars still seven octets", "ABCDEFGH", 0, 8, "41E19058341E91"},
        {"brace is escaped, two septets", "{", 0, 2, "1B14"},
        {"euro sign on 0xA4 is escaped", "\xA4", 0, 2, "9B32"},
        {"grave accent goes out as apostrophe", "`", 0, 1, "27"},
        {"byte outside both tables is a space", "\xB9", 0, 1, "20"},
        // Six header octets: 7 septets, text from septet 7 after one fill bit.
        {"header of six", "Hello", 6, 12, "000000000000906536FB0D"},
        // Seven header octets: 8 septets, no fill bit.
        {"header of seven", "A", 7, 9, "0000000000000041"},
    };
    for (const PackCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::string hex;
        EXPECT_EQ(PackSeptets(c.text, c.header, hex), c.udl);
        EXPECT_EQ(hex, c.hex);
    }
}

TEST(PackSeptets, StopsAt160SeptetsWithoutSplittingAnEscape) {
    std::string hex;
    EXPECT_EQ(PackSeptets(std::string(200, 'a'), 0, hex), 160);
    EXPECT_EQ(hex.size(), 2u * 140);
    EXPECT_EQ(PackSeptets(std::string(153, 'a') + "xyz", 6, hex), 160);
    // 159 septets, then a brace that needs two: it is left out whole.
    EXPECT_EQ(PackSeptets(std::string(159, 'a') + "{", 0, hex), 159);
    EXPECT_EQ(PackSeptets(std::string(158, 'a') + "{", 0, hex), 160);
}

// The encoder passes 6 header octets, but every header length stays inside the user data.
TEST(PackSeptets, AnyHeaderLengthStaysInside) {
    for (const size_t header : {size_t{139}, size_t{140}, size_t{141}, size_t{200}, SIZE_MAX}) {
        std::string hex;
        EXPECT_EQ(PackSeptets(std::string(160, 'a'), header, hex), 160) << header;
        EXPECT_EQ(hex.size(), 2u * 140) << header;
        const size_t zeros = 2 * std::min<size_t>(header, 139);
        EXPECT_EQ(hex.substr(0, zeros), std::string(zeros, '0')) << header;
    }
}

struct UnpackCase {
    const char* name;
    std::string hex;
    size_t header;
    std::string text;
};

TEST(UnpackSeptets, KnownVectors) {
    const UnpackCase cases[] = {
        {"Test", "D4F29C0E", 0, "Test"},
        {"spare bits read as one '@'", "41E19058341E01", 0, "ABCDEFG@"},
        {"escape then brace", "1B14", 0, "{"},
        {"euro by escape", "9B32", 0, "\xA4"},
        {"septet 0x24 is the currency sign", "24", 0, "\xA4"},
        {"septet 0x27 stays an apostrophe", "27", 0, "'"},
        {"final escape with nothing after stays", "1B", 0, "\x1B"},
        {"escape then an unknown extension septet", "9B20", 0, " "},
        {"header skipped with its fill bit", "0500032A0201906536FB0D", 6, "Hello"},
        {"header that covers everything", "050003", 6, ""},
        {"odd trailing digit ignored", "D4F29C0E1", 0, "Test"},
        {"empty", "", 0, ""},
    };
    for (const UnpackCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(UnpackSeptets(c.hex, c.header), c.text);
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

}  // namespace
}  // namespace tarnik
