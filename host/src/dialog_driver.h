// Drives the plug-in's dialogs from a script through real window messages, as a user at
// the keyboard and mouse would, so that tests and users can run them without a person.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace tarnik::host {

class Output;

enum class StepTarget;  // what a step acts on, found before it runs
struct ScriptStep;      // one step being run

// A script's verb: the steps are separated by ';' and --help prints this table.
struct ScriptVerb {
    const wchar_t* name;
    const char* arguments;
    const char* help;
    StepTarget target;
    bool (*run)(ScriptStep& step);  // false: the step failed
};
const std::vector<ScriptVerb>& ScriptVerbs();

// The first visible top-level window of this process of this class (enabled too, when
// asked), or null.
HWND TopWindow(const wchar_t* cls, bool enabled);

// What the host's thread does for a script, asked by a message to its `menu` window.
constexpr UINT kInvokeMenu = WM_APP;        // use the plug-in's menu entry
constexpr UINT kInvokeUnload = WM_APP + 1;  // deaf for WPARAM ms, then pluginUnload

class DialogDriver {
public:
    // Starts on its own thread and waits for a dialog of this process to appear. `menu`,
    // when given, is a window of the host's thread that runs kInvokeMenu and kInvokeUnload.
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

    Output& output_;
    std::wstring script_;
    HWND menu_;
    bool ok_ = true;
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace tarnik::host
