// The two ways the phone link reaches the operating system: loading the link libraries,
// and the millisecond clock that paces the AT exchange. Jobs use the system's; tests
// put in their own so that a 45-second silence costs nothing.
#pragma once

#include <cstdint>

namespace tarnik {

// LoadLibraryW / GetProcAddress / FreeLibrary on Windows, dlopen natively.
class ModuleApi {
public:
    virtual ~ModuleApi() = default;
    // Loads a library by bare file name ("linkcom.mdl"); null on failure.
    virtual void* Load(const char* fileName) = 0;
    // An export by name, or null.
    virtual void* Find(void* module, const char* exportName) = 0;
    virtual void Free(void* module) = 0;
};

// GetTickCount and Sleep on Windows, the monotonic clock natively.
class Clock {
public:
    virtual ~Clock() = default;
    virtual uint32_t TickCount() = 0;  // milliseconds, wraps after 49.7 days
    virtual void Sleep(uint32_t milliseconds) = 0;
};

ModuleApi& SystemModules();
Clock& SystemClock();

}  // namespace tarnik
