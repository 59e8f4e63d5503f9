#include "pdu/cp1250.h"

#include <cstddef>
#include <cstdint>

namespace tarnik {

namespace {

// Bytes 0x80-0xFF. The five bytes Windows-1250 leaves undefined map to the C1 control of
// the same value, as the Windows conversion functions do, so that every byte round-trips.
constexpr char16_t kHighHalf[128] = {
    0x20AC, 0x0081, 0x201A, 0x0083, 0x201E, 0x2026, 0x2020, 0x2021,  // 0x80
    0x0088, 0x2030, 0x0160, 0x2039, 0x015A, 0x0164, 0x017D, 0x0179,  // 0x88
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 0x90
    0x0098, 0x2122, 0x0161, 0x203A, 0x015B, 0x0165, 0x017E, 0x017A,  // 0x98
    0x00A0, 0x02C7, 0x02D8, 0x0141, 0x00A4, 0x0104, 0x00A6, 0x00A7,  // 0xA0
    0x00A8, 0x00A9, 0x015E, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x017B,  // 0xA8
    0x00B0, 0x00B1, 0x02DB, 0x0142, 0x00B4, 0x00B5, 0x00B6, 0x00B7,  // 0xB0
    0x00B8, 0x0105, 0x015F, 0x00BB, 0x013D, 0x02DD, 0x013E, 0x017C,  // 0xB8
    0x0154, 0x00C1, 0x00C2, 0x0102, 0x00C4, 0x0139, 0x0106, 0x00C7,  // 0xC0
    0x010C, 0x00C9, 0x0118, 0x00CB, 0x011A, 0x00CD, 0x00CE, 0x010E,  // 0xC8
    0x0110, 0x0143, 0x0147, 0x00D3, 0x00D4, 0x0150, 0x00D6, 0x00D7,  // 0xD0
    0x0158, 0x016E, 0x00DA, 0x0170, 0x00DC, 0x00DD, 0x0162, 0x00DF,  // 0xD8
    0x0155, 0x00E1, 0x00E2, 0x0103, 0x00E4, 0x013A, 0x0107, 0x00E7,  // 0xE0
    0x010D, 0x00E9, 0x0119, 0x00EB, 0x011B, 0x00ED, 0x00EE, 0x010F,  // 0xE8
    0x0111, 0x0144, 0x0148, 0x00F3, 0x00F4, 0x0151, 0x00F6, 0x00F7,  // 0xF0
    0x0159, 0x016F, 0x00FA, 0x0171, 0x00FC, 0x00FD, 0x0163, 0x02D9,  // 0xF8
};

// The reverse of the high half, built at compile time: Polish text is mostly characters
// below U+0180, found by index; the rest (quotes, dashes, the euro sign) by binary search.
constexpr char16_t kDirectEnd = 0x180;

struct ReverseMaps {
    uint8_t direct[kDirectEnd - 0x80];  // 0: not in the code page
    struct Pair {
        char16_t unit;
        uint8_t byte;
    } sorted[128];
    size_t sortedCount;
};

constexpr ReverseMaps BuildReverseMaps() {
    ReverseMaps maps{};
    for (int i = 0; i < 128; ++i) {
        const char16_t unit = kHighHalf[i];
        const auto byte = static_cast<uint8_t>(0x80 + i);
        if (unit < kDirectEnd) {
            maps.direct[unit - 0x80] = byte;
            continue;
        }
        size_t at = maps.sortedCount++;  // insertion sort: 128 rows, once, at compile time
        for (; at > 0 && maps.sorted[at - 1].unit > unit; --at)
            maps.sorted[at] = maps.sorted[at - 1];
        maps.sorted[at] = {unit, byte};
    }
    return maps;
}

constexpr ReverseMaps kReverse = BuildReverseMaps();

char NarrowOf(char16_t unit) {
    if (unit < 0x80)
        return static_cast<char>(unit);
    if (unit < kDirectEnd) {
        const uint8_t byte = kReverse.direct[unit - 0x80];
        return byte != 0 ? static_cast<char>(byte) : '?';
    }
    size_t low = 0, high = kReverse.sortedCount;
    while (low < high) {
        const size_t middle = (low + high) / 2;
        if (kReverse.sorted[middle].unit < unit)
            low = middle + 1;
        else
            high = middle;
    }
    if (low < kReverse.sortedCount && kReverse.sorted[low].unit == unit)
        return static_cast<char>(kReverse.sorted[low].byte);
    return '?';
}

bool IsHighSurrogate(char16_t u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool IsLowSurrogate(char16_t u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

}  // namespace

std::string Cp1250FromUtf16(std::u16string_view wide) {
    std::string out;
    out.reserve(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) {
        // A surrogate pair is one character the code page lacks: one '?'.
        if (IsHighSurrogate(wide[i]) && i + 1 < wide.size() && IsLowSurrogate(wide[i + 1]))
            ++i;
        out.push_back(NarrowOf(wide[i]));
    }
    return out;
}

std::u16string Utf16FromCp1250(std::string_view narrow) {
    std::u16string out;
    out.reserve(narrow.size());
    for (const char c : narrow) {
        const auto byte = static_cast<uint8_t>(c);
        out.push_back(byte < 0x80 ? char16_t{byte} : kHighHalf[byte - 0x80]);
    }
    return out;
}

}  // namespace tarnik
