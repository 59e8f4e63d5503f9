// Windows-1250, the code page of our users: the portable build's narrow text, and the
// code page in which the report texts are kept whatever the system's code page.
#pragma once

#include <string>
#include <string_view>

namespace tarnik {

// A character Windows-1250 lacks becomes '?'.
std::string Cp1250FromUtf16(std::u16string_view wide);
std::u16string Utf16FromCp1250(std::string_view narrow);

}  // namespace tarnik
