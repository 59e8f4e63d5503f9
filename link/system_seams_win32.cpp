// The operating-system seams of the Windows build.
#include <windows.h>

#include <string>

#include "link/os_seams.h"

namespace tarnik {

namespace {

class Win32Modules final : public ModuleApi {
public:
    void* Load(const char* fileName) override {
        const std::wstring wide(fileName, fileName + std::char_traits<char>::length(fileName));
        return LoadLibraryW(wide.c_str());
    }
    void* Find(void* module, const char* exportName) override {
        return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), exportName));
    }
    void Free(void* module) override { FreeLibrary(static_cast<HMODULE>(module)); }
};

class TickClock final : public Clock {
public:
    uint32_t TickCount() override { return GetTickCount(); }
    void Sleep(uint32_t milliseconds) override { ::Sleep(milliseconds); }
};

}  // namespace

ModuleApi& SystemModules() {
    static Win32Modules modules;
    return modules;
}

Clock& SystemClock() {
    static TickClock clock;
    return clock;
}

}  // namespace tarnik
