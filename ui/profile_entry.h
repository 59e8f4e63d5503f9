// Reading a profile as "SMST/Enumerate" reports it: the record as Base64 text.
#pragma once

#include "plugin/gsm_profile.h"

namespace tarnik {

// Decodes a profile's Base64 text, as the SMS plug-in keeps it, with the host utilities.
// False when there is no text or it decodes to fewer than 13 bytes: such a profile cannot
// be used to connect, and `profile` is left as it was.
bool ProfileFromBase64(const wchar_t* base64, GsmProfile& profile);

}  // namespace tarnik
