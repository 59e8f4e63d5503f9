// linkbt.mdl, portable build: the native build has no Bluetooth stack of its own (the
// Windows build uses Winsock RFCOMM, see linkbt_win32.cpp), so every call reports failure
// plainly: no devices, no connection. It exists so the plug-in's loading path and the export
// table can be exercised on Linux.
#include <type_traits>

#include "link/link_library_abi.h"

TARNIK_LINK_EXPORT int32_t libEnumDevices(void*, LinkDeviceRecord*, uint32_t, int32_t) {
    return 0;
}

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint64_t) {
    return kLinkBtClosed;
}

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t) {
    return -1;
}

TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t, void*, uint32_t) {
    return -1;
}

TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t, const void*, uint32_t) {
    return -1;
}

static_assert(std::is_same_v<decltype(&libEnumDevices), LibEnumDevicesFn>);
static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenBtFn>);
static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
