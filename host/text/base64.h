// Base64 as the host keeps profile records: the store writes them with Base64Encode and
// hrxutil's lutBase64Decode reads them, both by this one alphabet.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarnik::host {

inline constexpr char kBase64Alphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Base64Encode(const std::vector<uint8_t>& bytes);

}  // namespace tarnik::host
