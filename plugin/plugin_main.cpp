// The module's entry points: what the host asks before loading us, start-up, shutdown.
#include <windows.h>

#include <memory>

#include "hrx/hrxcore.h"
#include "plugin/host_records.h"
#include "plugin/host_services.h"
#include "plugin/transport_callbacks.h"
#include "ui/archive_page.h"
#include "ui/module_app.h"
#include "ui/settings_dialog.h"

namespace tarnik {

namespace {

// The host's settings object of this module, from load to unload.
intptr_t settingsHandle = 0;

constexpr uint64_t PackVersion(uint16_t a, uint16_t b, uint16_t c, uint16_t d) {
    return uint64_t{a} << 48 | uint64_t{b} << 32 | uint64_t{c} << 16 | d;
}

const PluginInfo kPluginInfo = {
    sizeof(PluginInfo),
    0,
    L"Tarnik",
    L"GSM transport for GSM phones",
    L"Copyright (C) 2026 Tarnik. All rights reserved.",
    L"Tarnik",
    L"tarnik@tarnik.example",
    L"https://tarnik.example/",
    L"https://updates.tarnik.example/update/Tarnik.xml",
    PackVersion(2, 0, 0, 1200),
    PackVersion(0, 8, 21, 3052),
    3,
    0,
    nullptr,
    L"{5E2A8C41-93D7-4B6E-A1F0-2C7D9E3B5A86}",
    {nullptr, nullptr, nullptr},
};
static_assert(PackVersion(2, 0, 0, 1200) == 0x00020000000004B0ull, "2.0.0.1200");
static_assert(PackVersion(0, 8, 21, 3052) == 0x0000000800150BECull, "0.8.21.3052");

constexpr uint32_t kSettingsPathCapacity = 261;

}  // namespace

}  // namespace tarnik

using namespace tarnik;

// Only hands out a constant: nothing here can throw or needs the module current.
extern "C" __declspec(dllexport) const PluginInfo* queryPlugInfo() noexcept {
    return &kPluginInfo;
}

namespace {

constexpr UserText kSmsSwitchedOff{
    1000,
    u"Usiłujesz używać transportu sms (Tarnik), jednak wyłączyłeś obsługę SMSów w "
    u"programie. Wiesz, że to bezsens?"};
constexpr UserText kTransportName{1001, u"Transport GSM (BT/Ir/COM)"};

void Load(HRXFUNCTIONS* functions) {
    libHrxInit(functions);

    // The start-up notice is the one call made through the table handed in.
    LogEntry notice{};
    notice.size = sizeof notice;
    notice.kind = 1;
    notice.source = L"SMSX";
    notice.message = L"GSM transport plugin starting up...";
    functions->fnCall(L"HRX/Log", reinterpret_cast<intptr_t>(&notice), 0);

    // We keep no settings of our own, but open the host's object for this module so that
    // it is written back at shutdown.
    const auto instance = reinterpret_cast<intptr_t>(theApp.instance());
    std::unique_ptr<wchar_t[]> path(new wchar_t[kSettingsPathCapacity]());
    SettingsPathRequest request{};
    request.size = sizeof request;
    request.buffer = path.get();
    request.capacity = kSettingsPathCapacity;
    CallService(L"HRX/Settings/GetMyConfigFile", &request, instance);
    settingsHandle = CallService(L"HRX/Settings/Init", path.get(), instance);
    CallService(L"HRX/Settings/Read", settingsHandle);
    path.reset();

    if (!ServiceExists(L"SMST/Register")) {
        LogEntry warning{};
        warning.size = sizeof warning;
        warning.kind = -2;
        warning.message = Tr(kSmsSwitchedOff);
        CallService(L"HRX/Log", &warning);
    }

    SmstTransportInfo transport{};
    transport.size = sizeof transport;
    transport.transportId = kTransportId;
    transport.displayName = Tr(kTransportName);
    transport.number10 = 10;
    transport.maxSingleText = 160;
    transport.number50 = 50;
    transport.send = TransportSend;
    transport.configure = TransportConfigure;
    CallService(L"SMST/Register", &transport);

    MenuItemDef item{};
    item.size = sizeof item;
    item.itemId = L"GSM/Access";
    item.parentMenu = L"HRX/Menu/Main/Opt";
    item.caption = Tr(1002, L"Archiwizacja SMS-\u00f3w");
    item.position = -20000000;
    item.callback = ShowArchivePage;
    item.instance = theApp.instance();
    CallService(L"HRX/Menu/Add", &item);
}

void Unload() {
    CallService(L"HRX/Settings/Write", settingsHandle);
    CallService(L"HRX/Settings/Destroy", settingsHandle,
                reinterpret_cast<intptr_t>(theApp.instance()));
    CallService(L"SMST/Unregister", kTransportId);
    // The page's destroy handler first ends an open profile chooser and outwaits its
    // download (whose link it closes); only then do the windows and objects go. The host
    // may be calling from inside the chooser's own loop: that frame finds the chooser
    // abandoned and leaves without touching the page.
    if (archivePage != nullptr) {
        if (IsWindow(archivePage->hwnd()))
            DestroyWindow(archivePage->hwnd());
        delete archivePage;
        archivePage = nullptr;
    }
    libHrxTerminate();
}

}  // namespace

// Start-up and shutdown never fail towards the host: 0 in every case.
extern "C" __declspec(dllexport) int pluginLoad(intptr_t, HRXFUNCTIONS* functions) {
    return HostEntry(0, [&] {
        Load(functions);
        return 0;
    });
}

extern "C" __declspec(dllexport) int pluginUnload() {
    return HostEntry(0, [] {
        Unload();
        return 0;
    });
}

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            DisableThreadLibraryCalls(instance);
            return theApp.InitInstance(instance) ? TRUE : FALSE;
        case DLL_PROCESS_DETACH:
            theApp.ExitInstance();
            return TRUE;
        default:
            return TRUE;
    }
}
