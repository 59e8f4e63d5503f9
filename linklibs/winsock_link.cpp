#include "linklibs/winsock_link.h"

#include <climits>
#include <type_traits>

#include "link/link_library_abi.h"

namespace {

SOCKET AsSocket(intptr_t handle) {
    return static_cast<SOCKET>(handle);
}

bool Valid(intptr_t handle) {
    return handle != winsock_link::kClosed && handle != 0;
}

}  // namespace

namespace winsock_link {

bool Start() {
    WSADATA data;
    return WSAStartup(MAKEWORD(2, 2), &data) == 0;
}

void Stop() {
    WSACleanup();
}

intptr_t Adopt(SOCKET socket) {
    u_long nonBlocking = 1;
    if (ioctlsocket(socket, FIONBIO, &nonBlocking) != 0) {
        closesocket(socket);
        Stop();
        return kClosed;
    }
    return static_cast<intptr_t>(socket);
}

}  // namespace winsock_link

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t handle) {
    if (!Valid(handle)) {
        return -1;
    }
    const int result = closesocket(AsSocket(handle));
    winsock_link::Stop();
    return result == 0 ? 0 : -1;
}

// Bytes placed in the buffer; 0 when nothing waits; -1 when the link is gone or broken.
TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t handle, void* buffer, uint32_t size) {
    if (!Valid(handle) || buffer == nullptr) {
        return -1;
    }
    if (size == 0) {
        return 0;
    }
    const int wanted = size < uint32_t(INT_MAX) ? int(size) : INT_MAX;
    const int got = recv(AsSocket(handle), static_cast<char*>(buffer), wanted, 0);
    if (got > 0) {
        return got;
    }
    if (got == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK) {
        return 0;
    }
    return -1;  // 0 from recv: the phone closed the link
}

// Bytes sent, waiting for room in the send buffer for a bounded time; -1 when none went.
TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t handle, const void* data, uint32_t length) {
    if (!Valid(handle) || (data == nullptr && length != 0)) {
        return -1;
    }
    // 5 s in all: radio links stall for a while when the phone is busy or out of reach, but
    // the caller has its own time-outs and must not hang here.
    const DWORD deadline = GetTickCount() + 5000;
    const auto* bytes = static_cast<const char*>(data);
    uint32_t sent = 0;
    while (sent < length) {
        const uint32_t left = length - sent;
        const int chunk = left < uint32_t(INT_MAX) ? int(left) : INT_MAX;
        const int put = send(AsSocket(handle), bytes + sent, chunk, 0);
        if (put > 0) {
            sent += uint32_t(put);
            continue;
        }
        if (put == SOCKET_ERROR && WSAGetLastError() != WSAEWOULDBLOCK) {
            break;
        }
        const DWORD now = GetTickCount();
        const LONG remaining = LONG(deadline - now);  // wraps like GetTickCount itself
        if (remaining <= 0) {
            break;
        }
        fd_set writable;
        FD_ZERO(&writable);
        FD_SET(AsSocket(handle), &writable);
        timeval wait{remaining / 1000, (remaining % 1000) * 1000};
        if (select(0, nullptr, &writable, nullptr, &wait) == SOCKET_ERROR) {
            break;
        }
    }
    return sent > 0 || length == 0 ? int32_t(sent) : -1;
}

static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
