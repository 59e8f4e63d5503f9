#include "dialog_framework/controls.h"

namespace dlg {

std::wstring WindowText(HWND window) {
    const int length = GetWindowTextLengthW(window);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    const int copied = GetWindowTextW(window, text.data(), length + 1);
    text.resize(static_cast<size_t>(copied > 0 ? copied : 0));
    return text;
}

namespace {

// A list item's text by its length message and its text message (combo and list boxes).
std::wstring ItemText(const Window& box, UINT lengthMessage, UINT textMessage, int index) {
    const LRESULT length = box.Send(lengthMessage, static_cast<WPARAM>(index));
    if (length < 0)
        return {};
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    box.Send(textMessage, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(text.data()));
    text.resize(static_cast<size_t>(length));
    return text;
}

}  // namespace

std::wstring ComboBox::ItemText(int index) const {
    return dlg::ItemText(*this, CB_GETLBTEXTLEN, CB_GETLBTEXT, index);
}

std::wstring ListBox::ItemText(int index) const {
    return dlg::ItemText(*this, LB_GETTEXTLEN, LB_GETTEXT, index);
}

int ListView::InsertColumn(int index, const std::wstring& title, int width) {
    LVCOLUMNW column{};
    column.mask = LVCF_FMT | LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    column.fmt = LVCFMT_LEFT;
    column.cx = width;
    column.pszText = const_cast<wchar_t*>(title.c_str());
    column.iSubItem = index;
    return static_cast<int>(
        Send(LVM_INSERTCOLUMNW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&column)));
}

void ListView::SetItemState(int row, UINT state, UINT mask) {
    LVITEMW item{};
    item.state = state;
    item.stateMask = mask;
    Send(LVM_SETITEMSTATE, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
}

std::wstring ListView::ItemText(int row, int column) const {
    // The control copies at most the buffer's size; grow until the text fits.
    std::wstring text(256, L'\0');
    for (;;) {
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = text.data();
        item.cchTextMax = static_cast<int>(text.size());
        const auto copied = static_cast<size_t>(
            Send(LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item)));
        if (copied + 1 < text.size()) {
            text.resize(copied);
            return text;
        }
        text.resize(text.size() * 2);
    }
}

}  // namespace dlg
