// The UI library's dialog bases as real windows: the navigation list driven as a user
// drives it and the notification that pages read, the header, the content area through
// resizes, and the child page that follows its parent.
#include "hrx/hrxui.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <string>
#include <vector>

#include "hrxui_test_ids.h"

namespace {

// A selection notification as a page reads it: three fields at offsets 0, 8 and 16.
struct Notice {
    const hrx::CVLCTreeNode* newItem;
    const hrx::CVLCTreeNode* oldItem;
    uint32_t code;
};

class TestPage : public hrx::CUIWin7Dialog {
public:
    TestPage() : CUIWin7Dialog(IDD_HRXUI_PAGE) {}

    bool withItems = true;
    std::vector<Notice> notices;
    hrx::UIContentRect seenAtSize{};  // the content area as the page's own WM_SIZE saw it
    HWND placed = nullptr;            // a child page that WM_SIZE moves into the content area
    int dataOne = 1;
    int dataTwo = 2;
    int dataSub = 3;

protected:
    BOOL OnInitDialog() override {
        CUIWin7Dialog::OnInitDialog();
        if (withItems) {
            hrx::CVistaListControl& list = GetNavigationList();
            hrx::CVLCTreeNode* one = list.InsertItem(L"Test/One", L"", L"Pierwsza", 0, 0, &dataOne);
            one->header = L"Pierwsza strona";
            one->subheader = L"Opis pierwszej";
            list.InsertItem(L"Test/Two", L"", L"Druga", 0, 0, &dataTwo);
            list.InsertItem(L"Test/One/Sub", L"Test/One", L"Podrzędna", 0, 0, &dataSub);
        }
        return FALSE;
    }
    const dlg::MessageMap* GetMessageMap() const override {
        static const dlg::MessageMapOf<TestPage> map = {
            dlg::OnMessage(hrx::WM_VLC_SELCHANGE, &TestPage::OnSelectionChange),
            dlg::OnSize(&TestPage::OnPageSize),
        };
        return &map;
    }

private:
    LRESULT OnSelectionChange(WPARAM, LPARAM l) {
        Notice notice{};
        const auto* record = reinterpret_cast<const char*>(l);
        std::memcpy(&notice.newItem, record, 8);
        std::memcpy(&notice.oldItem, record + 8, 8);
        std::memcpy(&notice.code, record + 16, 4);
        notices.push_back(notice);
        return 0;
    }
    // Without running the base's size handling: the base must have run it already.
    void OnPageSize(UINT, int, int) {
        seenAtSize = GetContentRect();
        if (placed != nullptr) {
            MoveWindow(placed, seenAtSize.x, seenAtSize.y, seenAtSize.width, seenAtSize.height,
                       TRUE);
        }
    }
};

class ChildPage : public hrx::CUIScalableDialog {
public:
    ChildPage() : CUIScalableDialog(IDD_HRXUI_CHILD) {}
};

std::wstring Id(const hrx::CVLCTreeNode* node) {
    return node != nullptr ? node->id : L"-";
}

std::wstring WindowText(HWND window) {
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return text;
}

std::wstring RowText(HWND list, int row) {
    wchar_t text[256] = {};
    SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(text));
    return text;
}

// Left, top, right, bottom in the parent's client coordinates.
std::vector<long> InParent(HWND window) {
    RECT place;
    GetWindowRect(window, &place);
    MapWindowPoints(nullptr, GetParent(window), reinterpret_cast<POINT*>(&place), 2);
    return {place.left, place.top, place.right, place.bottom};
}

std::vector<long> AsEdges(const hrx::UIContentRect& c) {
    return {c.x, c.y, c.x + c.width, c.y + c.height};
}

RECT Client(HWND window) {
    RECT client;
    GetClientRect(window, &client);
    return client;
}

void Grow(HWND window, int dx, int dy) {
    RECT outer;
    GetWindowRect(window, &outer);
    SetWindowPos(window, nullptr, 0, 0, outer.right - outer.left + dx,
                 outer.bottom - outer.top + dy, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

// The mouse pressed and released over a row, as the list box gets it from a user.
void ClickRow(HWND list, int row) {
    RECT item;
    SendMessageW(list, LB_GETITEMRECT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    const LPARAM at = MAKELPARAM((item.left + item.right) / 2, (item.top + item.bottom) / 2);
    SendMessageW(list, WM_LBUTTONDOWN, MK_LBUTTON, at);
    SendMessageW(list, WM_LBUTTONUP, 0, at);
}

// Left hidden: under Wine without a window manager, every top-level window that was shown
// takes seconds to go away. Layout and input work the same on a hidden window.
void CreatePage(TestPage& page) {
    ASSERT_TRUE(page.Create(nullptr));
}

// What a window gets when it is minimised and restored.
void MinimiseAndRestore(HWND window) {
    const RECT client = Client(window);
    SendMessageW(window, WM_SIZE, SIZE_MINIMIZED, 0);
    SendMessageW(window, WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
}

bool HasVisibleStyle(HWND window) {
    return (GetWindowLongPtrW(window, GWL_STYLE) & WS_VISIBLE) != 0;
}

TEST(UIWin7Dialog, NavigationTellsThePageOfEachChangeOnce) {
    TestPage page;
    CreatePage(page);
    HWND list = GetDlgItem(page.hwnd(), hrx::kUINavigationId);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(page.GetNavigationList().hwnd(), list);
    // A child sits under its parent, before the next top-level item.
    ASSERT_EQ(SendMessageW(list, LB_GETCOUNT, 0, 0), 3);
    EXPECT_EQ(RowText(list, 0), L"Pierwsza");
    EXPECT_EQ(RowText(list, 1), L"    Podrzędna");
    EXPECT_EQ(RowText(list, 2), L"Druga");

    enum Action { kById, kClick, kKey };
    struct Step {
        const char* name;
        Action action;
        const wchar_t* id;     // kById
        int row;               // kClick
        UINT key;              // kKey
        bool found;            // what SelectItem answers
        const wchar_t* newId;  // null: no notification
        const wchar_t* oldId;
        int selectedRow;
    };
    const Step steps[] = {
        {"the first item by id", kById, L"Test/One", 0, 0, true, L"Test/One", L"-", 0},
        {"a click on the last row", kClick, nullptr, 2, 0, true, L"Test/Two", L"Test/One", 2},
        {"a click on the row already selected", kClick, nullptr, 2, 0, true, nullptr, nullptr, 2},
        {"the up key", kKey, nullptr, 0, VK_UP, true, L"Test/One/Sub", L"Test/Two", 1},
        {"the selected item by id", kById, L"Test/One/Sub", 0, 0, true, nullptr, nullptr, 1},
        {"an id of no item", kById, L"Test/None", 0, 0, false, nullptr, nullptr, 1},
        {"a click on the first row", kClick, nullptr, 0, 0, true, L"Test/One", L"Test/One/Sub", 0},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        page.notices.clear();
        switch (step.action) {
            case kById:
                EXPECT_EQ(page.GetNavigationList().SelectItem(step.id), step.found);
                break;
            case kClick:
                ClickRow(list, step.row);
                break;
            case kKey:
                SendMessageW(list, WM_KEYDOWN, step.key, 0);
                SendMessageW(list, WM_KEYUP, step.key, 0);
                break;
        }
        if (step.newId == nullptr) {
            EXPECT_TRUE(page.notices.empty());
        } else {
            ASSERT_EQ(page.notices.size(), 1u);
            EXPECT_EQ(Id(page.notices[0].newItem), step.newId);
            EXPECT_EQ(Id(page.notices[0].oldItem), step.oldId);
            EXPECT_EQ(page.notices[0].code, hrx::VLC_SELECTION_CHANGED);
            EXPECT_EQ(page.notices[0].newItem, page.GetNavigationList().GetSelectedItem());
        }
        EXPECT_EQ(SendMessageW(list, LB_GETCURSEL, 0, 0), step.selectedRow);
    }
    // The item handed over is the one inserted, with what the page put into it.
    const hrx::CVLCTreeNode* one = page.notices.at(0).newItem;
    EXPECT_EQ(one->data, &page.dataOne);
    EXPECT_EQ(one->header, L"Pierwsza strona");
    EXPECT_EQ(one->subheader, L"Opis pierwszej");
}

TEST(UIWin7Dialog, WithoutNavigationItemsStillSelectAndTell) {
    TestPage page;
    page.noNavigation = 1;
    CreatePage(page);
    EXPECT_EQ(GetDlgItem(page.hwnd(), hrx::kUINavigationId), nullptr);
    EXPECT_EQ(page.GetNavigationList().hwnd(), nullptr);
    EXPECT_TRUE(page.GetNavigationList().SelectItem(L"Test/Two"));
    ASSERT_EQ(page.notices.size(), 1u);
    EXPECT_EQ(Id(page.notices[0].newItem), L"Test/Two");
    EXPECT_EQ(page.notices[0].oldItem, nullptr);
}

TEST(UIWin7Dialog, HeaderShowsTheTextsSetBeforeOrAfterTheWindowIsMade) {
    for (const bool before : {true, false}) {
        SCOPED_TRACE(before ? "set before the window" : "set on the window");
        TestPage page;
        if (before)
            page.SetHeaders(L"Wiadomości SMS", L"Opcja umożliwia archiwizację.");
        CreatePage(page);
        if (!before) {
            page.SetHeaders(L"pierwszy", L"drugi");
            page.SetHeaders(L"Wiadomości SMS", L"Opcja umożliwia archiwizację.");
        }
        HWND title = GetDlgItem(page.hwnd(), hrx::kUIHeaderTitleId);
        HWND subtitle = GetDlgItem(page.hwnd(), hrx::kUIHeaderSubtitleId);
        ASSERT_NE(title, nullptr);
        ASSERT_NE(subtitle, nullptr);
        EXPECT_EQ(WindowText(title), L"Wiadomości SMS");
        EXPECT_EQ(WindowText(subtitle), L"Opcja umożliwia archiwizację.");
        EXPECT_TRUE(HasVisibleStyle(title));
        EXPECT_TRUE(HasVisibleStyle(subtitle));
        // Above the content area, not hidden under the page.
        EXPECT_LE(InParent(title)[3], page.GetContentRect().y);
        EXPECT_LE(InParent(subtitle)[3], page.GetContentRect().y);
    }
}

TEST(UIWin7Dialog, ContentAreaLiesRightOfTheNavigationAndFollowsEveryResize) {
    struct Case {
        const char* name;
        int noNavigation;
        int noButtonBand;
    };
    const Case cases[] = {
        {"navigation and button band", 0, 0},
        {"without navigation", 1, 0},
        {"without button band", 0, 1},
        {"neither, as the profile chooser", 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestPage page;
        page.noNavigation = c.noNavigation;
        page.noButtonBand = c.noButtonBand;
        CreatePage(page);
        HWND self = page.hwnd();

        const hrx::UIContentRect area = page.GetContentRect();
        const RECT client = Client(self);
        EXPECT_GT(area.width, 0);
        EXPECT_GT(area.height, 0);
        EXPECT_GE(area.x, 0);
        EXPECT_GE(area.y, 0);
        EXPECT_LE(area.x + area.width, client.right);
        EXPECT_LE(area.y + area.height, client.bottom);
        if (c.noNavigation == 0) {
            const std::vector<long> list = InParent(GetDlgItem(self, hrx::kUINavigationId));
            EXPECT_LE(list[2], area.x);  // right of the list
            EXPECT_GE(list[1], InParent(GetDlgItem(self, hrx::kUIHeaderSubtitleId))[3]);
        } else {
            EXPECT_LE(area.x, 10);  // the whole width
        }
        // Room for a page's button of 26 pixels whose top is 39 above the bottom.
        const long below = client.bottom - (area.y + area.height);
        if (c.noButtonBand == 0) {
            EXPECT_GE(below, 39);
        } else {
            EXPECT_LT(below, 39);
        }

        Grow(self, 100, 80);
        const hrx::UIContentRect grown = page.GetContentRect();
        EXPECT_EQ(AsEdges(grown), (std::vector<long>{area.x, area.y, area.x + area.width + 100,
                                                     area.y + area.height + 80}));
        EXPECT_EQ(AsEdges(page.seenAtSize), AsEdges(grown));  // before the page's own WM_SIZE

        // Minimised, the client area is empty; the layout is kept for the restore.
        SendMessageW(self, WM_SIZE, SIZE_MINIMIZED, 0);
        EXPECT_EQ(AsEdges(page.GetContentRect()), AsEdges(grown));
        EXPECT_EQ(InParent(GetDlgItem(self, hrx::kUIHeaderTitleId))[2], Client(self).right - 10);
    }
}

TEST(UIWin7Dialog, WindowMadeAgainStartsFromAnEmptyNavigation) {
    TestPage page;
    CreatePage(page);
    ASSERT_TRUE(page.GetNavigationList().SelectItem(L"Test/Two"));
    DestroyWindow(page.hwnd());
    EXPECT_EQ(page.GetNavigationList().GetCount(), 0u);
    EXPECT_EQ(page.GetNavigationList().GetSelectedItem(), nullptr);
    EXPECT_EQ(page.GetNavigationList().hwnd(), nullptr);

    // The items of the old window stood for its pages; none may come back.
    page.notices.clear();
    CreatePage(page);
    EXPECT_EQ(page.GetNavigationList().GetCount(), 3u);
    EXPECT_EQ(SendMessageW(page.GetNavigationList().hwnd(), LB_GETCOUNT, 0, 0), 3);
    ASSERT_TRUE(page.GetNavigationList().SelectItem(L"Test/Two"));
    ASSERT_EQ(page.notices.size(), 1u);
    EXPECT_EQ(page.notices[0].oldItem, nullptr);
}

TEST(UIScalableDialog, ChildFollowsItsParentUnlessTheParentPlacesIt) {
    for (const bool parentPlaces : {false, true}) {
        SCOPED_TRACE(parentPlaces ? "the parent places it" : "the parent leaves it");
        TestPage page;
        page.withItems = false;
        CreatePage(page);
        ChildPage child;
        ASSERT_TRUE(child.Create(page.hwnd()));
        ShowWindow(child.hwnd(), SW_SHOWNOACTIVATE);
        MoveWindow(child.hwnd(), 220, 70, 200, 100, TRUE);
        if (parentPlaces)
            page.placed = child.hwnd();

        Grow(page.hwnd(), 100, 60);
        if (parentPlaces) {
            EXPECT_EQ(InParent(child.hwnd()), AsEdges(page.GetContentRect()));
        } else {
            EXPECT_EQ(InParent(child.hwnd()), (std::vector<long>{220, 70, 520, 230}));
        }
        const std::vector<long> grown = InParent(child.hwnd());
        Grow(page.hwnd(), -50, -30);
        if (!parentPlaces) {
            EXPECT_EQ(InParent(child.hwnd()), (std::vector<long>{220, 70, 470, 200}));
        }
        const std::vector<long> shrunk = InParent(child.hwnd());
        MinimiseAndRestore(page.hwnd());
        EXPECT_EQ(InParent(child.hwnd()), shrunk);
        EXPECT_NE(grown, shrunk);
    }
}

TEST(UIScalableDialog, ParentOutlivesAChildPageGoneBeforeIt) {
    enum Gone { kObjectDeleted, kWindowDestroyed };
    for (const Gone gone : {kObjectDeleted, kWindowDestroyed}) {
        SCOPED_TRACE(gone == kObjectDeleted ? "object deleted" : "window destroyed");
        TestPage page;
        page.withItems = false;
        CreatePage(page);
        auto* first = new ChildPage;
        ASSERT_TRUE(first->Create(page.hwnd()));
        ChildPage second;
        ASSERT_TRUE(second.Create(page.hwnd()));
        MoveWindow(second.hwnd(), 10, 10, 100, 50, TRUE);
        if (gone == kObjectDeleted) {
            delete first;
            first = nullptr;
        } else {
            DestroyWindow(first->hwnd());
        }
        Grow(page.hwnd(), 40, 20);  // no call into what is gone
        EXPECT_EQ(InParent(second.hwnd()), (std::vector<long>{10, 10, 150, 80}));
        delete first;
    }
}

}  // namespace
