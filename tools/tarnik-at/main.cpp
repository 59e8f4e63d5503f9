// tarnik-at: runs AT commands against a phone through the same link libraries and AT
// exchange the plug-in uses, and prints what came back. For checking a phone or cable
// by hand, and for the tests that put the real link library in front of the emulator.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "link/mobile_core.h"

namespace {

constexpr char kUsage[] =
    "Usage: tarnik-at (--com N | --bt ADDRESS | --ir) [--timeout MS] [--crlf] COMMAND...\n"
    "  Opens the link as the plug-in does (linkcom.mdl, linkbt.mdl or linkir.mdl beside this\n"
    "  program) and sends each COMMAND, ended by CR (or CR LF with --crlf), waiting for \"OK\"\n"
    "  or \"ERROR\" with the given silence time-out (default 3000 ms). A COMMAND of the form\n"
    "  EXPECTED=>COMMAND waits for EXPECTED instead of \"OK\" (e.g. \">=>AT+CMGS=18\"); the text\n"
    "  \\x1A in a command stands for Ctrl-Z.\n"
    "  Prints, per command: \"> COMMAND\", \"result N\" and the reply with \\r and \\n escaped.\n"
    "  Exit code: 0 when every command succeeded, 1 when one failed, 2 on bad arguments,\n"
    "  3 when the link could not be opened.\n";

std::string Escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\r') {
            out += "\\r";
        } else if (c == '\n') {
            out += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", static_cast<unsigned char>(c));
            out += buf;
        } else {
            out.push_back(c);
        }
    }
    return out;
}

std::string Unescaped(std::string text) {
    for (size_t at; (at = text.find("\\x1A")) != std::string::npos;)
        text.replace(at, 4, "\x1A");
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace tarnik;
    CoreKind kind = CORE_SERIAL;
    bool haveLink = false;
    uint32_t port = 0;
    uint64_t address = 0;
    uint32_t timeout = 3000;
    std::string terminator = "\r";
    std::vector<std::string> commands;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--com" && hasValue) {
            kind = CORE_SERIAL;
            port = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
            haveLink = true;
        } else if (arg == "--bt" && hasValue) {
            kind = CORE_BLUE;
            address = std::strtoull(argv[++i], nullptr, 16);
            haveLink = true;
        } else if (arg == "--ir") {
            kind = CORE_IR;
            haveLink = true;
        } else if (arg == "--timeout" && hasValue) {
            timeout = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        } else if (arg == "--crlf") {
            terminator = "\r\n";
        } else if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return 0;
        } else if (arg.rfind("--", 0) == 0) {
            std::fprintf(stderr, "tarnik-at: unknown option %s\n%s", arg.c_str(), kUsage);
            return 2;
        } else {
            commands.push_back(arg);
        }
    }
    if (!haveLink || commands.empty()) {
        std::fputs(kUsage, stderr);
        return 2;
    }

    CMobileCore core(kind);
    bool open = false;
    switch (kind) {
        case CORE_SERIAL:
            core.CSerialCore::LoadModule();
            core.OpenSerial(port);
            open = core.IsOpen();
            break;
        case CORE_BLUE:
            core.CBlueCore::LoadModule();
            open = core.OpenBluetooth(address);
            break;
        case CORE_IR:
            core.CIrCore::LoadModule();
            open = core.OpenIrDA();
            break;
    }
    if (!open) {
        std::fprintf(stderr, "tarnik-at: the link could not be opened\n");
        return 3;
    }

    int failures = 0;
    for (const std::string& given : commands) {
        std::string expected = "OK";
        std::string command = given;
        const size_t arrow = given.find("=>");
        if (arrow != std::string::npos) {
            expected = given.substr(0, arrow);
            command = given.substr(arrow + 2);
        }
        command = Unescaped(command);
        std::string reply;
        const int result =
            core.SendCommand(command, expected, terminator, "ERROR", &reply, timeout);
        std::printf("> %s\nresult %d\n%s\n", Escaped(command).c_str(), result,
                    Escaped(reply).c_str());
        std::fflush(stdout);
        if (result != 1)
            ++failures;
    }
    core.Close();
    return failures == 0 ? 0 : 1;
}
