// Bytes written as hexadecimal text on the command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarnik::host {

std::optional<std::vector<uint8_t>> ParseHexBytes(std::wstring_view text);

}  // namespace tarnik::host
