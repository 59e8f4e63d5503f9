#include "commands.h"

#include <windows.h>

#include <tlhelp32.h>

#include <cstdio>
#include <cstring>
#include <sstream>

#include "archive_page_command.h"
#include "configure_command.h"
#include "fields.h"
#include "host.h"
#include "host/text/base64.h"
#include "host/text/utf8.h"
#include "resources_command.h"
#include "send_window.h"
#include "text.h"

namespace tarnik::host {

namespace {

using QueryPlugInfoFn = const PluginInfo* (*)();
using PluginLoadFn = int (*)(intptr_t, HRXFUNCTIONS*);
using PluginUnloadFn = int (*)();

template <class Function>
Function Export(Host& host, const char* name, std::string& error) {
    const FARPROC address = host.plugin.Export(name, error);
    Function function = nullptr;
    static_assert(sizeof function == sizeof address, "code pointers are all alike");
    std::memcpy(&function, &address, sizeof function);
    return function;
}

std::string Version(uint64_t packed) {
    return std::to_string((packed >> 48u) & 0xFFFFu) + "." +
           std::to_string((packed >> 32u) & 0xFFFFu) + "." +
           std::to_string((packed >> 16u) & 0xFFFFu) + "." + std::to_string(packed & 0xFFFFu);
}

// Whether hrxcore.mdl is bound to this host's table: the plug-in's libHrxInit and
// libHrxTerminate reach the same module as the host.
std::string Binding(Host& host) {
    if (hrx::g_pF == nullptr && hrx::g_pTrans == nullptr) {
        return "no";
    }
    if (hrx::g_pF != nullptr && hrx::g_pTrans != nullptr &&
        hrx::g_pF->functions.fnCall == host.table.get()->fnCall) {
        return "yes";
    }
    return "inconsistent";
}

// Days since 1970-01-01 to a civil date (proleptic Gregorian), for any 64-bit time.
std::string UtcText(int64_t seconds) {
    int64_t days = seconds / 86400;
    int64_t rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t mp = (5 * dayOfYear + 2) / 153;
    const int64_t day = dayOfYear - (153 * mp + 2) / 5 + 1;
    const int64_t month = mp < 10 ? mp + 3 : mp - 9;
    const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    char text[64];
    std::snprintf(text, sizeof text, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld",
                  static_cast<long long>(year), static_cast<long long>(month),
                  static_cast<long long>(day), static_cast<long long>(rest / 3600),
                  static_cast<long long>(rest / 60 % 60), static_cast<long long>(rest % 60));
    return text;
}

bool Info(Host& host, const CommandArgs&, std::string& error) {
    const auto query = Export<QueryPlugInfoFn>(host, "queryPlugInfo", error);
    if (query == nullptr) {
        return false;
    }
    const PluginInfo* info = query();
    host.output.Print("INFO address=" + Where(info));
    if (info == nullptr) {
        error = "queryPlugInfo returned null";
        return false;
    }
    const auto text = [&](const char* field, const wchar_t* value) {
        host.output.Print(std::string("INFO ") + field + "=" + QuoteOrNull(value));
    };
    host.output.Print("INFO size=" + std::to_string(info->size));
    host.output.Print("INFO reserved4=" + std::to_string(info->reserved4));
    text("shortName", info->shortName);
    text("description", info->description);
    text("legalNotice", info->legalNotice);
    text("author", info->author);
    text("email", info->email);
    text("webAddress", info->webAddress);
    text("updateManifest", info->updateManifest);
    host.output.Print("INFO version=" + Version(info->version));
    host.output.Print("INFO moduleVersion=" + Version(info->moduleVersion));
    host.output.Print("INFO three=" + std::to_string(info->three));
    host.output.Print("INFO reserved84=" + std::to_string(info->reserved84));
    host.output.Print("INFO reserved88=" + Where(info->reserved88));
    text("pluginId", info->pluginId);
    host.output.Print("INFO reserved104=" + Where(info->reserved104[0]) + "," +
                      Where(info->reserved104[1]) + "," + Where(info->reserved104[2]));
    if (info->size != sizeof(PluginInfo)) {
        error = "the record's size is " + std::to_string(info->size) + ", not " +
                std::to_string(sizeof(PluginInfo));
        return false;
    }
    return true;
}

bool Load(Host& host, const CommandArgs&, std::string& error) {
    const auto load = Export<PluginLoadFn>(host, "pluginLoad", error);
    if (load == nullptr) {
        return false;
    }
    const int result = load(0, host.table.get());
    host.output.Print("LOAD -> " + std::to_string(result) + " bound=" + Binding(host));
    return true;
}

// Windows of this process made from the plug-in's templates: after pluginUnload none may
// be left, since the code behind them goes with the module.
int WindowsOf(HMODULE module) {
    int count = 0;
    for (HWND window : OwnWindows())
        count += reinterpret_cast<HMODULE>(GetWindowLongPtrW(window, GWLP_HINSTANCE)) == module;
    return count;
}

// Threads of this process that started in the plug-in's code: after pluginUnload none may
// be running, since that code may go with the module.
int ThreadsOf(HMODULE module) {
    using QueryThreadFn = LONG(WINAPI*)(HANDLE, int, void*, ULONG, ULONG*);
    constexpr int kThreadStartAddress = 9;  // ThreadQuerySetWin32StartAddress
    const FARPROC found =
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationThread");
    QueryThreadFn query = nullptr;
    std::memcpy(&query, &found, sizeof query);
    HANDLE snapshot =
        query != nullptr ? CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0) : INVALID_HANDLE_VALUE;
    if (snapshot == INVALID_HANDLE_VALUE)
        return -1;
    int count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        if (entry.th32OwnerProcessID != GetCurrentProcessId())
            continue;
        HANDLE thread =
            OpenThread(THREAD_QUERY_INFORMATION | SYNCHRONIZE, FALSE, entry.th32ThreadID);
        if (thread == nullptr)
            continue;
        void* start = nullptr;
        // A thread that has ended but is still listed runs nothing.
        if (WaitForSingleObject(thread, 0) == WAIT_TIMEOUT &&
            query(thread, kThreadStartAddress, &start, sizeof start, nullptr) == 0 &&
            module != nullptr && ModuleOf(start) == module) {
            ++count;
        }
        CloseHandle(thread);
    }
    CloseHandle(snapshot);
    return count;
}

bool Unload(Host& host, const CommandArgs&, std::string& error) {
    return UnloadPlugin(host, error);
}

// "NAME count=N", then a line per item, given the item and its index.
template <class Items, class Line>
bool PrintAll(Host& host, const char* name, const Items& items, Line line) {
    host.output.Print(std::string(name) + " count=" + std::to_string(items.size()));
    for (size_t i = 0; i < items.size(); ++i)
        host.output.Print(line(items[i], std::to_string(i)));
    return true;
}

bool Transports(Host& host, const CommandArgs&, std::string&) {
    return PrintAll(host, "TRANSPORTS", host.registered.transports(),
                    [](const RegisteredTransport& t, const std::string&) {
                        return "TRANSPORT id=" + Quote(t.id) + " name=" + Quote(t.name) +
                               " number10=" + std::to_string(t.number10) +
                               " maxSingleText=" + std::to_string(t.maxSingleText) +
                               " number50=" + std::to_string(t.number50) +
                               " send=" + Where(reinterpret_cast<const void*>(t.send)) +
                               " configure=" + Where(reinterpret_cast<const void*>(t.configure));
                    });
}

bool Menu(Host& host, const CommandArgs&, std::string&) {
    return PrintAll(host, "MENU", host.registered.menu(),
                    [](const MenuEntry& item, const std::string&) {
                        return "MENU-ITEM id=" + Quote(item.id) + " parent=" + Quote(item.parent) +
                               " caption=" + Quote(item.caption) +
                               " position=" + std::to_string(item.position) +
                               " callback=" + Where(reinterpret_cast<const void*>(item.callback)) +
                               " instance=" + Where(item.instance);
                    });
}

bool MenuInvoke(Host& host, const CommandArgs& args, std::string& error) {
    for (const MenuEntry& item : host.registered.menu()) {
        if (item.id == args[0]) {
            if (item.callback == nullptr) {
                error = "menu item " + Utf8(args[0]) + " has no callback";
                return false;
            }
            // Copied: the callback may add or replace menu items.
            const MenuEntry chosen = item;
            const intptr_t result = chosen.callback(0, 0);
            host.output.Print("MENU-INVOKE id=" + Quote(chosen.id) + " -> " +
                              std::to_string(result));
            return true;
        }
    }
    error = "no menu item " + Utf8(args[0]);
    return false;
}

std::string RecordHex(const StoredProfile& profile) {
    const std::vector<uint8_t> record = RecordBytes(profile);
    return HexBytes(record.data(), record.size());
}

bool Profiles(Host& host, const CommandArgs&, std::string&) {
    return PrintAll(host, "PROFILES", host.profiles.Records(),
                    [](const StoredProfile& p, const std::string& i) {
                        return "PROFILE index=" + i + " name=" + Quote(p.name) +
                               " transportId=" + Quote(p.transportId) + " bytes=" + RecordHex(p) +
                               " base64=" + Quote(p.base64);
                    });
}

bool AddProfile(Host& host, const CommandArgs& args, std::string& error) {
    const std::optional<std::vector<uint8_t>> bytes = ParseHexBytes(args[1]);
    if (!bytes) {
        error = "the record must be an even number of hex digits: " + Utf8(args[1]);
        return false;
    }
    StoredProfile profile;
    profile.name = args[0];
    if (args.size() > 2) {
        profile.transportId = args[2];
    } else if (!host.registered.transports().empty()) {
        profile.transportId = host.registered.transports().front().id;
    } else {
        profile.transportId = kDefaultTransportId;
    }
    profile.base64 = WideFromUtf8(Base64Encode(*bytes));
    for (const std::wstring* field : {&profile.name, &profile.transportId, &profile.base64}) {
        if (field->find_first_of(L"\t\r\n") != std::wstring::npos) {
            error = "profile fields cannot hold tabs or line breaks";
            return false;
        }
    }
    if (!host.profiles.Append(profile, error)) {
        return false;
    }
    host.output.Print("ADD-PROFILE index=" + std::to_string(host.profiles.Records().size() - 1) +
                      " name=" + Quote(profile.name) + " transportId=" +
                      Quote(profile.transportId) + " base64=" + Quote(profile.base64));
    return true;
}

bool Archive(Host& host, const CommandArgs&, std::string&) {
    return PrintAll(host, "ARCHIVE", host.archive.Records(),
                    [](const ArchivedSms& sms, const std::string& i) {
                        return "ARCHIVE-RECORD index=" + i + " " + StoreLine(sms) + " utc=\"" +
                               UtcText(sms.time) + "\"";
                    });
}

bool Log(Host& host, const CommandArgs&, std::string&) {
    return PrintAll(host, "LOG", host.log.Records(),
                    [](const LogRecord& entry, const std::string& i) {
                        return "LOG-ENTRY index=" + i + " " + StoreLine(entry);
                    });
}

bool Heaps(Host& host, const CommandArgs&, std::string&) {
    const std::vector<HANDLE> heaps = ProcessHeaps();
    size_t valid = 0;
    for (HANDLE heap : heaps)
        valid += HeapValidate(heap, 0, nullptr) ? 1 : 0;
    host.output.Print("HEAPS count=" + std::to_string(heaps.size()) +
                      " valid=" + std::to_string(valid));
    return true;
}

bool Free(Host& host, const CommandArgs&, std::string&) {
    const HMODULE module = host.plugin.handle();
    const size_t menuBefore = host.registered.menu().size();
    const size_t transportsBefore = host.registered.transports().size();
    const std::string where = Where(module);  // before the module goes
    if (module != nullptr) {
        host.registered.ForgetModule(module);
        host.services.ForgetModule(module);
        host.plugin.Free();
    }
    host.output.Print("FREE module=" + where + " droppedMenuItems=" +
                      std::to_string(menuBefore - host.registered.menu().size()) +
                      " droppedTransports=" +
                      std::to_string(transportsBefore - host.registered.transports().size()));
    return true;
}

}  // namespace

bool UnloadPlugin(Host& host, std::string& error) {
    const auto unload = Export<PluginUnloadFn>(host, "pluginUnload", error);
    if (unload == nullptr) {
        return false;
    }
    const int result = unload();
    host.output.Print("UNLOAD -> " + std::to_string(result) + " bound=" + Binding(host) +
                      " windows=" + std::to_string(WindowsOf(host.plugin.handle())) +
                      " threads=" + std::to_string(ThreadsOf(host.plugin.handle())));
    return true;
}

const std::vector<Command>& Commands() {
    static const std::vector<Command> commands = {
        {"info", "",
         "Load the plug-in if needed, call queryPlugInfo and print the record: INFO "
         "address=<pointer>, then one INFO line per field (versions as a.b.c.d). Fails when "
         "the size is not 128.",
         Info},
        {"load", "",
         "Call pluginLoad(0, table). Prints LOAD -> <result> bound=yes|no|inconsistent "
         "(whether hrxcore.mdl now holds this host's table).",
         Load},
        {"unload", "",
         "Call pluginUnload(). Prints UNLOAD -> <result> bound=... windows=<the plug-in's "
         "windows still there> threads=<threads started in the plug-in's code still running>",
         Unload},
        {"transports", "",
         "Registered transports: TRANSPORTS count=N, then TRANSPORT id name number10 "
         "maxSingleText number50 send configure.",
         Transports},
        {"menu", "",
         "Menu items kept: MENU count=N, then MENU-ITEM id parent caption position callback "
         "instance.",
         Menu},
        {"menu-invoke", "ITEM-ID",
         "Call the item's callback with (0, 0). Prints MENU-INVOKE id=\"...\" -> <result>.",
         MenuInvoke},
        {"profiles", "",
         "Stored profiles of every transport: PROFILES count=N, then PROFILE index name "
         "transportId bytes=<record in hex> base64.",
         Profiles},
        {"add-profile", "NAME HEX [TRANSPORT-ID]",
         "Store a profile whose record bytes are HEX (26 digits for a 13-byte record). The "
         "transport id defaults to the first registered transport, else "
         "3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35. Prints ADD-PROFILE.",
         AddProfile},
        {"archive", "",
         "Every stored archive record: ARCHIVE count=N, then ARCHIVE-RECORD index <the "
         "archive.txt fields> utc=\"YYYY-MM-DD hh:mm:ss\".",
         Archive},
        {"log", "", "The host log: LOG count=N, then LOG-ENTRY index kind source message.", Log},
        {"free", "",
         "FreeLibrary the plug-in; menu items and transports whose code lay in it are "
         "dropped. Prints FREE module droppedMenuItems droppedTransports.",
         Free},
        {"heaps", "",
         "Check every heap of the process, blocks in use and free ones (HeapValidate): "
         "HEAPS count=N valid=<how many passed>. Under WINEDEBUG=warn+heap, Wine also "
         "names on stderr what it finds, and watches freed blocks for writes meanwhile.",
         Heaps},
        {"send", "PROFILE TEXT NUMBER...",
         "Send TEXT to the NUMBERs through the stored profile named PROFILE, as the SMS "
         "plug-in does: a window with its progress list box, an SmstSendInfo (every "
         "recipient's state 1) and the transport's send callback on this thread. Prints "
         "SEND-LINE index text for every line of the list box, SEND-RECIPIENT index number "
         "state, SEND -> <result> and SEND-TIME ms=<wall time of the callback>.",
         SendSms},
        {"hold", "MILLISECONDS",
         "Keep the windows on screen for that long, answering their messages (for a "
         "screenshot). Prints HOLD.",
         HoldCommand},
        {"configure", "PROFILE [SCRIPT]",
         "Open the settings of the stored profile PROFILE through its transport's configure "
         "callback, as the SMS plug-in does (an SmstConfigureInfo over the record's bytes). "
         "SCRIPT plays the user (script steps below); without it the dialog waits for a "
         "person. Prints CONFIGURE -> <result> written=<length or untouched> bytes=<13 "
         "bytes> after=<the 3 bytes past the record>; the store is updated only when the "
         "written length is 13.",
         ConfigureCommand},
        {"archive-page", "[SCRIPT]",
         "Use the plug-in's menu entry (the first item added with a callback) as the host's "
         "menu does, then run the host's message loop while SCRIPT plays the user on the "
         "windows that open (script steps below); without it the loop runs until no dialog "
         "is shown. Prints MENU-INVOKE for each use of the entry and ARCHIVE-PAGE "
         "script=done|failed.",
         ArchivePageCommand},
        {"resources", "",
         "What the process holds now: RESOURCES windows=<windows of this process, children "
         "included> private=<GetProcessMemoryInfo's PrivateUsage> "
         "workingSet=<bytes> committed=<committed private bytes of the address space> "
         "heap=<bytes in use in all heaps> handles=<GetProcessHandleCount> "
         "probedHandles=<valid handle values up to 0x10000> user=<USER "
         "objects> gdi=<GDI objects>. "
         "A figure the system does not give reads failed; under Wine private, handles, user "
         "and gdi read 0.",
         ResourcesCommand},
    };
    return commands;
}

void ArgumentCounts(const Command& command, size_t& least, size_t& most) {
    constexpr size_t kRest = 1000;  // what a WORD... may take
    least = most = 0;
    std::istringstream words(command.arguments);
    for (std::string word; words >> word;) {
        least += word.front() == '[' ? 0 : 1;
        most = word.size() > 3 && word.compare(word.size() - 3, 3, "...") == 0 ? kRest : most + 1;
    }
}

const Command* FindCommand(const std::string& name) {
    for (const Command& command : Commands()) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

}  // namespace tarnik::host
