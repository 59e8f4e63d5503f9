// Hexadecimal text as PDU mode exchanges it with the phone, and the swapped-digit
// (semi-octet) form in which numbers and time stamps travel (TS 23.040 9.1.2.3).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tarnik {

// One digit of the strict reading: anything above '9' counts as its code minus 55.
constexpr int StrictHexDigit(char c) {
    const int code = static_cast<unsigned char>(c);
    return code <= '9' ? code - '0' : code - 55;
}

// Strict reading: '0'-'9' and 'A'-'F' give their values; any other character
// still gives a defined 8-bit result (its code minus 55), never a trap. Inline: every
// octet of every PDU is read through it.
constexpr uint8_t HexPairValue(char high, char low) {
    // Garbage characters wrap modulo 256 so that every input maps to one octet.
    return static_cast<uint8_t>(16 * StrictHexDigit(high) + StrictHexDigit(low));
}

// Also accepts 'a'-'f'; other characters count at their own code. Used for
// TP-User-Data-Length only, whose value the decoders do not rely on.
uint8_t HexPairValueLenient(char high, char low);

// Exchanges the characters of each pair; a trailing odd character is dropped.
std::string SwapSemiOctets(std::string_view text);

// Appends "%02X" of one octet.
void AppendHexOctet(std::string& out, uint8_t octet);

}  // namespace tarnik
