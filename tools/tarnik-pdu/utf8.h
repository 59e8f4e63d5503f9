// UTF-8 for the command line; the product itself speaks UTF-16 and the narrow code page.
#pragma once

#include <string>
#include <string_view>

namespace tarnik {

std::string Utf8FromUtf16(std::u16string_view wide);
// Malformed sequences become U+FFFD.
std::u16string Utf16FromUtf8(std::string_view utf8);

}  // namespace tarnik
