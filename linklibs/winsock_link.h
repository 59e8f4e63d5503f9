// A connected Winsock stream socket as a link library port, shared by linkbt.mdl and
// linkir.mdl: one Winsock reference per open port, non-blocking reads, bounded writes.
// Each library opens its own kind of socket; closing, reading and writing are the same
// for both, so winsock_link.cpp exports libPortClose, libPortRead and libPortWrite.
#pragma once

#include <winsock2.h>

#include <cstdint>

namespace winsock_link {

// The handle of a failed open, as the plug-in expects from Bluetooth and IrDA; it is also
// INVALID_SOCKET read as intptr_t, so a SOCKET is the handle unchanged.
constexpr intptr_t kClosed = -1;

// Winsock counts WSAStartup calls per process, and the host's own startup may or may not
// have happened, so every use takes its own reference and gives it back with Stop. Doing
// this per open port, and not in DllMain, follows the WSAStartup documentation, which warns
// against calling it or WSACleanup from DllMain (they can load other libraries).
bool Start();
void Stop();

// Takes over a connected socket and the Winsock reference taken for it: makes it
// non-blocking and returns it as a handle, or closes both and returns kClosed.
intptr_t Adopt(SOCKET socket);

}  // namespace winsock_link
