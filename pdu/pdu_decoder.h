// Decoding of one PDU as the phone shows it in PDU mode: upper-case hexadecimal with
// the SMSC field first (TS 27.005 3.1), then the TPDU of TS 23.040 9.2.2.
#pragma once

#include <string>
#include <string_view>

#include "pdu/hex_cursor.h"
#include "pdu/sms_pdu.h"

namespace tarnik {

// Never fails: a record that could not be read whole has `decoded` false.
SmsPdu DecodePdu(std::string hex);
// The same, and where and why the reading stopped short (the record is the same either way).
SmsPdu DecodePdu(std::string hex, PduEnd& end);

// Each takes the PDU text after the first octet and the record read so far.
SmsPdu DecodeDeliver(HexCursor& rest, SmsPdu record);
SmsPdu DecodeSubmit(HexCursor& rest, SmsPdu record);

// Text given to user data in the 8-bit and reserved alphabets.
extern const char kUnknownEncodingText[];

}  // namespace tarnik
