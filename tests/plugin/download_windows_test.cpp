// The download worker's Windows side on real windows: rows put into a real list view, and
// a worker thread's end operations on the chooser's windows.
#include <gtest/gtest.h>
#include <windows.h>

// After <windows.h>, which it needs.
#include <commctrl.h>

#include <string>
#include <vector>

#include "dialog_framework/controls.h"
#include "download/cmgl_listing.h"
#include "ui/download_thread.h"

namespace tarnik {
namespace {

std::wstring Cell(HWND list, int row, int column) {
    dlg::ListView view;
    view.Attach(list);
    return view.ItemText(row, column);
}

class DownloadWindows : public ::testing::Test {
protected:
    void SetUp() override {
        INITCOMMONCONTROLSEX init{sizeof init, ICC_LISTVIEW_CLASSES};
        InitCommonControlsEx(&init);
        parent_ = CreateWindowExW(0, L"STATIC", L"", WS_OVERLAPPEDWINDOW, 0, 0, 600, 400, nullptr,
                                  nullptr, nullptr, nullptr);
        list_ = CreateWindowExW(0, WC_LISTVIEWW, L"", WS_CHILD | LVS_REPORT, 0, 0, 580, 300,
                                parent_, nullptr, nullptr, nullptr);
        ASSERT_NE(list_, nullptr);
        for (int c = 0; c < 4; ++c) {
            LVCOLUMNW column{};
            column.mask = LVCF_WIDTH;
            column.cx = 100;
            SendMessageW(list_, LVM_INSERTCOLUMNW, static_cast<WPARAM>(c),
                         reinterpret_cast<LPARAM>(&column));
        }
    }
    void TearDown() override { DestroyWindow(parent_); }
    HWND parent_ = nullptr;
    HWND list_ = nullptr;
};

TEST_F(DownloadWindows, RowsAreAddedAtTheEndWithTheirFourColumns) {
    std::vector<SmsPdu> records;
    ParseCmglListing(
        "+CMGL: 1,1,,23\r\n00040B918406214365F700004210517143548004D4F29C0E\r\n"
        "+CMGL: 2,3,,18\r\n0011010B918406214365F70000AA04D4F29C0E\r\n",
        records, "SM");
    std::vector<MessageGroup> groups;
    JoinLongMessages(records, groups);
    LVITEMW earlier{};
    earlier.mask = LVIF_TEXT;
    earlier.pszText = const_cast<wchar_t*>(L"earlier");
    SendMessageW(list_, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&earlier));

    LoadGroupsIntoList(groups, list_);
    ASSERT_EQ(SendMessageW(list_, LVM_GETITEMCOUNT, 0, 0), 3);
    EXPECT_EQ(Cell(list_, 0, 0), L"earlier");
    EXPECT_EQ(Cell(list_, 1, 0), L"");
    EXPECT_EQ(Cell(list_, 1, 1), L"+48601234567");
    EXPECT_EQ(Cell(list_, 1, 2), L"2024-01-15 17:34:45");
    EXPECT_EQ(Cell(list_, 1, 3), L"Test");
    EXPECT_EQ(Cell(list_, 2, 2), L"None");  // a stored outgoing message has no time stamp
}

TEST_F(DownloadWindows, AFailedRunGivesTheChooserBackItsControls) {
    HWND status = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 100, 20, parent_, nullptr,
                                  nullptr, nullptr);
    HWND button = CreateWindowExW(0, L"BUTTON", L"", WS_CHILD, 0, 0, 50, 20, parent_, nullptr,
                                  nullptr, nullptr);
    EnableWindow(button, FALSE);
    std::vector<MessageGroup> groups(2);
    HANDLE slot = nullptr;
    auto* job = new DownloadJob;
    job->profile.connectionKind = 3;  // no such link: the run fails before any library loads
    job->threadHandleSlot = &slot;
    job->listView = list_;
    job->statusLabel = status;
    job->groups = &groups;
    job->reenableWindows = {button};
    LVITEMW row{};
    row.mask = LVIF_TEXT;
    row.pszText = const_cast<wchar_t*>(L"old");
    SendMessageW(list_, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&row));

    slot = CreateThread(nullptr, 0, DownloadWorker, job, 0, nullptr);
    // The worker's window messages need this thread's message loop, as the chooser's.
    MSG msg;
    while (MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT) != WAIT_FAILED &&
           slot != INVALID_HANDLE_VALUE) {
        while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&msg);
    }
    EXPECT_EQ(slot, INVALID_HANDLE_VALUE);
    wchar_t text[64] = {};
    GetWindowTextW(status, text, 64);
    EXPECT_STREQ(text, L"Zakończono.");
    EXPECT_TRUE(IsWindowEnabled(button));
    EXPECT_TRUE(groups.empty());
    EXPECT_EQ(SendMessageW(list_, LVM_GETITEMCOUNT, 0, 0), 0);
}

}  // namespace
}  // namespace tarnik
