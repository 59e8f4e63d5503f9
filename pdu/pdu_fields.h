// Field readers shared by the decoders of SMS-DELIVER, SMS-SUBMIT and SMS-STATUS-REPORT.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "pdu/hex_cursor.h"
#include "pdu/sms_pdu.h"

namespace tarnik {

constexpr uint32_t kTonAlphanumeric = 5;

// TS 23.040 9.1.2.5; bit 7 clear leaves the fields zero.
void DecodeAddressType(uint8_t octet, SmsAddress& address);

// TS 23.040 9.2.3.1-9.2.3.5.
SmsFirstOctet DecodeFirstOctet(uint8_t octet);

// Alphabet of a TP-Data-Coding-Scheme octet (TS 23.038 4): coding groups 0-3 and 15.
uint32_t AlphabetFromDcs(uint8_t dcs);

// Semi-octets put right, one trailing 'F' (the odd-length filler) dropped.
std::string NumberFromSemiOctets(std::string_view chars);

// How a TP-OA/TP-DA/TP-RA whose type is alphanumeric is read.
enum class AlphanumericAddress { kUnpackSeptets, kLeaveEmpty };

// Reads the length octet (digits, raised to even), the type of address and the digits.
// False when the input ends before the digits are whole; the cursor keeps where, at `field`.
bool ReadAddress(HexCursor& cursor, SmsAddress& address, AlphanumericAddress alphanumeric,
                 PduField field);

}  // namespace tarnik
