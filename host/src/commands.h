// The commands of tarnik-host, run one after the other in one process.
#pragma once

#include <string>
#include <vector>

namespace tarnik::host {

class Host;

using CommandArgs = std::vector<std::wstring>;

struct Command {
    const char* name;
    // For --help and the parser, e.g. "NAME HEX [TRANSPORT-ID]": [WORD] is optional,
    // WORD... takes the rest.
    const char* arguments;
    const char* help;
    // False when the command failed; `error` then says why.
    bool (*run)(Host& host, const CommandArgs& args, std::string& error);
};

// Calls the plug-in's pluginUnload and prints what it left: UNLOAD -> result bound windows
// threads. The unload command, and a script's unload at any moment.
bool UnloadPlugin(Host& host, std::string& error);

const std::vector<Command>& Commands();
// How many arguments the command takes, read from its `arguments`.
void ArgumentCounts(const Command& command, size_t& least, size_t& most);
const Command* FindCommand(const std::string& name);

}  // namespace tarnik::host
