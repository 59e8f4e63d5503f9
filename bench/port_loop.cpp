// Opens, talks to and closes a COM port again and again through linkcom.mdl, as each send
// and download does, and prints the process's working set every so many rounds: whether
// the serial layer under the link library keeps anything per opening.
//
// usage: tarnik-port-loop PORT [ROUNDS] [EVERY]
// Prints "ROUND n workingSet=BYTES" before the first round and every EVERY rounds after.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "link/link_library_abi.h"

namespace {

void Report(long round) {
    PROCESS_MEMORY_COUNTERS memory{};
    memory.cb = sizeof memory;
    GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
    std::printf("ROUND %ld workingSet=%llu\n", round,
                static_cast<unsigned long long>(memory.WorkingSetSize));
    std::fflush(stdout);
}

template <class Function>
Function Entry(HMODULE module, const char* name) {
    Function function = nullptr;
    const FARPROC address = GetProcAddress(module, name);
    static_assert(sizeof function == sizeof address, "code pointers are all alike");
    std::memcpy(&function, &address, sizeof function);
    return function;
}

// One job's use of the port: load the library, open, "AT" answered by "OK", close, free.
bool Round(uint32_t port) {
    const HMODULE library = LoadLibraryW(L"linkcom.mdl");
    if (library == nullptr)
        return false;
    const auto open = Entry<LibPortOpenFn>(library, "libPortOpen");
    const auto close = Entry<LibPortCloseFn>(library, "libPortClose");
    const auto write = Entry<LibPortWriteFn>(library, "libPortWrite");
    const auto read = Entry<LibPortReadFn>(library, "libPortRead");
    bool answered = false;
    const intptr_t handle = open != nullptr ? open(port) : kLinkComClosed;
    if (handle != kLinkComClosed && close != nullptr && write != nullptr && read != nullptr) {
        write(handle, "AT\r", 3);
        char reply[256] = {};
        size_t got = 0;
        for (int poll = 0; poll < 20 && !answered; ++poll) {
            const int32_t n = read(handle, reply + got, static_cast<uint32_t>(255 - got));
            if (n > 0)
                got += static_cast<size_t>(n);
            answered = std::strstr(reply, "OK") != nullptr;
            if (!answered)
                Sleep(50);
        }
        close(handle);
    }
    FreeLibrary(library);
    return answered;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: tarnik-port-loop PORT [ROUNDS] [EVERY]\n");
        return 2;
    }
    const auto port = static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10));
    const long rounds = argc > 2 ? std::strtol(argv[2], nullptr, 10) : 200;
    const long every = argc > 3 ? std::strtol(argv[3], nullptr, 10) : 20;
    if (rounds < 1 || every < 1) {
        std::fprintf(stderr, "ROUNDS and EVERY must be positive\n");
        return 2;
    }
    Report(0);
    for (long round = 1; round <= rounds; ++round) {
        if (!Round(port)) {
            std::fprintf(stderr, "round %ld: no answer on COM%u\n", round, unsigned(port));
            return 1;
        }
        if (round % every == 0)
            Report(round);
    }
    return 0;
}
