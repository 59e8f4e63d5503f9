// A bounds-checked reader over hexadecimal PDU text. Every field of a PDU is read
// through it, so input that is too short can never be read past its end, and the first
// field that could not be read is remembered: a caller can tell a user holding a PDU from
// a real phone where it ran out.
#pragma once

#include <cstdint>
#include <string_view>

#include "pdu/hex.h"

namespace tarnik {

// The fields of the PDU layouts, as far as a reading can stop at them.
enum class PduField : uint8_t {
    kNone,
    kServiceCentre,
    kFirstOctet,
    kMessageReference,
    kOriginator,
    kDestination,
    kRecipient,
    kProtocolId,
    kDataCoding,
    kValidityPeriod,
    kTimeStamp,
    kDischargeTime,
    kUserData,
    kStatus,
};

enum class PduEndKind : uint8_t {
    kWhole,          // nothing stopped the reading
    kCutBefore,      // the input ended before the field
    kCutInside,      // the input ended within the field
    kShortUserData,  // too little user data to be a message
    kLongUserData,   // more user data than a message record holds
    kReservedType,   // a message type no decoder reads
};

// Why and at which field a reading stopped; only the first stop is kept.
struct PduEnd {
    PduEndKind kind = PduEndKind::kWhole;
    PduField field = PduField::kNone;
};

class HexCursor {
public:
    explicit HexCursor(std::string_view hex) : hex_(hex) {}

    size_t Remaining() const { return hex_.size() - pos_; }
    std::string_view Rest() const { return hex_.substr(pos_); }
    const PduEnd& End() const { return end_; }

    // Each read either consumes the whole field or nothing and returns false; a failed
    // read is kept as the end of the input, at `field`.
    bool ReadOctet(uint8_t& out, PduField field = PduField::kNone) {
        return ReadPair(out, field, HexPairValue);
    }
    bool ReadLenientOctet(uint8_t& out, PduField field = PduField::kNone) {
        return ReadPair(out, field, HexPairValueLenient);
    }
    bool Take(size_t chars, std::string_view& out, PduField field = PduField::kNone,
              PduEndKind kind = PduEndKind::kCutBefore) {
        if (Remaining() < chars)
            return Stop(kind, field);
        out = hex_.substr(pos_, chars);
        pos_ += chars;
        return true;
    }
    bool Skip(size_t chars, PduField field = PduField::kNone,
              PduEndKind kind = PduEndKind::kCutBefore) {
        std::string_view skipped;
        return Take(chars, skipped, field, kind);
    }
    // Skips what is there, at most `chars`; falling short is kept as the end all the same.
    void SkipUpTo(size_t chars, PduField field = PduField::kNone,
                  PduEndKind kind = PduEndKind::kCutBefore) {
        if (Remaining() < chars) {
            Stop(kind, field);
            chars = Remaining();
        }
        pos_ += chars;
    }

    // Keeps a stop the reader decided on itself, unless an earlier one is kept; returns false.
    bool Stop(PduEndKind kind, PduField field) {
        if (end_.kind == PduEndKind::kWhole)
            end_ = {kind, field};
        return false;
    }

private:
    bool ReadPair(uint8_t& out, PduField field, uint8_t (*value)(char high, char low)) {
        std::string_view pair;
        if (!Take(2, pair, field))
            return false;
        out = value(pair[0], pair[1]);
        return true;
    }

    std::string_view hex_;
    size_t pos_ = 0;
    PduEnd end_;
};

}  // namespace tarnik
