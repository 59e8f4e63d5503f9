#include "host/text/base64.h"

namespace tarnik::host {

std::string Base64Encode(const std::vector<uint8_t>& bytes) {
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t left = bytes.size() - i;
        uint32_t group = static_cast<uint32_t>(bytes[i]) << 16u;
        if (left > 1) {
            group |= static_cast<uint32_t>(bytes[i + 1]) << 8u;
        }
        if (left > 2) {
            group |= bytes[i + 2];
        }
        out += kBase64Alphabet[(group >> 18u) & 63u];
        out += kBase64Alphabet[(group >> 12u) & 63u];
        out += left > 1 ? kBase64Alphabet[(group >> 6u) & 63u] : '=';
        out += left > 2 ? kBase64Alphabet[group & 63u] : '=';
    }
    return out;
}

}  // namespace tarnik::host
