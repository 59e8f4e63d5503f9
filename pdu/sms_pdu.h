// The decoded form of one SMS as the phone shows it in PDU mode (TS 23.040 9.2).
#pragma once

#include <cstdint>
#include <string>

namespace tarnik {

// TS 23.040 9.1.2.5. A type-of-address octet with bit 7 clear leaves all three zero.
struct SmsAddress {
    uint32_t ton = 0;  // type of number, bits 6-4 (5: alphanumeric)
    uint32_t npi = 0;  // numbering plan, bits 3-0
    bool extBit = false;
    std::string number;
};

// TS 23.040 9.2.3.1-9.2.3.5, 9.2.3.17, 9.2.3.23.
struct SmsFirstOctet {
    uint32_t replyPath = 0;     // bit 7
    uint32_t udhi = 0;          // bit 6
    uint32_t statusReport = 0;  // bit 5
    uint32_t moreMessages = 0;  // 1 when bit 2 is clear
    uint32_t mti = 0;           // bits 1-0
    uint32_t vpf = 0;           // bits 4-3
};

// A service centre time stamp (TS 23.040 9.2.3.11) as read from the semi-octets.
struct SmsTime {
    uint8_t day = 0;
    uint8_t month = 0;
    uint8_t year = 0;  // two digits, 2000 + year
    uint8_t hour = 0;
    uint8_t minute = 0;
    uint8_t second = 0;
    std::string text;   // "20yy-mm-dd hh:mm:ss" as the digits stand
    double date = 0.0;  // OLE automation date, local time
    int64_t time = 0;   // seconds since 1970 of the same local time
};

enum SmsAlphabet : uint32_t {
    kAlphabetGsm7 = 0,
    kAlphabet8Bit = 1,
    kAlphabetUcs2 = 2,
    kAlphabetReserved = 3,
};

enum SmsMessageType : uint32_t {
    kMtiDeliver = 0,
    kMtiSubmit = 1,
    kMtiStatusReport = 2,
};

// Bits of the first octet beside TP-MTI, as they are written (TS 23.040 9.2.3.3, 9.2.3.5,
// 9.2.3.23).
constexpr uint8_t kFirstOctetVpfRelative = 0x10;
constexpr uint8_t kFirstOctetStatusReportRequest = 0x20;
constexpr uint8_t kFirstOctetUdhi = 0x40;

struct SmsPdu {
    SmsAddress smsc;
    SmsAddress address;  // originator, destination or the recipient a report is about
    SmsFirstOctet firstOctet;
    SmsTime timestamp;
    std::string text;  // narrow, system code page
    bool concat = false;
    uint32_t concatRef = 0;  // 16-bit references: first octet + 65536 * second
    uint32_t concatTotal = 0;
    uint32_t concatSeq = 0;
    bool decoded = false;
    uint32_t alphabet = kAlphabetGsm7;
    std::string index;    // position in the phone's storage
    std::string storage;  // "MT", "ME" or "SM"
    bool incoming = false;
    uint32_t status = 0;  // TP-Status of a report
    std::string sentTime;
    std::string doneTime;
};

}  // namespace tarnik
