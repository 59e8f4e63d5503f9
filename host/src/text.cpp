#include "text.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace tarnik::host {

std::string Utf8(std::wstring_view text) {
    if (text.empty()) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, out.data(), needed, nullptr, nullptr);
    return out;
}

std::wstring WideFromUtf8(std::string_view text) {
    if (text.empty()) {
        return {};
    }
    const int length = static_cast<int>(text.size());
    const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring out(static_cast<size_t>(needed), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, out.data(), needed);
    return out;
}

namespace {

char HexDigit(unsigned value) {
    return "0123456789abcdef"[value & 15];
}

std::string Escaped(std::wstring_view text, bool bare) {
    std::string out;
    size_t plainStart = 0;
    auto flush = [&](size_t end) {
        out += Utf8(text.substr(plainStart, end - plainStart));
        plainStart = end + 1;
    };
    for (size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const bool high = c >= 0xD800 && c <= 0xDBFF;
        const bool low = c >= 0xDC00 && c <= 0xDFFF;
        if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            ++i;  // a proper pair stays plain UTF-8
            continue;
        }
        std::string escape;
        if (c == L'\\') {
            escape = "\\\\";
        } else if (c == L'"') {
            escape = "\\\"";
        } else if (c == L'\n') {
            escape = "\\n";
        } else if (c == L'\r') {
            escape = "\\r";
        } else if (c == L'\t') {
            escape = "\\t";
        } else if (c < 0x20 || c == 0x7F || (bare && c == L' ')) {
            escape = {'\\', 'x', HexDigit(c >> 4u), HexDigit(c)};
        } else if (high || low) {
            escape = {'\\',       'u', HexDigit(c >> 12u), HexDigit(c >> 8u), HexDigit(c >> 4u),
                      HexDigit(c)};
        } else {
            continue;
        }
        flush(i);
        out += escape;
    }
    flush(text.size());
    return out;
}

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') {
        return c - L'0';
    }
    if (c >= L'a' && c <= L'f') {
        return c - L'a' + 10;
    }
    if (c >= L'A' && c <= L'F') {
        return c - L'A' + 10;
    }
    return -1;
}

// Reads the escaped text after an opening quote up to the closing one; `pos` ends past it.
std::optional<std::wstring> Unquote(const std::wstring& line, size_t& pos) {
    std::wstring out;
    while (pos < line.size()) {
        const wchar_t c = line[pos++];
        if (c == L'"') {
            return out;
        }
        if (c != L'\\') {
            out += c;
            continue;
        }
        if (pos >= line.size()) {
            return std::nullopt;
        }
        const wchar_t e = line[pos++];
        switch (e) {
            case L'\\':
            case L'"':
                out += e;
                break;
            case L'n':
                out += L'\n';
                break;
            case L'r':
                out += L'\r';
                break;
            case L't':
                out += L'\t';
                break;
            case L'x':
            case L'u': {
                const size_t digits = e == L'x' ? 2 : 4;
                if (pos + digits > line.size()) {
                    return std::nullopt;
                }
                unsigned value = 0;
                for (size_t k = 0; k < digits; ++k) {
                    const int v = HexValue(line[pos++]);
                    if (v < 0) {
                        return std::nullopt;
                    }
                    value = value * 16 + static_cast<unsigned>(v);
                }
                out += static_cast<wchar_t>(value);
                break;
            }
            default:
                return std::nullopt;
        }
    }
    return std::nullopt;  // no closing quote
}

}  // namespace

std::string Quote(std::wstring_view text) {
    return "\"" + Escaped(text, false) + "\"";
}

std::string QuoteOrNull(const wchar_t* text) {
    return text == nullptr ? "null" : Quote(text);
}

std::string Bare(std::wstring_view text) {
    return Escaped(text, true);
}

std::string Hex(uint64_t value) {
    char buffer[24];
    std::snprintf(buffer, sizeof buffer, "0x%llx", static_cast<unsigned long long>(value));
    return buffer;
}

std::string HexBytes(const uint8_t* bytes, size_t count) {
    std::string out;
    for (size_t i = 0; i < count; ++i) {
        out += HexDigit(bytes[i] >> 4u);
        out += HexDigit(bytes[i]);
    }
    return out;
}

std::optional<std::vector<uint8_t>> ParseHexBytes(std::wstring_view text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = HexValue(text[i]);
        const int low = HexValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<uint8_t>(high * 16 + low));
    }
    return bytes;
}

std::string Base64Encode(const std::vector<uint8_t>& bytes) {
    static const char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t left = bytes.size() - i;
        uint32_t group = static_cast<uint32_t>(bytes[i]) << 16u;
        if (left > 1) {
            group |= static_cast<uint32_t>(bytes[i + 1]) << 8u;
        }
        if (left > 2) {
            group |= bytes[i + 2];
        }
        out += alphabet[(group >> 18u) & 63u];
        out += alphabet[(group >> 12u) & 63u];
        out += left > 1 ? alphabet[(group >> 6u) & 63u] : '=';
        out += left > 2 ? alphabet[group & 63u] : '=';
    }
    return out;
}

std::optional<Fields> ParseFields(std::string_view utf8Line) {
    const std::wstring line = WideFromUtf8(utf8Line);
    Fields fields;
    size_t pos = 0;
    while (true) {
        while (pos < line.size() && line[pos] == L' ') {
            ++pos;
        }
        if (pos >= line.size()) {
            return fields;
        }
        const size_t equals = line.find(L'=', pos);
        if (equals == std::wstring::npos || equals == pos) {
            return std::nullopt;
        }
        const std::string key = Utf8(std::wstring_view(line).substr(pos, equals - pos));
        pos = equals + 1;
        FieldValue value;
        if (pos < line.size() && line[pos] == L'"') {
            ++pos;
            std::optional<std::wstring> text = Unquote(line, pos);
            if (!text) {
                return std::nullopt;
            }
            value.quoted = true;
            value.text = std::move(*text);
        } else {
            const size_t end = std::min(line.find(L' ', pos), line.size());
            value.text = line.substr(pos, end - pos);
            value.isNull = value.text == L"null";
            pos = end;
        }
        fields[key] = std::move(value);
    }
}

}  // namespace tarnik::host
