#include "text.h"

#include "fields.h"

namespace tarnik::host {

std::optional<std::vector<uint8_t>> ParseHexBytes(std::wstring_view text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = HexValue(text[i]);
        const int low = HexValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return bytes;
}

}  // namespace tarnik::host
