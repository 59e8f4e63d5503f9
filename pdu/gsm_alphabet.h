// The two fixed tables between narrow text bytes and GSM 7-bit septets:
// the default alphabet and its extension table (TS 23.038 6.2.1, 6.2.1.1).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarnik {

enum class GsmColumn { kByte, kSeptet };

struct GsmRow {
    uint8_t byte;
    uint8_t septet;
};

// 129 rows: septets 0-127 in order (ISO 8859-1 bytes, Greek capitals on 0x81-0x8A),
// then byte 0x60 paired with septet 0x27.
extern const std::array<GsmRow, 129> kGsmDefaultTable;
// 10 rows (byte, septet following the escape 0x1B); the euro sign sits on byte 0xA4.
extern const std::array<GsmRow, 10> kGsmExtensionTable;

constexpr uint8_t kGsmEscape = 0x1B;
constexpr uint8_t kGsmNotFound = 0x20;  // a value in no row reads as a space

// Walk the rows in order and return the `to` column of the first row whose `from`
// column equals value; 0x20 when no row matches.
uint8_t GsmLookup(uint8_t value, GsmColumn from, GsmColumn to);
uint8_t GsmExtLookup(uint8_t value, GsmColumn from, GsmColumn to);

// Same answers as the walks above, from tables built at compile time; inline, since the
// codec's hot paths look up every character through them.
struct GsmFastMaps {
    uint8_t septetFromByte[256];
    uint8_t byteFromSeptet[128];
    uint8_t extSeptetFromByte[256];
    uint8_t byteFromExtSeptet[256];
};
extern const GsmFastMaps kGsmFastMaps;

inline uint8_t SeptetFromByte(uint8_t byte) {
    return kGsmFastMaps.septetFromByte[byte];
}
// The septet is taken modulo 128.
inline uint8_t ByteFromSeptet(uint8_t septet) {
    return kGsmFastMaps.byteFromSeptet[septet & 0x7F];
}
// Extension septet for a byte, or 0 when the byte is not in the extension table.
inline uint8_t ExtensionSeptetFromByte(uint8_t byte) {
    return kGsmFastMaps.extSeptetFromByte[byte];
}
// 0x20 when the septet is not in the extension table.
inline uint8_t ByteFromExtensionSeptet(uint8_t septet) {
    return kGsmFastMaps.byteFromExtSeptet[septet];
}

}  // namespace tarnik
