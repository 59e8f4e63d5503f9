// Decoding of one PDU as the phone shows it in PDU mode: upper-case hexadecimal with
// the SMSC field first (TS 27.005 3.1), then the TPDU of TS 23.040 9.2.2.
#pragma once

#include <string>
#include <string_view>

#include "pdu/sms_pdu.h"

namespace tarnik {

// Never fails: a record that could not be read whole has `decoded` false.
SmsPdu DecodePdu(std::string hex);

// Each takes the PDU text after the first octet and the record read so far.
SmsPdu DecodeDeliver(std::string_view rest, SmsPdu record);
SmsPdu DecodeSubmit(std::string_view rest, SmsPdu record);

// Text given to user data in the 8-bit and reserved alphabets.
extern const char kUnknownEncodingText[];

}  // namespace tarnik
