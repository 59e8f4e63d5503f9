#include "pdu/pdu_decoder.h"

#include <cstdint>
#include <ctime>
#include <utility>

#include "pdu/code_page.h"
#include "pdu/hex_cursor.h"
#include "pdu/pdu_fields.h"
#include "pdu/septets.h"
#include "pdu/sms_time.h"
#include "pdu/status_report.h"

namespace tarnik {

const char kUnknownEncodingText[] = "Unknown encoding scheme, 8bit?";

namespace {

// The whole SMS is at most 140 octets of user data, 70 UCS-2 units; the text is gathered
// as a NUL-terminated buffer of 512 units, so more than 511 units cannot be real input.
constexpr size_t kMaxUcs2Units = 511;
// A header of at most 255 octets holds at most 128 elements; the cap only bounds the walk.
constexpr int kMaxHeaderElements = 1024;

// TS 23.040 9.2.3.24.1 (8-bit reference) and 9.2.3.24.8 (16-bit reference).
constexpr uint8_t kIeiConcat8 = 0x00;
constexpr uint8_t kIeiConcat16 = 0x08;

void WalkHeader(std::string_view header, SmsPdu& record) {
    HexCursor cursor(header);
    for (int element = 0; element < kMaxHeaderElements; ++element) {
        uint8_t iei = 0;
        uint8_t length = 0;
        if (!cursor.ReadOctet(iei) || !cursor.ReadOctet(length))
            return;
        // The identifier is acted on before the length is looked at: a concatenation
        // element that claims no data still gives the three (or four) octets after it.
        // Octets past the end of the header are not read.
        HexCursor data(cursor.Rest());
        uint8_t a = 0, b = 0, c = 0, d = 0;
        if (iei == kIeiConcat8 && data.ReadOctet(a) && data.ReadOctet(b) && data.ReadOctet(c)) {
            record.concat = true;
            record.concatRef = a;
            record.concatTotal = b;
            record.concatSeq = c;
        } else if (iei == kIeiConcat16 && data.ReadOctet(a) && data.ReadOctet(b) &&
                   data.ReadOctet(c) && data.ReadOctet(d)) {
            record.concat = true;
            record.concatRef = a + 65536u * b;
            record.concatTotal = c;
            record.concatSeq = d;
        }
        if (length < 1 || !cursor.Skip(2u * length))
            return;  // a zero-length element ends the walk, and so does the header's end
    }
}

// Returns false for UCS-2 text longer than the record can hold; the message is then
// refused as a whole rather than shown cut.
bool DecodeUcs2(std::string_view hex, std::string& text) {
    const size_t units = hex.size() / 4;
    if (units > kMaxUcs2Units)
        return false;
    char16_t wide[kMaxUcs2Units];
    size_t length = 0;
    for (const char* digits = hex.data(); length < units; ++length, digits += 4) {
        const auto unit = static_cast<char16_t>(HexPairValue(digits[0], digits[1]) << 8 |
                                                HexPairValue(digits[2], digits[3]));
        if (unit == 0)
            break;  // the text buffer is NUL-terminated
        wide[length] = unit;
    }
    text = NarrowFromUtf16(std::u16string_view(wide, length));
    return true;
}

// User data shared by SMS-DELIVER and SMS-SUBMIT (TS 23.040 9.2.3.24). False when the
// user data cannot be held by the record.
bool DecodeUserData(HexCursor& cursor, SmsPdu& record) {
    const std::string_view ud = cursor.Rest();
    record.concat = false;
    size_t headerOctets = 0;  // header length octet included
    uint8_t h = 0;
    if (record.firstOctet.udhi && HexCursor(ud).ReadOctet(h) && h >= 1) {
        headerOctets = h + 1u;
        WalkHeader(ud.substr(2, 2u * h), record);
    }

    switch (record.alphabet) {
        case kAlphabetGsm7:
            record.text = UnpackSeptets(ud, headerOctets);
            break;
        case kAlphabetUcs2: {
            const std::string_view body =
                2 * headerOctets < ud.size() ? ud.substr(2 * headerOctets) : std::string_view{};
            if (!DecodeUcs2(body, record.text))
                return cursor.Stop(PduEndKind::kLongUserData, PduField::kUserData);
            break;
        }
        default:
            record.text = kUnknownEncodingText;
            break;
    }
    // A padding septet decodes to '@'; so does a real trailing one, which is lost with it.
    while (!record.text.empty() && record.text.back() == '@')
        record.text.pop_back();
    return true;
}

SmsPdu DecodeWithCursor(HexCursor& cursor) {
    SmsPdu record;
    uint8_t smscLength = 0;
    if (!cursor.ReadOctet(smscLength, PduField::kServiceCentre))
        return record;
    if (smscLength > 0) {
        HexCursor smsc(cursor.Rest().substr(0, 2u * smscLength));
        cursor.SkipUpTo(2u * smscLength, PduField::kServiceCentre, PduEndKind::kCutInside);
        uint8_t type = 0;
        if (smsc.ReadOctet(type))
            DecodeAddressType(type, record.smsc);
        if (smscLength >= 2 && record.smsc.ton != kTonAlphanumeric)
            record.smsc.number = NumberFromSemiOctets(smsc.Rest());
    }

    uint8_t first = 0;
    if (!cursor.ReadOctet(first, PduField::kFirstOctet))
        return record;  // TP-MTI cannot be read
    record.firstOctet = DecodeFirstOctet(first);

    switch (record.firstOctet.mti) {
        case kMtiDeliver:
            record.decoded = true;
            return DecodeDeliver(cursor, std::move(record));
        case kMtiSubmit:
            record.decoded = true;
            return DecodeSubmit(cursor, std::move(record));
        case kMtiStatusReport:
            record.decoded = true;
            return DecodeStatusReport(cursor, std::move(record));
        default:
            cursor.Stop(PduEndKind::kReservedType, PduField::kFirstOctet);
            return record;
    }
}

}  // namespace

SmsPdu DecodePdu(std::string hex) {
    PduEnd end;
    return DecodePdu(std::move(hex), end);
}

SmsPdu DecodePdu(std::string hex, PduEnd& end) {
    HexCursor cursor(hex);
    SmsPdu record = DecodeWithCursor(cursor);
    end = cursor.End();
    return record;
}

SmsPdu DecodeDeliver(HexCursor& cursor, SmsPdu record) {
    record.incoming = true;
    // A message cut short keeps every field read before the cut: the user still sees who
    // sent it and when, even when its text is lost.
    uint8_t pid = 0, dcs = 0, udl = 0;
    std::string_view scts;
    if (!ReadAddress(cursor, record.address, AlphanumericAddress::kUnpackSeptets,
                     PduField::kOriginator) ||
        !cursor.ReadOctet(pid, PduField::kProtocolId) ||
        !cursor.ReadOctet(dcs, PduField::kDataCoding))
        return record;
    record.alphabet = AlphabetFromDcs(dcs);
    if (!cursor.Take(kTimeStampChars, scts, PduField::kTimeStamp))
        return record;
    record.timestamp = DecodeTimeStamp(scts);
    if (!cursor.ReadLenientOctet(udl, PduField::kUserData))
        return record;
    if (!DecodeUserData(cursor, record))
        record.decoded = false;
    return record;
}

SmsPdu DecodeSubmit(HexCursor& cursor, SmsPdu record) {
    record.incoming = false;
    uint8_t mr = 0, pid = 0, dcs = 0;
    if (!cursor.ReadOctet(mr, PduField::kMessageReference) ||
        !ReadAddress(cursor, record.address, AlphanumericAddress::kLeaveEmpty,
                     PduField::kDestination) ||
        !cursor.ReadOctet(pid, PduField::kProtocolId) ||
        !cursor.ReadOctet(dcs, PduField::kDataCoding)) {
        record.decoded = false;  // cut before the validity period
        return record;
    }
    record.alphabet = AlphabetFromDcs(dcs);
    // A stored outgoing message carries no time stamp of its own (TS 23.040 9.2.2.2).
    record.timestamp.time = static_cast<int64_t>(std::time(nullptr));

    // TS 23.040 9.2.3.3: relative (one octet), enhanced or absolute (seven octets).
    static constexpr size_t kVpOctets[4] = {0, 7, 1, 7};
    cursor.SkipUpTo(2 * kVpOctets[record.firstOctet.vpf & 3], PduField::kValidityPeriod);

    // TP-UDL and at least one octet of user data.
    const bool enough = cursor.Remaining() >= 4;
    uint8_t udl = 0;
    if (!cursor.ReadLenientOctet(udl, PduField::kUserData) || !enough) {
        cursor.Stop(PduEndKind::kShortUserData, PduField::kUserData);
        record.decoded = false;
        return record;
    }
    if (!DecodeUserData(cursor, record))
        record.decoded = false;
    record.timestamp.text = "None";
    if (record.address.number.empty())
        record.address.number = "[ None ]";
    return record;
}

}  // namespace tarnik
