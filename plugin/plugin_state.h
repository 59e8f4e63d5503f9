// The little state the module keeps between pluginLoad and pluginUnload.
#pragma once

#include <windows.h>

#include <cstdint>

namespace tarnik {

class CWndAccessHost;

// The framework's application object of this module: it knows the module's instance and
// activation context, and starts Windows Sockets when the module loads.
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
extern intptr_t settingsHandle;
extern CWndAccessHost* archivePage;

}  // namespace tarnik
