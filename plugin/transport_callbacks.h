// The send callback our transport registers with the SMS plug-in; the configure callback
// is the settings dialog's (ui/settings_dialog.h).
#pragma once

#include <cstdint>

#include "plugin/host_records.h"

namespace tarnik {

// Sends one message to its recipients through the profile's phone (blocking).
intptr_t TransportSend(SmstSendInfo* request);

}  // namespace tarnik
