// The commands of tarnik-host, run one after the other in one process.
#pragma once

#include <string>
#include <vector>

namespace tarnik::host {

class Host;

using CommandArgs = std::vector<std::wstring>;

struct Command {
    const char* name;
    const char* arguments;  // for --help, e.g. "NAME HEX [TRANSPORT-ID]"
    size_t minArgs;
    size_t maxArgs;
    const char* help;
    // False when the command failed; `error` then says why.
    bool (*run)(Host& host, const CommandArgs& args, std::string& error);
};

// Calls the plug-in's pluginUnload and prints what it left: UNLOAD -> result bound windows
// threads. The unload command, and a script's unload at any moment.
bool UnloadPlugin(Host& host, std::string& error);

const std::vector<Command>& Commands();
const Command* FindCommand(const std::string& name);

}  // namespace tarnik::host
