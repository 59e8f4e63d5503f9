#include "dialog_framework/controls.h"

namespace dlg {

std::wstring Window::Text() const {
    const int length = GetWindowTextLengthW(hwnd_);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    const int copied = GetWindowTextW(hwnd_, text.data(), length + 1);
    text.resize(static_cast<size_t>(copied > 0 ? copied : 0));
    return text;
}

std::wstring ComboBox::ItemText(int index) const {
    const LRESULT length = Send(CB_GETLBTEXTLEN, static_cast<WPARAM>(index));
    if (length < 0) return {};
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    Send(CB_GETLBTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<size_t>(length));
    return text;
}

std::wstring ListBox::ItemText(int index) const {
    const LRESULT length = Send(LB_GETTEXTLEN, static_cast<WPARAM>(index));
    if (length < 0) return {};
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    Send(LB_GETTEXT, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<size_t>(length));
    return text;
}

}  // namespace dlg
