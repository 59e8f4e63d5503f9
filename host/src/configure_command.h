// The SMS plug-in's side of a profile's settings: the configure callback on the stored
// record, and the store updated when the callback says the record changed.
#pragma once

#include <string>

#include "commands.h"

namespace tarnik::host {

// configure PROFILE [SCRIPT]
bool ConfigureCommand(Host& host, const CommandArgs& args, std::string& error);

}  // namespace tarnik::host
