// One transport profile's settings: 13 packed bytes that the host's SMS plug-in stores
// for us and hands back on every road (configure, send, enumeration).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarnik {

enum GsmConnectionKind : uint8_t {
    kConnectionBluetooth = 0,
    kConnectionIrda = 1,
    kConnectionCom = 2,
};

#pragma pack(push, 1)
struct GsmProfile {
    uint8_t connectionKind;  // GsmConnectionKind; anything else is unusable
    uint8_t comPort;         // 1 is COM1; 0 none chosen
    uint8_t btAddress[8];    // little-endian, unaligned: use BtAddress()/SetBtAddress()
    uint8_t flashSms;
    uint8_t waitForReport;
    uint8_t reserved;  // never read or set; every copy carries it

    uint64_t BtAddress() const {
        uint64_t value = 0;
        for (int i = 7; i >= 0; --i)
            value = value << 8 | btAddress[i];
        return value;
    }
    void SetBtAddress(uint64_t value) {
        for (uint8_t& b : btAddress) {
            b = static_cast<uint8_t>(value & 0xFF);
            value >>= 8;
        }
    }
};
#pragma pack(pop)
static_assert(sizeof(GsmProfile) == 13, "the SMS plug-in stores exactly 13 bytes");
static_assert(offsetof(GsmProfile, btAddress) == 2, "the address starts at offset 2");
static_assert(offsetof(GsmProfile, reserved) == 12, "the reserved byte is the last");

constexpr uint32_t kGsmProfileSize = sizeof(GsmProfile);

// The record from a buffer the SMS plug-in hands over; false when it is shorter than a
// record. Only the first 13 bytes are read.
inline bool ProfileFromBytes(const uint8_t* data, uint32_t length, GsmProfile& profile) {
    if (data == nullptr || length < kGsmProfileSize)
        return false;
    std::memcpy(&profile, data, kGsmProfileSize);
    return true;
}

inline void ProfileToBytes(const GsmProfile& profile, uint8_t* data) {
    std::memcpy(data, &profile, kGsmProfileSize);
}

}  // namespace tarnik
