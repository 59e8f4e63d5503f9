// Modules of this process: the plug-in, loaded on first need and freed on request, and the
// module a pointer lies in, by which the output names code and data.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace tarnik::host {

class Output;

class PluginModule {
public:
    PluginModule(std::wstring path, Output& output) : path_(std::move(path)), output_(output) {}

    HMODULE handle() const { return module_; }
    // Loads it unless it is loaded, printing PLUGIN.
    bool Load(std::string& error);
    FARPROC Export(const char* name, std::string& error);
    void Free();

private:
    std::wstring path_;  // absolute
    Output& output_;
    HMODULE module_ = nullptr;
};

// The top-level windows of this process, hidden ones too.
std::vector<HWND> OwnWindows();
// Every heap of this process; none when the system does not say.
std::vector<HANDLE> ProcessHeaps();

// The loaded module holding this address, or null.
HMODULE ModuleOf(const void* address);
// A pointer as 0x... with "@module" when it lies inside a loaded module; null as null.
std::string Where(const void* address);

}  // namespace tarnik::host
