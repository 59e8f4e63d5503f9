// The plug-in's Win32 pieces on real windows: the progress log on a list box, the module
// state guard, and profiles read from enumeration entries through the host utilities.
#include <gtest/gtest.h>
#include <windows.h>

// After <windows.h>, which it needs.
#include <commctrl.h>

#include <string>
#include <thread>
#include <vector>

#include "dialog_framework/module_state.h"
#include "hrx/hrxutil.h"
#include "plugin/host_records.h"
#include "send/progress_log_win32.h"
#include "ui/profile_entry.h"

namespace tarnik {
namespace {

// Names, in order, the progress log's list box messages that reach the control (the
// control sends itself others while it paints), and its paints: the send job pumps no
// messages, so a line is seen before the send ends only if it is painted on the spot.
std::string g_sent;
WNDPROC g_original = nullptr;

LRESULT CALLBACK Recorder(HWND hwnd, UINT message, WPARAM w, LPARAM l) {
    const std::pair<UINT, const char*> named[] = {
        {LB_GETCOUNT, "count"},      {LB_GETTEXTLEN, "length"}, {LB_GETTEXT, "text"},
        {LB_DELETESTRING, "delete"}, {LB_ADDSTRING, "add"},     {LB_SETCURSEL, "select"},
        {WM_PAINT, "paint"}};
    for (const auto& [m, name] : named) {
        if (message == m)
            g_sent += (g_sent.empty() ? "" : " ") + std::string(name);
    }
    return CallWindowProcW(g_original, hwnd, message, w, l);
}

HWND Window(const wchar_t* kind, HWND parent = nullptr) {
    return CreateWindowExW(0, kind, L"",
                           parent ? WS_CHILD | WS_VISIBLE | LVS_REPORT : WS_OVERLAPPEDWINDOW, 0, 0,
                           300, 200, parent, nullptr, nullptr, nullptr);
}

// Each case starts from lines (between '|') put into the list box directly, so the outcome
// lands on whatever line is last, the caller's own too.
TEST(ProgressListBox, StagesAddLinesAndOutcomesExtendTheLastOne) {
    const struct {
        const wchar_t* before;
        const wchar_t* text;
        bool outcome;
        const wchar_t* after;
        LRESULT selected;
        const char* sent;
    } cases[] = {
        {L"", L"OK", true, L"", LB_ERR, "count"},
        {L"Parametry... OK|Wysyłam... ", L"OK", true, L"Parametry... OK|Wysyłam... OK", 1,
         "count length text delete add select paint"},
        {L"Wysyłam... |", L"Błąd", true, L"Wysyłam... |Błąd", 1,
         "count length delete add select paint"},
        {L"Parametry... OK", L"Adresat: 1", false, L"Parametry... OK|Adresat: 1", 1, "add select"},
    };
    // On screen, so that a paint is due when the lines change.
    HWND parent = Window(L"STATIC");
    ShowWindow(parent, SW_SHOWNOACTIVATE);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        HWND list = Window(L"LISTBOX", parent);
        const std::wstring before = c.before;
        for (size_t at = 0, bar = 0; !before.empty() && bar != std::wstring::npos; at = bar + 1) {
            bar = before.find(L'|', at);
            const std::wstring line = before.substr(at, bar - at);
            SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
        }
        UpdateWindow(list);
        g_original = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(list, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Recorder)));
        g_sent.clear();
        AppendProgress(list, c.text, c.outcome);
        EXPECT_EQ(g_sent, c.sent);
        std::wstring lines;
        for (LRESULT i = 0; i < SendMessageW(list, LB_GETCOUNT, 0, 0); ++i) {
            wchar_t buffer[256] = {};
            SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i),
                         reinterpret_cast<LPARAM>(buffer));
            lines += (i > 0 ? L"|" : L"") + std::wstring(buffer);
        }
        EXPECT_EQ(lines, c.after);
        EXPECT_EQ(SendMessageW(list, LB_GETCURSEL, 0, 0), c.selected);
        DestroyWindow(list);
    }
    DestroyWindow(parent);
}

TEST(ModuleState, GuardRestoresTheCallersModulePerThread) {
    const HINSTANCE exe = GetModuleHandleW(nullptr);
    const HINSTANCE kernel = GetModuleHandleW(L"kernel32.dll");
    const HINSTANCE user = GetModuleHandleW(L"user32.dll");
    EXPECT_EQ(dlg::CurrentResourceModule(), exe);
    {
        dlg::ModuleStateGuard outer(kernel, INVALID_HANDLE_VALUE);
        EXPECT_EQ(dlg::CurrentResourceModule(), kernel);
        {
            dlg::ModuleStateGuard inner(user, INVALID_HANDLE_VALUE);
            EXPECT_EQ(dlg::CurrentResourceModule(), user);
        }
        EXPECT_EQ(dlg::CurrentResourceModule(), kernel);
    }
    EXPECT_EQ(dlg::CurrentResourceModule(), exe);
    // Another thread keeps its own state.
    dlg::ModuleStateGuard here(kernel, INVALID_HANDLE_VALUE);
    HINSTANCE seen = nullptr;
    std::thread([&seen] { seen = dlg::CurrentResourceModule(); }).join();
    EXPECT_EQ(seen, exe);
}

// This program's import slot of a host utility, so that a test can see what it is passed.
void** ImportSlot(void* function) {
    auto* base = reinterpret_cast<BYTE*>(GetModuleHandleW(nullptr));
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    const IMAGE_DATA_DIRECTORY& imports =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto* library = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
         library->Name != 0; ++library) {
        for (auto* slot = reinterpret_cast<void**>(base + library->FirstThunk); *slot != nullptr;
             ++slot) {
            if (*slot == function)
                return slot;
        }
    }
    return nullptr;
}

std::string g_decoded;  // the text lutBase64Decode was given, as far as it was told
decltype(&lutBase64Decode) g_decode = nullptr;

size_t RecordingDecode(const char* text, size_t length, unsigned char** out) {
    g_decoded.assign(text != nullptr ? text : "", text != nullptr ? length : 0);
    return g_decode(text, length, out);
}

TEST(ProfileEntry, Base64RecordsThroughTheHostUtilities) {
    // A decoder may refuse a zero inside the length it is given: the text goes without its
    // terminating zero.
    g_decode = &lutBase64Decode;
    void** slot = ImportSlot(reinterpret_cast<void*>(g_decode));
    ASSERT_NE(slot, nullptr);
    DWORD was = 0;
    ASSERT_TRUE(VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &was));
    *slot = reinterpret_cast<void*>(&RecordingDecode);
    GsmProfile profile{};
    ASSERT_TRUE(ProfileFromBase64(L"AgcAAAAAAAAAAAABAA==", profile));
    EXPECT_EQ(std::vector<int>({profile.connectionKind, profile.comPort, profile.waitForReport}),
              std::vector<int>({2, 7, 1}));
    EXPECT_FALSE(ProfileFromBase64(L"AgcAAAAAAAAAAAAB", profile));  // twelve bytes
    EXPECT_EQ(g_decoded, "AgcAAAAAAAAAAAAB");
    EXPECT_FALSE(ProfileFromBase64(L"", profile));
    EXPECT_FALSE(ProfileFromBase64(nullptr, profile));
    *slot = reinterpret_cast<void*>(g_decode);
    VirtualProtect(slot, sizeof *slot, was, &was);
}

}  // namespace
}  // namespace tarnik
