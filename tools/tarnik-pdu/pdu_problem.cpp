#include "tarnik-pdu/pdu_problem.h"

namespace tarnik {

namespace {

bool IsUpperHex(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
}

const char* FieldName(PduField field) {
    switch (field) {
        case PduField::kServiceCentre:
            return "service centre address";
        case PduField::kFirstOctet:
            return "first octet";
        case PduField::kMessageReference:
            return "message reference";
        case PduField::kOriginator:
            return "originator address";
        case PduField::kDestination:
            return "destination address";
        case PduField::kRecipient:
            return "recipient address";
        case PduField::kProtocolId:
            return "protocol identifier";
        case PduField::kDataCoding:
            return "data coding scheme";
        case PduField::kValidityPeriod:
            return "validity period";
        case PduField::kTimeStamp:
            return "time stamp";
        case PduField::kDischargeTime:
            return "discharge time";
        case PduField::kUserData:
            return "user data";
        case PduField::kStatus:
            return "status";
        case PduField::kNone:
            break;
    }
    return "PDU";
}

}  // namespace

std::string PduProblem(std::string_view hex, const PduEnd& end) {
    if (hex.empty())
        return "empty";
    for (size_t i = 0; i < hex.size(); ++i) {
        if (!IsUpperHex(hex[i]))
            return "not upper-case hexadecimal at character " + std::to_string(i + 1);
    }
    if (hex.size() % 2 != 0)
        return "odd number of hexadecimal digits";

    switch (end.kind) {
        case PduEndKind::kWhole:
            return {};
        case PduEndKind::kCutBefore:
            return std::string("cut before the ") + FieldName(end.field);
        case PduEndKind::kCutInside:
            return std::string("cut inside the ") + FieldName(end.field);
        case PduEndKind::kShortUserData:
            return "fewer than two octets of user data";
        case PduEndKind::kLongUserData:
            return "user data longer than an SMS holds";
        case PduEndKind::kReservedType:
            return "reserved message type";
    }
    return {};
}

}  // namespace tarnik
