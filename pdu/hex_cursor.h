// A bounds-checked reader over hexadecimal PDU text. Every field of a PDU is read
// through it, so input that is too short can never be read past its end.
#pragma once

#include <cstdint>
#include <string_view>

#include "pdu/hex.h"

namespace tarnik {

class HexCursor {
public:
    explicit HexCursor(std::string_view hex) : hex_(hex) {}

    size_t Remaining() const { return hex_.size() - pos_; }
    std::string_view Rest() const { return hex_.substr(pos_); }

    // Each read either consumes the whole field or nothing and returns false.
    bool ReadOctet(uint8_t& out) {
        if (Remaining() < 2)
            return false;
        out = HexPairValue(hex_[pos_], hex_[pos_ + 1]);
        pos_ += 2;
        return true;
    }
    bool ReadLenientOctet(uint8_t& out) {
        if (Remaining() < 2)
            return false;
        out = HexPairValueLenient(hex_[pos_], hex_[pos_ + 1]);
        pos_ += 2;
        return true;
    }
    bool Take(size_t chars, std::string_view& out) {
        if (Remaining() < chars)
            return false;
        out = hex_.substr(pos_, chars);
        pos_ += chars;
        return true;
    }
    bool Skip(size_t chars) {
        if (Remaining() < chars)
            return false;
        pos_ += chars;
        return true;
    }
    // Skips what is there, at most `chars`.
    void SkipUpTo(size_t chars) { pos_ += chars < Remaining() ? chars : Remaining(); }

private:
    std::string_view hex_;
    size_t pos_ = 0;
};

}  // namespace tarnik
