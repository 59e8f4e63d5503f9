// The SMS plug-in's side of sending: a window with the progress list box, the send request
// built from a stored profile, and the transport's send callback called on this thread.
#pragma once

#include <string>

#include "commands.h"

namespace tarnik::host {

// send PROFILE-NAME TEXT NUMBER [NUMBER...]
bool SendSms(Host& host, const CommandArgs& args, std::string& error);
// hold MILLISECONDS: keeps the windows on screen, answering their messages, e.g. for a
// screenshot.
bool HoldCommand(Host& host, const CommandArgs& args, std::string& error);

}  // namespace tarnik::host
