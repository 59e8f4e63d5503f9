#include "dialog_driver.h"

#include <cstdio>
#include <sstream>
#include <vector>

#include "host.h"
#include "text.h"

namespace tarnik::host {

namespace {

constexpr int kFindAttempts = 200;  // 20 s for the dialog to appear
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
    if (process == search->process && std::wstring(cls) == kDialogClass && IsWindowVisible(window) &&
        IsWindowEnabled(window)) {
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

bool IsComboBox(HWND window) { return _wcsicmp(ClassOf(window).c_str(), L"ComboBox") == 0; }
bool IsButton(HWND window) { return _wcsicmp(ClassOf(window).c_str(), L"Button") == 0; }

}  // namespace

DialogDriver::DialogDriver(Host& host, std::wstring script)
    : host_(host), script_(std::move(script)), thread_([this] { Run(); }) {}

DialogDriver::~DialogDriver() {
    if (thread_.joinable()) thread_.join();
}

void DialogDriver::Run() {
    std::vector<std::wstring> steps;
    std::wstringstream in(script_);
    for (std::wstring step; std::getline(in, step, L';');) {
        const size_t first = step.find_first_not_of(L' ');
        if (first == std::wstring::npos) continue;
        steps.push_back(step.substr(first, step.find_last_not_of(L' ') - first + 1));
    }
    for (const std::wstring& step : steps) {
        Search search{GetCurrentProcessId()};
        for (int i = 0; i < kFindAttempts && search.found == nullptr; ++i) {
            EnumWindows(FindDialog, reinterpret_cast<LPARAM>(&search));
            if (search.found == nullptr) Sleep(100);
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
    if (verb == L"wait") {
        in >> value;
        Sleep(static_cast<DWORD>(value));
        return true;
    }
    if (verb == L"ok" || verb == L"cancel") {
        HWND button = GetDlgItem(dialog, verb == L"ok" ? IDOK : IDCANCEL);
        if (button == nullptr) return false;
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
    if (!(in >> id)) return false;
    HWND control = GetDlgItem(dialog, static_cast<int>(id));
    if (control == nullptr) return false;
    if (verb == L"click") {
        SendMessageW(control, BM_CLICK, 0, 0);
        return true;
    }
    if (verb == L"check") {
        if (!(in >> value)) return false;
        const LRESULT state = SendMessageW(control, BM_GETCHECK, 0, 0);
        if ((state == BST_CHECKED) != (value != 0)) SendMessageW(control, BM_CLICK, 0, 0);
        return true;
    }
    if (verb == L"select" || verb == L"select-data") {
        if (!IsComboBox(control) || !(in >> value)) return false;
        LRESULT index = value;
        if (verb == L"select-data") {
            index = -1;
            const LRESULT count = SendMessageW(control, CB_GETCOUNT, 0, 0);
            for (LRESULT i = 0; i < count && index < 0; ++i) {
                if (SendMessageW(control, CB_GETITEMDATA, static_cast<WPARAM>(i), 0) == value) index = i;
            }
        }
        if (SendMessageW(control, CB_SETCURSEL, static_cast<WPARAM>(index), 0) == CB_ERR) return false;
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELCHANGE), reinterpret_cast<LPARAM>(control));
        SendMessageW(dialog, WM_COMMAND, MAKEWPARAM(id, CBN_SELENDOK), reinterpret_cast<LPARAM>(control));
        return true;
    }
    return false;
}

void DialogDriver::Dump(HWND dialog) {
    host_.Print("DIALOG caption=" + Quote(TextOf(dialog)));
    for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr; child = GetWindow(child, GW_HWNDNEXT)) {
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
                const LRESULT length = SendMessageW(child, CB_GETLBTEXTLEN, static_cast<WPARAM>(i), 0);
                std::wstring item(static_cast<size_t>(length > 0 ? length : 0) + 1, L'\0');
                SendMessageW(child, CB_GETLBTEXT, static_cast<WPARAM>(i), reinterpret_cast<LPARAM>(item.data()));
                item.resize(static_cast<size_t>(length > 0 ? length : 0));
                line += " item" + std::to_string(i) + "=" + Quote(item) + "/" +
                        std::to_string(SendMessageW(child, CB_GETITEMDATA, static_cast<WPARAM>(i), 0));
            }
        }
        host_.Print(line);
    }
}

}  // namespace tarnik::host
