// The operating-system seams of the native build.
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

#include "link/os_seams.h"

namespace tarnik {

namespace {

// Windows looks for a bare library name beside the program first; do the same, so the
// native build finds the link libraries that the build puts next to its programs.
std::string ProgramDirectory() {
    char path[4096];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0)
        return {};
    std::string dir(path, static_cast<size_t>(n));
    const size_t slash = dir.rfind('/');
    return slash == std::string::npos ? std::string{} : dir.substr(0, slash + 1);
}

class PosixModules final : public ModuleApi {
public:
    void* Load(const char* fileName) override {
        const std::string beside = ProgramDirectory() + fileName;
        if (void* module = dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL))
            return module;
        return dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    }
    void* Find(void* module, const char* exportName) override { return dlsym(module, exportName); }
    void Free(void* module) override { dlclose(module); }
};

class SteadyClock final : public Clock {
public:
    uint32_t TickCount() override {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return static_cast<uint32_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
    }
    void Sleep(uint32_t milliseconds) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
};

}  // namespace

ModuleApi& SystemModules() {
    static PosixModules modules;
    return modules;
}

Clock& SystemClock() {
    static SteadyClock clock;
    return clock;
}

}  // namespace tarnik
