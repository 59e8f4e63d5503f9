// Drives the plug-in's dialogs from a script through real window messages, as a user at
// the keyboard and mouse would, so that tests and users can run them without a person.
#pragma once

#include <windows.h>

#include <string>
#include <thread>

namespace tarnik::host {

class Host;

// Steps, separated by ';':
//   dump                  print the dialog and every control: id, class, enabled, text,
//                         check state, items with their data and the selection
//   select ID INDEX       choose item INDEX of drop-down list ID (as the user does:
//                         the list reports an accepted selection to the dialog)
//   select-data ID DATA   the same, the item whose item data is DATA
//   click ID              click button ID
//   check ID 0|1          set check box ID by clicking it when it differs
//   ok | cancel           click OK or Cancel
//   esc                   press Esc
//   close                 the window's close box
//   wait MS               pause
class DialogDriver {
public:
    // Starts on its own thread and waits for a dialog of this process to appear.
    DialogDriver(Host& host, std::wstring script);
    ~DialogDriver();  // waits for the script to finish
    DialogDriver(const DialogDriver&) = delete;
    DialogDriver& operator=(const DialogDriver&) = delete;

    // Waits for the script to end; false when a step failed (the reason went to stderr).
    bool Finish() {
        if (thread_.joinable()) thread_.join();
        return ok_;
    }

private:
    void Run();
    bool Step(HWND dialog, const std::wstring& step);
    void Dump(HWND dialog);

    Host& host_;
    std::wstring script_;
    bool ok_ = true;
    std::thread thread_;
};

}  // namespace tarnik::host
