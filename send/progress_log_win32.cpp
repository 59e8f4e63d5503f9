#include "send/progress_log_win32.h"

#include <string>

namespace tarnik {

namespace {

void AddAndSelect(HWND listBox, const wchar_t* text) {
    const LRESULT index = SendMessageW(listBox, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(text));
    SendMessageW(listBox, LB_SETCURSEL, static_cast<WPARAM>(index), 0);
}

}  // namespace

void AppendProgress(HWND listBox, const wchar_t* text, bool toLastLine) {
    if (!toLastLine) {
        AddAndSelect(listBox, text);
        return;
    }
    const LRESULT count = SendMessageW(listBox, LB_GETCOUNT, 0, 0);
    if (count <= 0)
        return;  // nothing to extend

    LockWindowUpdate(listBox);
    const WPARAM last = static_cast<WPARAM>(count - 1);
    const LRESULT length = SendMessageW(listBox, LB_GETTEXTLEN, last, 0);
    std::wstring line;
    if (length > 0) {
        // LB_GETTEXT writes the terminator too: give it room.
        std::wstring buffer(static_cast<size_t>(length) + 1, L'\0');
        SendMessageW(listBox, LB_GETTEXT, last, reinterpret_cast<LPARAM>(buffer.data()));
        line.assign(buffer.c_str());
    }
    line += text;
    SendMessageW(listBox, LB_DELETESTRING, last, 0);
    AddAndSelect(listBox, line.c_str());
    LockWindowUpdate(nullptr);
    // The changed line is painted before the job goes on blocking this thread.
    RedrawWindow(listBox, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_UPDATENOW);
}

}  // namespace tarnik
