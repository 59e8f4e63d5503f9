#include "host.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <type_traits>

#include "hrx/hrxutil.h"
#include "services.h"
#include "text.h"

namespace tarnik::host {

namespace {

Host* current = nullptr;  // the C function table has no context pointer

intptr_t TableCall(const wchar_t* service, intptr_t first, intptr_t second) {
    return current->CallService(service, first, second);
}

intptr_t TableExists(const wchar_t* service) {
    return current->ServiceExists(service);
}

intptr_t TableRegister(const wchar_t* service, intptr_t (*handler)(intptr_t, intptr_t)) {
    return current->RegisterService(service, handler);
}

void Warn(const std::string& text) {
    std::fprintf(stderr, "tarnik-host: %s\n", text.c_str());
}

template <class Integer>
bool ParseNumber(const FieldValue& value, Integer& out) {
    if (value.quoted || value.isNull || value.text.empty()) {
        return false;
    }
    wchar_t* end = nullptr;
    if constexpr (std::is_signed_v<Integer>) {
        out = static_cast<Integer>(std::wcstoll(value.text.c_str(), &end, 10));
    } else {
        out = static_cast<Integer>(std::wcstoull(value.text.c_str(), &end, 10));
    }
    return end != nullptr && *end == L'\0';
}

bool ParseText(const Fields& fields, const char* key, OptionalText& out) {
    const auto found = fields.find(key);
    if (found == fields.end() || !(found->second.quoted || found->second.isNull)) {
        return false;
    }
    out = found->second.isNull ? OptionalText{} : OptionalText{found->second.text};
    return true;
}

template <class Integer>
bool ParseField(const Fields& fields, const char* key, Integer& out) {
    const auto found = fields.find(key);
    return found != fields.end() && ParseNumber(found->second, out);
}

std::string OptionalQuote(const OptionalText& text) {
    return text ? Quote(*text) : "null";
}

// Lines of a store file, empty when the file does not exist yet.
std::vector<std::string> StoreLines(const std::wstring& path) {
    const std::optional<std::string> content = ReadWholeFile(path);
    return content ? SplitLines(*content) : std::vector<std::string>{};
}

}  // namespace

Host::Host(HostOptions options) : options_(std::move(options)) {
    table_.size = sizeof(HRXFUNCTIONS);
    table_.version = 1;
    table_.fnRegister = TableRegister;
    table_.fnCall = TableCall;
    table_.fnExists = TableExists;
    current = this;
}

Host::~Host() {
    current = nullptr;
}

bool Host::LoadPlugin(std::string& error) {
    if (plugin_ != nullptr) {
        return true;
    }
    // The plug-in's own folder first for its dependencies; hrxcore.mdl and hrxutil.mdl are
    // already in the process, so the plug-in binds to this host's copies.
    plugin_ = LoadLibraryExW(options_.pluginPath.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (plugin_ == nullptr) {
        error = "cannot load " + Utf8(options_.pluginPath) + " (error " +
                std::to_string(GetLastError()) + ")";
        return false;
    }
    Print("PLUGIN path=" + Quote(options_.pluginPath) + " module=" + Where(plugin_));
    return true;
}

FARPROC Host::PluginExport(const char* name, std::string& error) {
    if (!LoadPlugin(error)) {
        return nullptr;
    }
    FARPROC function = GetProcAddress(plugin_, name);
    if (function == nullptr) {
        error = std::string("the plug-in does not export ") + name;
    }
    return function;
}

namespace {

HMODULE ModuleOf(const void* address) {
    HMODULE module = nullptr;
    if (address == nullptr || !GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                                      GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                                  static_cast<LPCWSTR>(address), &module)) {
        return nullptr;
    }
    return module;
}

}  // namespace

void Host::FreePlugin() {
    if (plugin_ == nullptr) {
        return;
    }
    const HMODULE module = plugin_;
    // Their callbacks would point into freed code.
    auto inModule = [module](const void* address) { return ModuleOf(address) == module; };
    menu.erase(std::remove_if(menu.begin(), menu.end(),
                              [&](const MenuEntry& item) {
                                  return item.instance == module ||
                                         inModule(reinterpret_cast<const void*>(item.callback));
                              }),
               menu.end());
    transports.erase(
        std::remove_if(transports.begin(), transports.end(),
                       [&](const RegisteredTransport& transport) {
                           return inModule(reinterpret_cast<const void*>(transport.send)) ||
                                  inModule(reinterpret_cast<const void*>(transport.configure));
                       }),
        transports.end());
    for (auto service = pluginServices_.begin(); service != pluginServices_.end();) {
        service = inModule(reinterpret_cast<const void*>(service->second))
                      ? pluginServices_.erase(service)
                      : std::next(service);
    }
    FreeLibrary(module);
    plugin_ = nullptr;
}

void Host::Print(const std::string& line) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const std::string out = line + "\n";
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
}

void Host::Trace(const std::string& line) {
    if (options_.trace) {
        Print(line);
    }
}

std::string Host::Where(const void* address) {
    if (address == nullptr) {
        return "null";
    }
    std::string text = Hex(reinterpret_cast<uintptr_t>(address));
    if (const HMODULE module = ModuleOf(address)) {
        wchar_t path[MAX_PATH * 2];
        const DWORD length = GetModuleFileNameW(module, path, MAX_PATH * 2);
        if (length > 0 && length < MAX_PATH * 2) {
            text += "@" + Bare(FileNameOf(path));
        }
    }
    return text;
}

intptr_t Host::CallService(const wchar_t* name, intptr_t first, intptr_t second) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const std::string shown = name != nullptr ? Bare(name) : "null";
    if (name != nullptr) {
        if (const ServiceDef* service = FindService(name, options_.noSms)) {
            ServiceCall call{*this, first, second, {}, {}};
            const intptr_t result = service->run(call);
            Trace("CALL " + shown + call.args + " -> " + std::to_string(result) + call.outcome);
            return result;
        }
        const auto registered = pluginServices_.find(name);
        if (registered != pluginServices_.end()) {
            const intptr_t result = registered->second(first, second);
            Trace("CALL " + shown + " first=" + Hex(static_cast<uintptr_t>(first)) + " second=" +
                  Hex(static_cast<uintptr_t>(second)) + " -> " + std::to_string(result));
            return result;
        }
    }
    Trace("MISSING " + shown + " first=" + Hex(static_cast<uintptr_t>(first)) +
          " second=" + Hex(static_cast<uintptr_t>(second)) + " -> 0");
    return 0;
}

intptr_t Host::ServiceExists(const wchar_t* name) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const bool exists = name != nullptr && (FindService(name, options_.noSms) != nullptr ||
                                            pluginServices_.count(name) != 0);
    Trace("EXISTS " + (name != nullptr ? Bare(name) : std::string("null")) + " -> " +
          (exists ? "1" : "0"));
    return exists ? 1 : 0;
}

intptr_t Host::RegisterService(const wchar_t* name, PluginServiceFn handler) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    intptr_t result = -1;
    std::string outcome;
    if (name == nullptr || handler == nullptr) {
        outcome = " error=\"null name or handler\"";
    } else if (FindService(name, options_.noSms) != nullptr || pluginServices_.count(name)) {
        outcome = " error=\"already registered\"";
    } else {
        pluginServices_[name] = handler;
        result = 0;
    }
    Trace("REGISTER " + (name != nullptr ? Bare(name) : std::string("null")) +
          " handler=" + Where(reinterpret_cast<const void*>(handler)) + " -> " +
          std::to_string(result) + outcome);
    return result;
}

std::wstring Host::DataPath(const wchar_t* relative) const {
    return options_.dataDir + L"\\" + relative;
}

std::string Host::LogLine(const LogRecord& record) {
    return "kind=" + std::to_string(record.kind) + " source=" + OptionalQuote(record.source) +
           " message=" + OptionalQuote(record.message);
}

std::string Host::ArchiveLine(const ArchivedSms& record) {
    return "size=" + std::to_string(record.size) +
           " reserved4=" + std::to_string(record.reserved4) +
           " text=" + OptionalQuote(record.text) + " meta=" + OptionalQuote(record.meta) +
           " number=" + OptionalQuote(record.number) +
           " direction=" + std::to_string(record.direction) +
           " reserved36=" + std::to_string(record.reserved36) +
           " time=" + std::to_string(record.time) + " reserved=" + std::to_string(record.reserved);
}

std::vector<LogRecord>& Host::log() {
    if (!log_) {
        log_.emplace();
        const std::wstring path = DataPath(L"log.txt");
        int lineNumber = 0;
        for (const std::string& line : StoreLines(path)) {
            ++lineNumber;
            const std::optional<Fields> fields = ParseFields(line);
            LogRecord record;
            if (!fields || !ParseField(*fields, "kind", record.kind) ||
                !ParseText(*fields, "source", record.source) ||
                !ParseText(*fields, "message", record.message)) {
                Warn(Utf8(path) + ":" + std::to_string(lineNumber) + ": unreadable, skipped");
                continue;
            }
            log_->push_back(std::move(record));
        }
    }
    return *log_;
}

std::vector<ArchivedSms>& Host::archive() {
    if (!archive_) {
        archive_.emplace();
        const std::wstring path = DataPath(L"archive.txt");
        int lineNumber = 0;
        for (const std::string& line : StoreLines(path)) {
            ++lineNumber;
            const std::optional<Fields> fields = ParseFields(line);
            ArchivedSms record;
            if (!fields || !ParseField(*fields, "size", record.size) ||
                !ParseField(*fields, "reserved4", record.reserved4) ||
                !ParseText(*fields, "text", record.text) ||
                !ParseText(*fields, "meta", record.meta) ||
                !ParseText(*fields, "number", record.number) ||
                !ParseField(*fields, "direction", record.direction) ||
                !ParseField(*fields, "reserved36", record.reserved36) ||
                !ParseField(*fields, "time", record.time) ||
                !ParseField(*fields, "reserved", record.reserved)) {
                Warn(Utf8(path) + ":" + std::to_string(lineNumber) + ": unreadable, skipped");
                continue;
            }
            archive_->push_back(std::move(record));
        }
    }
    return *archive_;
}

std::vector<StoredProfile>& Host::profiles() {
    if (!profiles_) {
        profiles_.emplace();
        const std::wstring path = DataPath(L"profiles.txt");
        int lineNumber = 0;
        for (const std::string& line : StoreLines(path)) {
            ++lineNumber;
            if (line.empty() || line[0] == '#') {
                continue;
            }
            const size_t tab1 = line.find('\t');
            const size_t tab2 = tab1 == std::string::npos ? tab1 : line.find('\t', tab1 + 1);
            if (tab2 == std::string::npos || line.find('\t', tab2 + 1) != std::string::npos) {
                Warn(Utf8(path) + ":" + std::to_string(lineNumber) +
                     ": not name<TAB>transport-id<TAB>base64, skipped");
                continue;
            }
            profiles_->push_back({WideFromUtf8(line.substr(0, tab1)),
                                  WideFromUtf8(line.substr(tab1 + 1, tab2 - tab1 - 1)),
                                  WideFromUtf8(line.substr(tab2 + 1))});
        }
    }
    return *profiles_;
}

void Host::AppendLog(const LogRecord& record) {
    log().push_back(record);
    if (!AppendUtf8Line(DataPath(L"log.txt"), LogLine(record))) {
        Warn("cannot write " + Utf8(DataPath(L"log.txt")));
    }
}

void Host::AppendArchive(const ArchivedSms& record) {
    archive().push_back(record);
    if (!AppendUtf8Line(DataPath(L"archive.txt"), ArchiveLine(record))) {
        Warn("cannot write " + Utf8(DataPath(L"archive.txt")));
    }
}

bool Host::AddProfile(const StoredProfile& profile, std::string& error) {
    for (const std::wstring* field : {&profile.name, &profile.transportId, &profile.base64}) {
        if (field->find_first_of(L"\t\r\n") != std::wstring::npos) {
            error = "profile fields cannot hold tabs or line breaks";
            return false;
        }
    }
    profiles().push_back(profile);
    const std::wstring path = DataPath(L"profiles.txt");
    if (!AppendUtf8Line(path, Utf8(profile.name) + "\t" + Utf8(profile.transportId) + "\t" +
                                  Utf8(profile.base64))) {
        error = "cannot write " + Utf8(path);
        return false;
    }
    return true;
}

bool Host::FindProfile(const std::wstring& name, StoredProfile*& profile,
                       const RegisteredTransport*& transport, std::string& error) {
    profile = nullptr;
    transport = nullptr;
    for (StoredProfile& p : profiles()) {
        if (p.name == name)
            profile = &p;
    }
    if (profile == nullptr) {
        error = "no profile named " + Utf8(name);
        return false;
    }
    for (const RegisteredTransport& t : transports) {
        if (t.id == profile->transportId)
            transport = &t;
    }
    if (transport == nullptr) {
        error = "the transport of profile " + Utf8(name) + " is not registered";
        return false;
    }
    return true;
}

std::vector<uint8_t> Host::RecordBytes(const StoredProfile& profile) {
    char* utf8 = wtou(profile.base64.c_str());
    unsigned char* bytes = nullptr;
    const size_t count = lutBase64Decode(utf8, std::strlen(utf8), &bytes);
    std::vector<uint8_t> record(bytes, bytes + (bytes != nullptr ? count : 0));
    delete[] utf8;
    delete[] bytes;
    return record;
}

bool Host::SaveProfiles(std::string& error) {
    std::string content;
    for (const StoredProfile& p : profiles()) {
        content += Utf8(p.name) + "\t" + Utf8(p.transportId) + "\t" + Utf8(p.base64) + "\n";
    }
    const std::wstring path = DataPath(L"profiles.txt");
    if (!WriteWholeFile(path, content)) {
        error = "cannot write " + Utf8(path);
        return false;
    }
    return true;
}

bool EnsureDirectory(const std::wstring& path) {
    if (path.empty()) {
        return false;
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    const std::wstring parent = DirectoryOf(path);
    if (!parent.empty() && parent != path && !EnsureDirectory(parent)) {
        return false;
    }
    return CreateDirectoryW(path.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS;
}

bool AppendUtf8Line(const std::wstring& path, const std::string& line) {
    if (!EnsureDirectory(DirectoryOf(path))) {
        return false;
    }
    FILE* file = _wfopen(path.c_str(), L"ab");
    if (file == nullptr) {
        return false;
    }
    const std::string out = line + "\n";
    const bool written = std::fwrite(out.data(), 1, out.size(), file) == out.size();
    return std::fclose(file) == 0 && written;
}

std::optional<std::string> ReadWholeFile(const std::wstring& path) {
    FILE* file = _wfopen(path.c_str(), L"rb");
    if (file == nullptr) {
        return std::nullopt;
    }
    std::string content;
    char chunk[4096];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        content.append(chunk, got);
    }
    std::fclose(file);
    return content;
}

bool WriteWholeFile(const std::wstring& path, const std::string& content) {
    if (!EnsureDirectory(DirectoryOf(path))) {
        return false;
    }
    FILE* file = _wfopen(path.c_str(), L"wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
    return std::fclose(file) == 0 && written;
}

std::vector<std::string> SplitLines(const std::string& content) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        std::string line = content.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(std::move(line));
        start = end + 1;
    }
    return lines;
}

std::wstring FileNameOf(const std::wstring& path) {
    const size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring DirectoryOf(const std::wstring& path) {
    const size_t slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos) {
        return {};
    }
    // Keep the root's separator: "C:\" rather than "C:".
    if (slash == 2 && path.size() > 1 && path[1] == L':') {
        return path.substr(0, 3);
    }
    return path.substr(0, slash);
}

}  // namespace tarnik::host
