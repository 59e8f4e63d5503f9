// The host utilities: text conversions and Base64 for plug-ins. Every buffer comes from
// new[] because plug-ins release it with delete[] on the runtime they share with us.
#include "hrx/hrxutil.h"

#include <windows.h>

#include <array>
#include <cstdint>

#include "host/text/base64.h"

namespace {

// A null text converts like an empty one: the caller always gets a buffer to delete[].
char* ConvertWide(const wchar_t* text, UINT codePage, DWORD flags, const char* defaultChar) {
    if (text == nullptr || *text == L'\0') {
        return new char[1]{};
    }
    const int needed =
        WideCharToMultiByte(codePage, flags, text, -1, nullptr, 0, defaultChar, nullptr);
    if (needed <= 0) {
        return new char[1]{};
    }
    char* buffer = new char[static_cast<size_t>(needed)];
    if (WideCharToMultiByte(codePage, flags, text, -1, buffer, needed, defaultChar, nullptr) <= 0) {
        buffer[0] = '\0';
    }
    return buffer;
}

constexpr int8_t kBlank = -2;
constexpr int8_t kStop = -1;

// Character to its six bits; blanks are skipped, anything else ends the data.
constexpr std::array<int8_t, 256> MakeBase64Table() {
    std::array<int8_t, 256> table{};
    for (auto& v : table) {
        v = kStop;
    }
    for (int8_t v = 0; v < 64; ++v) {
        table[static_cast<unsigned char>(tarnik::host::kBase64Alphabet[v])] = v;
    }
    for (char blank : {' ', '\t', '\r', '\n'}) {
        table[static_cast<unsigned char>(blank)] = kBlank;
    }
    return table;
}

constexpr std::array<int8_t, 256> kBase64 = MakeBase64Table();

}  // namespace

char* wtom(const wchar_t* text) {
    // No best fit: a letter the code page lacks becomes '?' rather than a look-alike.
    return ConvertWide(text, CP_ACP, WC_NO_BEST_FIT_CHARS, "?");
}

char* wtou(const wchar_t* text) {
    return ConvertWide(text, CP_UTF8, 0, nullptr);
}

size_t lutBase64Decode(const char* text, size_t length, unsigned char** out) {
    unsigned char* buffer = nullptr;
    if (out != nullptr) {
        // Four characters give at most three bytes; one spare byte keeps the buffer
        // zero-terminated for callers that treat it as text.
        buffer = new unsigned char[length / 4 * 3 + 4]{};
        *out = buffer;
    }
    if (text == nullptr) {
        return 0;
    }
    size_t count = 0;
    uint32_t bits = 0;
    int pending = 0;  // bits collected in `bits` not yet written
    for (size_t i = 0; i < length; ++i) {
        const int8_t v = kBase64[static_cast<unsigned char>(text[i])];
        if (v == kBlank) {
            continue;
        }
        if (v == kStop) {  // padding, the end of the text, or garbage
            break;
        }
        bits = (bits << 6) | static_cast<uint32_t>(v);
        pending += 6;
        if (pending >= 8) {
            pending -= 8;
            if (buffer != nullptr) {
                buffer[count] = static_cast<unsigned char>(bits >> pending);
            }
            ++count;
            bits &= (1u << pending) - 1;
        }
    }
    return count;
}
