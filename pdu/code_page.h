// Narrow text is the system's 8-bit (ANSI) code page. The Windows build converts with
// the system's code page; the portable build with Windows-1250, our users' code page.
#pragma once

#include <string>
#include <string_view>

namespace tarnik {

// UTF-16 to narrow; a character the code page lacks becomes '?', its default character.
std::string NarrowFromUtf16(std::u16string_view wide);

// Narrow to UTF-16.
std::u16string WidenNarrow(std::string_view narrow);

}  // namespace tarnik
