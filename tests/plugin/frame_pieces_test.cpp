// The plug-in's Win32 pieces on real windows: the progress log on a list box, the module
// state guard, and profiles read from enumeration entries through the host utilities.
#include <gtest/gtest.h>
#include <windows.h>

#include <stdexcept>
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
    switch (message) {
        case LB_ADDSTRING:
        case LB_SETCURSEL:
        case LB_GETCOUNT:
        case LB_GETTEXTLEN:
        case LB_GETTEXT:
        case LB_DELETESTRING:
            g_messages.push_back(message);
            break;
        default:
            break;
    }
    return CallWindowProcW(g_original, hwnd, message, w, l);
}

class ProgressListBox : public ::testing::Test {
protected:
    void SetUp() override {
        parent_ = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 300, 200, nullptr,
                                  nullptr, nullptr, nullptr);
        list_ = CreateWindowExW(0, L"LISTBOX", L"", WS_CHILD | WS_VISIBLE | WS_VSCROLL, 0, 0, 280,
                                180, parent_, nullptr, nullptr, nullptr);
        ASSERT_NE(list_, nullptr);
        g_original = reinterpret_cast<WNDPROC>(
            SetWindowLongPtrW(list_, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(Recorder)));
        g_messages.clear();
    }
    void TearDown() override { DestroyWindow(parent_); }

    std::vector<std::wstring> Lines() const {
        std::vector<std::wstring> lines;
        const LRESULT count = SendMessageW(list_, LB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < count; ++i) {
            wchar_t buffer[256] = {};
            SendMessageW(list_, LB_GETTEXT, static_cast<WPARAM>(i),
                         reinterpret_cast<LPARAM>(buffer));
            lines.emplace_back(buffer);
        }
        return lines;
    }
    LRESULT Selected() const { return SendMessageW(list_, LB_GETCURSEL, 0, 0); }

    HWND parent_ = nullptr;
    HWND list_ = nullptr;
};

// Each case keeps the messages of the call under test before the checks send their own.
TEST_F(ProgressListBox, AppendingToAnEmptyListAddsNothing) {
    AppendProgress(list_, L"OK", true);
    const std::vector<UINT> sent = g_messages;
    EXPECT_TRUE(Lines().empty());
    EXPECT_EQ(sent, std::vector<UINT>{LB_GETCOUNT});
}

TEST_F(ProgressListBox, StageAndOutcomeShareOneSelectedLine) {
    AppendProgress(list_, L"Parametry... ", false);
    AppendProgress(list_, L"OK", true);
    AppendProgress(list_, L"Wysyłam... ", false);
    g_messages.clear();
    AppendProgress(list_, L"OK", true);
    const std::vector<UINT> sent = g_messages;
    EXPECT_EQ(Lines(), (std::vector<std::wstring>{L"Parametry... OK", L"Wysyłam... OK"}));
    EXPECT_EQ(Selected(), 1);
    const std::vector<UINT> expected = {LB_GETCOUNT,     LB_GETTEXTLEN, LB_GETTEXT,
                                        LB_DELETESTRING, LB_ADDSTRING,  LB_SETCURSEL};
    EXPECT_EQ(sent, expected);
}

TEST_F(ProgressListBox, NewLineIsAddedAndSelected) {
    for (int i = 0; i < 29; ++i) {
        AppendProgress(list_, L"Adresat: 48601234567", false);
    }
    g_messages.clear();
    AppendProgress(list_, L"Adresat: 48601234567", false);
    const std::vector<UINT> sent = g_messages;
    EXPECT_EQ(Lines().size(), 30u);
    EXPECT_EQ(Selected(), 29);
    EXPECT_EQ(sent, (std::vector<UINT>{LB_ADDSTRING, LB_SETCURSEL}));
}

TEST_F(ProgressListBox, AppendedTextLandsOnWhateverLineIsLast) {
    AppendProgress(list_, L"Wysyłam... ", false);
    SendMessageW(list_, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(L"the caller's own line"));
    AppendProgress(list_, L"Błąd", true);
    EXPECT_EQ(Lines(), (std::vector<std::wstring>{L"Wysyłam... ", L"the caller's own lineBłąd"}));
}

TEST(ModuleState, GuardRestoresTheCallersModuleOnEveryWayOut) {
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
        try {
            dlg::ModuleStateGuard failing(user, INVALID_HANDLE_VALUE);
            throw std::runtime_error("error path");
        } catch (const std::runtime_error&) {
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
    const struct {
        const char* name;
        const wchar_t* base64;
        bool ok;
        uint8_t kind, port;
    } cases[] = {
        {"thirteen bytes, COM7, report", L"AgcAAAAAAAAAAAABAA==", true, 2, 7},
        {"thirteen zero bytes", L"AAAAAAAAAAAAAAAAAA==", true, 0, 0},
        {"twelve bytes are not a record", L"AgcAAAAAAAAAAAAB", false, 0, 0},
        {"nothing", L"", false, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        GsmProfile profile{};
        EXPECT_EQ(ProfileFromBase64(c.base64, profile), c.ok);
        if (c.ok) {
            EXPECT_EQ(profile.connectionKind, c.kind);
            EXPECT_EQ(profile.comPort, c.port);
        }
    }
    GsmProfile profile{};
    EXPECT_FALSE(ProfileFromBase64(nullptr, profile));
}

}  // namespace
}  // namespace tarnik
