#include "phone/sms_encoder.h"

#include "pdu/hex.h"
#include "pdu/hex_cursor.h"
#include "pdu/pdu_builder.h"

namespace tarnik::phone {

namespace {

constexpr uint8_t kMtiMask = 0x03;
constexpr uint8_t kMtiSubmit = 0x01;
constexpr uint8_t kStatusReportRequest = 0x20;

bool IsUpperHex(std::string_view hex) {
    return hex.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

}  // namespace

int TpduOctets(std::string_view hex) {
    if (hex.size() < 2)
        return -1;
    const int smscOctets = HexPairValue(hex[0], hex[1]);
    const int total = static_cast<int>(hex.size() / 2);
    const int tpdu = total - 1 - smscOctets;
    return tpdu < 0 ? -1 : tpdu;
}

bool ReadSubmitHeader(std::string_view hex, SubmitHeader& header) {
    if (hex.size() % 2 != 0 || !IsUpperHex(hex))
        return false;
    HexCursor cursor(hex);
    uint8_t smscOctets = 0;
    if (!cursor.ReadOctet(smscOctets) || !cursor.Skip(2u * smscOctets))
        return false;
    const int tpdu = TpduOctets(hex);
    if (tpdu < 0)
        return false;
    header.tpduOctets = static_cast<size_t>(tpdu);
    if (!cursor.ReadOctet(header.firstOctet) || (header.firstOctet & kMtiMask) != kMtiSubmit ||
        !cursor.ReadOctet(header.messageRef)) {
        return false;
    }
    header.reportRequested = (header.firstOctet & kStatusReportRequest) != 0;
    uint8_t digits = 0;
    uint8_t type = 0;
    const std::string_view rest = cursor.Rest();
    if (!cursor.ReadOctet(digits) || !cursor.ReadOctet(type))
        return false;
    // TS 23.040 9.1.2.5: the length counts useful semi-octets; an odd count is filled.
    const size_t chars = digits + (digits & 1u);
    if (!cursor.Skip(chars))
        return false;
    header.destination = std::string(rest.substr(0, 4 + chars));
    return true;
}

std::string EncodeStatusReport(const StatusReportFields& f) {
    StatusReportPdu pdu;
    pdu.smsc = BuildSmscField(f.smsc);
    pdu.messageRef = f.messageRef;
    pdu.recipient = f.recipient;
    pdu.timeStamp = BuildTimeStamp(f.submitted);
    pdu.dischargeTime = BuildTimeStamp(f.discharged);
    pdu.status = f.status;
    return BuildStatusReport(pdu);
}

std::string EncodeDeliver(std::string_view smsc, std::string_view sender, std::string_view text,
                          std::time_t received) {
    DeliverPdu pdu;
    pdu.smsc = BuildSmscField(smsc);
    pdu.originator = BuildAddress(sender);
    pdu.timeStamp = BuildTimeStamp(received);
    pdu.userData = BuildGsm7UserData(text);
    return BuildDeliver(pdu);
}

}  // namespace tarnik::phone
