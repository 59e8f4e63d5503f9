// UTF-8, the text of the host stand-in's files, output and translation table, to and
// from the wide text of Windows.
#pragma once

#include <string>
#include <string_view>

namespace tarnik::host {

std::string Utf8(std::wstring_view text);
std::wstring WideFromUtf8(std::string_view text);

}  // namespace tarnik::host
