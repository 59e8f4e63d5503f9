// Builds without the Windows code page functions take Windows-1250 as the system code page.
#include "pdu/code_page.h"
#include "pdu/cp1250.h"

namespace tarnik {

std::string NarrowFromUtf16(std::u16string_view wide) {
    return Cp1250FromUtf16(wide);
}
std::u16string WidenNarrow(std::string_view narrow) {
    return Utf16FromCp1250(narrow);
}

}  // namespace tarnik
