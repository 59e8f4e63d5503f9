// The child page that follows its parent's size. A child window hears nothing of its
// parent's resize, so the page watches its parent through a subclass of its own (one per
// page, keyed by the object) for as long as both exist.
#include <windows.h>
// After <windows.h>, which it needs.
#include <commctrl.h>

#include <algorithm>

#include "hrx/hrxui.h"

namespace hrx {

namespace {

RECT PlaceInParent(HWND page) {
    RECT place;
    GetWindowRect(page, &place);
    MapWindowPoints(nullptr, GetParent(page), reinterpret_cast<POINT*>(&place), 2);
    return place;
}

}  // namespace

CUIScalableDialog::CUIScalableDialog(UINT templateId, HWND owner)
    : dlg::CDialog(templateId, owner) {}

CUIScalableDialog::~CUIScalableDialog() {
    StopFollowing();
}

BOOL CUIScalableDialog::OnInitDialog() {
    StopFollowing();
    HWND self = hwnd();
    HWND parent = GetParent(self);
    RECT client;
    if ((GetWindowLongPtrW(self, GWL_STYLE) & WS_CHILD) != 0 && parent != nullptr &&
        GetClientRect(parent, &client) &&
        SetWindowSubclass(parent, ParentProc, reinterpret_cast<UINT_PTR>(this),
                          reinterpret_cast<DWORD_PTR>(this))) {
        parent_ = parent;
        parentSize_ = {client.right, client.bottom};
    }
    return dlg::CDialog::OnInitDialog();
}

void CUIScalableDialog::OnSize(UINT, int, int) {
    if (hwnd() != nullptr)
        InvalidateRect(hwnd(), nullptr, TRUE);
}

void CUIScalableDialog::StopFollowing() {
    if (parent_ != nullptr) {
        RemoveWindowSubclass(parent_, ParentProc, reinterpret_cast<UINT_PTR>(this));
    }
    parent_ = nullptr;
}

LRESULT CALLBACK CUIScalableDialog::ParentProc(HWND hwnd, UINT message, WPARAM w, LPARAM l,
                                               UINT_PTR, DWORD_PTR ref) {
    auto* self = reinterpret_cast<CUIScalableDialog*>(ref);
    if (message == WM_NCDESTROY) {
        self->StopFollowing();
        return DefSubclassProc(hwnd, message, w, l);
    }
    // Minimised, the client area is empty: the restore comes back to the size kept.
    HWND page = self->hwnd();
    if (message != WM_SIZE || w == SIZE_MINIMIZED || page == nullptr) {
        return DefSubclassProc(hwnd, message, w, l);
    }
    const SIZE old = self->parentSize_;
    self->parentSize_ = {LOWORD(l), HIWORD(l)};
    const RECT before = PlaceInParent(page);
    const int width =
        std::max(0, static_cast<int>(before.right - before.left + LOWORD(l) - old.cx));
    const int height =
        std::max(0, static_cast<int>(before.bottom - before.top + HIWORD(l) - old.cy));

    // The parent's own handling may delete the page: from here on only the window is used,
    // and a deleted page took its window with it.
    const LRESULT result = DefSubclassProc(hwnd, message, w, l);
    if (!IsWindow(page))
        return result;
    const RECT after = PlaceInParent(page);
    if (!EqualRect(&before, &after))
        return result;  // the parent placed the page itself
    MoveWindow(page, before.left, before.top, width, height, TRUE);
    return result;
}

}  // namespace hrx
