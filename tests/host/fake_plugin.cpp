// A small plug-in for testing tarnik-host itself: it goes through the host's
// services the way a real plug-in does, and reports what it saw through
// "HRX/Log" (source "FAKE") so that the test can read it from the trace.
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "hrx/hrxcore.h"
#include "hrx/hrxutil.h"
#include "plugin/host_records.h"

using namespace tarnik;

extern "C" IMAGE_DOS_HEADER __ImageBase;  // this module, as DllMain would be told

namespace {

constexpr wchar_t kFakeTransportId[] = L"FAKE-0000-TRANSPORT";
constexpr wchar_t kModule[] = L"Tarnik";
const auto self = reinterpret_cast<intptr_t>(&__ImageBase);
intptr_t settingsHandle = 0;

const PluginInfo kInfo = {sizeof(PluginInfo),
                          0,
                          L"Fake",
                          L"Wtyczka \"próbna\"\nz dwoma wierszami",
                          L"(c) nikt",
                          L"Autor",
                          L"autor@example.invalid",
                          L"http://example.invalid/",
                          L"http://example.invalid/update/Fake.xml",
                          0x0001000200030004ull,
                          0x0005000600070008ull,
                          3,
                          0,
                          nullptr,
                          L"{00000000-1111-2222-3333-444444444444}",
                          {}};

intptr_t Call(const wchar_t* service, const void* first, intptr_t second) {
    return hrx::g_pF->functions.fnCall(service, reinterpret_cast<intptr_t>(first), second);
}

void Log(int32_t kind, const wchar_t* source, const std::wstring& message) {
    LogEntry entry{};
    entry.size = sizeof entry;
    entry.kind = kind;
    entry.source = source;
    entry.message = message.c_str();
    Call(L"HRX/Log", &entry, 0);
}

// Entries as the plug-in hands them over: sized, the rest zero.
std::vector<SmstProfileEntry> Entries(size_t count) {
    std::vector<SmstProfileEntry> entries(count, SmstProfileEntry{});
    for (SmstProfileEntry& entry : entries) {
        entry.size = sizeof entry;
    }
    return entries;
}

bool Untouched(const SmstProfileEntry& entry) {
    return entry.size == sizeof entry && entry.profileData == nullptr &&
           entry.transportId == nullptr && entry.profileName == nullptr;
}

// Archives one message per profile of this transport, and checks that the host
// keeps within the entries it is given.
intptr_t OnMenu(intptr_t, intptr_t) {
    const auto count = static_cast<int32_t>(Call(L"SMST/Enumerate", nullptr, 0));
    if (count <= 0) {
        return 41;
    }
    const auto total = static_cast<size_t>(count);
    std::vector<SmstProfileEntry> entries = Entries(total + 1);  // one guard
    Call(L"SMST/Enumerate", entries.data(), static_cast<intptr_t>(total));
    const bool sizesKept = std::all_of(entries.begin(), entries.end() - 1,
                                       [](const auto& e) { return e.size == sizeof e; });
    Log(3, L"FAKE",
        std::wstring(L"sizes ") + (sizesKept ? L"kept" : L"changed") + L", guard " +
            (Untouched(entries.back()) ? L"untouched" : L"written"));

    for (size_t i = 0; i < total; ++i) {
        const SmstProfileEntry& entry = entries[i];
        if (std::wcscmp(entry.transportId, kFakeTransportId) != 0) {
            continue;
        }
        char* utf8 = wtou(entry.profileData);
        unsigned char* bytes = nullptr;
        const size_t length = lutBase64Decode(utf8, std::strlen(utf8), &bytes);
        std::wstring hex;
        for (size_t b = 0; b < length; ++b) {
            hex += {L"0123456789abcdef"[bytes[b] >> 4], L"0123456789abcdef"[bytes[b] & 15]};
        }
        Log(3, L"FAKE", L"profile " + std::wstring(entry.profileName) + L" " + hex);
        delete[] utf8;  // buffers of hrxutil.mdl, released here: one shared runtime
        delete[] bytes;

        ArchiveSmsRecord sms{};
        sms.size = sizeof sms;
        sms.text = L"Zażółć gęślą jaźń\n\"cytat\" \\ koniec";
        sms.meta = L"smsc=\"48601000310\",report=\"0\",mti=\"0x0000\"";
        sms.number = entry.profileName;
        sms.direction = 1;
        sms.time = 1700000000;
        Call(L"Ar/WriteSMS", &sms, 0);
    }

    // A shorter count than there are profiles: the entry past it must stay as it
    // was.
    std::vector<SmstProfileEntry> few = Entries(2);
    Call(L"SMST/Enumerate", few.data(), 1);
    Log(3, L"FAKE",
        std::wstring(L"short enumeration ") +
            (Untouched(few[1]) ? L"stayed within count" : L"wrote past count"));

    SmstProfileEntry unsized{};
    Call(L"SMST/Enumerate", &unsized, 1);
    Call(L"Fake/Echo", reinterpret_cast<const void*>(2), 3);
    return 42;
}

}  // namespace

extern "C" __declspec(dllexport) const PluginInfo* queryPlugInfo() {
    return &kInfo;
}

extern "C" __declspec(dllexport) int pluginLoad(intptr_t, HRXFUNCTIONS* functions) {
    libHrxInit(functions);
    Log(1, L"SMSX", L"Wtyczka próbna startuje");
    LogEntry shortEntry{};
    shortEntry.size = 32;
    Call(L"HRX/Log", &shortEntry, 0);
    Call(L"HRX/NoSuchService", reinterpret_cast<const void*>(1), 2);

    wchar_t path[261] = {};
    SettingsPathRequest request{};
    request.size = sizeof request;
    request.buffer = path;
    request.capacity = 261;
    Call(L"HRX/Settings/GetMyConfigFile", &request, self);
    settingsHandle = Call(L"HRX/Settings/Init", path, self);
    functions->fnCall(L"HRX/Settings/Read", settingsHandle, 0);

    if (!functions->fnExists(L"SMST/Register")) {
        Log(-2, nullptr, hrx::g_pTrans->msg(kModule, 1000, L"Brak obsługi SMS"));
    }
    SmstTransportInfo transport{};
    transport.size = sizeof transport;
    transport.transportId = kFakeTransportId;
    transport.displayName = hrx::g_pTrans->msg(kModule, 1001, L"Transport próbny");
    transport.number10 = 10;
    transport.maxSingleText = 160;
    transport.number50 = 50;
    transport.send = [](SmstSendInfo*) -> intptr_t { return 0; };
    transport.configure = [](SmstConfigureInfo*) -> intptr_t { return 0; };
    Call(L"SMST/Register", &transport, 0);

    MenuItemDef item{};
    item.size = sizeof item;
    item.itemId = L"Fake/Menu";
    item.parentMenu = L"HRX/Menu/Main/Opt";
    item.caption = hrx::g_pTrans->msg(kModule, 1002, L"Archiwum próbne");
    item.position = -20000000;
    item.callback = OnMenu;
    item.instance = reinterpret_cast<HMODULE>(self);
    Call(L"HRX/Menu/Add", &item, 0);
    functions->fnRegister(L"Fake/Echo",
                          [](intptr_t first, intptr_t second) { return first + second; });
    return 0;
}

extern "C" __declspec(dllexport) int pluginUnload() {
    hrx::g_pF->functions.fnCall(L"HRX/Settings/Write", settingsHandle, 0);
    hrx::g_pF->functions.fnCall(L"HRX/Settings/Destroy", settingsHandle, self);
    Call(L"SMST/Unregister", kFakeTransportId, 0);
    libHrxTerminate();
    return 0;
}
