#include "pdu/hex_bytes.h"

#include "pdu/hex.h"

namespace tarnik {

std::string HexFromBytes(std::string_view bytes) {
    std::string hex;
    hex.reserve(2 * bytes.size());
    for (const char c : bytes)
        AppendHexOctet(hex, static_cast<uint8_t>(c));
    return hex;
}

bool BytesFromHex(std::string_view hex, std::string& bytes) {
    if (hex.size() % 2 != 0 ||
        hex.find_first_not_of("0123456789ABCDEFabcdef") != std::string_view::npos) {
        return false;
    }
    std::string out;
    out.reserve(hex.size() / 2);
    for (size_t i = 0; i < hex.size(); i += 2)
        out.push_back(static_cast<char>(HexPairValueLenient(hex[i], hex[i + 1])));
    bytes = std::move(out);
    return true;
}

}  // namespace tarnik
