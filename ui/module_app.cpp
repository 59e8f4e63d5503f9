// Windows Sockets must come before <windows.h>.
#include <winsock2.h>

#include "ui/module_app.h"

namespace tarnik {

CTarnikApp theApp;

bool CTarnikApp::InitInstance(HINSTANCE instance) {
    instance_ = instance;
    WSADATA data;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0) {
        MessageBoxW(nullptr, L"Nie udało się uruchomić Windows Sockets.", L"Tarnik",
                    MB_OK | MB_ICONSTOP);
        return false;
    }
    socketsStarted_ = true;
    activationContext_ = dlg::CreateModuleActivationContext(instance);
    return true;
}

void CTarnikApp::ExitInstance() {
    if (activationContext_ != INVALID_HANDLE_VALUE)
        ReleaseActCtx(activationContext_);
    activationContext_ = INVALID_HANDLE_VALUE;
    if (socketsStarted_)
        WSACleanup();
    socketsStarted_ = false;
}

}  // namespace tarnik
