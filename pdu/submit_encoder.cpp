#include "pdu/submit_encoder.h"

#include "pdu/hex.h"
#include "pdu/septets.h"
#include "pdu/sms_pdu.h"

namespace tarnik {

namespace {

// TS 23.038 4: coding group 1111, class 0 (flash), default alphabet.
constexpr uint8_t kDcsFlash = 0xF0;
// Concatenation header with an 8-bit reference (TS 23.040 9.2.3.24.1): UDHL, IEI, IEDL.
constexpr size_t kConcatHeaderOctets = 6;

}  // namespace

std::string EncodeSubmit(SmsSubmitParams& p) {
    std::string pdu = "00";  // no SMSC: the phone uses its own

    uint8_t first = static_cast<uint8_t>(kMtiSubmit);
    if (p.vpPresent)
        first |= kFirstOctetVpfRelative;
    if (p.statusReport && (p.concat == 0 || p.concatSeq == p.concatTotal)) {
        first |= kFirstOctetStatusReportRequest;  // only the last part asks for a report
    }
    if (p.concat)
        first |= kFirstOctetUdhi;
    AppendHexOctet(pdu, first);
    AppendHexOctet(pdu, p.messageRef);

    const size_t digits = p.number.size();
    if (digits % 2 != 0)
        p.number.push_back('F');
    AppendHexOctet(pdu, static_cast<uint8_t>(digits));
    pdu += p.number.size() <= 5 ? "81" : "91";  // TS 23.040 9.1.2.5: unknown / international
    pdu += SwapSemiOctets(p.number);

    pdu += "00";  // TP-PID
    AppendHexOctet(pdu, p.flash ? kDcsFlash : 0x00);
    if (p.vpPresent)
        AppendHexOctet(pdu, static_cast<uint8_t>(p.vp));

    std::string header;
    size_t headerOctets = 0;
    if (p.concat) {
        header = "0003";
        AppendHexOctet(header, static_cast<uint8_t>(p.concatRef));
        AppendHexOctet(header, static_cast<uint8_t>(p.concatTotal));
        AppendHexOctet(header, static_cast<uint8_t>(p.concatSeq));
        headerOctets = kConcatHeaderOctets;
    }

    std::string packed;
    const int udl = PackSeptets(p.text, headerOctets, packed);
    AppendHexOctet(pdu, static_cast<uint8_t>(udl));
    if (p.concat) {
        pdu += "05";
        pdu += header;
        pdu.append(packed, 2 * kConcatHeaderOctets, std::string::npos);
    } else {
        pdu += packed;
    }
    return pdu;
}

int CmgsLength(const std::string& pdu) {
    return static_cast<int>(pdu.size() / 2) - 1;
}

}  // namespace tarnik
