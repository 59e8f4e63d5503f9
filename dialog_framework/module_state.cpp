#include "dialog_framework/module_state.h"

namespace dlg {

namespace {

// Per thread, as a plug-in may be entered on several host threads at once.
thread_local HINSTANCE t_resourceModule = nullptr;

}  // namespace

HINSTANCE CurrentResourceModule() {
    return t_resourceModule != nullptr ? t_resourceModule : GetModuleHandleW(nullptr);
}

ModuleStateGuard::ModuleStateGuard(HINSTANCE module, HANDLE activationContext)
    : previous_(t_resourceModule) {
    t_resourceModule = module;
    if (activationContext != INVALID_HANDLE_VALUE && activationContext != nullptr) {
        activated_ = ActivateActCtx(activationContext, &cookie_) != FALSE;
    }
}

ModuleStateGuard::~ModuleStateGuard() {
    if (activated_)
        DeactivateActCtx(0, cookie_);
    t_resourceModule = previous_;
}

HANDLE CreateModuleActivationContext(HINSTANCE module) {
    wchar_t path[MAX_PATH];
    if (GetModuleFileNameW(module, path, MAX_PATH) == 0)
        return INVALID_HANDLE_VALUE;
    if (FindResourceW(module, MAKEINTRESOURCEW(2), MAKEINTRESOURCEW(24)) == nullptr) {
        return INVALID_HANDLE_VALUE;  // no manifest of its own: keep the caller's context
    }
    ACTCTXW context{};
    context.cbSize = sizeof context;
    context.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    context.lpSource = path;
    context.hModule = module;
    context.lpResourceName = MAKEINTRESOURCEW(2);
    return CreateActCtxW(&context);
}

}  // namespace dlg
