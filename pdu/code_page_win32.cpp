// Narrow text in the system's ANSI code page, as the host's own conversions use it.
#include <windows.h>

#include "pdu/code_page.h"
#include "text/wide_text.h"

namespace tarnik {

std::string NarrowFromUtf16(std::u16string_view wide) {
    if (wide.empty())
        return {};
    const wchar_t* units = AsWide(wide.data());
    const int count = static_cast<int>(wide.size());
    // No best fit: a character the code page lacks becomes the default character.
    const int size =
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, units, count, nullptr, 0, "?", nullptr);
    if (size <= 0)
        return {};
    std::string out(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, units, count, out.data(), size, "?", nullptr);
    return out;
}

std::u16string WidenNarrow(std::string_view narrow) {
    if (narrow.empty())
        return {};
    const int count = static_cast<int>(narrow.size());
    const int size = MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, nullptr, 0);
    if (size <= 0)
        return {};
    std::u16string out(static_cast<size_t>(size), u'\0');
    MultiByteToWideChar(CP_ACP, 0, narrow.data(), count, AsWide(out.data()), size);
    return out;
}

}  // namespace tarnik
