// Closing, reading and writing for linkbt.mdl and linkir.mdl in the native build, where
// neither has a stack to open a port on: there is never a port, so each call fails.
#include <type_traits>

#include "link/link_library_abi.h"

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t) {
    return -1;
}

TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t, void*, uint32_t) {
    return -1;
}

TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t, const void*, uint32_t) {
    return -1;
}

static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
