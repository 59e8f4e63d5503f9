#include "tarnik-pdu/pdu_problem.h"

#include <cstdint>

#include "pdu/hex_cursor.h"
#include "pdu/pdu_fields.h"
#include "pdu/sms_pdu.h"
#include "pdu/sms_time.h"

namespace tarnik {

namespace {

// One field of a PDU's layout: how it is read, and its name in "cut before the ...".
struct Field {
    enum Kind { kOctet, kAddress, kTimeStamp, kValidity } kind;
    const char* name;
};

constexpr Field kDeliver[] = {{Field::kAddress, "originator address"},
                              {Field::kOctet, "protocol identifier"},
                              {Field::kOctet, "data coding scheme"},
                              {Field::kTimeStamp, "time stamp"},
                              {Field::kOctet, "user data"}};
constexpr Field kSubmit[] = {
    {Field::kOctet, "message reference"},   {Field::kAddress, "destination address"},
    {Field::kOctet, "protocol identifier"}, {Field::kOctet, "data coding scheme"},
    {Field::kValidity, "validity period"},  {Field::kOctet, "user data"}};
constexpr Field kReport[] = {{Field::kOctet, "message reference"},
                             {Field::kAddress, "recipient address"},
                             {Field::kTimeStamp, "time stamp"},
                             {Field::kTimeStamp, "discharge time"},
                             {Field::kOctet, "status"}};

bool IsUpperHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

template <size_t N>
std::string WalkFields(HexCursor& cursor, const Field (&fields)[N], uint32_t vpf) {
    static constexpr size_t kValidityOctets[4] = {0, 7, 1, 7};
    for (const Field& field : fields) {
        const std::string cut = std::string("cut before the ") + field.name;
        uint8_t octet = 0;
        SmsAddress address;
        std::string_view ignored;
        switch (field.kind) {
            case Field::kOctet:
                if (!cursor.ReadOctet(octet))
                    return cut;
                break;
            case Field::kAddress:
                if (cursor.Remaining() < 4)
                    return cut;
                if (!ReadAddress(cursor, address, AlphanumericAddress::kLeaveEmpty))
                    return std::string("cut inside the ") + field.name;
                break;
            case Field::kTimeStamp:
                if (!cursor.Take(kTimeStampChars, ignored))
                    return cut;
                break;
            case Field::kValidity:
                if (!cursor.Skip(2 * kValidityOctets[vpf & 3]))
                    return cut;
                break;
        }
    }
    return {};
}

}  // namespace

std::string PduProblem(std::string_view hex) {
    if (hex.empty())
        return "empty";
    for (size_t i = 0; i < hex.size(); ++i) {
        if (!IsUpperHex(hex[i]))
            return "not upper-case hexadecimal at character " + std::to_string(i + 1);
    }
    if (hex.size() % 2 != 0)
        return "odd number of hexadecimal digits";

    HexCursor cursor(hex);
    uint8_t smscLength = 0;
    cursor.ReadOctet(smscLength);
    if (!cursor.Skip(2u * smscLength))
        return "cut inside the service centre address";
    uint8_t first = 0;
    if (!cursor.ReadOctet(first))
        return "cut before the first octet";
    const uint32_t vpf = (first >> 3) & 3;
    switch (first & 3) {
        case kMtiDeliver:
            return WalkFields(cursor, kDeliver, vpf);
        case kMtiSubmit:
            return WalkFields(cursor, kSubmit, vpf);
        case kMtiStatusReport:
            return WalkFields(cursor, kReport, vpf);
        default:
            return "reserved message type";
    }
}

}  // namespace tarnik
