// The UI library's dialog bases as real windows: the navigation list driven as a user
// drives it and the notification that pages read, the header, the content area through
// resizes, and the child page that follows its parent.
#include "hrx/hrxui.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "dialog_framework/controls.h"

namespace {

constexpr int kPageTemplate = 300, kChildTemplate = 301;  // in hrxui_test.rc

std::wstring Id(const hrx::CVLCTreeNode* node) {
    return node != nullptr ? node->id : L"-";
}

class TestPage : public hrx::CUIWin7Dialog {
public:
    TestPage() : CUIWin7Dialog(kPageTemplate) {}

    std::wstring told;  // "new<old;" for each notification, "new<old code;" for a code not 1
    const hrx::CVLCTreeNode* lastNew = nullptr;
    hrx::UIContentRect seenAtSize{};  // the content area as the page's own WM_SIZE saw it
    HWND placed = nullptr;            // a child page that WM_SIZE moves into the content area
    int dataOne = 1;

protected:
    BOOL OnInitDialog() override {
        CUIWin7Dialog::OnInitDialog();
        hrx::CVistaListControl& list = GetNavigationList();
        hrx::CVLCTreeNode* one = list.InsertItem(L"Test/One", L"", L"Pierwsza", 0, 0, &dataOne);
        one->header = L"Pierwsza strona";
        one->subheader = L"Opis pierwszej";
        list.InsertItem(L"Test/Two", L"", L"Druga", 0, 0, nullptr);
        list.InsertItem(L"Test/One/Sub", L"Test/One", L"Podrzędna", 0, 0, nullptr);
        return FALSE;
    }
    const dlg::MessageMap* GetMessageMap() const override {
        static const dlg::MessageMapOf<TestPage> map = {
            dlg::OnMessage(WM_USER + 7, &TestPage::OnSelectionChange),
            dlg::OnSize(&TestPage::OnPageSize),
        };
        return &map;
    }

private:
    // The record as a page reads it: three fields at offsets 0, 8 and 16.
    LRESULT OnSelectionChange(WPARAM, LPARAM l) {
        const hrx::CVLCTreeNode* oldItem = nullptr;
        uint32_t code = 0;
        std::memcpy(&lastNew, reinterpret_cast<const char*>(l), 8);
        std::memcpy(&oldItem, reinterpret_cast<const char*>(l) + 8, 8);
        std::memcpy(&code, reinterpret_cast<const char*>(l) + 16, 4);
        told += Id(lastNew) + L"<" + Id(oldItem) + (code == 1 ? L"" : L" " + std::to_wstring(code));
        told += lastNew == GetNavigationList().GetSelectedItem() ? L";" : L" not selected;";
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
    ChildPage() : CUIScalableDialog(kChildTemplate) {}
};

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

// Pages are left hidden: under Wine without a window manager, every top-level window that
// was shown takes seconds to go away. Layout and input work the same on a hidden window.
TEST(UIWin7Dialog, NavigationTellsThePageOfEachChangeOnce) {
    TestPage page;
    ASSERT_TRUE(page.Create(nullptr));
    HWND list = GetDlgItem(page.hwnd(), hrx::kUINavigationId);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(page.GetNavigationList().hwnd(), list);
    // A child sits under its parent, before the next top-level item.
    ASSERT_EQ(SendMessageW(list, LB_GETCOUNT, 0, 0), 3);
    EXPECT_EQ(RowText(list, 0) + RowText(list, 1) + RowText(list, 2),
              L"Pierwsza    PodrzędnaDruga");

    const struct {
        const char* name;
        const wchar_t* id;  // SelectItem(id), or else the key, or else a click on the row
        UINT key;
        int row;
        bool found;  // what SelectItem answers
        const wchar_t* told;
        int selectedRow;
    } steps[] = {
        {"the first item by id", L"Test/One", 0, 0, true, L"Test/One<-;", 0},
        {"a click on the last row", nullptr, 0, 2, true, L"Test/Two<Test/One;", 2},
        {"a click on the row already selected", nullptr, 0, 2, true, L"", 2},
        {"the up key", nullptr, VK_UP, 0, true, L"Test/One/Sub<Test/Two;", 1},
        {"the selected item by id", L"Test/One/Sub", 0, 0, true, L"", 1},
        {"an id of no item", L"Test/None", 0, 0, false, L"", 1},
        {"a click on the first row", nullptr, 0, 0, true, L"Test/One<Test/One/Sub;", 0},
    };
    for (const auto& step : steps) {
        SCOPED_TRACE(step.name);
        page.told.clear();
        if (step.id != nullptr) {
            EXPECT_EQ(page.GetNavigationList().SelectItem(step.id), step.found);
        } else if (step.key != 0) {
            SendMessageW(list, WM_KEYDOWN, step.key, 0);
            SendMessageW(list, WM_KEYUP, step.key, 0);
        } else {
            ClickRow(list, step.row);
        }
        EXPECT_EQ(page.told, step.told);
        EXPECT_EQ(SendMessageW(list, LB_GETCURSEL, 0, 0), step.selectedRow);
    }
    // The item handed over is the one inserted, with what the page put into it.
    const hrx::CVLCTreeNode* one = page.lastNew;
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->data, &page.dataOne);
    EXPECT_EQ(one->header + one->subheader, L"Pierwsza stronaOpis pierwszej");
}

TEST(UIWin7Dialog, WithoutNavigationOrOnTheWindowMadeAgainSelectionStartsAfresh) {
    TestPage page;
    page.noNavigation = 1;
    ASSERT_TRUE(page.Create(nullptr));
    EXPECT_EQ(GetDlgItem(page.hwnd(), hrx::kUINavigationId), nullptr);
    EXPECT_EQ(page.GetNavigationList().hwnd(), nullptr);
    for (const bool again : {false, true}) {
        SCOPED_TRACE(again ? "window made again" : "without a navigation list");
        page.told.clear();
        EXPECT_TRUE(page.GetNavigationList().SelectItem(L"Test/Two"));
        // The items of the old window stood for its pages; none may come back.
        EXPECT_EQ(page.told, L"Test/Two<-;");
        DestroyWindow(page.hwnd());
        EXPECT_EQ(page.GetNavigationList().GetCount(), 0u);
        EXPECT_EQ(page.GetNavigationList().GetSelectedItem(), nullptr);
        EXPECT_EQ(page.GetNavigationList().hwnd(), nullptr);
        page.noNavigation = 0;
        ASSERT_TRUE(page.Create(nullptr));
        EXPECT_EQ(page.GetNavigationList().GetCount(), 3u);
        EXPECT_EQ(SendMessageW(page.GetNavigationList().hwnd(), LB_GETCOUNT, 0, 0), 3);
    }
}

// The header's texts, set before the window is made (bands 0 and 2) or on it; the content
// area under the header, right of the navigation, through resizes.
TEST(UIWin7Dialog, HeaderAndContentAreaFollowEveryResize) {
    for (const int bands : {0, 1, 2, 3}) {  // without navigation (1), without button band (2)
        SCOPED_TRACE(bands);
        TestPage page;
        page.noNavigation = bands & 1;
        page.noButtonBand = bands >> 1;
        if (page.noNavigation == 0)
            page.SetHeaders(L"Wiadomości SMS", L"Opcja umożliwia archiwizację.");
        ASSERT_TRUE(page.Create(nullptr));
        HWND self = page.hwnd();
        if (page.noNavigation != 0) {
            page.SetHeaders(L"pierwszy", L"drugi");
            page.SetHeaders(L"Wiadomości SMS", L"Opcja umożliwia archiwizację.");
        }
        const hrx::UIContentRect area = page.GetContentRect();
        for (const auto& [id, text] :
             {std::pair(hrx::kUIHeaderTitleId, L"Wiadomości SMS"),
              std::pair(hrx::kUIHeaderSubtitleId, L"Opcja umożliwia archiwizację.")}) {
            HWND header = GetDlgItem(self, id);
            ASSERT_NE(header, nullptr);
            EXPECT_EQ(dlg::WindowText(header), text);
            EXPECT_NE(GetWindowLongPtrW(header, GWL_STYLE) & WS_VISIBLE, 0);
            EXPECT_LE(InParent(header)[3], area.y);  // above the content area, not under it
        }
        RECT client;
        GetClientRect(self, &client);
        EXPECT_GT(area.width, 0);
        EXPECT_GT(area.height, 0);
        EXPECT_GE(std::min(area.x, area.y), 0);
        EXPECT_LE(area.x + area.width, client.right);
        EXPECT_LE(area.y + area.height, client.bottom);
        if (page.noNavigation == 0) {
            const std::vector<long> list = InParent(GetDlgItem(self, hrx::kUINavigationId));
            EXPECT_LE(list[2], area.x);  // right of the list
            EXPECT_GE(list[1], InParent(GetDlgItem(self, hrx::kUIHeaderSubtitleId))[3]);
        } else {
            EXPECT_LE(area.x, 10);  // the whole width
        }
        // Room for a page's button of 26 pixels whose top is 39 above the bottom.
        EXPECT_EQ(client.bottom - (area.y + area.height) >= 39, page.noButtonBand == 0);

        Grow(self, 100, 80);
        const hrx::UIContentRect grown = page.GetContentRect();
        EXPECT_EQ(AsEdges(grown), (std::vector<long>{area.x, area.y, area.x + area.width + 100,
                                                     area.y + area.height + 80}));
        EXPECT_EQ(AsEdges(page.seenAtSize), AsEdges(grown));  // before the page's own WM_SIZE

        // Minimised, the client area is empty; the layout is kept for the restore.
        SendMessageW(self, WM_SIZE, SIZE_MINIMIZED, 0);
        EXPECT_EQ(AsEdges(page.GetContentRect()), AsEdges(grown));
        GetClientRect(self, &client);
        EXPECT_EQ(InParent(GetDlgItem(self, hrx::kUIHeaderTitleId))[2], client.right - 10);
    }
}

// A child page keeps its place and grows with its parent unless the parent's own WM_SIZE
// places it, and a sibling page gone before it (object deleted or window destroyed) is not
// called into.
TEST(UIScalableDialog, ChildFollowsItsParentUnlessTheParentPlacesIt) {
    for (const int variant : {0, 1, 2, 3}) {  // 1: the parent places it; 2, 3: a sibling gone
        SCOPED_TRACE(variant);
        const bool parentPlaces = variant == 1;
        TestPage page;
        ASSERT_TRUE(page.Create(nullptr));
        auto* sibling = new ChildPage;
        ASSERT_TRUE(sibling->Create(page.hwnd()));
        ChildPage child;
        ASSERT_TRUE(child.Create(page.hwnd()));
        ShowWindow(child.hwnd(), SW_SHOWNOACTIVATE);
        MoveWindow(child.hwnd(), 220, 70, 200, 100, TRUE);
        page.placed = parentPlaces ? child.hwnd() : nullptr;
        if (variant == 2) {
            delete sibling;
            sibling = nullptr;
        } else if (variant == 3) {
            DestroyWindow(sibling->hwnd());
        }

        Grow(page.hwnd(), 100, 60);
        const std::vector<long> grown = InParent(child.hwnd());
        EXPECT_EQ(grown, (parentPlaces ? AsEdges(page.GetContentRect())
                                       : std::vector<long>{220, 70, 520, 230}));
        Grow(page.hwnd(), -50, -30);
        const std::vector<long> shrunk = InParent(child.hwnd());
        EXPECT_EQ(shrunk, (parentPlaces ? AsEdges(page.GetContentRect())
                                        : std::vector<long>{220, 70, 470, 200}));
        // What a window gets when it is minimised and restored.
        RECT client;
        GetClientRect(page.hwnd(), &client);
        SendMessageW(page.hwnd(), WM_SIZE, SIZE_MINIMIZED, 0);
        SendMessageW(page.hwnd(), WM_SIZE, SIZE_RESTORED, MAKELPARAM(client.right, client.bottom));
        EXPECT_EQ(InParent(child.hwnd()), shrunk);
        EXPECT_NE(grown, shrunk);
        delete sibling;
    }
}

}  // namespace
