// SMS-SUBMIT (TS 23.040 9.2.2.2) for one part of an outgoing message: the hexadecimal
// PDU that follows "AT+CMGS=<n>", with an empty SMSC field so the phone's own centre is used.
#pragma once

#include <cstdint>
#include <string>

namespace tarnik {

struct SmsSubmitParams {
    std::string text;    // narrow text of this part
    std::string number;  // recipient's digits, no '+' or blanks
    uint32_t concat = 0;
    uint32_t concatRef = 0;
    uint32_t concatTotal = 0;  // 0 for a single message
    uint32_t concatSeq = 0;    // from 1; 0 for a single message
    uint8_t messageRef = 0;
    uint32_t statusReport = 0;
    uint32_t vpPresent = 0;
    uint32_t vp = 0;  // relative validity period octet (TS 23.040 9.2.3.12.1)
    uint32_t flash = 0;
};

// Upper-case hexadecimal PDU. Pads `number` with 'F' when its length is odd, so callers
// set it afresh for every part.
std::string EncodeSubmit(SmsSubmitParams& params);

// The length "AT+CMGS=<n>" announces: TPDU octets, the SMSC length octet not counted.
int CmgsLength(const std::string& pdu);

}  // namespace tarnik
