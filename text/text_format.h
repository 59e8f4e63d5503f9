// printf-style filling of translated texts ("Adresat: %s", " Kod: %d"). A translation
// comes from outside the plug-in, so a format is never trusted: only %d, %i, %s and %%
// are filled, in order, from the arguments given; anything else stands as written and a
// missing argument fills nothing.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tarnik {

struct FormatArg {
    FormatArg(int64_t n) : number(n), isText(false) {}             // NOLINT: implicit by design
    FormatArg(int n) : number(n), isText(false) {}                 // NOLINT
    FormatArg(std::u16string_view t) : text(t), isText(true) {}    // NOLINT
    FormatArg(const std::u16string& t) : text(t), isText(true) {}  // NOLINT
    int64_t number = 0;
    std::u16string_view text;
    bool isText;
};

std::u16string FormatText(std::u16string_view format, std::initializer_list<FormatArg> args);

}  // namespace tarnik
