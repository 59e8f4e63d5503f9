// Every call the host makes into the plug-in runs through HostEntry: the plug-in's module
// is current for it (its dialog templates, its activation context) and the caller's comes
// back on every way out; nothing thrown inside (std::bad_alloc, a container's length
// error) unwinds into the host's process, which knows nothing of our exceptions.
#pragma once

#include "dialog_framework/module_state.h"
#include "plugin/plugin_state.h"

namespace tarnik {

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
