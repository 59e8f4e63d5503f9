// Wide text as the platform takes it (wchar_t) and as the core keeps it (char16_t): on
// Windows both are UTF-16 code units, so one is read as the other without copying. Copy
// by constructing the string of the other type from the view.
#pragma once

#include <string>
#include <string_view>

static_assert(sizeof(wchar_t) == sizeof(char16_t), "wchar_t is UTF-16 only on Windows");

namespace tarnik {

inline const wchar_t* AsWide(const char16_t* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* AsWide(char16_t* text) {
    return reinterpret_cast<wchar_t*>(text);
}
inline const wchar_t* AsWide(const std::u16string& text) {
    return AsWide(text.c_str());
}

// A null text reads as empty.
inline std::u16string_view AsUtf16(const wchar_t* text) {
    return text != nullptr ? std::u16string_view(reinterpret_cast<const char16_t*>(text))
                           : std::u16string_view();
}

}  // namespace tarnik
