// linkbt.mdl, portable build: the native build has no Bluetooth stack of its own (the
// Windows build uses Winsock RFCOMM, see linkbt_win32.cpp), so every call reports failure
// plainly: no devices, no connection. It exists so the plug-in's loading path and the export
// table can be exercised on Linux. Closing, reading and writing: no_port_posix.cpp.
#include <type_traits>

#include "link/link_library_abi.h"

TARNIK_LINK_EXPORT int32_t libEnumDevices(void*, LinkDeviceRecord*, uint32_t, int32_t) {
    return 0;
}

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint64_t) {
    return kLinkBtClosed;
}

static_assert(std::is_same_v<decltype(&libEnumDevices), LibEnumDevicesFn>);
static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenBtFn>);
