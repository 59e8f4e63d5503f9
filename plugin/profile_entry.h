// Reading a profile out of an "SMST/Enumerate" entry, where the record stands as Base64.
#pragma once

#include "plugin/gsm_profile.h"
#include "plugin/host_records.h"

namespace tarnik {

// Decodes the entry's Base64 text with the host utilities. False when the entry has no
// data or decodes to fewer than 13 bytes: such a profile cannot be used to connect.
bool ProfileFromEntry(const SmstProfileEntry& entry, GsmProfile& profile);

}  // namespace tarnik
