#include "pdu/pdu_builder.h"

#include <algorithm>
#include <cstdlib>

#include "pdu/hex.h"
#include "pdu/septets.h"
#include "pdu/sms_pdu.h"

namespace tarnik {

namespace {

constexpr uint8_t kTypeInternational = 0x91;
constexpr uint8_t kTypeUnknown = 0x81;
constexpr uint8_t kTypeAlphanumeric = 0xD0;

// Digits in semi-octets, 'F'-filled to whole octets.
std::string SemiOctetDigits(std::string_view digits) {
    std::string padded(digits);
    if (padded.size() % 2 != 0)
        padded.push_back('F');
    return SwapSemiOctets(padded);
}

// Units digit first: the two semi-octets of a pair come swapped.
void AppendSwappedPair(std::string& out, int value) {
    out.push_back(static_cast<char>('0' + value % 10));
    out.push_back(static_cast<char>('0' + value / 10 % 10));
}

}  // namespace

std::string BuildSmscField(std::string_view number) {
    if (number.empty())
        return "00";
    const bool international = number.front() == '+';
    const std::string_view digits = international ? number.substr(1) : number;
    std::string field;
    AppendHexOctet(field, static_cast<uint8_t>(1 + (digits.size() + 1) / 2));
    AppendHexOctet(field, international ? kTypeInternational : kTypeUnknown);
    return field + SemiOctetDigits(digits);
}

std::string BuildAddress(std::string_view number) {
    const bool international = !number.empty() && number.front() == '+';
    const std::string_view digits = international ? number.substr(1) : number;
    std::string field;
    AppendHexOctet(field, static_cast<uint8_t>(digits.size()));
    AppendHexOctet(field, international ? kTypeInternational : kTypeUnknown);
    return field + SemiOctetDigits(digits);
}

std::string BuildAlphanumericAddress(std::string_view name) {
    std::string packed;
    const int septets = PackSeptets(name, 0, packed);
    std::string field;
    // The length counts the semi-octets that carry septets.
    AppendHexOctet(field, static_cast<uint8_t>((septets * 7 + 3) / 4));
    AppendHexOctet(field, kTypeAlphanumeric);
    return field + packed;
}

std::string BuildTimeStamp(const TimeStampFields& f) {
    std::string out;
    for (const int value : {f.year, f.month, f.day, f.hour, f.minute, f.second})
        AppendSwappedPair(out, value);
    const int quarters = std::abs(f.zoneQuarters) % 80;
    const int tens = quarters / 10 | (f.zoneQuarters < 0 ? 0x08 : 0);
    out.push_back(static_cast<char>('0' + quarters % 10));
    out.push_back("0123456789ABCDEF"[tens]);
    return out;
}

std::string BuildTimeStamp(std::time_t when) {
    std::tm local{};
    localtime_r(&when, &local);
    // The zone as local minus universal time; tm_gmtoff would say it, but not on Windows.
    std::tm utc{};
    gmtime_r(&when, &utc);
    utc.tm_isdst = local.tm_isdst;
    const long offset = static_cast<long>(std::difftime(when, std::mktime(&utc)));
    TimeStampFields f;
    f.year = local.tm_year % 100;
    f.month = local.tm_mon + 1;
    f.day = local.tm_mday;
    f.hour = local.tm_hour;
    f.minute = local.tm_min;
    f.second = local.tm_sec;
    f.zoneQuarters = static_cast<int>(offset / (15 * 60));
    return BuildTimeStamp(f);
}

std::string BuildConcatHeader(uint8_t ref, uint8_t total, uint8_t seq) {
    std::string header = "050003";
    for (const uint8_t octet : {ref, total, seq})
        AppendHexOctet(header, octet);
    return header;
}

std::string BuildConcatHeader16(uint16_t ref, uint8_t total, uint8_t seq) {
    std::string header = "060804";
    for (const uint8_t octet :
         {static_cast<uint8_t>(ref >> 8), static_cast<uint8_t>(ref & 0xFF), total, seq}) {
        AppendHexOctet(header, octet);
    }
    return header;
}

UserData BuildGsm7UserData(std::string_view text, std::string_view header) {
    std::string packed;
    UserData ud;
    ud.length = static_cast<uint8_t>(PackSeptets(text, header.size() / 2, packed));
    // The header takes the place of the zero octets the packer leaves for it.
    ud.hex = std::string(header) + packed.substr(std::min(header.size(), packed.size()));
    ud.header = !header.empty();
    return ud;
}

UserData BuildUcs2UserData(std::u16string_view text, std::string_view header) {
    UserData ud;
    ud.hex = std::string(header);
    for (const char16_t unit : text) {
        AppendHexOctet(ud.hex, static_cast<uint8_t>(unit >> 8));
        AppendHexOctet(ud.hex, static_cast<uint8_t>(unit & 0xFF));
    }
    ud.length = static_cast<uint8_t>(ud.hex.size() / 2);
    ud.header = !header.empty();
    return ud;
}

std::string BuildDeliver(const DeliverPdu& pdu) {
    std::string out = pdu.smsc;
    AppendHexOctet(
        out, static_cast<uint8_t>(pdu.firstOctet | (pdu.userData.header ? kFirstOctetUdhi : 0)));
    out += pdu.originator;
    AppendHexOctet(out, pdu.protocolId);
    AppendHexOctet(out, pdu.dataCoding);
    out += pdu.timeStamp;
    AppendHexOctet(out, pdu.userData.length);
    return out + pdu.userData.hex;
}

std::string BuildStatusReport(const StatusReportPdu& pdu) {
    std::string out = pdu.smsc;
    AppendHexOctet(out, pdu.firstOctet);
    AppendHexOctet(out, pdu.messageRef);
    out += pdu.recipient + pdu.timeStamp + pdu.dischargeTime;
    AppendHexOctet(out, pdu.status);
    return out;
}

}  // namespace tarnik
