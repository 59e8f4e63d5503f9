// The plug-in's Win32 pieces on real windows: the progress log on a list box, the module
// state guard, and profiles read from enumeration entries through the host utilities.
#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

#include "dialog_framework/module_state.h"
#include "plugin/host_records.h"
#include "send/progress_log_win32.h"
#include "ui/profile_entry.h"

namespace tarnik {
namespace {

// Records, in order, the progress log's list box messages that reach the control (the
// control sends itself others while it paints).
std::vector<UINT> g_messages;
WNDPROC g_original = nullptr;

LRESULT CALLBACK Recorder(HWND hwnd, UINT message, WPARAM w, LPARAM l) {
    for (UINT m :
         {LB_ADDSTRING, LB_SETCURSEL, LB_GETCOUNT, LB_GETTEXTLEN, LB_GETTEXT, LB_DELETESTRING}) {
        if (message == m)
            g_messages.push_back(message);
    }
    return CallWindowProcW(g_original, hwnd, message, w, l);
}

// Each case starts from lines put into the list box directly, so the outcome lands on
// whatever line is last, the caller's own too.
TEST(ProgressListBox, StagesAddLinesAndOutcomesExtendTheLastOne) {
    const struct {
        std::vector<std::wstring> before;
        const wchar_t* text;
        bool outcome;
        std::vector<std::wstring> after;
        LRESULT selected;
        std::vector<UINT> sent;
    } cases[] = {
        {{}, L"OK", true, {}, LB_ERR, {LB_GETCOUNT}},
        {{L"Parametry... OK", L"Wysyłam... "},
         L"OK",
         true,
         {L"Parametry... OK", L"Wysyłam... OK"},
         1,
         {LB_GETCOUNT, LB_GETTEXTLEN, LB_GETTEXT, LB_DELETESTRING, LB_ADDSTRING, LB_SETCURSEL}},
        {{L"Wysyłam... ", L""},
         L"Błąd",
         true,
         {L"Wysyłam... ", L"Błąd"},
         1,
         {LB_GETCOUNT, LB_GETTEXTLEN, LB_DELETESTRING, LB_ADDSTRING, LB_SETCURSEL}},
        {{L"Parametry... OK"},
         L"Adresat: 1",
         false,
         {L"Parametry... OK", L"Adresat: 1"},
         1,
         {LB_ADDSTRING, LB_SETCURSEL}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200,
                                      nullptr, nullptr, nullptr, nullptr);
        HWND list = CreateWindowExW(0, L"LISTBOX", L"", WS_CHILD | WS_VISIBLE | WS_VSCROLL, 0, 0,
                                    280, 180, parent, nullptr, nullptr, nullptr);
        for (const std::wstring& line : c.before)
            SendMessageW(list, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(line.c_str()));
        g_original = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(list, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Recorder)));
        g_messages.clear();
        AppendProgress(list, c.text, c.outcome);
        EXPECT_EQ(g_messages, c.sent);
        std::vector<std::wstring> lines;
        for (LRESULT i = 0; i < SendMessageW(list, LB_GETCOUNT, 0, 0); ++i) {
            wchar_t buffer[256] = {};
            SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(i),
                         reinterpret_cast<LPARAM>(buffer));
            lines.emplace_back(buffer);
        }
        EXPECT_EQ(lines, c.after);
        EXPECT_EQ(SendMessageW(list, LB_GETCURSEL, 0, 0), c.selected);
        DestroyWindow(parent);
    }
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
    HANDLE thread = CreateThread(
        nullptr, 0,
        [](void* out) -> DWORD {
            *static_cast<HINSTANCE*>(out) = dlg::CurrentResourceModule();
            return 0;
        },
        &seen, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    EXPECT_EQ(seen, exe);
}

TEST(ProfileEntry, Base64RecordsThroughTheHostUtilities) {
    GsmProfile profile{};
    ASSERT_TRUE(ProfileFromBase64(L"AgcAAAAAAAAAAAABAA==", profile));
    EXPECT_EQ(std::vector<int>({profile.connectionKind, profile.comPort, profile.waitForReport}),
              std::vector<int>({2, 7, 1}));
    EXPECT_FALSE(ProfileFromBase64(L"AgcAAAAAAAAAAAAB", profile));  // twelve bytes
    EXPECT_FALSE(ProfileFromBase64(L"", profile));
    EXPECT_FALSE(ProfileFromBase64(nullptr, profile));
}

}  // namespace
}  // namespace tarnik
