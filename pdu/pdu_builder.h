// Building the PDUs a phone shows, SMS-DELIVER and SMS-STATUS-REPORT (TS 23.040 9.2.2.1,
// 9.2.2.3), and their fields, in PDU-mode hexadecimal: the counterpart of the decoder, for
// the emulated phone, the benchmarks and the tests. The plug-in only decodes these PDUs
// (its own SMS-SUBMIT is pdu/submit_encoder.h), so tarnik.dll does not link this.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace tarnik {

// TS 24.011 8.2.5.1: the service centre address, length octet first; "00" when empty.
// A leading '+' makes the number international (0x91), otherwise its type is unknown (0x81).
std::string BuildSmscField(std::string_view number);

// TS 23.040 9.1.2.5: TP-OA, TP-DA or TP-RA of a number, typed as BuildSmscField types it.
std::string BuildAddress(std::string_view number);
// The same for an alphanumeric sender name (type 0xD0), in packed septets.
std::string BuildAlphanumericAddress(std::string_view name);

// TS 23.040 9.2.3.11: seven swapped semi-octet pairs; the zone in quarter hours, negative
// west of Greenwich (its sign in bit 3 of the zone's first digit).
struct TimeStampFields {
    int year = 0;  // two digits
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int zoneQuarters = 0;
};
std::string BuildTimeStamp(const TimeStampFields& fields);
// An instant in the system's local time, with the zone's offset at that instant.
std::string BuildTimeStamp(std::time_t when);

// TS 23.040 9.2.3.24.1 and 9.2.3.24.8: a user data header of one concatenation element,
// header length octet first; the 16-bit reference goes high octet first.
std::string BuildConcatHeader(uint8_t ref, uint8_t total, uint8_t seq);
std::string BuildConcatHeader16(uint16_t ref, uint8_t total, uint8_t seq);

// TP-UDL and TP-UD; `header` is a user data header as built above, or empty.
struct UserData {
    uint8_t length = 0;  // septets for GSM 7-bit, octets for UCS-2
    std::string hex;     // the header first
    bool header = false;
};
// The text's bytes as GSM 7-bit septets, packed after the header and its fill bits.
UserData BuildGsm7UserData(std::string_view text, std::string_view header = {});
// The text as big-endian UCS-2 units after the header.
UserData BuildUcs2UserData(std::u16string_view text, std::string_view header = {});

struct DeliverPdu {
    std::string smsc = "00";    // as BuildSmscField gives it
    uint8_t firstOctet = 0x04;  // SMS-DELIVER, no more messages; TP-UDHI is set for a header
    std::string originator;     // as BuildAddress gives it
    uint8_t protocolId = 0;
    uint8_t dataCoding = 0;
    std::string timeStamp;  // as BuildTimeStamp gives it
    UserData userData;
};
std::string BuildDeliver(const DeliverPdu& pdu);

// Without the optional parameter indicator.
struct StatusReportPdu {
    std::string smsc = "00";
    uint8_t firstOctet = 0x06;  // SMS-STATUS-REPORT, no more messages
    uint8_t messageRef = 0;
    std::string recipient;
    std::string timeStamp;      // TP-SCTS
    std::string dischargeTime;  // TP-DT
    uint8_t status = 0;         // TP-ST (TS 23.040 9.2.3.15)
};
std::string BuildStatusReport(const StatusReportPdu& pdu);

}  // namespace tarnik
