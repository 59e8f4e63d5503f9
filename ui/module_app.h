// The module's application object of the dialog framework, and the guard that every call
// from the host runs under: the plug-in's module is current for it (its dialog templates,
// its activation context) and the caller's comes back on every way out; nothing thrown
// inside (std::bad_alloc, a container's length error) unwinds into the host's process,
// which knows nothing of our exceptions.
#pragma once

#include <windows.h>

#include "dialog_framework/module_state.h"

namespace tarnik {

// Knows the module's instance and activation context, and starts Windows Sockets when
// the module loads.
class CTarnikApp {
public:
    bool InitInstance(HINSTANCE instance);  // false: the module must not load
    void ExitInstance();

    HINSTANCE instance() const { return instance_; }
    HANDLE activationContext() const { return activationContext_; }

private:
    HINSTANCE instance_ = nullptr;
    HANDLE activationContext_ = INVALID_HANDLE_VALUE;
    bool socketsStarted_ = false;
};

extern CTarnikApp theApp;

// Runs `body` and returns its result, or `failure` when it throws.
template <typename Result, typename Body>
Result HostEntry(Result failure, Body&& body) noexcept {
    try {
        dlg::ModuleStateGuard guard(theApp.instance(), theApp.activationContext());
        return body();
    } catch (...) {
        return failure;
    }
}

}  // namespace tarnik
