// tarnik-host: loads a plug-in DLL into a stand-in of the messenger host and runs commands
// against it, one after the other in one process.
#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "dialog_driver.h"
#include "host.h"
#include "host/files/files.h"
#include "host/text/utf8.h"
#include "services.h"
#include "steps.h"

using namespace tarnik::host;

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;

void PrintHelp() {
    std::string text =
        "Usage: tarnik-host [--plugin PATH] [--data DIR] [--trace] [--no-sms]\n"
        "                   COMMAND [ARGS] [COMMAND [ARGS] ...]\n"
        "\n"
        "Loads a plug-in into a stand-in of the messenger host: hrxcore.mdl and hrxutil.mdl\n"
        "from this program's folder, the host's named services and its SMS plug-in's\n"
        "transport registry. The commands run in order in one process; the first that fails\n"
        "ends the run.\n"
        "\n"
        "Options:\n"
        "  --plugin PATH  the plug-in (default: tarnik.dll beside tarnik-host.exe)\n"
        "  --data DIR     the data folder (default: .\\hostdata); created when written\n"
        "  --trace        one line on stdout per service call (format below)\n"
        "  --no-sms       the SMS plug-in is absent: the SMST/* services do not exist\n"
        "  --help         this text\n"
        "\n"
        "Commands:\n";
    const auto entry = [&text](const std::string& name, const char* arguments, const char* help) {
        text +=
            "  " + name + (*arguments != '\0' ? " " : "") + arguments + "\n      " + help + "\n";
    };
    for (const Command& command : Commands()) {
        entry(command.name, command.arguments, command.help);
    }
    text += kRepeatHelp;
    text +=
        "An optional argument is taken unless the word is a command name or repeat.\n"
        "\n"
        "Script steps (the SCRIPT of configure and archive-page), separated by ';'. A step acts\n"
        "on the dialog of this process that takes input, waiting for one to appear, unless it\n"
        "says otherwise; a step that fails ends the run at once (exit status 1).\n";
    for (const ScriptVerb& verb : ScriptVerbs()) {
        entry(Utf8(verb.name), verb.arguments, verb.help);
    }
    text +=
        "\n"
        "Exit status: 0 when every command succeeded, 1 when one failed (the reason on\n"
        "stderr), 2 for a command line that cannot be run (nothing is run then).\n"
        "\n"
        "Data folder (UTF-8 text files):\n"
        "  log.txt        one line per HRX/Log call: kind=K source=TEXT message=TEXT\n"
        "  archive.txt    one line per Ar/WriteSMS call: size=56 reserved4=N text=TEXT\n"
        "                 meta=TEXT number=TEXT direction=D reserved36=N time=SECONDS reserved=N\n"
        "  profiles.txt   the SMS plug-in's profiles, one per line:\n"
        "                 NAME<TAB>TRANSPORT-ID<TAB>BASE64 (lines starting with # are skipped)\n"
        "  settings\\MODULE.ini\n"
        "                 the settings file of the plug-in whose module file is MODULE.dll\n"
        "\n"
        "Output: every line starts with an upper-case word naming what it reports; the rest\n"
        "is fields KEY=VALUE separated by one blank. TEXT is \"...\" with the escapes \\\\ \\\"\n"
        "\\n \\r \\t, \\xHH for other control characters and \\uXXXX for a lone surrogate, or\n"
        "the bare word null for a null pointer. Numbers are decimal. A pointer whose identity\n"
        "matters is 0xHEX, followed by @MODULE when it lies inside a loaded module (e.g.\n"
        "instance=0x6a340000@tarnik.dll), or null. Loading the plug-in prints\n"
        "PLUGIN path=TEXT module=POINTER.\n"
        "\n"
        "Trace (--trace):\n"
        "  CALL SERVICE ARGUMENT-FIELDS -> RESULT [OUTCOME-FIELDS]\n"
        "      a service ran. The argument fields decode the record field by field (size\n"
        "      first), then the second argument (second=N, instance=POINTER, count=N).\n"
        "      A record's reserved fields appear only when not zero: nonzero=FIELD,...\n"
        "      Outcome fields: error=TEXT (the call was refused: result -1, or 0 for\n"
        "      HRX/Settings/Init), warning=TEXT, and what the service gave back\n"
        "      (path=, filled=, index=, replaced=1, ...).\n"
        "  MISSING SERVICE first=0xHEX second=0xHEX -> 0\n"
        "      no such service (the SMST/* services under --no-sms).\n"
        "  EXISTS SERVICE -> 1|0\n"
        "  REGISTER SERVICE handler=POINTER -> 0|-1\n"
        "      a plug-in offered a service of its own through fnRegister.\n"
        "Example:\n"
        "  CALL HRX/Log size=40 kind=1 source=\"SMSX\" message=\"GSM transport plugin "
        "starting up...\" second=0 -> 0\n"
        "\n"
        "Services:\n";
    for (const ServiceDef* service = ServicesBegin(); service != ServicesEnd(); ++service) {
        text += "  " + Utf8(service->name) + "\n      " + service->help + "\n";
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
}

std::wstring FullPath(const std::wstring& path) {
    const DWORD needed = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
    if (needed == 0) {
        return path;
    }
    std::wstring full(needed, L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
    full.resize(length);
    return full;
}

std::wstring ProgramFolder() {
    wchar_t path[MAX_PATH * 2];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH * 2);
    return DirectoryOf(std::wstring(path, length));
}

int Usage(const std::string& message) {
    std::fprintf(stderr, "tarnik-host: %s (see --help)\n", message.c_str());
    return kExitUsage;
}

}  // namespace

// wmain: the arguments arrive as UTF-16, so profile names keep their Polish letters.
int wmain(int argc, wchar_t** argv) {
    // Machine-read output: UTF-8 bytes and bare line feeds, whatever the console is.
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);

    std::vector<std::wstring> words(argv + 1, argv + argc);

    HostOptions options;
    options.pluginPath = ProgramFolder() + L"\\tarnik.dll";
    options.dataDir = L"hostdata";
    size_t next = 0;
    for (; next < words.size() && words[next].rfind(L"--", 0) == 0; ++next) {
        const std::wstring& option = words[next];
        if (option == L"--help") {
            PrintHelp();
            return 0;
        }
        if (option == L"--trace") {
            options.trace = true;
        } else if (option == L"--no-sms") {
            options.noSms = true;
        } else if (option == L"--plugin" || option == L"--data") {
            if (next + 1 >= words.size()) {
                return Usage(Utf8(option) + " needs a value");
            }
            (option == L"--plugin" ? options.pluginPath : options.dataDir) = words[++next];
        } else {
            return Usage("unknown option " + Utf8(option));
        }
    }
    options.pluginPath = FullPath(options.pluginPath);
    options.dataDir = FullPath(options.dataDir);

    // The whole command line is checked before anything runs.
    std::vector<Step> steps;
    std::string parseError;
    if (!ParseSteps(std::vector<std::wstring>(words.begin() + static_cast<std::ptrdiff_t>(next),
                                              words.end()),
                    steps, parseError)) {
        return Usage(parseError);
    }
    if (steps.empty()) {
        return Usage("no command");
    }

    Host host(options);
    std::string failed;
    std::string error;
    if (!RunSteps(host, steps, failed, error)) {
        std::fprintf(stderr, "tarnik-host: %s: %s\n", failed.c_str(), error.c_str());
        return kExitFailed;
    }
    return 0;
}
