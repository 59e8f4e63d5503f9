// Text helpers of the test host: UTF-8 output, the quoted field format shared by the trace
// and the data files, hexadecimal and Base64.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnik::host {

std::string Utf8(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

// "text" with \\ \" \n \r \t, \xHH for other control characters and \uXXXX for a lone
// surrogate, so any UTF-16 text survives the round trip through Unquote.
std::string Quote(std::wstring_view text);
// Quote, or the bare word null for a null pointer.
std::string QuoteOrNull(const wchar_t* text);
// A name without quotes (service names, module names): Quote's escapes plus \x20 for a blank.
std::string Bare(std::wstring_view text);

std::string Hex(uint64_t value);                           // 0x1f, lower case, no padding
std::string HexBytes(const uint8_t* bytes, size_t count);  // 00ff1a
std::optional<std::vector<uint8_t>> ParseHexBytes(std::wstring_view text);
std::string Base64Encode(const std::vector<uint8_t>& bytes);

// One field of a line "key=value key="text" key=null".
struct FieldValue {
    bool isNull = false;
    bool quoted = false;
    std::wstring text;  // the unquoted text, or the bare word
};
using Fields = std::map<std::string, FieldValue>;
// Parses a line of fields; nullopt when it is malformed.
std::optional<Fields> ParseFields(std::string_view line);

}  // namespace tarnik::host
