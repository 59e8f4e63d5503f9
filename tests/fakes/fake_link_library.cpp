// Test builds of linkbt.mdl and linkcom.mdl whose devices and ports come from the
// environment, so the settings dialog's lists can be filled at will. They live with the
// tests and are put beside the plug-in only in a test's own folder.
//   TARNIK_FAKE_BT_DEVICES   "ADDRESS=NAME;ADDRESS=NAME" (addresses in hex)
//   TARNIK_FAKE_COM_PORTS    "N=NAME;N=NAME", or "many:COUNT:NAMELENGTH" for COUNT ports
//                            numbered from 1 with names of NAMELENGTH characters
#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "link/link_library_abi.h"

namespace {

std::wstring Env(const wchar_t* name) {
    wchar_t buffer[4096];
    const DWORD n = GetEnvironmentVariableW(name, buffer, 4096);
    return n > 0 && n < 4096 ? std::wstring(buffer, n) : std::wstring();
}

std::vector<std::pair<std::wstring, std::wstring>> Pairs(const std::wstring& list) {
    std::vector<std::pair<std::wstring, std::wstring>> pairs;
    size_t at = 0;
    while (at < list.size()) {
        size_t end = list.find(L';', at);
        if (end == std::wstring::npos)
            end = list.size();
        const std::wstring item = list.substr(at, end - at);
        const size_t eq = item.find(L'=');
        if (eq != std::wstring::npos)
            pairs.emplace_back(item.substr(0, eq), item.substr(eq + 1));
        at = end + 1;
    }
    return pairs;
}

}  // namespace

#ifdef TARNIK_FAKE_BT
TARNIK_LINK_EXPORT int32_t libEnumDevices(void* comboBox, LinkDeviceRecord* records,
                                          uint32_t maxCount, int32_t) {
    uint32_t count = 0;
    for (const auto& [address, name] : Pairs(Env(L"TARNIK_FAKE_BT_DEVICES"))) {
        if (count == maxCount)
            break;
        records[count] = LinkDeviceRecord{};
        records[count].address = std::wcstoull(address.c_str(), nullptr, 16);
        SendMessageW(static_cast<HWND>(comboBox), CB_ADDSTRING, 0,
                     reinterpret_cast<LPARAM>(name.c_str()));
        ++count;
    }
    return static_cast<int32_t>(count);
}
TARNIK_LINK_EXPORT intptr_t libPortOpen(uint64_t) {
    return -1;
}
#else
TARNIK_LINK_EXPORT int32_t libEnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
    const std::wstring ports = Env(L"TARNIK_FAKE_COM_PORTS");
    if (ports.rfind(L"many:", 0) == 0) {
        const unsigned long count = std::wcstoul(ports.c_str() + 5, nullptr, 10);
        const size_t colon = ports.find(L':', 5);
        const unsigned long length =
            colon == std::wstring::npos ? 4 : std::wcstoul(ports.c_str() + colon + 1, nullptr, 10);
        const std::u16string name(length, u'x');
        for (uint32_t n = 1; n <= count; ++n) {
            numbers->append(numbers->self, n);
            names->append(names->self, name.c_str());
        }
        return 1;
    }
    for (const auto& [number, name] : Pairs(ports)) {
        numbers->append(numbers->self,
                        static_cast<uint32_t>(std::wcstoul(number.c_str(), nullptr, 10)));
        names->append(names->self, reinterpret_cast<const char16_t*>(name.c_str()));
    }
    return 1;
}
TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t) {
    return 0;
}
#endif

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t) {
    return 0;
}
TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t, const void*, uint32_t) {
    return 0;
}
TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t, void*, uint32_t) {
    return 0;
}
