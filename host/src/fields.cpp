#include "fields.h"

#include <algorithm>
#include <cstdio>

#include "host/text/utf8.h"

namespace tarnik::host {

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
