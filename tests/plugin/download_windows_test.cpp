// The download worker's Windows side on real windows: a worker thread's end operations on
// the chooser's windows. The rows it puts into the list view are checked end to end
// (tests/integration/download_e2e_test.py), on a list the worker has always cleared first.
#include <gtest/gtest.h>
#include <windows.h>

// After <windows.h>, which it needs.
#include <commctrl.h>

#include <vector>

#include "ui/download_thread.h"

namespace tarnik {
namespace {

TEST(DownloadWindows, AFailedRunClearsTheListAndGivesTheChooserBackItsControls) {
    INITCOMMONCONTROLSEX init{sizeof init, ICC_LISTVIEW_CLASSES};
    InitCommonControlsEx(&init);
    HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 600, 400, nullptr,
                                  nullptr, nullptr, nullptr);
    auto child = [parent](const wchar_t* kind) {
        return CreateWindowExW(0, kind, L"", WS_CHILD | LVS_REPORT, 0, 0, 100, 20, parent, nullptr,
                               nullptr, nullptr);
    };
    HWND list = child(WC_LISTVIEWW);
    HWND status = child(L"STATIC");
    HWND button = child(L"BUTTON");
    EnableWindow(button, FALSE);
    LVITEMW row{};
    row.mask = LVIF_TEXT;
    row.pszText = const_cast<wchar_t*>(L"old");
    SendMessageW(list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&row));
    std::vector<MessageGroup> groups(2);
    HANDLE slot = nullptr;
    auto* job = new DownloadJob;
    job->profile.connectionKind = 3;  // no such link: the run fails before any library loads
    job->threadHandleSlot = &slot;
    job->listView = list;
    job->statusLabel = status;
    job->groups = &groups;
    job->reenableWindows = {button};

    slot = CreateThread(nullptr, 0, DownloadWorker, job, 0, nullptr);
    // The worker's window messages need this thread's message loop, as the chooser's.
    MSG msg;
    while (MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT) != WAIT_FAILED &&
           slot != INVALID_HANDLE_VALUE) {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
    }
    wchar_t text[64] = {};
    GetWindowTextW(status, text, 64);
    EXPECT_STREQ(text, L"Zakończono.");
    EXPECT_TRUE(IsWindowEnabled(button));
    EXPECT_TRUE(groups.empty());
    EXPECT_EQ(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0), 0);
    DestroyWindow(parent);
}

}  // namespace
}  // namespace tarnik
