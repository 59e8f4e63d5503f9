#include <gtest/gtest.h>

#include <string>

#include "pdu/code_page.h"
#include "pdu/cp1250.h"
#include "pdu/gsm_alphabet.h"
#include "pdu/hex.h"

namespace tarnik {
namespace {

TEST(GsmTable, RowsFollowTheDefaultAlphabet) {
    const struct {
        uint8_t septet, byte;
    } cases[] = {
        {0x00, 0x40}, {0x01, 0xA3}, {0x02, 0x24}, {0x0A, 0x0A}, {0x10, 0x81},
        {0x1A, 0x8A}, {0x1B, 0x1B}, {0x1E, 0xDF}, {0x24, 0xA4}, {0x27, 0x27},
        {0x40, 0xA1}, {0x41, 0x41}, {0x5F, 0xA7}, {0x60, 0xBF}, {0x7F, 0xE0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.septet);
        EXPECT_EQ(GsmLookup(c.septet, GsmColumn::kSeptet, GsmColumn::kByte), c.byte);
        EXPECT_EQ(kGsmDefaultTable[c.septet].byte, c.byte);
    }
    EXPECT_EQ(kGsmDefaultTable[128].byte, 0x60);
    EXPECT_EQ(kGsmDefaultTable[128].septet, 0x27);
}

TEST(GsmTable, FirstMatchingRowWinsAndUnknownIsSpace) {
    // Row 39 precedes row 128: septet 0x27 decodes to the apostrophe, not the grave accent.
    EXPECT_EQ(GsmLookup(0x27, GsmColumn::kSeptet, GsmColumn::kByte), 0x27);
    EXPECT_EQ(GsmLookup(0x60, GsmColumn::kByte, GsmColumn::kSeptet), 0x27);
    EXPECT_EQ(GsmLookup(0x80, GsmColumn::kByte, GsmColumn::kSeptet), 0x20);
    EXPECT_EQ(GsmLookup(0xB9, GsmColumn::kByte, GsmColumn::kSeptet), 0x20);  // 'ą' in cp1250
    EXPECT_EQ(GsmExtLookup(0xA4, GsmColumn::kByte, GsmColumn::kSeptet), 0x65);
    EXPECT_EQ(GsmExtLookup(0x65, GsmColumn::kSeptet, GsmColumn::kByte), 0xA4);
    EXPECT_EQ(GsmExtLookup(0x41, GsmColumn::kSeptet, GsmColumn::kByte), 0x20);
}

// The hot paths use tables derived from the rows; they must answer as the walk does.
TEST(GsmTable, FastMapsAgreeWithTheWalk) {
    for (int v = 0; v < 256; ++v) {
        const auto value = static_cast<uint8_t>(v);
        SCOPED_TRACE(v);
        EXPECT_EQ(SeptetFromByte(value), GsmLookup(value, GsmColumn::kByte, GsmColumn::kSeptet));
        EXPECT_EQ(ByteFromExtensionSeptet(value),
                  GsmExtLookup(value, GsmColumn::kSeptet, GsmColumn::kByte));
        const uint8_t ext = GsmExtLookup(value, GsmColumn::kByte, GsmColumn::kSeptet);
        EXPECT_EQ(ExtensionSeptetFromByte(value), ext == 0x20 ? 0 : ext);
        if (v < 128) {
            EXPECT_EQ(ByteFromSeptet(value),
                      GsmLookup(value, GsmColumn::kSeptet, GsmColumn::kByte));
        }
    }
}

TEST(Hex, PairValues) {
    const struct {
        char high, low;
        uint8_t strict, lenient;
    } cases[] = {
        {'0', '0', 0x00, 0x00},
        {'9', 'A', 0x9A, 0x9A},
        {'F', 'F', 0xFF, 0xFF},
        // Lower case is hex only to the lenient reader; strict reads 'f' as 102 - 55.
        {'7', 'f', static_cast<uint8_t>(16 * 7 + 47), 0x7F},
        // Garbage gives one defined octet either way, never a trap.
        {'G', '0', static_cast<uint8_t>(16 * 16), static_cast<uint8_t>(16 * 'G')},
        {'\0', '\xFF', static_cast<uint8_t>(16 * -48 + 200), static_cast<uint8_t>(255)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE((std::string{c.high, c.low}));
        EXPECT_EQ(HexPairValue(c.high, c.low), c.strict);
        EXPECT_EQ(HexPairValueLenient(c.high, c.low), c.lenient);
    }
}

TEST(Hex, SwapSemiOctets) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"", ""},      {"1", ""}, {"12", "21"}, {"12345F", "2143F5"}, {"2143F5", "12345F"},
        {"123", "21"},  // a trailing odd character is dropped
    };
    for (const auto& c : cases)
        EXPECT_EQ(SwapSemiOctets(c.in), c.out) << c.in;
}

TEST(CodePage, EveryCp1250ByteRoundTrips) {
    for (int b = 0; b < 256; ++b) {
        const std::string narrow(1, static_cast<char>(b));
        EXPECT_EQ(Cp1250FromUtf16(Utf16FromCp1250(narrow)), narrow) << b;
    }
}

TEST(CodePage, PolishLettersAndMissingCharacters) {
    EXPECT_EQ(Cp1250FromUtf16(u"ąćęłńóśźżĄĆĘŁŃÓŚŹŻ€"),
              "\xB9\xE6\xEA\xB3\xF1\xF3\x9C\x9F\xBF\xA5\xC6\xCA\xA3\xD1\xD3\x8C\x8F\xAF\x80");
    EXPECT_EQ(Cp1250FromUtf16(u"Ωя😀"), "???");  // a surrogate pair is one character
    EXPECT_EQ(Utf16FromCp1250("\xB3\xF3\xBF"), u"łóż");
}

}  // namespace
}  // namespace tarnik
