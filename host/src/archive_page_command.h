// The host's side of the archive page: the plug-in's menu entry used as the host's menu
// would, and the host's message loop while the page, its chooser and boxes are open.
#pragma once

#include <string>

#include "commands.h"

namespace tarnik::host {

// archive-page [SCRIPT]
bool ArchivePageCommand(Host& host, const CommandArgs& args, std::string& error);

}  // namespace tarnik::host
