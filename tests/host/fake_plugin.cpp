// A small plug-in for testing tarnik-host itself: it goes through the host's services the
// way a real plug-in does, and reports what it saw through "HRX/Log" (source "FAKE") so
// that the test can read it from the trace.
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "hrx/hrxcore.h"
#include "hrx/hrxutil.h"
#include "plugin/host_records.h"

using namespace tarnik;

namespace {

constexpr wchar_t kFakeTransportId[] = L"FAKE-0000-TRANSPORT";
constexpr wchar_t kModule[] = L"Tarnik";

HMODULE self = nullptr;
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

intptr_t Send(SmstSendInfo*) {
    return 0;
}

intptr_t Configure(SmstConfigureInfo*) {
    return 0;
}

intptr_t Echo(intptr_t first, intptr_t second) {
    return first + second;
}

std::wstring HexOf(const unsigned char* bytes, size_t count) {
    std::wstring hex;
    for (size_t i = 0; i < count; ++i) {
        wchar_t pair[3];
        std::swprintf(pair, 3, L"%02x", bytes[i]);
        hex += pair;
    }
    return hex;
}

bool Untouched(const SmstProfileEntry& entry) {
    return entry.size == sizeof entry && entry.profileData == nullptr &&
           entry.transportId == nullptr && entry.profileName == nullptr;
}

// Archives one message per profile of this transport, and checks that the host keeps
// within the entries it is given.
intptr_t OnMenu(intptr_t, intptr_t) {
    const auto total = static_cast<int32_t>(Call(L"SMST/Enumerate", nullptr, 0));
    if (total <= 0) {
        Log(3, L"FAKE", L"no profiles");
        return 41;
    }
    std::vector<SmstProfileEntry> entries(static_cast<size_t>(total) + 1);  // one guard
    for (SmstProfileEntry& entry : entries) {
        entry.size = sizeof entry;
    }
    Call(L"SMST/Enumerate", entries.data(), total);
    bool sizesKept = true;
    for (int32_t i = 0; i < total; ++i) {
        sizesKept = sizesKept && entries[static_cast<size_t>(i)].size == sizeof(SmstProfileEntry);
    }
    Log(3, L"FAKE",
        std::wstring(L"sizes ") + (sizesKept ? L"kept" : L"changed") + L", guard " +
            (Untouched(entries.back()) ? L"untouched" : L"written"));

    for (int32_t i = 0; i < total; ++i) {
        const SmstProfileEntry& entry = entries[static_cast<size_t>(i)];
        if (std::wcscmp(entry.transportId, kFakeTransportId) != 0) {
            continue;
        }
        char* utf8 = wtou(entry.profileData);
        unsigned char* bytes = nullptr;
        const size_t count = lutBase64Decode(utf8, std::strlen(utf8), &bytes);
        Log(3, L"FAKE", L"profile " + std::wstring(entry.profileName) + L" " + HexOf(bytes, count));
        delete[] utf8;
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

    // A shorter count than there are profiles: the entry past it must stay as it was.
    std::vector<SmstProfileEntry> few(2);
    for (SmstProfileEntry& entry : few) {
        entry.size = sizeof entry;
    }
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

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        self = instance;
    }
    return TRUE;
}

extern "C" __declspec(dllexport) const PluginInfo* queryPlugInfo() {
    return &kInfo;
}

extern "C" __declspec(dllexport) int pluginLoad(intptr_t, HRXFUNCTIONS* functions) {
    libHrxInit(functions);
    LogEntry notice{};
    notice.size = sizeof notice;
    notice.kind = 1;
    notice.source = L"SMSX";
    notice.message = L"Wtyczka próbna startuje";
    functions->fnCall(L"HRX/Log", reinterpret_cast<intptr_t>(&notice), 0);

    LogEntry shortEntry{};
    shortEntry.size = 32;
    Call(L"HRX/Log", &shortEntry, 0);
    Call(L"HRX/NoSuchService", reinterpret_cast<const void*>(1), 2);

    std::vector<wchar_t> path(261);
    SettingsPathRequest request{};
    request.size = sizeof request;
    request.buffer = path.data();
    request.capacity = 261;
    Call(L"HRX/Settings/GetMyConfigFile", &request, reinterpret_cast<intptr_t>(self));
    settingsHandle = Call(L"HRX/Settings/Init", path.data(), reinterpret_cast<intptr_t>(self));
    hrx::g_pF->functions.fnCall(L"HRX/Settings/Read", settingsHandle, 0);

    if (!hrx::g_pF->functions.fnExists(L"SMST/Register")) {
        Log(-2, nullptr, hrx::g_pTrans->msg(kModule, 1000, L"Brak obsługi SMS"));
    }
    SmstTransportInfo transport{};
    transport.size = sizeof transport;
    transport.transportId = kFakeTransportId;
    transport.displayName = hrx::g_pTrans->msg(kModule, 1001, L"Transport próbny");
    transport.number10 = 10;
    transport.maxSingleText = 160;
    transport.number50 = 50;
    transport.send = Send;
    transport.configure = Configure;
    Call(L"SMST/Register", &transport, 0);

    MenuItemDef item{};
    item.size = sizeof item;
    item.itemId = L"Fake/Menu";
    item.parentMenu = L"HRX/Menu/Main/Opt";
    item.caption = hrx::g_pTrans->msg(kModule, 1002, L"Archiwum próbne");
    item.position = -20000000;
    item.callback = OnMenu;
    item.instance = self;
    Call(L"HRX/Menu/Add", &item, 0);

    hrx::g_pF->functions.fnRegister(L"Fake/Echo", Echo);
    return 0;
}

extern "C" __declspec(dllexport) int pluginUnload() {
    hrx::g_pF->functions.fnCall(L"HRX/Settings/Write", settingsHandle, 0);
    hrx::g_pF->functions.fnCall(L"HRX/Settings/Destroy", settingsHandle,
                                reinterpret_cast<intptr_t>(self));
    Call(L"SMST/Unregister", kFakeTransportId, 0);
    libHrxTerminate();
    return 0;
}
