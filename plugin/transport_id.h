// The identifier under which our transport registers with the SMS plug-in, unregisters,
// and recognises its own profiles among every transport's.
#pragma once

namespace tarnik {

constexpr wchar_t kTransportId[] = L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35";
static_assert(sizeof kTransportId / sizeof kTransportId[0] == 37, "36 characters, no braces");

// Exact, case-sensitive, over the 36 characters and the terminating zero.
inline bool IsOurTransport(const wchar_t* transportId) {
    if (transportId == nullptr)
        return false;
    for (int i = 0; i < 37; ++i) {
        if (transportId[i] != kTransportId[i])
            return false;
    }
    return true;
}

}  // namespace tarnik
