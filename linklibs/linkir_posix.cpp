// linkir.mdl, portable build: the native build has no IrDA stack (Linux dropped IrDA from
// the kernel in 4.17; the Windows build uses Winsock AF_IRDA, see linkir_win32.cpp), so
// every call reports failure plainly. It exists so the plug-in's loading path and the export
// table can be exercised on Linux. Closing, reading and writing: no_port_posix.cpp.
#include <type_traits>

#include "link/link_library_abi.h"

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t) {
    return kLinkIrClosed;
}

static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenFn>);
