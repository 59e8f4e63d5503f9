#include "modules.h"

#include "fields.h"
#include "host/files/files.h"
#include "host/text/utf8.h"
#include "output.h"

namespace tarnik::host {

bool PluginModule::Load(std::string& error) {
    if (module_ != nullptr) {
        return true;
    }
    // The plug-in's own folder first for its dependencies; hrxcore.mdl and hrxutil.mdl are
    // already in the process, so the plug-in binds to this host's copies.
    module_ = LoadLibraryExW(path_.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module_ == nullptr) {
        error = "cannot load " + Utf8(path_) + " (error " + std::to_string(GetLastError()) + ")";
        return false;
    }
    output_.Print("PLUGIN path=" + Quote(path_) + " module=" + Where(module_));
    return true;
}

FARPROC PluginModule::Export(const char* name, std::string& error) {
    if (!Load(error)) {
        return nullptr;
    }
    FARPROC function = GetProcAddress(module_, name);
    if (function == nullptr) {
        error = std::string("the plug-in does not export ") + name;
    }
    return function;
}

void PluginModule::Free() {
    if (module_ != nullptr) {
        FreeLibrary(module_);
        module_ = nullptr;
    }
}

HMODULE ModuleOf(const void* address) {
    HMODULE module = nullptr;
    if (address == nullptr || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                                      GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                                  static_cast<LPCWSTR>(address), &module)) {
        return nullptr;
    }
    return module;
}

std::string Where(const void* address) {
    if (address == nullptr) {
        return "null";
    }
    std::string text = Hex(reinterpret_cast<uintptr_t>(address));
    if (const HMODULE module = ModuleOf(address)) {
        wchar_t path[MAX_PATH * 2];
        const DWORD length = GetModuleFileNameW(module, path, MAX_PATH * 2);
        if (length > 0 && length < MAX_PATH * 2) {
            text += "@" + Bare(FileNameOf(path));
        }
    }
    return text;
}

std::vector<HWND> OwnWindows() {
    std::vector<HWND> windows;
    EnumWindows(
        [](HWND window, LPARAM l) {
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            if (process == GetCurrentProcessId())
                reinterpret_cast<std::vector<HWND>*>(l)->push_back(window);
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&windows));
    return windows;
}

std::vector<HANDLE> ProcessHeaps() {
    std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr) + 16);
    const DWORD got = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(got <= heaps.size() ? got : 0);
    return heaps;
}

}  // namespace tarnik::host
