// Which module the dialog framework takes its resources (dialog templates, init data)
// from, and under which activation context it creates windows. A plug-in runs on the
// host's threads, so every entry point makes its own module current for the length of
// the call and gives the caller's back on every way out.
#pragma once

#include <windows.h>

namespace dlg {

// The module whose resources the framework uses on this thread; the process's executable
// until a guard says otherwise.
HINSTANCE CurrentResourceModule();

class ModuleStateGuard {
public:
    // `activationContext` may be INVALID_HANDLE_VALUE: the module has none of its own.
    ModuleStateGuard(HINSTANCE module, HANDLE activationContext);
    ~ModuleStateGuard();
    ModuleStateGuard(const ModuleStateGuard&) = delete;
    ModuleStateGuard& operator=(const ModuleStateGuard&) = delete;

private:
    HINSTANCE previous_;
    ULONG_PTR cookie_ = 0;
    bool activated_ = false;
};

// The activation context of a module's own manifest resource (id 2, as for DLLs), or
// INVALID_HANDLE_VALUE when the module carries none.
HANDLE CreateModuleActivationContext(HINSTANCE module);

}  // namespace dlg
