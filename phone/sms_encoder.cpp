#include "phone/sms_encoder.h"

#include <cstdlib>

#include "pdu/hex.h"
#include "pdu/hex_cursor.h"
#include "pdu/septets.h"

namespace tarnik::phone {

namespace {

constexpr uint8_t kMtiMask = 0x03;
constexpr uint8_t kMtiSubmit = 0x01;
constexpr uint8_t kMtiStatusReport = 0x02;
constexpr uint8_t kStatusReportRequest = 0x20;
// TS 23.040 9.2.3.2: TP-MMS set means no more messages are waiting in the centre.
constexpr uint8_t kNoMoreMessages = 0x04;
constexpr uint8_t kTypeInternational = 0x91;
constexpr uint8_t kTypeUnknown = 0x81;

bool IsUpperHex(std::string_view hex) {
    return hex.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

// Digits of a number in semi-octets, 'F'-filled to whole octets.
std::string SemiOctetDigits(std::string_view digits) {
    std::string padded(digits);
    if (padded.size() % 2 != 0)
        padded.push_back('F');
    return SwapSemiOctets(padded);
}

void AppendTwoDigits(std::string& out, int value) {
    out.push_back(static_cast<char>('0' + value / 10 % 10));
    out.push_back(static_cast<char>('0' + value % 10));
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

std::string TimeStampSemiOctets(std::time_t when) {
    std::tm local{};
    localtime_r(&when, &local);
    std::string digits;
    AppendTwoDigits(digits, local.tm_year % 100);
    AppendTwoDigits(digits, local.tm_mon + 1);
    AppendTwoDigits(digits, local.tm_mday);
    AppendTwoDigits(digits, local.tm_hour);
    AppendTwoDigits(digits, local.tm_min);
    AppendTwoDigits(digits, local.tm_sec);
    std::string out = SwapSemiOctets(digits);
    // The zone as local minus universal time; tm_gmtoff would say it, but not on Windows.
    std::tm utc{};
    gmtime_r(&when, &utc);
    utc.tm_isdst = local.tm_isdst;
    const long offset = static_cast<long>(std::difftime(when, std::mktime(&utc)));
    const int quarters = static_cast<int>(std::labs(offset) / (15 * 60)) % 80;
    const int tens = quarters / 10 | (offset < 0 ? 0x08 : 0);
    out.push_back(static_cast<char>('0' + quarters % 10));
    out.push_back("0123456789ABCDEF"[tens]);
    return out;
}

std::string SmscField(std::string_view number) {
    if (number.empty())
        return "00";
    const bool international = number.front() == '+';
    const std::string_view digits = international ? number.substr(1) : number;
    std::string field;
    AppendHexOctet(field, static_cast<uint8_t>(1 + (digits.size() + 1) / 2));
    AppendHexOctet(field, international ? kTypeInternational : kTypeUnknown);
    return field + SemiOctetDigits(digits);
}

std::string AddressField(std::string_view number) {
    const bool international = !number.empty() && number.front() == '+';
    const std::string_view digits = international ? number.substr(1) : number;
    std::string field;
    AppendHexOctet(field, static_cast<uint8_t>(digits.size()));
    AppendHexOctet(field, international ? kTypeInternational : kTypeUnknown);
    return field + SemiOctetDigits(digits);
}

std::string EncodeStatusReport(const StatusReportFields& f) {
    std::string pdu = SmscField(f.smsc);
    AppendHexOctet(pdu, kMtiStatusReport | kNoMoreMessages);
    AppendHexOctet(pdu, f.messageRef);
    pdu += f.recipient;
    pdu += TimeStampSemiOctets(f.submitted);
    pdu += TimeStampSemiOctets(f.discharged);
    AppendHexOctet(pdu, f.status);
    return pdu;
}

std::string EncodeDeliver(std::string_view smsc, std::string_view sender, std::string_view text,
                          std::time_t received) {
    std::string pdu = SmscField(smsc);
    AppendHexOctet(pdu, kNoMoreMessages);  // TP-MTI 00: SMS-DELIVER
    pdu += AddressField(sender);
    pdu += "0000";  // TP-PID, TP-DCS: default alphabet
    pdu += TimeStampSemiOctets(received);
    std::string packed;
    const int udl = PackSeptets(text, 0, packed);
    AppendHexOctet(pdu, static_cast<uint8_t>(udl));
    return pdu + packed;
}

}  // namespace tarnik::phone
