// Reaching the phone a transport profile names: its link kind, its library and its
// device or port. Every job opens its link this way.
#pragma once

#include <optional>

#include "link/mobile_core.h"
#include "plugin/gsm_profile.h"

namespace tarnik {

// The link's kind for the profile's numbering (0 Bluetooth, 1 IrDA, 2 COM); nothing for
// any other value.
std::optional<CoreKind> CoreKindOf(const GsmProfile& profile);

// Loads the library of the link's kind and opens the profile's device or port; false when
// the link is not open. A library that does not load leaves the open to fail.
bool OpenProfileLink(CMobileCore& link, const GsmProfile& profile);

}  // namespace tarnik
