// What the host process holds at one moment, for runs that repeat an operation many times:
// memory, kernel handles, USER and GDI objects, windows.
#pragma once

#include <string>

#include "commands.h"

namespace tarnik::host {

// resources
bool ResourcesCommand(Host& host, const CommandArgs& args, std::string& error);

}  // namespace tarnik::host
