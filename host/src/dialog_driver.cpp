#include "dialog_driver.h"

#include <commctrl.h>

#include <cstdio>
#include <sstream>
#include <vector>

#include "output.h"
#include "text.h"

namespace tarnik::host {

namespace {

constexpr int kFindAttempts = 200;     // 20 s for the dialog to appear
constexpr int kExpectAttempts = 1200;  // 120 s for a download to end
constexpr int kMessageList = 2007;
constexpr wchar_t kMenuClass[] = L"#32768";
constexpr wchar_t kDialogClass[] = L"#32770";

struct Search {
    DWORD process;
    HWND found = nullptr;
};

// The newest enabled, visible top-level dialog of this process: a modal dialog disables
// its owner, so the one that takes input is the enabled one.
BOOL CALLBACK FindDialog(HWND window, LPARAM l) {
    auto* search = reinterpret_cast<Search*>(l);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    wchar_t cls[16] = {};
    GetClassNameW(window, cls, 16);
    if (process == search->process && std::wstring(cls) == kDialogClass &&
        IsWindowVisible(window) && IsWindowEnabled(window)) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

std::wstring ClassOf(HWND window) {
    wchar_t cls[64] = {};
    GetClassNameW(window, cls, 64);
    return cls;
}

std::wstring TextOf(HWND window) {
    const int length = GetWindowTextLengthW(window);
    std::wstring text(static_cast<size_t>(length) + 1, L'\0');
    GetWindowTextW(window, text.data(), length + 1);
    text.resize(static_cast<size_t>(length));
    return text;
}

// The rest of a step after its verb, without the blank that separates them.
std::wstring Rest(std::wistream& in) {
    std::wstring rest;
    std::getline(in, rest);
    const size_t first = rest.find_first_not_of(L' ');
    return first == std::wstring::npos ? std::wstring() : rest.substr(first);
}

struct Descendant {
    int id;
    HWND found = nullptr;
};

BOOL CALLBACK FindDescendant(HWND window, LPARAM l) {
    auto* search = reinterpret_cast<Descendant*>(l);
    if (GetDlgCtrlID(window) != search->id)
        return TRUE;
    search->found = window;
    return FALSE;
}

// A control at any depth of the dialog: pages are dialogs inside dialogs.
HWND FindControl(HWND dialog, int id) {
    Descendant search{id};
    EnumChildWindows(dialog, FindDescendant, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

BOOL CALLBACK FindMenuWindow(HWND window, LPARAM l) {
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId() && ClassOf(window) == kMenuClass &&
        IsWindowVisible(window)) {
        *reinterpret_cast<HWND*>(l) = window;
        return FALSE;
    }
    return TRUE;
}

HWND OpenMenuWindow() {
    for (int i = 0; i < kFindAttempts; ++i) {
        HWND found = nullptr;
        EnumWindows(FindMenuWindow, reinterpret_cast<LPARAM>(&found));
        if (found != nullptr)
            return found;
        Sleep(100);
    }
    return nullptr;
}

std::wstring ListText(HWND list, int row, int column) {
    wchar_t buffer[4096] = {};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = buffer;
    item.cchTextMax = 4096;
    SendMessageW(list, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return buffer;
}

// A real click as the mouse makes it, at a point of the list's client area.
void MouseClick(HWND window, POINT at, bool right) {
    const LPARAM where = MAKELPARAM(at.x, at.y);
    PostMessageW(window, right ? WM_RBUTTONDOWN : WM_LBUTTONDOWN, right ? MK_RBUTTON : MK_LBUTTON,
                 where);
    PostMessageW(window, right ? WM_RBUTTONUP : WM_LBUTTONUP, 0, where);
}

std::string Rect(HWND dialog, HWND window) {
    RECT place;
    GetWindowRect(window, &place);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&place), 2);
    return std::to_string(place.left) + "," + std::to_string(place.top) + "," +
           std::to_string(place.right - place.left) + "," +
           std::to_string(place.bottom - place.top);
}

bool IsComboBox(HWND window) {
    return _wcsicmp(ClassOf(window).c_str(), L"ComboBox") == 0;
}
bool IsButton(HWND window) {
    return _wcsicmp(ClassOf(window).c_str(), L"Button") == 0;
}

}  // namespace

DialogDriver::DialogDriver(Output& output, std::wstring script, HWND menu)
    : output_(output), script_(std::move(script)), menu_(menu), thread_([this] {
          Run();
          if (!ok_) {
              // The windows the script left behind may hold the host's thread in a modal
              // loop (a menu, a chooser, a box) that nobody ends: the run ends here.
              std::fprintf(stderr, "tarnik-host: the script failed; ending the run\n");
              std::fflush(stdout);
              std::fflush(stderr);
              TerminateProcess(GetCurrentProcess(), 1);
          }
          done_ = true;
      }) {}

DialogDriver::~DialogDriver() {
    if (thread_.joinable())
        thread_.join();
}

void DialogDriver::Run() {
    std::vector<std::wstring> steps;
    std::wstringstream in(script_);
    for (std::wstring step; std::getline(in, step, L';');) {
        const size_t first = step.find_first_not_of(L' ');
        if (first == std::wstring::npos)
            continue;
        steps.push_back(step.substr(first, step.find_last_not_of(L' ') - first + 1));
    }
    for (const std::wstring& step : steps) {
        std::wstringstream words(step);
        std::wstring verb;
        words >> verb;
        // Steps on the context menu or the host find their window themselves (while a menu
        // is open, the dialog that owns it may be the one that takes no input); a pause
        // needs none.
        if (verb == L"time") {
            output_.Print("TIME ms=" + std::to_string(GetTickCount64()));
            continue;
        }
        if (verb == L"wait") {
            long pause = 0;
            words >> pause;
            Sleep(static_cast<DWORD>(pause));
            continue;
        }
        if (verb.rfind(L"menu", 0) == 0) {
            if (!MenuStep(verb, words)) {
                std::fprintf(stderr, "tarnik-host: step failed: %s\n", Utf8(step).c_str());
                ok_ = false;
                return;
            }
            continue;
        }
        const int attempts = verb == L"expect" ? kExpectAttempts : kFindAttempts;
        const std::wstring caption = verb == L"expect" ? Rest(words) : std::wstring();
        Search search{GetCurrentProcessId()};
        for (int i = 0; i < attempts; ++i) {
            search.found = nullptr;
            EnumWindows(FindDialog, reinterpret_cast<LPARAM>(&search));
            if (search.found != nullptr && (verb != L"expect" || TextOf(search.found) == caption))
                break;
            search.found = nullptr;
            Sleep(100);
        }
        if (search.found == nullptr) {
            std::fprintf(stderr, "tarnik-host: no dialog for step %s\n", Utf8(step).c_str());
            ok_ = false;
            return;
        }
        if (!Step(search.found, step)) {
            std::fprintf(stderr, "tarnik-host: step failed: %s\n", Utf8(step).c_str());
            ok_ = false;
            return;
        }
    }
}

bool DialogDriver::Step(HWND dialog, const std::wstring& step) {
    std::wstringstream in(step);
    std::wstring verb;
    in >> verb;
    long id = 0, value = 0;
    if (verb == L"dump") {
        Dump(dialog);
        return true;
    }
    if (verb == L"ok" || verb == L"cancel") {
        HWND button = GetDlgItem(dialog, verb == L"ok" ? IDOK : IDCANCEL);
        if (button == nullptr)
            return false;
        SendMessageW(button, BM_CLICK, 0, 0);
        return true;
    }
    if (verb == L"esc") {
        // Through the dialog's message loop, as a key press arrives.
        HWND focus = GetDlgItem(dialog, IDOK);
        PostMessageW(focus != nullptr ? focus : dialog, WM_KEYDOWN, VK_ESCAPE, 0);
        return true;
    }
    if (verb == L"close") {
        PostMessageW(dialog, WM_SYSCOMMAND, SC_CLOSE, 0);
        return true;
    }
    if (verb == L"expect")
        return true;  // the dialog was found with its caption
    if (verb == L"layout") {
        Layout(dialog);
        return true;
    }
    if (verb == L"size" || verb == L"grow") {
        // grow is by so many pixels from the client size now: the first size follows the
        // fonts and settings Wine finds, so a test states only the change.
        long width = 0, height = 0;
        if (!(in >> width >> height))
            return false;
        if (verb == L"grow") {
            RECT client;
            GetClientRect(dialog, &client);
            width += client.right;
            height += client.bottom;
        }
        RECT frame{0, 0, width, height};
        AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongW(dialog, GWL_STYLE)), FALSE,
                           static_cast<DWORD>(GetWindowLongW(dialog, GWL_EXSTYLE)));
        return SetWindowPos(dialog, nullptr, 0, 0, frame.right - frame.left,
                            frame.bottom - frame.top,
                            SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE) != FALSE;
    }
    if (verb == L"wait-text") {
        if (!(in >> id))
            return false;
        const std::wstring text = Rest(in);
        for (int i = 0; i < kExpectAttempts; ++i) {
            HWND control = FindControl(dialog, static_cast<int>(id));
            if (control != nullptr && TextOf(control) == text)
                return true;
            Sleep(100);
        }
        return false;
    }
    if (verb == L"rows" || verb == L"select-rows" || verb == L"row-click" ||
        verb == L"row-rclick") {
        return ListStep(dialog, verb, in);
    }
    if (verb == L"key") {
        std::wstring key;
        if (!(in >> id >> key))
            return false;
        HWND control = FindControl(dialog, static_cast<int>(id));
        const WPARAM code = key == L"down"    ? VK_DOWN
                            : key == L"up"    ? VK_UP
                            : key == L"space" ? VK_SPACE
                                              : 0;
        if (control == nullptr || code == 0)
            return false;
        PostMessageW(control, WM_KEYDOWN, code, 1);
        PostMessageW(control, WM_KEYUP, code, 0xC0000001);
        return true;
    }
    if (!(in >> id))
        return false;
    HWND control = GetDlgItem(dialog, static_cast<int>(id));
    if (control == nullptr)
        return false;
    if (verb == L"click") {
        SendMessageW(control, BM_CLICK, 0, 0);
        return true;
    }
    if (verb == L"check") {
        if (!(in >> value))
            return false;
        const LRESULT state = SendMessageW(control, BM_GETCHECK, 0, 0);
        if ((state == BST_CHECKED) != (value != 0))
            SendMessageW(control, BM_CLICK, 0, 0);
        return true;
    }
    if (verb == L"select" || verb == L"select-data") {
        if (!IsComboBox(control) || !(in >> value))
            return false;
        LRESULT index = value;
        if (verb == L"select-data") {
            index = -1;
            const LRESULT count = SendMessageW(control, CB_GETCOUNT, 0, 0);
            for (LRESULT i = 0; i < count && index < 0; ++i) {
                if (SendMessageW(control, CB_GETITEMDATA, static_cast<WPARAM>(i), 0) == value)
                    index = i;
            }
        }
        if (SendMessageW(control, CB_SETCURSEL, static_cast<WPARAM>(index), 0) == CB_ERR)
            return false;
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE),
                     reinterpret_cast<LPARAM>(control));
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELENDOK),
                     reinterpret_cast<LPARAM>(control));
        return true;
    }
    return false;
}

bool DialogDriver::ListStep(HWND dialog, const std::wstring& verb, std::wistream& in) {
    HWND list = FindControl(dialog, kMessageList);
    if (list == nullptr)
        return false;
    const int count = static_cast<int>(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0));
    if (verb == L"rows") {
        HWND header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
        const int columns = static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
        output_.Print(
            "LIST rows=" + std::to_string(count) + " columns=" + std::to_string(columns) +
            " exstyle=" +
            Hex(static_cast<uint64_t>(SendMessageW(list, LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0))));
        for (int c = 0; c < columns; ++c) {
            wchar_t title[256] = {};
            LVCOLUMNW column{};
            column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_FMT;
            column.pszText = title;
            column.cchTextMax = 256;
            SendMessageW(list, LVM_GETCOLUMNW, static_cast<WPARAM>(c),
                         reinterpret_cast<LPARAM>(&column));
            output_.Print("COLUMN index=" + std::to_string(c) + " title=" + Quote(title) +
                          " width=" + std::to_string(column.cx) +
                          " format=" + std::to_string(column.fmt & LVCFMT_JUSTIFYMASK));
        }
        for (int row = 0; row < count; ++row) {
            const auto state = static_cast<UINT>(SendMessageW(
                list, LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_SELECTED | LVIS_FOCUSED));
            output_.Print("ROW index=" + std::to_string(row) +
                          " selected=" + ((state & LVIS_SELECTED) != 0 ? "1" : "0") +
                          " focused=" + ((state & LVIS_FOCUSED) != 0 ? "1" : "0") +
                          " name=" + Quote(ListText(list, row, 0)) + " number=" +
                          Quote(ListText(list, row, 1)) + " date=" + Quote(ListText(list, row, 2)) +
                          " text=" + Quote(ListText(list, row, 3)));
        }
        return true;
    }
    if (verb == L"select-rows") {
        LVITEMW none{};
        none.stateMask = LVIS_SELECTED;
        SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1),
                     reinterpret_cast<LPARAM>(&none));
        std::wstring rows = Rest(in);
        std::wstringstream each(rows);
        for (std::wstring word; std::getline(each, word, L',');) {
            const int row = _wtoi(word.c_str());
            if (row < 0 || row >= count)
                return false;
            LVITEMW selected{};
            selected.state = LVIS_SELECTED;
            selected.stateMask = LVIS_SELECTED;
            SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(row),
                         reinterpret_cast<LPARAM>(&selected));
        }
        return true;
    }
    // row-click and row-rclick
    std::wstring which;
    if (!(in >> which))
        return false;
    POINT at{};
    if (which == L"below") {
        RECT client;
        GetClientRect(list, &client);
        RECT last{LVIR_BOUNDS, 0, 0, 0};
        int bottom = 0;
        if (count > 0 && SendMessageW(list, LVM_GETITEMRECT, static_cast<WPARAM>(count - 1),
                                      reinterpret_cast<LPARAM>(&last)) != 0) {
            bottom = last.bottom;
        }
        at = {10, (bottom + client.bottom) / 2};
        if (at.y <= bottom)
            return false;  // no space below the rows
    } else {
        const int row = _wtoi(which.c_str());
        RECT bounds{LVIR_BOUNDS, 0, 0, 0};
        if (row < 0 || row >= count ||
            SendMessageW(list, LVM_GETITEMRECT, static_cast<WPARAM>(row),
                         reinterpret_cast<LPARAM>(&bounds)) == 0) {
            return false;
        }
        at = {bounds.left + 10, (bounds.top + bounds.bottom) / 2};
    }
    // The menu opens where the cursor is, as after a real click.
    POINT screen = at;
    ClientToScreen(list, &screen);
    SetCursorPos(screen.x, screen.y);
    MouseClick(list, at, verb == L"row-rclick");
    return true;
}

bool DialogDriver::MenuStep(const std::wstring& verb, std::wistream& in) {
    if (verb == L"menu") {
        if (menu_ == nullptr)
            return false;
        SendMessageW(menu_, WM_APP, 0, 0);
        return true;
    }
    HWND window = OpenMenuWindow();
    if (window == nullptr)
        return false;
    HMENU menu = reinterpret_cast<HMENU>(SendMessageW(window, MN_GETHMENU, 0, 0));
    if (menu == nullptr)
        return false;
    const int count = GetMenuItemCount(menu);
    if (verb == L"menu-dump") {
        output_.Print("MENU-POPUP items=" + std::to_string(count));
        for (int i = 0; i < count; ++i) {
            wchar_t text[256] = {};
            MENUITEMINFOW info{};
            info.cbSize = sizeof info;
            info.fMask = MIIM_FTYPE | MIIM_ID | MIIM_STATE | MIIM_STRING;
            info.dwTypeData = text;
            info.cch = 256;
            GetMenuItemInfoW(menu, static_cast<UINT>(i), TRUE, &info);
            if ((info.fType & MFT_SEPARATOR) != 0) {
                output_.Print("MENU-ENTRY index=" + std::to_string(i) + " separator=1");
                continue;
            }
            output_.Print("MENU-ENTRY index=" + std::to_string(i) +
                          " id=" + std::to_string(info.wID) + " text=" + Quote(text) +
                          " enabled=" + ((info.fState & MFS_DISABLED) != 0 ? "0" : "1"));
        }
        return true;
    }
    auto press = [window](WPARAM key) {
        PostMessageW(window, WM_KEYDOWN, key, 1);
        PostMessageW(window, WM_KEYUP, key, 0xC0000001);
    };
    if (verb == L"menu-cancel") {
        press(VK_ESCAPE);
        return true;
    }
    long id = 0;
    if (verb != L"menu-choose" || !(in >> id))
        return false;
    // The first Down selects the first item; separators are passed over.
    int downs = 0;
    for (int i = 0; i < count; ++i) {
        if ((GetMenuState(menu, static_cast<UINT>(i), MF_BYPOSITION) & MF_SEPARATOR) != 0)
            continue;
        ++downs;
        if (GetMenuItemID(menu, i) == static_cast<UINT>(id)) {
            for (int d = 0; d < downs; ++d)
                press(VK_DOWN);
            press(VK_RETURN);
            return true;
        }
    }
    return false;
}

void DialogDriver::Layout(HWND dialog) {
    RECT client;
    GetClientRect(dialog, &client);
    // The dialog base units: 4 by 8 dialog units in pixels, what the template's sizes
    // become with this machine's fonts.
    RECT units{0, 0, 4, 8};
    MapDialogRect(dialog, &units);
    output_.Print("LAYOUT caption=" + Quote(TextOf(dialog)) +
                  " client=" + std::to_string(client.right) + "," + std::to_string(client.bottom) +
                  " units=" + std::to_string(units.right) + "," + std::to_string(units.bottom));
    std::vector<HWND> windows;
    EnumChildWindows(
        dialog,
        [](HWND window, LPARAM l) {
            reinterpret_cast<std::vector<HWND>*>(l)->push_back(window);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows));
    for (HWND window : windows) {
        output_.Print("WINDOW id=" + std::to_string(GetDlgCtrlID(window)) +
                      " class=" + Quote(ClassOf(window)) + " rect=" + Rect(dialog, window) +
                      " visible=" + (IsWindowVisible(window) ? "1" : "0") +
                      " text=" + Quote(TextOf(window)));
    }
}

void DialogDriver::Dump(HWND dialog) {
    output_.Print("DIALOG caption=" + Quote(TextOf(dialog)));
    for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        std::string line = "CONTROL id=" + std::to_string(GetDlgCtrlID(child)) +
                           " class=" + Quote(ClassOf(child)) +
                           " enabled=" + (IsWindowEnabled(child) ? "1" : "0") +
                           " text=" + Quote(TextOf(child));
        if (IsButton(child)) {
            const LONG style = GetWindowLongW(child, GWL_STYLE) & BS_TYPEMASK;
            if (style == BS_AUTOCHECKBOX || style == BS_CHECKBOX) {
                line += " checked=" + std::to_string(SendMessageW(child, BM_GETCHECK, 0, 0));
            }
        }
        if (IsComboBox(child)) {
            const LRESULT count = SendMessageW(child, CB_GETCOUNT, 0, 0);
            line += " selected=" + std::to_string(SendMessageW(child, CB_GETCURSEL, 0, 0)) +
                    " items=" + std::to_string(count);
            for (LRESULT i = 0; i < count; ++i) {
                const LRESULT length =
                    SendMessageW(child, CB_GETLBTEXTLEN, static_cast<WPARAM>(i), 0);
                std::wstring item(static_cast<size_t>(length > 0 ? length : 0) + 1, L'\0');
                SendMessageW(child, CB_GETLBTEXT, static_cast<WPARAM>(i),
                             reinterpret_cast<LPARAM>(item.data()));
                item.resize(static_cast<size_t>(length > 0 ? length : 0));
                line +=
                    " item" + std::to_string(i) + "=" + Quote(item) + "/" +
                    std::to_string(SendMessageW(child, CB_GETITEMDATA, static_cast<WPARAM>(i), 0));
            }
        }
        output_.Print(line);
    }
}

}  // namespace tarnik::host
