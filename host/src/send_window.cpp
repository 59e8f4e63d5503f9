#include "send_window.h"

#include <windows.h>

#include <vector>

#include "dialog_framework/controls.h"
#include "fields.h"
#include "host.h"
#include "host/text/utf8.h"

namespace tarnik::host {

namespace {

constexpr wchar_t kWindowClass[] = L"TarnikHostSendWindow";
constexpr int kListId = 100;

LRESULT CALLBACK SendWindowProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == WM_SIZE) {
        if (HWND list = GetDlgItem(window, kListId)) {
            MoveWindow(list, 8, 8, LOWORD(l) - 16, HIWORD(l) - 16, TRUE);
        }
        return 0;
    }
    return DefWindowProcW(window, message, w, l);
}

HWND CreateSendWindow(const std::wstring& title) {
    static bool registered = false;
    if (!registered) {
        WNDCLASSW wc{};
        wc.lpfnWndProc = SendWindowProc;
        wc.hInstance = GetModuleHandleW(nullptr);
        wc.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
        wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        wc.lpszClassName = kWindowClass;
        registered = RegisterClassW(&wc) != 0;
    }
    HWND window = CreateWindowExW(0, kWindowClass, title.c_str(), WS_OVERLAPPEDWINDOW, 40, 40, 560,
                                  340, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    if (window == nullptr)
        return nullptr;
    // The SMS plug-in's own list box: lines kept in the order they are added.
    HWND list = CreateWindowExW(
        WS_EX_CLIENTEDGE, L"LISTBOX", L"",
        WS_CHILD | WS_VISIBLE | WS_VSCROLL | LBS_NOINTEGRALHEIGHT, 8, 8, 528, 284, window,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(kListId)), GetModuleHandleW(nullptr), nullptr);
    SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(GetStockObject(DEFAULT_GUI_FONT)),
                 TRUE);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
    return window;
}

void PumpMessages() {
    MSG msg;
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

}  // namespace

bool SendSms(Host& host, const CommandArgs& args, std::string& error) {
    const std::optional<ProfileTarget> target = FindProfile(host, args[0], true, error);
    if (!target)
        return false;
    const std::vector<uint8_t> record = RecordBytes(target->profile);

    const std::wstring& text = args[1];
    std::vector<std::wstring> numbers(args.begin() + 2, args.end());
    std::vector<const wchar_t*> recipients;
    for (const std::wstring& n : numbers)
        recipients.push_back(n.c_str());
    std::vector<int32_t> states(numbers.size(), 1);

    // The SMS plug-in closes its window when the user has read it; here the previous one
    // goes when the next send starts, so `hold` still shows the last and a run of many
    // sends does not keep a window (and its screen surface) per send.
    static HWND previous = nullptr;
    if (previous != nullptr && IsWindow(previous))
        DestroyWindow(previous);
    previous = nullptr;
    HWND window = CreateSendWindow(L"Wysyłanie SMS: " + target->profile.name);
    previous = window;
    if (window == nullptr) {
        error = "the send window could not be created (no display?)";
        return false;
    }
    SmstSendInfo request{};
    request.size = sizeof request;
    request.profileData = record.data();
    request.profileLength = static_cast<uint32_t>(record.size());
    request.recipients = recipients.data();
    request.recipientState = states.data();
    request.recipientCount = static_cast<int32_t>(recipients.size());
    request.messageText = text.c_str();
    request.progressList = GetDlgItem(window, kListId);

    host.output.Trace("SEND-CALL profile=" + Quote(target->profile.name) +
                      " bytes=" + HexBytes(record.data(), record.size()) +
                      " recipients=" + std::to_string(recipients.size()));
    const DWORD started = GetTickCount();
    const intptr_t result = target->transport->send(&request);
    const DWORD elapsed = GetTickCount() - started;
    PumpMessages();

    dlg::ListBox list;
    list.Attach(GetDlgItem(window, kListId));
    for (int i = 0; i < list.Count(); ++i) {
        host.output.Print("SEND-LINE index=" + std::to_string(i) +
                          " text=" + Quote(list.ItemText(i)));
    }
    for (size_t i = 0; i < numbers.size(); ++i) {
        host.output.Print("SEND-RECIPIENT index=" + std::to_string(i) +
                          " number=" + Quote(numbers[i]) + " state=" + std::to_string(states[i]));
    }
    host.output.Print("SEND -> " + std::to_string(result));
    host.output.Print("SEND-TIME ms=" + std::to_string(elapsed));
    return true;
}

bool HoldCommand(Host& host, const CommandArgs& args, std::string& error) {
    const unsigned long ms = std::wcstoul(args[0].c_str(), nullptr, 10);
    if (ms == 0 || ms > 600000) {
        error = "hold takes 1 to 600000 milliseconds";
        return false;
    }
    const DWORD until = GetTickCount() + ms;
    while (static_cast<LONG>(until - GetTickCount()) > 0) {
        PumpMessages();
        Sleep(20);
    }
    host.output.Print("HOLD " + std::to_string(ms));
    return true;
}

}  // namespace tarnik::host
