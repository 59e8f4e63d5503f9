// Small builders of PDUs as a phone lists them, for tests that need many varied ones.
#pragma once

#include <string>

#include "pdu/hex.h"
#include "pdu/septets.h"

namespace tarnik::test {

// SMS-DELIVER from an international number with 7-bit text and an optional 8-bit
// concatenation header (ref, total, seq); no SMSC field.
inline std::string Deliver7Bit(const std::string& text, int ref = -1, int total = 0, int seq = 0,
                               const std::string& digits = "48601234567") {
    std::string pdu = "00";
    AppendHexOctet(pdu, ref >= 0 ? 0x44 : 0x04);
    AppendHexOctet(pdu, static_cast<uint8_t>(digits.size()));
    pdu += "91";
    pdu += SwapSemiOctets(digits.size() % 2 ? digits + "F" : digits);
    pdu += "0000";
    pdu += "42105171435480";
    std::string packed;
    const size_t header = ref >= 0 ? 6 : 0;
    const int udl = PackSeptets(text, header, packed);
    AppendHexOctet(pdu, static_cast<uint8_t>(udl));
    if (ref >= 0) {
        pdu += "050003";
        AppendHexOctet(pdu, static_cast<uint8_t>(ref));
        AppendHexOctet(pdu, static_cast<uint8_t>(total));
        AppendHexOctet(pdu, static_cast<uint8_t>(seq));
        pdu += packed.substr(12);
    } else {
        pdu += packed;
    }
    return pdu;
}

}  // namespace tarnik::test
