// The line format of the host's output and data files: "key=value key="text" key=null",
// texts quoted with escapes, numbers and bytes in hexadecimal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarnik::host {

// "text" with \\ \" \n \r \t, \xHH for other control characters and \uXXXX for a lone
// surrogate, so any UTF-16 text survives the round trip through ParseFields.
std::string Quote(std::wstring_view text);
// Quote, or the bare word null for a null pointer.
std::string QuoteOrNull(const wchar_t* text);
// A name without quotes (service names, module names): Quote's escapes plus \x20 for a blank.
std::string Bare(std::wstring_view text);

std::string Hex(uint64_t value);                           // 0x1f, lower case, no padding
std::string HexBytes(const uint8_t* bytes, size_t count);  // 00ff1a
// The value of one hexadecimal digit of either case, -1 for any other character.
int HexValue(wchar_t c);

// One field of a line.
struct FieldValue {
    bool isNull = false;
    bool quoted = false;
    std::wstring text;  // the unquoted text, or the bare word
};
using Fields = std::map<std::string, FieldValue>;
// Parses a line of fields; nullopt when it is malformed.
std::optional<Fields> ParseFields(std::string_view line);

}  // namespace tarnik::host
