// linkir.mdl, portable build: the native build has no IrDA stack (Linux dropped IrDA from
// the kernel in 4.17; the Windows build uses Winsock AF_IRDA, see linkir_win32.cpp), so
// every call reports failure plainly. It exists so the plug-in's loading path and the export
// table can be exercised on Linux.
#include <type_traits>

#include "link/link_library_abi.h"

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t) {
    return kLinkIrClosed;
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

static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenFn>);
static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
