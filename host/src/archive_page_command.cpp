#include "archive_page_command.h"

#include <functional>
#include <memory>

#include "dialog_driver.h"
#include "fields.h"
#include "host.h"

namespace tarnik::host {

namespace {

constexpr wchar_t kInvokerClass[] = L"TarnikHostMenuInvoker";
constexpr wchar_t kDialogClass[] = L"#32770";

// The menu entry the host would show: the first item a plug-in added.
const MenuEntry* ArchiveEntry(const Host& host) {
    for (const MenuEntry& item : host.registered.menu()) {
        if (item.callback != nullptr)
            return &item;
    }
    return nullptr;
}

intptr_t Invoke(Host& host) {
    const MenuEntry* item = ArchiveEntry(host);
    if (item == nullptr)
        return -1;
    const MenuCallbackFn callback = item->callback;  // the callback may change the menu
    const std::wstring id = item->id;
    const intptr_t result = callback(0, 0);
    host.output.Print("MENU-INVOKE id=" + Quote(id) + " -> " + std::to_string(result));
    return result;
}

// Runs the menu entry on this thread for a script on another: a menu callback belongs to
// the host's user-interface thread.
LRESULT CALLBACK InvokerProc(HWND window, UINT message, WPARAM w, LPARAM l) {
    auto* host = reinterpret_cast<Host*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == kInvokeMenu)
        return host != nullptr ? Invoke(*host) : -1;
    if (message == kInvokeUnload) {
        if (host == nullptr)
            return 0;
        Sleep(static_cast<DWORD>(w));  // busy elsewhere: sent messages wait
        std::string error;
        const bool done = UnloadPlugin(*host, error);
        if (!done)
            Warn(error);
        return done ? 1 : 0;
    }
    return DefWindowProcW(window, message, w, l);
}

// The host's message loop: keyboard navigation of the active dialog, as for any modeless
// dialog of the host.
void PumpUntil(const std::function<bool()>& done) {
    while (!done()) {
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            HWND active = GetActiveWindow();
            if (active != nullptr && IsDialogMessageW(active, &message))
                continue;
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
}

}  // namespace

bool ArchivePageCommand(Host& host, const CommandArgs& args, std::string& error) {
    if (ArchiveEntry(host) == nullptr) {
        error = "no plug-in menu entry (load the plug-in first)";
        return false;
    }
    WNDCLASSW invokerClass{};
    invokerClass.lpfnWndProc = InvokerProc;
    invokerClass.hInstance = GetModuleHandleW(nullptr);
    invokerClass.lpszClassName = kInvokerClass;
    RegisterClassW(&invokerClass);  // fails harmlessly when a previous command registered it
    HWND invoker = CreateWindowExW(0, kInvokerClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                   GetModuleHandleW(nullptr), nullptr);
    if (invoker == nullptr) {
        error = "cannot create the host's menu window";
        return false;
    }
    SetWindowLongPtrW(invoker, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&host));

    Invoke(host);
    bool ok = true;
    if (args.empty()) {
        // A person at the screen: until every window of the page is closed or hidden.
        PumpUntil([] { return TopWindow(kDialogClass, false) == nullptr; });
    } else {
        DialogDriver driver(host.output, args[0], invoker);
        PumpUntil([&driver] { return driver.Done(); });
        ok = driver.Finish();
    }
    DestroyWindow(invoker);
    host.output.Print("ARCHIVE-PAGE script=" + std::string(ok ? "done" : "failed"));
    if (!ok)
        error = "the archive page script failed";
    return ok;
}

}  // namespace tarnik::host
