#include "pdu/hex.h"

namespace tarnik {

namespace {

int LenientDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return static_cast<unsigned char>(c);
}

}  // namespace

uint8_t HexPairValueLenient(char high, char low) {
    return static_cast<uint8_t>(16 * LenientDigit(high) + LenientDigit(low));
}

std::string SwapSemiOctets(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        out.push_back(text[i + 1]);
        out.push_back(text[i]);
    }
    return out;
}

void AppendHexOctet(std::string& out, uint8_t octet) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    out.push_back(kDigits[octet >> 4]);
    out.push_back(kDigits[octet & 0x0F]);
}

}  // namespace tarnik
