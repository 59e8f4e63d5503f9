// The two callbacks our transport registers with the SMS plug-in.
#pragma once

#include <cstdint>

#include "plugin/host_records.h"

namespace tarnik {

// Sends one message to its recipients through the profile's phone (blocking).
intptr_t TransportSend(SmstSendInfo* request);
// Shows the profile settings dialog on a working copy (blocking); the 13 bytes and the
// written length 13 go back only when the user confirms. Always 0.
intptr_t TransportConfigure(SmstConfigureInfo* request);

}  // namespace tarnik
