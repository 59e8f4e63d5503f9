// Thin wrappers of real controls, bound to a dialog's control ids by data exchange. They
// hold a window handle and nothing else: the control keeps its own state.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <string>

namespace dlg {

// The whole text of any window.
std::wstring WindowText(HWND window);

class Window {
public:
    HWND hwnd() const { return hwnd_; }
    void Attach(HWND hwnd) { hwnd_ = hwnd; }
    void Detach() { hwnd_ = nullptr; }
    bool IsEnabled() const { return IsWindowEnabled(hwnd_) != FALSE; }
    void Enable(bool enable) { EnableWindow(hwnd_, enable ? TRUE : FALSE); }
    std::wstring Text() const { return WindowText(hwnd_); }
    void SetText(const std::wstring& text) { SetWindowTextW(hwnd_, text.c_str()); }
    LRESULT Send(UINT message, WPARAM w = 0, LPARAM l = 0) const {
        return SendMessageW(hwnd_, message, w, l);
    }

protected:
    HWND hwnd_ = nullptr;
};

class Static : public Window {};
class Edit : public Window {};

class Button : public Window {
public:
    int Check() const { return static_cast<int>(Send(BM_GETCHECK)); }
    void SetCheck(int state) { Send(BM_SETCHECK, static_cast<WPARAM>(state)); }
};

// A drop-down list: items carry the value behind them as item data, never as their text.
class ComboBox : public Window {
public:
    int Count() const { return static_cast<int>(Send(CB_GETCOUNT)); }
    int AddString(const std::wstring& text) {
        return static_cast<int>(Send(CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    void SetItemData(int index, DWORD_PTR data) {
        Send(CB_SETITEMDATA, static_cast<WPARAM>(index), static_cast<LPARAM>(data));
    }
    DWORD_PTR ItemData(int index) const {
        return static_cast<DWORD_PTR>(Send(CB_GETITEMDATA, static_cast<WPARAM>(index)));
    }
    int CurSel() const { return static_cast<int>(Send(CB_GETCURSEL)); }
    void SetCurSel(int index) { Send(CB_SETCURSEL, static_cast<WPARAM>(index)); }
    void ResetContent() { Send(CB_RESETCONTENT); }
    std::wstring ItemText(int index) const;
};

class ListBox : public Window {
public:
    int Count() const { return static_cast<int>(Send(LB_GETCOUNT)); }
    int AddString(const std::wstring& text) {
        return static_cast<int>(Send(LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text.c_str())));
    }
    int CurSel() const { return static_cast<int>(Send(LB_GETCURSEL)); }
    void SetCurSel(int index) { Send(LB_SETCURSEL, static_cast<WPARAM>(index)); }
    std::wstring ItemText(int index) const;
};

// A report-view list: rows of texts, one per column.
class ListView : public Window {
public:
    int Count() const { return static_cast<int>(Send(LVM_GETITEMCOUNT)); }
    int InsertColumn(int index, const std::wstring& title, int width);
    void SetExtendedStyle(DWORD style) {
        Send(LVM_SETEXTENDEDLISTVIEWSTYLE, 0, static_cast<LPARAM>(style));
    }
    // The next row after `start` (-1: from the top) with all of `flags` (LVNI_*), or -1.
    int NextItem(int start, UINT flags) const {
        return static_cast<int>(Send(LVM_GETNEXTITEM, static_cast<WPARAM>(start), flags));
    }
    bool IsSelected(int row) const {
        return Send(LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_SELECTED) != 0;
    }
    void SetItemState(int row, UINT state, UINT mask);
    std::wstring ItemText(int row, int column) const;
};

}  // namespace dlg
