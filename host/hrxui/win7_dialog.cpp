// The page with a header and a navigation list. The base watches its own window through a
// subclass rather than the page's message map: a page's map replaces the base's, and the
// base must see the list's notifications, every resize and the window's end all the same.
#include <windows.h>
// After <windows.h>, which it needs.
#include <commctrl.h>

#include <algorithm>

#include "hrx/hrxui.h"

namespace hrx {

namespace {

// Pixels. The content area starts where a page expects it: 210 from the left, 60 from the
// top, 10 from the right, and 50 from the bottom when the band for buttons is kept.
constexpr int kMargin = 10;
constexpr int kHeaderHeight = 60;
constexpr int kNavigationWidth = 190;
constexpr int kButtonBand = 50;

HWND CreateChild(HWND parent, const wchar_t* className, DWORD exStyle, DWORD style, int id,
                 const wchar_t* text) {
    const auto instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(parent, GWLP_HINSTANCE));
    return CreateWindowExW(exStyle, className, text, WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0,
                           parent, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), instance,
                           nullptr);
}

}  // namespace

CUIWin7Dialog::CUIWin7Dialog(UINT templateId, HWND owner) : dlg::CDialog(templateId, owner) {}

CUIWin7Dialog::~CUIWin7Dialog() {
    // dlg::CDialog destroys a window that is still there after this; the base must not
    // see its messages any more.
    ReleaseFrame();
}

void CUIWin7Dialog::SetHeaders(const wchar_t* title, const wchar_t* subtitle) {
    title_ = title != nullptr ? title : L"";
    subtitle_ = subtitle != nullptr ? subtitle : L"";
    if (titleWindow_ != nullptr)
        SetWindowTextW(titleWindow_, title_.c_str());
    if (subtitleWindow_ != nullptr)
        SetWindowTextW(subtitleWindow_, subtitle_.c_str());
}

BOOL CUIWin7Dialog::OnInitDialog() {
    HWND self = hwnd();
    const auto font = static_cast<WPARAM>(SendMessageW(self, WM_GETFONT, 0, 0));
    titleWindow_ = CreateChild(self, L"STATIC", 0, SS_LEFTNOWORDWRAP | SS_NOPREFIX,
                               kUIHeaderTitleId, title_.c_str());
    subtitleWindow_ = CreateChild(self, L"STATIC", 0, SS_LEFT | SS_NOPREFIX, kUIHeaderSubtitleId,
                                  subtitle_.c_str());
    HWND list = nullptr;
    if (noNavigation == 0) {
        list = CreateChild(self, L"LISTBOX", WS_EX_CLIENTEDGE,
                           WS_TABSTOP | WS_VSCROLL | LBS_NOTIFY | LBS_NOINTEGRALHEIGHT,
                           kUINavigationId, L"");
        SendMessageW(list, WM_SETFONT, font, FALSE);
    }
    LOGFONTW bold{};
    if (font != 0 && GetObjectW(reinterpret_cast<HFONT>(font), sizeof bold, &bold) != 0) {
        bold.lfWeight = FW_BOLD;
        titleFont_ = CreateFontIndirectW(&bold);
    }
    SendMessageW(titleWindow_, WM_SETFONT,
                 titleFont_ != nullptr ? reinterpret_cast<WPARAM>(titleFont_) : font, FALSE);
    SendMessageW(subtitleWindow_, WM_SETFONT, font, FALSE);
    navigation_.Attach(self, list);

    if (SetWindowSubclass(self, FrameProc, 0, reinterpret_cast<DWORD_PTR>(this)))
        frame_ = self;
    RECT client;
    GetClientRect(self, &client);
    OnSize(SIZE_RESTORED, client.right, client.bottom);
    return dlg::CDialog::OnInitDialog();
}

void CUIWin7Dialog::OnSize(UINT type, int cx, int cy) {
    // Minimised, the client area is empty: keep the layout for the restore.
    if (type == SIZE_MINIMIZED || titleWindow_ == nullptr)
        return;
    HWND list = navigation_.hwnd();
    content_.x = list != nullptr ? kMargin + kNavigationWidth + kMargin : kMargin;
    content_.y = kHeaderHeight;
    content_.width = std::max(0, cx - content_.x - kMargin);
    content_.height = std::max(0, cy - kHeaderHeight - (noButtonBand != 0 ? kMargin : kButtonBand));

    const int headerWidth = std::max(0, cx - 2 * kMargin);
    MoveWindow(titleWindow_, kMargin, 8, headerWidth, 18, TRUE);
    MoveWindow(subtitleWindow_, kMargin, 28, headerWidth, 28, TRUE);
    if (list != nullptr) {
        MoveWindow(list, kMargin, kHeaderHeight, kNavigationWidth,
                   std::max(0, cy - kHeaderHeight - kMargin), TRUE);
    }
}

void CUIWin7Dialog::OnCancel() {
    if (IsModal()) {
        dlg::CDialog::OnCancel();
    } else {
        ShowWindow(hwnd(), SW_HIDE);
    }
}

void CUIWin7Dialog::OnDestroy() {
    navigation_.Reset();
    titleWindow_ = nullptr;
    subtitleWindow_ = nullptr;
}

void CUIWin7Dialog::ReleaseFrame() {
    if (frame_ != nullptr)
        RemoveWindowSubclass(frame_, FrameProc, 0);
    frame_ = nullptr;
    // At WM_NCDESTROY the header's windows are gone already; from the destructor, the
    // window goes right after without painting again.
    if (titleFont_ != nullptr)
        DeleteObject(titleFont_);
    titleFont_ = nullptr;
}

// Everything that uses the object happens before the page sees the message: the page may
// delete the object while it handles it.
LRESULT CALLBACK CUIWin7Dialog::FrameProc(HWND hwnd, UINT message, WPARAM w, LPARAM l, UINT_PTR,
                                          DWORD_PTR ref) {
    auto* self = reinterpret_cast<CUIWin7Dialog*>(ref);
    switch (message) {
        case WM_COMMAND:
            if (LOWORD(w) == kUINavigationId && HIWORD(w) == LBN_SELCHANGE &&
                reinterpret_cast<HWND>(l) == self->navigation_.hwnd()) {
                self->navigation_.OnUserSelection();
                return 0;
            }
            break;
        case WM_SIZE:
            self->OnSize(static_cast<UINT>(w), LOWORD(l), HIWORD(l));
            break;
        case WM_DESTROY:
            self->OnDestroy();
            break;
        case WM_NCDESTROY:
            self->ReleaseFrame();
            break;
        default:
            break;
    }
    return DefSubclassProc(hwnd, message, w, l);
}

}  // namespace hrx
