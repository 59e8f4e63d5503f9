#include "ui/profile_entry.h"

#include <cstring>

#include "hrx/hrxutil.h"

namespace tarnik {

bool ProfileFromBase64(const wchar_t* base64, GsmProfile& profile) {
    if (base64 == nullptr)
        return false;
    char* utf8 = wtou(base64);
    if (utf8 == nullptr)
        return false;
    unsigned char* bytes = nullptr;
    const size_t count = lutBase64Decode(utf8, std::strlen(utf8), &bytes);
    delete[] utf8;
    const bool complete = bytes != nullptr && count >= kGsmProfileSize;
    if (complete)
        std::memcpy(&profile, bytes, kGsmProfileSize);
    delete[] bytes;
    return complete;
}

}  // namespace tarnik
