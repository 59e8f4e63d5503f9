#include "pdu/gsm_alphabet.h"

namespace tarnik {

namespace {

// Septets whose byte differs from the septet value; all others map to themselves.
constexpr GsmRow kDefaultExceptions[] = {
    {0x40, 0x00}, {0xA3, 0x01}, {0x24, 0x02}, {0xA5, 0x03}, {0xE8, 0x04}, {0xE9, 0x05},
    {0xF9, 0x06}, {0xEC, 0x07}, {0xF2, 0x08}, {0xC7, 0x09}, {0xD8, 0x0B}, {0xF8, 0x0C},
    {0xC5, 0x0E}, {0xE5, 0x0F}, {0x81, 0x10}, {0x5F, 0x11}, {0x82, 0x12}, {0x83, 0x13},
    {0x84, 0x14}, {0x85, 0x15}, {0x86, 0x16}, {0x87, 0x17}, {0x88, 0x18}, {0x89, 0x19},
    {0x8A, 0x1A}, {0xC6, 0x1C}, {0xE6, 0x1D}, {0xDF, 0x1E}, {0xC9, 0x1F}, {0xA4, 0x24},
    {0xA1, 0x40}, {0xC4, 0x5B}, {0xD6, 0x5C}, {0xD1, 0x5D}, {0xDC, 0x5E}, {0xA7, 0x5F},
    {0xBF, 0x60}, {0xE4, 0x7B}, {0xF6, 0x7C}, {0xF1, 0x7D}, {0xFC, 0x7E}, {0xE0, 0x7F},
};

constexpr std::array<GsmRow, 129> BuildDefaultTable() {
    std::array<GsmRow, 129> rows{};
    for (int s = 0; s < 128; ++s) {
        rows[s] = GsmRow{static_cast<uint8_t>(s), static_cast<uint8_t>(s)};
    }
    for (const GsmRow& row : kDefaultExceptions)
        rows[row.septet] = row;
    rows[128] = GsmRow{0x60, 0x27};
    return rows;
}

template <size_t N>
constexpr uint8_t Walk(const std::array<GsmRow, N>& rows, uint8_t value, GsmColumn from,
                       GsmColumn to) {
    for (const GsmRow& row : rows) {
        const uint8_t key = from == GsmColumn::kByte ? row.byte : row.septet;
        if (key == value)
            return to == GsmColumn::kByte ? row.byte : row.septet;
    }
    return kGsmNotFound;
}

constexpr std::array<GsmRow, 129> kDefault = BuildDefaultTable();
constexpr std::array<GsmRow, 10> kExtension = {{
    {0x0C, 0x0A},
    {0x5E, 0x14},
    {0x7B, 0x28},
    {0x7D, 0x29},
    {0x5C, 0x2F},
    {0x5B, 0x3C},
    {0x7E, 0x3D},
    {0x5D, 0x3E},
    {0x7C, 0x40},
    {0xA4, 0x65},
}};

constexpr GsmFastMaps BuildFastMaps() {
    GsmFastMaps maps{};
    for (int v = 0; v < 256; ++v) {
        const auto value = static_cast<uint8_t>(v);
        maps.septetFromByte[v] = Walk(kDefault, value, GsmColumn::kByte, GsmColumn::kSeptet);
        maps.byteFromExtSeptet[v] = Walk(kExtension, value, GsmColumn::kSeptet, GsmColumn::kByte);
        // The extension column holds no septet 0, so 0 can mean "not in the table".
        bool inExtension = false;
        for (const GsmRow& row : kExtension)
            inExtension = inExtension || row.byte == value;
        maps.extSeptetFromByte[v] =
            inExtension ? Walk(kExtension, value, GsmColumn::kByte, GsmColumn::kSeptet) : 0;
        if (v < 128) {
            maps.byteFromSeptet[v] = Walk(kDefault, value, GsmColumn::kSeptet, GsmColumn::kByte);
        }
    }
    return maps;
}

}  // namespace

constexpr GsmFastMaps kGsmFastMaps = BuildFastMaps();

const std::array<GsmRow, 129> kGsmDefaultTable = kDefault;
const std::array<GsmRow, 10> kGsmExtensionTable = kExtension;

uint8_t GsmLookup(uint8_t value, GsmColumn from, GsmColumn to) {
    return Walk(kDefault, value, from, to);
}

uint8_t GsmExtLookup(uint8_t value, GsmColumn from, GsmColumn to) {
    return Walk(kExtension, value, from, to);
}

}  // namespace tarnik
