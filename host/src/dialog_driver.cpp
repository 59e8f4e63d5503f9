#include "dialog_driver.h"

#include <commctrl.h>

#include <cstdio>
#include <sstream>
#include <vector>

#include "dialog_framework/controls.h"
#include "fields.h"
#include "host/text/utf8.h"
#include "modules.h"
#include "output.h"

namespace tarnik::host {

enum class StepTarget {
    kNothing,      // time, pauses, the host's menu entry
    kDialog,       // the dialog of this process that takes input
    kCaptioned,    // the same, once it has the caption given after the verb
    kPopupMenu,    // the open context menu
    kMessageList,  // the message list of that dialog (at any depth), which must be there
};

struct ScriptStep {
    Output& output;
    HWND menuInvoker;      // runs the plug-in's menu entry on the host's thread; may be null
    HWND window;           // the dialog or the context menu's window
    HMENU menu;            // the open context menu
    HWND list;             // the message list
    int rows;              // and its number of rows
    std::wistream& words;  // those after the verb
};

namespace {

constexpr int kFindAttempts = 200;     // 20 s for the dialog to appear
constexpr int kExpectAttempts = 1200;  // 120 s for a download to end
constexpr int kMessageList = 2007;
constexpr wchar_t kMenuClass[] = L"#32768";
constexpr wchar_t kDialogClass[] = L"#32770";

std::wstring ClassOf(HWND window) {
    wchar_t cls[64] = {};
    GetClassNameW(window, cls, 64);
    return cls;
}

// The rest of a step after its verb, without the blank that separates them.
std::wstring Rest(std::wistream& in) {
    std::wstring rest;
    std::getline(in, rest);
    const size_t first = rest.find_first_not_of(L' ');
    return first == std::wstring::npos ? std::wstring() : rest.substr(first);
}

// A window of this process of this class, waited for: the first visible one (enabled too,
// when asked: a modal dialog disables its owner, so the one that takes input is the enabled
// one), and with a caption, once it has it.
HWND WaitForWindow(const wchar_t* cls, bool enabled, int attempts,
                   const std::wstring* caption = nullptr) {
    for (int i = 0; i < attempts; ++i) {
        HWND found = TopWindow(cls, enabled);
        if (found != nullptr && (caption == nullptr || dlg::WindowText(found) == *caption))
            return found;
        Sleep(100);
    }
    return nullptr;
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

bool IsClass(HWND window, const wchar_t* cls) {
    return _wcsicmp(ClassOf(window).c_str(), cls) == 0;
}

// The system icon a static shows (a message box's is one), by the shared handle the system
// hands out for it.
std::string IconOf(HWND window) {
    const auto shown = reinterpret_cast<HICON>(SendMessageW(window, STM_GETICON, 0, 0));
    // IDI_ERROR, IDI_INFORMATION, IDI_WARNING, IDI_QUESTION.
    const std::pair<WORD, const char*> named[] = {
        {32513, "error"}, {32516, "information"}, {32515, "warning"}, {32514, "question"}};
    for (const auto& [id, name] : named) {
        if (shown != nullptr && shown == LoadIconW(nullptr, MAKEINTRESOURCEW(id)))
            return name;
    }
    return shown != nullptr ? "other" : "none";
}

// " items=N item0=TEXT ..." of a list box.
std::string ListBoxItems(HWND window) {
    dlg::ListBox list;
    list.Attach(window);
    std::string items = " items=" + std::to_string(list.Count());
    for (int i = 0; i < list.Count(); ++i)
        items += " item" + std::to_string(i) + "=" + Quote(list.ItemText(i));
    return items;
}

bool Dump(ScriptStep& step) {
    const HWND dialog = step.window;
    step.output.Print("DIALOG caption=" + Quote(dlg::WindowText(dialog)));
    for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        std::string line = "CONTROL id=" + std::to_string(GetDlgCtrlID(child)) +
                           " class=" + Quote(ClassOf(child)) +
                           " enabled=" + (IsWindowEnabled(child) ? "1" : "0") +
                           " text=" + Quote(dlg::WindowText(child));
        if (IsClass(child, L"Button")) {
            const LONG style = GetWindowLongW(child, GWL_STYLE) & BS_TYPEMASK;
            if (style == BS_AUTOCHECKBOX || style == BS_CHECKBOX) {
                line += " checked=" + std::to_string(SendMessageW(child, BM_GETCHECK, 0, 0));
            }
        }
        if (IsClass(child, L"Static") &&
            (GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK) == SS_ICON) {
            line += " icon=" + IconOf(child);
        }
        if (IsClass(child, L"ComboBox")) {
            dlg::ComboBox box;
            box.Attach(child);
            line += " selected=" + std::to_string(box.CurSel()) +
                    " items=" + std::to_string(box.Count());
            for (int i = 0; i < box.Count(); ++i) {
                line += " item" + std::to_string(i) + "=" + Quote(box.ItemText(i)) + "/" +
                        std::to_string(static_cast<LRESULT>(box.ItemData(i)));
            }
        }
        step.output.Print(line);
    }
    return true;
}

bool Layout(ScriptStep& step) {
    const HWND dialog = step.window;
    RECT client;
    GetClientRect(dialog, &client);
    // The dialog base units: 4 by 8 dialog units in pixels, what the template's sizes
    // become with this machine's fonts.
    RECT units{0, 0, 4, 8};
    MapDialogRect(dialog, &units);
    step.output.Print("LAYOUT caption=" + Quote(dlg::WindowText(dialog)) + " client=" +
                      std::to_string(client.right) + "," + std::to_string(client.bottom) +
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
        step.output.Print("WINDOW id=" + std::to_string(GetDlgCtrlID(window)) +
                          " class=" + Quote(ClassOf(window)) + " rect=" + Rect(dialog, window) +
                          " visible=" + (IsWindowVisible(window) ? "1" : "0") +
                          " text=" + Quote(dlg::WindowText(window)) +
                          (IsClass(window, L"ListBox") ? ListBoxItems(window) : ""));
    }
    return true;
}

// Whether the control draws when asked to paint into a DC of ours: a window whose redrawing
// was switched off and never on again paints nothing, while it still looks visible.
bool Paint(ScriptStep& step) {
    long id = 0;
    if (!(step.words >> id))
        return false;
    HWND control = FindControl(step.window, static_cast<int>(id));
    RECT client{};
    if (control == nullptr || !GetClientRect(control, &client) || client.right <= 0 ||
        client.bottom <= 0)
        return false;
    constexpr COLORREF kUnpainted = RGB(255, 0, 255);
    HDC screen = GetDC(nullptr);
    HDC dc = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, client.right, client.bottom);
    ReleaseDC(nullptr, screen);
    HGDIOBJ old = SelectObject(dc, bitmap);
    HBRUSH fill = CreateSolidBrush(kUnpainted);
    FillRect(dc, &client, fill);
    DeleteObject(fill);
    SendMessageW(control, WM_PAINT, reinterpret_cast<WPARAM>(dc), 0);
    long drawn = 0;
    for (int y = 0; y < client.bottom; y += 2) {
        for (int x = 0; x < client.right; x += 2)
            drawn += GetPixel(dc, x, y) != kUnpainted;
    }
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
    step.output.Print("PAINT id=" + std::to_string(id) + " drawn=" + (drawn > 0 ? "1" : "0") +
                      " visible=" + (IsWindowVisible(control) ? "1" : "0"));
    return true;
}

bool Click(HWND button) {
    if (button == nullptr)
        return false;
    SendMessageW(button, BM_CLICK, 0, 0);
    return true;
}

// grow is by so many pixels from the client size now: the first size follows the fonts
// and settings Wine finds, so a test states only the change.
bool Resize(ScriptStep& step, bool grow) {
    long width = 0, height = 0;
    if (!(step.words >> width >> height))
        return false;
    if (grow) {
        RECT client;
        GetClientRect(step.window, &client);
        width += client.right;
        height += client.bottom;
    }
    RECT frame{0, 0, width, height};
    AdjustWindowRectEx(&frame, static_cast<DWORD>(GetWindowLongW(step.window, GWL_STYLE)), FALSE,
                       static_cast<DWORD>(GetWindowLongW(step.window, GWL_EXSTYLE)));
    return SetWindowPos(step.window, nullptr, 0, 0, frame.right - frame.left,
                        frame.bottom - frame.top,
                        SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE) != FALSE;
}

bool WaitText(ScriptStep& step) {
    long id = 0;
    if (!(step.words >> id))
        return false;
    const std::wstring text = Rest(step.words);
    for (int i = 0; i < kExpectAttempts; ++i) {
        HWND control = FindControl(step.window, static_cast<int>(id));
        if (control != nullptr && dlg::WindowText(control) == text)
            return true;
        Sleep(100);
    }
    return false;
}

// A key pressed and let go while `window` has the focus.
void Press(HWND window, WPARAM key) {
    PostMessageW(window, WM_KEYDOWN, key, 1);
    PostMessageW(window, WM_KEYUP, key, 0xC0000001);
}

bool Key(ScriptStep& step) {
    long id = 0;
    std::wstring key;
    if (!(step.words >> id >> key))
        return false;
    HWND control = FindControl(step.window, static_cast<int>(id));
    const WPARAM code = key == L"down"     ? VK_DOWN
                        : key == L"up"     ? VK_UP
                        : key == L"space"  ? VK_SPACE
                        : key == L"return" ? VK_RETURN
                        : key == L"tab"    ? VK_TAB
                                           : 0;
    if (control == nullptr || code == 0)
        return false;
    Press(control, code);
    return true;
}

// The dialog's own control whose id comes next in the step.
HWND Control(ScriptStep& step, long& id) {
    return step.words >> id ? GetDlgItem(step.window, static_cast<int>(id)) : nullptr;
}

bool Check(ScriptStep& step) {
    long id = 0, value = 0;
    HWND control = Control(step, id);
    if (control == nullptr || !(step.words >> value))
        return false;
    const LRESULT state = SendMessageW(control, BM_GETCHECK, 0, 0);
    if ((state == BST_CHECKED) != (value != 0))
        SendMessageW(control, BM_CLICK, 0, 0);
    return true;
}

bool Select(ScriptStep& step, bool byData) {
    long id = 0, value = 0;
    HWND control = Control(step, id);
    if (control == nullptr || !IsClass(control, L"ComboBox") || !(step.words >> value))
        return false;
    LRESULT index = value;
    if (byData) {
        index = -1;
        const LRESULT count = SendMessageW(control, CB_GETCOUNT, 0, 0);
        for (LRESULT i = 0; i < count && index < 0; ++i) {
            if (SendMessageW(control, CB_GETITEMDATA, static_cast<WPARAM>(i), 0) == value)
                index = i;
        }
    }
    if (SendMessageW(control, CB_SETCURSEL, static_cast<WPARAM>(index), 0) == CB_ERR)
        return false;
    SendMessageW(step.window, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE),
                 reinterpret_cast<LPARAM>(control));
    SendMessageW(step.window, WM_COMMAND, MAKEWPARAM(id, CBN_SELENDOK),
                 reinterpret_cast<LPARAM>(control));
    return true;
}

bool Rows(ScriptStep& step) {
    HWND list = step.list;
    const int count = step.rows;
    HWND header = reinterpret_cast<HWND>(SendMessageW(list, LVM_GETHEADER, 0, 0));
    const int columns = static_cast<int>(SendMessageW(header, HDM_GETITEMCOUNT, 0, 0));
    step.output.Print(
        "LIST rows=" + std::to_string(count) + " columns=" + std::to_string(columns) + " exstyle=" +
        Hex(static_cast<uint64_t>(SendMessageW(list, LVM_GETEXTENDEDLISTVIEWSTYLE, 0, 0))));
    for (int c = 0; c < columns; ++c) {
        wchar_t title[256] = {};
        LVCOLUMNW column{};
        column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_FMT;
        column.pszText = title;
        column.cchTextMax = 256;
        SendMessageW(list, LVM_GETCOLUMNW, static_cast<WPARAM>(c),
                     reinterpret_cast<LPARAM>(&column));
        step.output.Print("COLUMN index=" + std::to_string(c) + " title=" + Quote(title) +
                          " width=" + std::to_string(column.cx) +
                          " format=" + std::to_string(column.fmt & LVCFMT_JUSTIFYMASK));
    }
    dlg::ListView view;
    view.Attach(list);
    for (int row = 0; row < count; ++row) {
        const auto state = static_cast<UINT>(SendMessageW(
            list, LVM_GETITEMSTATE, static_cast<WPARAM>(row), LVIS_SELECTED | LVIS_FOCUSED));
        std::string line = "ROW index=" + std::to_string(row) +
                           " selected=" + ((state & LVIS_SELECTED) != 0 ? "1" : "0") +
                           " focused=" + ((state & LVIS_FOCUSED) != 0 ? "1" : "0");
        // The message list's columns, in order.
        const char* const names[] = {" name=", " number=", " date=", " text="};
        for (int column = 0; column < 4; ++column)
            line += names[column] + Quote(view.ItemText(row, column));
        step.output.Print(line);
    }
    return true;
}

bool SelectRows(ScriptStep& step) {
    HWND list = step.list;
    const int count = step.rows;
    LVITEMW none{};
    none.stateMask = LVIS_SELECTED;
    SendMessageW(list, LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&none));
    std::wstringstream each(Rest(step.words));
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

bool ClickRow(ScriptStep& step, bool right) {
    HWND list = step.list;
    const int count = step.rows;
    std::wstring which;
    if (!(step.words >> which))
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
    MouseClick(list, at, right);
    return true;
}

bool MenuDump(ScriptStep& step) {
    const int count = GetMenuItemCount(step.menu);
    step.output.Print("MENU-POPUP items=" + std::to_string(count));
    for (int i = 0; i < count; ++i) {
        wchar_t text[256] = {};
        MENUITEMINFOW info{};
        info.cbSize = sizeof info;
        info.fMask = MIIM_FTYPE | MIIM_ID | MIIM_STATE | MIIM_STRING;
        info.dwTypeData = text;
        info.cch = 256;
        GetMenuItemInfoW(step.menu, static_cast<UINT>(i), TRUE, &info);
        if ((info.fType & MFT_SEPARATOR) != 0) {
            step.output.Print("MENU-ENTRY index=" + std::to_string(i) + " separator=1");
            continue;
        }
        step.output.Print("MENU-ENTRY index=" + std::to_string(i) +
                          " id=" + std::to_string(info.wID) + " text=" + Quote(text) +
                          " enabled=" + ((info.fState & MFS_DISABLED) != 0 ? "0" : "1"));
    }
    return true;
}

bool MenuChoose(ScriptStep& step) {
    long id = 0;
    if (!(step.words >> id))
        return false;
    // The first Down selects the first item; separators are passed over.
    int downs = 0;
    for (int i = 0; i < GetMenuItemCount(step.menu); ++i) {
        if ((GetMenuState(step.menu, static_cast<UINT>(i), MF_BYPOSITION) & MF_SEPARATOR) != 0)
            continue;
        ++downs;
        if (GetMenuItemID(step.menu, i) == static_cast<UINT>(id)) {
            for (int d = 0; d < downs; ++d)
                Press(step.window, VK_DOWN);
            Press(step.window, VK_RETURN);
            return true;
        }
    }
    return false;
}

bool Esc(ScriptStep& step) {
    // Through the dialog's message loop, as a key press arrives.
    HWND focus = GetDlgItem(step.window, IDOK);
    PostMessageW(focus != nullptr ? focus : step.window, WM_KEYDOWN, VK_ESCAPE, 0);
    return true;
}

bool Close(ScriptStep& step) {
    PostMessageW(step.window, WM_SYSCOMMAND, SC_CLOSE, 0);
    return true;
}

bool Wait(ScriptStep& step) {
    long pause = 0;
    step.words >> pause;
    Sleep(static_cast<DWORD>(pause));
    return true;
}

bool MenuCancel(ScriptStep& step) {
    Press(step.window, VK_ESCAPE);
    return true;
}

// On the host's thread, which the menu entry belongs to.
bool Menu(ScriptStep& step) {
    if (step.menuInvoker == nullptr)
        return false;
    SendMessageW(step.menuInvoker, kInvokeMenu, 0, 0);
    return true;
}

// On the host's thread too: a host unloads its plug-ins from its own thread, from inside
// whichever loop runs there, e.g. the chooser's.
bool UnloadNow(ScriptStep& step) {
    long deaf = 0;
    step.words >> deaf;
    if (step.menuInvoker == nullptr || deaf < 0)
        return false;
    return SendMessageW(step.menuInvoker, kInvokeUnload, static_cast<WPARAM>(deaf), 0) != 0;
}

bool Time(ScriptStep& step) {
    step.output.Print("TIME ms=" + std::to_string(GetTickCount64()));
    return true;
}

}  // namespace

const std::vector<ScriptVerb>& ScriptVerbs() {
    using T = StepTarget;
    static const std::vector<ScriptVerb> verbs = {
        {L"dump", "",
         "DIALOG caption, then CONTROL id class enabled text [checked] [icon] [selected "
         "items item0=TEXT/DATA ...] per control.",
         T::kDialog, Dump},
        {L"select", "ID INDEX",
         "Choose item INDEX of drop-down list ID as the user does (the "
         "dialog hears of an accepted selection).",
         T::kDialog, [](ScriptStep& s) { return Select(s, false); }},
        {L"select-data", "ID DATA", "The same, the item whose item data is DATA.", T::kDialog,
         [](ScriptStep& s) { return Select(s, true); }},
        {L"click", "ID", "Click button ID.", T::kDialog,
         [](ScriptStep& s) {
             long id = 0;
             return Click(Control(s, id));
         }},
        {L"check", "ID 0|1", "Set check box ID, clicking it when it differs.", T::kDialog, Check},
        {L"ok", "", "Click OK.", T::kDialog,
         [](ScriptStep& s) { return Click(GetDlgItem(s.window, IDOK)); }},
        {L"cancel", "", "Click Cancel.", T::kDialog,
         [](ScriptStep& s) { return Click(GetDlgItem(s.window, IDCANCEL)); }},
        {L"esc", "", "Press Esc.", T::kDialog, Esc},
        {L"close", "", "The window's close box.", T::kDialog, Close},
        {L"wait", "MS", "Pause (no dialog needed).", T::kNothing, Wait},
        {L"expect", "CAPTION", "Wait until the dialog that takes input has this caption.",
         T::kCaptioned, [](ScriptStep&) { return true; }},
        {L"wait-text", "ID TEXT", "Wait until control ID (at any depth) shows TEXT.", T::kDialog,
         WaitText},
        {L"rows", "",
         "The message list 2007: LIST rows columns exstyle, COLUMN index title width "
         "format per column, ROW index selected focused name number date text per row.",
         T::kMessageList, Rows},
        {L"select-rows", "[I,J,...]", "Select exactly these rows (none without a list).",
         T::kMessageList, SelectRows},
        {L"row-click", "I|below", "Click row I with the mouse, or the empty space below the rows.",
         T::kMessageList, [](ScriptStep& s) { return ClickRow(s, false); }},
        {L"row-rclick", "I|below", "The same with the right button (opens a context menu).",
         T::kMessageList, [](ScriptStep& s) { return ClickRow(s, true); }},
        {L"key", "ID down|up|space|return|tab",
         "Press the key in control ID (at any depth); the host's loop gives Tab to the dialog.",
         T::kDialog, Key},
        {L"menu-dump", "",
         "The open context menu: MENU-POPUP items, MENU-ENTRY index id text "
         "enabled (or separator=1) per item.",
         T::kPopupMenu, MenuDump},
        {L"menu-choose", "ID", "Choose the context menu's item ID with the keyboard.",
         T::kPopupMenu, MenuChoose},
        {L"menu-cancel", "", "Close the context menu with Esc.", T::kPopupMenu, MenuCancel},
        {L"size", "W H", "Resize the dialog to a client area of W by H pixels.", T::kDialog,
         [](ScriptStep& s) { return Resize(s, false); }},
        {L"grow", "DX DY", "Change the dialog's client size by so many pixels.", T::kDialog,
         [](ScriptStep& s) { return Resize(s, true); }},
        {L"layout", "",
         "LAYOUT caption client=w,h units=x,y (dialog base units), WINDOW id class "
         "rect=x,y,w,h visible text [items item0=TEXT ...] per window at any depth.",
         T::kDialog, Layout},
        {L"paint", "ID",
         "PAINT id drawn=0|1 visible: whether control ID (at any depth) draws anything when "
         "asked to paint into a DC of the host's.",
         T::kDialog, Paint},
        {L"menu", "", "Use the plug-in's menu entry again (archive-page only; no dialog needed).",
         T::kNothing, Menu},
        {L"time", "", "TIME ms=<milliseconds since the system started> (no dialog needed).",
         T::kNothing, Time},
        {L"unload-now", "[MS]",
         "Call pluginUnload on the host's thread now, from inside whatever loop of the "
         "plug-in runs there, as a host that quits with the plug-in's windows open; with MS "
         "the host's thread first answers no message for that long, so that a download's "
         "next message to a window waits for the unload. Prints UNLOAD as the unload "
         "command does (archive-page only; no dialog needed).",
         T::kNothing, UnloadNow},
    };
    return verbs;
}

namespace {

const ScriptVerb* FindVerb(const std::wstring& name) {
    for (const ScriptVerb& verb : ScriptVerbs()) {
        if (name == verb.name)
            return &verb;
    }
    return nullptr;
}

}  // namespace

HWND TopWindow(const wchar_t* cls, bool enabled) {
    for (HWND window : OwnWindows()) {
        if (ClassOf(window) == cls && IsWindowVisible(window) &&
            (!enabled || IsWindowEnabled(window)))
            return window;
    }
    return nullptr;
}

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
    const auto fail = [this](const char* why, const std::wstring& step) {
        std::fprintf(stderr, "tarnik-host: %s %s\n", why, Utf8(step).c_str());
        ok_ = false;
    };
    for (const std::wstring& text : steps) {
        std::wstringstream words(text);
        std::wstring name;
        words >> name;
        const ScriptVerb* verb = FindVerb(name);
        // An unknown verb fails once there is a dialog, like a step that fails on one.
        const StepTarget target = verb != nullptr ? verb->target : StepTarget::kDialog;
        const bool captioned = target == StepTarget::kCaptioned;
        ScriptStep step{output_, menu_, nullptr, nullptr, nullptr, 0, words};
        if (target == StepTarget::kDialog || target == StepTarget::kMessageList || captioned) {
            const std::wstring caption = captioned ? Rest(words) : L"";
            step.window =
                WaitForWindow(kDialogClass, true, captioned ? kExpectAttempts : kFindAttempts,
                              captioned ? &caption : nullptr);
            if (step.window == nullptr)
                return fail("no dialog for step", text);
            step.list = FindControl(step.window, kMessageList);
            if (step.list != nullptr)
                step.rows = static_cast<int>(SendMessageW(step.list, LVM_GETITEMCOUNT, 0, 0));
        } else if (target == StepTarget::kPopupMenu) {
            // While a menu is open, the dialog that owns it may be the one that takes no
            // input: the step finds the menu's own window.
            step.window = WaitForWindow(kMenuClass, false, kFindAttempts);
            if (step.window != nullptr)
                step.menu = reinterpret_cast<HMENU>(SendMessageW(step.window, MN_GETHMENU, 0, 0));
        }
        if (verb == nullptr || (target == StepTarget::kPopupMenu && step.menu == nullptr) ||
            (target == StepTarget::kMessageList && step.list == nullptr) || !verb->run(step)) {
            return fail("step failed:", text);
        }
    }
}

}  // namespace tarnik::host
