// Drives the plug-in's dialogs from a script through real window messages, as a user at
// the keyboard and mouse would, so that tests and users can run them without a person.
#pragma once

#include <windows.h>

#include <atomic>
#include <istream>
#include <string>
#include <thread>

namespace tarnik::host {

class Output;

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
//   expect CAPTION        wait until the dialog that takes input has this caption
//   wait-text ID TEXT     wait until control ID (at any depth) shows TEXT
//   rows                  the list view 2007: its columns, then every row with its
//                         selection, focus and four texts
//   select-rows [I,J,...] select exactly these rows (none without a list)
//   row-click I|below     click row I with the mouse, or the empty space below the rows
//   row-rclick I|below    the same with the right button (opens a context menu)
//   key ID down|up|space  press the key in control ID
//   menu-dump             the open context menu's items: id, text, enabled, separator
//   menu-choose ID        choose the menu item ID with the keyboard
//   menu-cancel           close the context menu with Esc
//   size W H              resize the dialog to a client area of W by H pixels
//   layout                every window of the dialog at any depth: id, class, place in
//                         the dialog's client area, visibility, text
//   menu                  use the plug-in's menu entry again (on the host's thread)
//   time                  print TIME ms=<milliseconds since the system started>
class DialogDriver {
public:
    // Starts on its own thread and waits for a dialog of this process to appear. `menu`,
    // when given, is a window of the host's thread whose WM_APP runs the menu entry.
    DialogDriver(Output& output, std::wstring script, HWND menu = nullptr);
    ~DialogDriver();  // waits for the script to finish
    DialogDriver(const DialogDriver&) = delete;
    DialogDriver& operator=(const DialogDriver&) = delete;

    // Waits for the script to end. A step that fails ends the whole process with exit
    // status 1 (the reason on stderr): what the script left open may block the host.
    bool Finish() {
        if (thread_.joinable())
            thread_.join();
        return ok_;
    }
    // True once the script has ended, whichever way.
    bool Done() const { return done_; }

private:
    void Run();
    bool Step(HWND dialog, const std::wstring& step);
    void Dump(HWND dialog);
    bool ListStep(HWND dialog, const std::wstring& verb, std::wistream& in);
    bool MenuStep(const std::wstring& verb, std::wistream& in);
    void Layout(HWND dialog);

    Output& output_;
    std::wstring script_;
    HWND menu_;
    bool ok_ = true;
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace tarnik::host
