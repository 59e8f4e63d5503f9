#include "resources_command.h"

// psapi.h builds on the types of windows.h.
// clang-format off
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <cstdint>
#include <vector>

#include "host.h"

namespace tarnik::host {

namespace {

std::string Count(bool answered, uint64_t value) {
    return answered ? std::to_string(value) : "failed";
}

// Committed private pages as the address space shows them. Wine does not fill PrivateUsage
// (it stays 0), so this is the figure that can be compared on both systems.
uint64_t CommittedPrivate() {
    uint64_t total = 0;
    MEMORY_BASIC_INFORMATION region;
    const char* address = nullptr;
    while (VirtualQuery(address, &region, sizeof region) == sizeof region) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) {
            total += region.RegionSize;
        }
        const char* next = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
        if (next <= address) {
            break;
        }
        address = next;
    }
    return total;
}

// Bytes in use in every heap of the process: what allocations hold, without the heaps'
// free space, so that a heap that keeps pages it no longer needs is not taken for a leak.
bool HeapBytes(uint64_t& busy) {
    const std::vector<HANDLE> heaps = ProcessHeaps();
    busy = 0;
    for (HANDLE heap : heaps) {
        if (!HeapLock(heap)) {
            continue;
        }
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heap, &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) {
                busy += entry.cbData;
            }
        }
        HeapUnlock(heap);
    }
    return !heaps.empty();
}

// Open kernel handles counted one by one: Wine answers GetProcessHandleCount with 0. Handle
// values are multiples of 4 and are given out lowest first, so a range far beyond what the
// process holds finds them all.
uint64_t ProbedHandles() {
    constexpr uintptr_t kLastProbed = 0x10000;
    uint64_t count = 0;
    for (uintptr_t value = 4; value <= kLastProbed; value += 4) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags)) {
            ++count;
        }
    }
    return count;
}

}  // namespace

bool ResourcesCommand(Host& host, const CommandArgs&, std::string&) {
    const HANDLE self = GetCurrentProcess();
    PROCESS_MEMORY_COUNTERS_EX memory{};
    memory.cb = sizeof memory;
    const bool memoryAnswered = GetProcessMemoryInfo(
        self, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory);
    DWORD handles = 0;
    const bool handlesAnswered = GetProcessHandleCount(self, &handles);
    // 0 is also how GetGuiResources fails; the process always holds some objects of each.
    const DWORD user = GetGuiResources(self, GR_USEROBJECTS);
    const DWORD gdi = GetGuiResources(self, GR_GDIOBJECTS);
    uint64_t heap = 0;
    const bool heapAnswered = HeapBytes(heap);
    uint64_t windows = 0;
    for (HWND window : OwnWindows()) {
        ++windows;
        EnumChildWindows(
            window,
            [](HWND, LPARAM l) {
                ++*reinterpret_cast<uint64_t*>(l);
                return TRUE;
            },
            reinterpret_cast<LPARAM>(&windows));
    }

    host.output.Print("RESOURCES windows=" + std::to_string(windows) +
                      " private=" + Count(memoryAnswered, memory.PrivateUsage) +
                      " workingSet=" + Count(memoryAnswered, memory.WorkingSetSize) +
                      " committed=" + std::to_string(CommittedPrivate()) + " heap=" +
                      Count(heapAnswered, heap) + " handles=" + Count(handlesAnswered, handles) +
                      " probedHandles=" + std::to_string(ProbedHandles()) +
                      " user=" + std::to_string(user) + " gdi=" + std::to_string(gdi));
    return true;
}

}  // namespace tarnik::host
