// The plug-in as its host sees it: this program plays the host, hands the plug-in a
// function table that records every service call with its record's bytes, and checks
// the start-up and shutdown sequences. The texts' translation numbers are checked end to
// end (tests/integration/translation_numbers_test.py).
#include <gtest/gtest.h>
#include <windows.h>
// After <windows.h>, which it needs.
#include <commctrl.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>
#include <string>
#include <vector>

#include "dialog_framework/module_state.h"
#include "hrx/hrxcore.h"
#include "hrx/hrxui.h"
#include "plugin/host_records.h"
#include "res/resource_ids.h"

// Expected records name their leading fields; the rest is zero.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace tarnik {
namespace {

struct Call {
    std::wstring service;
    std::vector<uint8_t> record;  // the first argument's bytes, when it is a record
    intptr_t first;
    intptr_t second;
    HANDLE context = nullptr;  // the activation context the call came under
};

std::vector<Call> g_calls;
bool g_smsPresent = true;
std::wstring g_throwIn;  // a service that throws, as a host out of memory would
constexpr intptr_t kSettingsHandle = 0x5E77;
const wchar_t kSettingsPath[] = L"C:\\hostdata\\settings\\tarnik.ini";

// The handle only names the context: whoever activated it keeps it alive.
HANDLE CurrentContext() {
    HANDLE context = nullptr;
    if (GetCurrentActCtx(&context) && context != nullptr)
        ReleaseActCtx(context);
    return context;
}

intptr_t RecordingCall(const wchar_t* service, intptr_t first, intptr_t second) {
    Call call{service, {}, first, second, CurrentContext()};
    // These records state their own size in their first four bytes.
    for (const wchar_t* withRecord :
         {L"HRX/Log", L"HRX/Settings/GetMyConfigFile", L"SMST/Register", L"HRX/Menu/Add"}) {
        if (call.service == withRecord && first != 0) {
            const auto* bytes = reinterpret_cast<const uint8_t*>(first);
            uint32_t size = 0;
            std::memcpy(&size, bytes, sizeof size);
            call.record.assign(bytes, bytes + size);
        }
    }
    g_calls.push_back(call);
    if (call.service == g_throwIn)
        throw std::bad_alloc();
    if (call.service == L"HRX/Settings/GetMyConfigFile") {
        auto* request = reinterpret_cast<SettingsPathRequest*>(first);
        wcsncpy(request->buffer, kSettingsPath, request->capacity);
    }
    if (call.service == L"HRX/Settings/Init") {
        // The path must be the one written into the buffer, still alive during the call.
        EXPECT_STREQ(reinterpret_cast<const wchar_t*>(first), kSettingsPath);
        return kSettingsHandle;
    }
    return 0;
}

intptr_t RecordingExists(const wchar_t* service) {
    g_calls.push_back({std::wstring(L"exists ") + service, {}, 0, 0, CurrentContext()});
    return g_smsPresent && std::wstring(service).rfind(L"SMST/", 0) == 0 ? 1 : 0;
}

// `want` in the bytes of a recorded record, but for the pointers at `texts`, compared as
// the texts they point to, and those at `present`, which must only be set.
template <typename Record>
void ExpectRecord(const Call& call, Record want, std::initializer_list<size_t> texts,
                  std::initializer_list<size_t> present = {}) {
    ASSERT_EQ(call.record.size(), sizeof want) << "size field";
    std::vector<uint8_t> got = call.record;
    auto* expected = reinterpret_cast<uint8_t*>(&want);
    for (size_t at : texts) {
        const wchar_t *gotText, *wantText;
        std::memcpy(&gotText, got.data() + at, sizeof gotText);
        std::memcpy(&wantText, expected + at, sizeof wantText);
        EXPECT_STREQ(gotText, wantText) << "text at " << at;
        std::memcpy(got.data() + at, &wantText, sizeof wantText);
    }
    for (size_t at : present) {
        void* pointer;
        std::memcpy(&pointer, got.data() + at, sizeof pointer);
        EXPECT_NE(pointer, nullptr) << "pointer at " << at;
        std::memcpy(expected + at, &pointer, sizeof pointer);
    }
    for (size_t i = 0; i < sizeof want; ++i)
        EXPECT_EQ(got[i], expected[i]) << "byte " << i;
}

class PluginFrame : public ::testing::Test {
protected:
    void SetUp() override {
        g_calls.clear();
        g_smsPresent = true;
        g_throwIn.clear();
        module_ = LoadLibraryW(L"tarnik.dll");
        ASSERT_NE(module_, nullptr) << "tarnik.dll beside the test";
        Bind(query_, "queryPlugInfo");
        Bind(load_, "pluginLoad");
        Bind(unload_, "pluginUnload");
        ASSERT_TRUE(query_ && load_ && unload_);
        table_.size = sizeof table_;
        table_.fnCall = RecordingCall;
        table_.fnExists = RecordingExists;
    }
    void TearDown() override {
        if (module_ != nullptr)
            FreeLibrary(module_);
    }

    template <typename Fn>
    void Bind(Fn& entry, const char* name) {
        entry = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    std::vector<std::wstring> Services() const {
        std::vector<std::wstring> names;
        for (const Call& c : g_calls)
            names.push_back(c.service);
        return names;
    }

    HMODULE module_ = nullptr;
    const PluginInfo* (*query_)() = nullptr;
    int (*load_)(intptr_t, HRXFUNCTIONS*) = nullptr;
    int (*unload_)() = nullptr;
    HRXFUNCTIONS table_{};
};

TEST_F(PluginFrame, InformationExportsAndVersionResource) {
    const PluginInfo* info = query_();
    EXPECT_TRUE(g_calls.empty());
    const auto* bytes = reinterpret_cast<const uint8_t*>(info);
    using P = PluginInfo;
    ExpectRecord(Call{L"", {bytes, bytes + info->size}, 0, 0},
                 P{128, 0, L"Tarnik", L"GSM transport for GSM phones", nullptr, nullptr, nullptr,
                   nullptr, nullptr, 0x00020000000004B0ull, 0x0000000800150BECull, 3, 0, nullptr,
                   L"{5E2A8C41-93D7-4B6E-A1F0-2C7D9E3B5A86}"},
                 {offsetof(P, shortName), offsetof(P, description), offsetof(P, pluginId)},
                 {offsetof(P, legalNotice), offsetof(P, author), offsetof(P, email),
                  offsetof(P, webAddress), offsetof(P, updateManifest)});
    const std::wstring manifest = info->updateManifest;
    EXPECT_EQ(manifest.substr(manifest.size() - 18), L"/update/Tarnik.xml");

    const auto* base = reinterpret_cast<const uint8_t*>(module_);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const auto* exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::vector<std::string> exported;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        exported.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    EXPECT_EQ(exported, (std::vector<std::string>{"pluginLoad", "pluginUnload", "queryPlugInfo"}));

    wchar_t path[MAX_PATH];
    GetModuleFileNameW(module_, path, MAX_PATH);
    DWORD ignored = 0;
    std::vector<uint8_t> version(GetFileVersionInfoSizeW(path, &ignored));
    ASSERT_FALSE(version.empty());
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(version.size()), version.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    const std::vector<DWORD> expected = {0x8, 0x150BEC, 0x8, 0x150BEC};
    EXPECT_EQ((std::vector<DWORD>{fixed->dwFileVersionMS, fixed->dwFileVersionLS,
                                  fixed->dwProductVersionMS, fixed->dwProductVersionLS}),
              expected);
}

TEST_F(PluginFrame, StartUpAndShutdownSequences) {
    const intptr_t instance = reinterpret_cast<intptr_t>(module_);
    for (bool smsPresent : {true, false}) {
        SCOPED_TRACE(smsPresent ? "SMS plug-in present" : "SMS plug-in absent");
        g_calls.clear();
        g_smsPresent = smsPresent;
        EXPECT_EQ(load_(0, &table_), 0);

        std::vector<std::wstring> expected = {L"HRX/Log", L"HRX/Settings/GetMyConfigFile",
                                              L"HRX/Settings/Init", L"HRX/Settings/Read",
                                              L"exists SMST/Register"};
        if (!smsPresent)
            expected.push_back(L"HRX/Log");
        expected.insert(expected.end(), {L"SMST/Register", L"HRX/Menu/Add"});
        ASSERT_EQ(Services(), expected);

        using L = LogEntry;
        ExpectRecord(g_calls[0], L{sizeof(L), 1, L"SMSX", L"GSM transport plugin starting up..."},
                     {offsetof(L, source), offsetof(L, message)});
        EXPECT_EQ(g_calls[0].second, 0);
        ExpectRecord(g_calls[1], SettingsPathRequest{32, 0, nullptr, 261}, {},
                     {offsetof(SettingsPathRequest, buffer)});
        EXPECT_EQ(g_calls[1].second, instance);
        EXPECT_EQ(g_calls[2].second, instance);
        EXPECT_EQ(g_calls[3].first, kSettingsHandle);
        EXPECT_EQ(g_calls[3].second, 0);
        if (!smsPresent) {
            ExpectRecord(g_calls[5],
                         L{sizeof(L), -2, nullptr,
                           L"Usiłujesz używać transportu sms (Tarnik), jednak wyłączyłeś obsługę "
                           L"SMSów w programie. Wiesz, że to bezsens?"},
                         {offsetof(L, message)});
        }
        using T = SmstTransportInfo;
        const Call& reg = g_calls[smsPresent ? 5 : 6];
        ExpectRecord(reg,
                     T{sizeof(T), 0, L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35",
                       L"Transport GSM (BT/Ir/COM)", 0, 0, 0, 10, 160, 50},
                     {offsetof(T, transportId), offsetof(T, displayName)},
                     {offsetof(T, send), offsetof(T, configure)});
        EXPECT_EQ(reg.second, 0);
        using M = MenuItemDef;
        M menu{sizeof(M), 0, L"GSM/Access", L"HRX/Menu/Main/Opt", L"Archiwizacja SMS-ów", 0,
               0,         0, -20000000};
        menu.instance = module_;
        ExpectRecord(g_calls.back(), menu,
                     {offsetof(M, itemId), offsetof(M, parentMenu), offsetof(M, caption)},
                     {offsetof(M, callback)});

        g_calls.clear();
        EXPECT_EQ(unload_(), 0);
        ASSERT_EQ(Services(),
                  (std::vector<std::wstring>{L"HRX/Settings/Write", L"HRX/Settings/Destroy",
                                             L"SMST/Unregister"}));
        EXPECT_EQ(g_calls[0].first, kSettingsHandle);
        EXPECT_EQ(g_calls[1].first, kSettingsHandle);
        EXPECT_EQ(g_calls[1].second, instance);
        EXPECT_STREQ(reinterpret_cast<const wchar_t*>(g_calls[2].first),
                     L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35");
        EXPECT_EQ(hrx::g_pF, nullptr);
    }
}

// Each entry point answers with its failure value for a request it cannot use, and
// whatever the host's services and translations throw into it stays in the plug-in.
TEST_F(PluginFrame, CallbacksRefuseUnusableRequestsAndNoExceptionReachesTheHost) {
    g_throwIn = L"HRX/Settings/Init";
    EXPECT_EQ(load_(0, &table_), 0);
    g_throwIn = L"HRX/Settings/Write";
    EXPECT_EQ(unload_(), 0);
    g_throwIn.clear();

    // The host reads its translations from the file this names when the plug-in loads.
    for (const wchar_t* translations : {L"", TARNIK_THROWING_TRANSLATIONS}) {
        SCOPED_TRACE(*translations ? "throwing translations" : "no translations");
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", *translations ? translations : nullptr);
        g_calls.clear();
        load_(0, &table_);
        SetEnvironmentVariableW(L"HRX_TRANSLATIONS", nullptr);
        SmstTransportInfo transport;
        MenuItemDef menu;
        std::memcpy(&transport, g_calls.end()[-2].record.data(), sizeof transport);
        std::memcpy(&menu, g_calls.back().record.data(), sizeof menu);
        ASSERT_TRUE(transport.send && transport.configure && menu.callback);

        const bool throwing = *translations != L'\0';
        uint8_t profile[13] = {2, 1};
        SmstSendInfo request{};
        request.size = sizeof request;
        request.profileData = profile;
        request.profileLength = throwing ? 13 : 12;  // a record is 13 bytes
        EXPECT_EQ(transport.send(&request), 2);
        EXPECT_EQ(transport.send(nullptr), 2);
        SmstConfigureInfo configure{};
        configure.size = sizeof configure;
        configure.profileData = profile;
        EXPECT_EQ(transport.configure(throwing ? &configure : nullptr), 0);
        EXPECT_EQ(configure.writtenLength, 0u);  // the dialog ended at once
        EXPECT_EQ(menu.callback(0, 0), 0);
        EXPECT_EQ(unload_(), 0);
    }
}

// The archive page as the host's menu opens it: the plug-in loaded, its menu entry used.
HWND OpenArchivePage(const Call& menuAdd) {
    MenuItemDef menu;
    std::memcpy(&menu, menuAdd.record.data(), sizeof menu);
    EXPECT_EQ(menu.callback(0, 0), 0);
    struct Search {
        HWND found = nullptr;
    } search;
    EnumThreadWindows(
        GetCurrentThreadId(),
        [](HWND window, LPARAM l) {
            wchar_t caption[64] = {};
            GetWindowTextW(window, caption, 64);
            if (std::wstring(caption) != L"Komunikacja z telefonem GSM")
                return TRUE;
            reinterpret_cast<Search*>(l)->found = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

// Wine's comctl32 reports 5.81 from DllGetVersion under any context, so version 6 shows in
// what its controls do: only a version 6 button answers BCM_GETIDEALSIZE, and only under
// version 6 is an edit box comctl32's rather than user32's.
bool OnCommonControls6(HWND button, HWND edit) {
    SIZE ideal{};
    const bool buttonV6 =
        SendMessageW(button, BCM_GETIDEALSIZE, 0, reinterpret_cast<LPARAM>(&ideal)) != 0;
    HMODULE owner = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCWSTR>(GetWindowLongPtrW(edit, GWLP_WNDPROC)), &owner);
    const bool editV6 = owner != nullptr && owner == GetModuleHandleW(L"comctl32.dll");
    EXPECT_EQ(buttonV6, editV6) << "the button and the edit box disagree";
    return buttonV6 && editV6;
}

// The plug-in's windows run on common controls 6 from its own manifest while the host's
// do not, every call from the host runs under the plug-in's context, and the caller's
// comes back afterwards, also when the call ends in an exception.
TEST_F(PluginFrame, OwnActivationContextForEveryCallFromTheHost) {
    HWND hostButton = CreateWindowExW(0, WC_BUTTONW, L"x", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                      nullptr, nullptr);
    HWND hostEdit = CreateWindowExW(0, WC_EDITW, L"", WS_POPUP | ES_MULTILINE, 0, 0, 10, 10,
                                    nullptr, nullptr, nullptr, nullptr);
    EXPECT_FALSE(OnCommonControls6(hostButton, hostEdit));
    DestroyWindow(hostButton);
    DestroyWindow(hostEdit);

    ASSERT_EQ(CurrentContext(), nullptr);
    load_(0, &table_);
    const HANDLE ours = g_calls.front().context;
    EXPECT_NE(ours, nullptr);
    for (const Call& call : g_calls)
        EXPECT_EQ(call.context, ours) << call.service;
    EXPECT_EQ(CurrentContext(), nullptr);

    HWND page = OpenArchivePage(g_calls.back());
    ASSERT_NE(page, nullptr);
    HWND download = FindWindowExW(page, nullptr, L"#32770", nullptr);  // the download page
    EXPECT_TRUE(OnCommonControls6(GetDlgItem(page, IDOK), GetDlgItem(download, IDC_MESSAGE_TEXT)));
    EXPECT_EQ(CurrentContext(), nullptr);

    // A caller with a context of its own gets it back from a call that threw. Any context
    // will do for the caller's: this one is made from the plug-in's manifest again.
    const HANDLE callers = dlg::CreateModuleActivationContext(module_);
    ASSERT_NE(callers, INVALID_HANDLE_VALUE);
    ULONG_PTR cookie = 0;
    ASSERT_TRUE(ActivateActCtx(callers, &cookie));
    g_calls.clear();
    g_throwIn = L"HRX/Settings/Write";
    EXPECT_EQ(unload_(), 0);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_EQ(g_calls[0].context, ours);
    EXPECT_EQ(CurrentContext(), callers);
    DeactivateActCtx(0, cookie);
    ReleaseActCtx(callers);
}

// Tab and Shift+Tab through the archive page's dialog manager, as the host's message loop
// hands it the keys, go through the download page's controls as well as the page's own.
TEST_F(PluginFrame, TabReachesTheDownloadPagesControls) {
    load_(0, &table_);
    HWND page = OpenArchivePage(g_calls.back());
    ASSERT_NE(page, nullptr);
    const auto press = [page](bool shift) {
        BYTE keys[256];
        GetKeyboardState(keys);
        keys[VK_SHIFT] = shift ? 0x80 : 0;
        SetKeyboardState(keys);
        PostMessageW(GetFocus(), WM_KEYDOWN, VK_TAB, 1);
        PostMessageW(GetFocus(), WM_KEYUP, VK_TAB, 0xC0000001);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (!IsDialogMessageW(page, &message)) {
                TranslateMessage(&message);
                DispatchMessageW(&message);
            }
        }
        keys[VK_SHIFT] = 0;
        SetKeyboardState(keys);
        return GetDlgCtrlID(GetFocus());
    };
    struct Case {
        const char* name;
        bool shift;
        std::vector<int> stops;  // from the close button on, round to it again
    };
    for (const Case& c : {
             Case{"Tab", false, {hrx::kUINavigationId, IDC_MESSAGE_LIST, IDC_MESSAGE_TEXT, IDOK}},
             Case{"Shift+Tab",
                  true,
                  {IDC_MESSAGE_TEXT, IDC_MESSAGE_LIST, hrx::kUINavigationId, IDOK}},
         }) {
        SCOPED_TRACE(c.name);
        SetFocus(GetDlgItem(page, IDOK));
        std::vector<int> stops;
        for (size_t i = 0; i < c.stops.size(); ++i)
            stops.push_back(press(c.shift));
        EXPECT_EQ(stops, c.stops);
    }
    EXPECT_EQ(unload_(), 0);
}

}  // namespace
}  // namespace tarnik
