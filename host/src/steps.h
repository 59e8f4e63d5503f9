// The command line as steps: commands with their arguments, and repeat blocks that run
// their steps again and again in the same process (a host that stays up for days).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "commands.h"

namespace tarnik::host {

struct Step {
    const Command* command = nullptr;  // null: a repeat block
    CommandArgs args;
    size_t times = 0;  // of a repeat block
    std::vector<Step> body;
};

// What --help says about repeat blocks.
extern const char kRepeatHelp[];

// The words after the options as steps; false, with `error` saying why, for a command line
// that cannot be run.
bool ParseSteps(const std::vector<std::wstring>& words, std::vector<Step>& steps,
                std::string& error);

// Runs the steps in order; the first that fails stops the run, its name in `failed`.
bool RunSteps(Host& host, const std::vector<Step>& steps, std::string& failed, std::string& error);

}  // namespace tarnik::host
