#include "steps.h"

#include <cwctype>

#include "host.h"
#include "host/text/utf8.h"

namespace tarnik::host {

const char kRepeatHelp[] =
    "  repeat N { COMMAND [ARGS] ... }\n"
    "      Run the commands between the braces N times (1 to 1000000) in this process;\n"
    "      blocks nest. Prints REPEAT round=I of=N before each round. Inside a block a\n"
    "      '}' ends it unless a command still needs arguments.\n";

namespace {

constexpr unsigned long kMaxTimes = 1000000;
constexpr size_t kMaxDepth = 16;

bool IsRepeat(const std::wstring& word) {
    return word == L"repeat";
}

// Where a command's optional arguments stop: the next command, a block, or the end of the
// block they are in.
bool StartsSomething(const std::wstring& word, bool inBlock) {
    return FindCommand(Utf8(word)) != nullptr || IsRepeat(word) || (inBlock && word == L"}");
}

bool ParseTimes(const std::wstring& word, size_t& times) {
    if (word.empty() || word.size() > 7) {
        return false;
    }
    unsigned long value = 0;
    for (const wchar_t c : word) {
        if (!std::iswdigit(c)) {
            return false;
        }
        value = value * 10 + static_cast<unsigned long>(c - L'0');
    }
    if (value == 0 || value > kMaxTimes) {
        return false;
    }
    times = value;
    return true;
}

bool ParseBlock(const std::vector<std::wstring>& words, size_t& next, size_t depth,
                std::vector<Step>& steps, std::string& error) {
    const bool inBlock = depth > 0;
    while (next < words.size()) {
        const std::wstring& word = words[next++];
        if (inBlock && word == L"}") {
            if (steps.empty()) {
                error = "repeat needs at least one command between { and }";
                return false;
            }
            return true;
        }
        if (IsRepeat(word)) {
            Step block;
            if (next >= words.size() || !ParseTimes(words[next], block.times)) {
                error = "repeat needs a count from 1 to " + std::to_string(kMaxTimes);
                return false;
            }
            if (++next >= words.size() || words[next] != L"{") {
                error = "repeat N needs { after the count";
                return false;
            }
            if (depth + 1 > kMaxDepth) {
                error = "repeat blocks nest at most " + std::to_string(kMaxDepth) + " deep";
                return false;
            }
            ++next;
            if (!ParseBlock(words, next, depth + 1, block.body, error)) {
                return false;
            }
            steps.push_back(std::move(block));
            continue;
        }
        const std::string name = Utf8(word);
        const Command* command = FindCommand(name);
        if (command == nullptr) {
            error = "unknown command " + name;
            return false;
        }
        Step step;
        step.command = command;
        size_t least = 0, most = 0;
        ArgumentCounts(*command, least, most);
        while (step.args.size() < most && next < words.size() &&
               (step.args.size() < least || !StartsSomething(words[next], inBlock))) {
            step.args.push_back(words[next++]);
        }
        if (step.args.size() < least) {
            error = name + " needs " + command->arguments;
            return false;
        }
        steps.push_back(std::move(step));
    }
    if (inBlock) {
        error = "repeat block without its closing }";
        return false;
    }
    return true;
}

}  // namespace

bool ParseSteps(const std::vector<std::wstring>& words, std::vector<Step>& steps,
                std::string& error) {
    size_t next = 0;
    return ParseBlock(words, next, 0, steps, error);
}

bool RunSteps(Host& host, const std::vector<Step>& steps, std::string& failed, std::string& error) {
    for (const Step& step : steps) {
        if (step.command != nullptr) {
            if (!step.command->run(host, step.args, error)) {
                failed = step.command->name;
                return false;
            }
            continue;
        }
        for (size_t round = 1; round <= step.times; ++round) {
            host.output.Print("REPEAT round=" + std::to_string(round) +
                              " of=" + std::to_string(step.times));
            if (!RunSteps(host, step.body, failed, error)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace tarnik::host
