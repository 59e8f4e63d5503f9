// The test host: the one object behind the function table a plug-in receives. It keeps
// what plug-ins register (transports, menu items, services), the data folder's stores
// (log, archive, profiles, settings files) and the trace.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "hrx/hrxcore.h"
#include "plugin/host_records.h"

namespace tarnik::host {

struct HostOptions {
    std::wstring pluginPath;  // absolute
    std::wstring dataDir;     // absolute
    bool trace = false;
    bool noSms = false;  // the SMS plug-in's SMST/* services are absent
};

struct RegisteredTransport {
    std::wstring id;
    std::wstring name;
    uint32_t number10 = 0;
    uint32_t maxSingleText = 0;
    uint32_t number50 = 0;
    TransportSendFn send = nullptr;
    TransportConfigureFn configure = nullptr;
};

struct MenuEntry {
    std::wstring id;
    std::wstring parent;
    std::wstring caption;
    int32_t position = 0;
    MenuCallbackFn callback = nullptr;
    ModuleHandle instance = nullptr;
};

using OptionalText = std::optional<std::wstring>;  // nullopt: the record held a null pointer

struct LogRecord {
    int32_t kind = 0;
    OptionalText source;
    OptionalText message;
};

// Every field of an ArchiveSmsRecord, the reserved ones included.
struct ArchivedSms {
    uint32_t size = 0;
    uint32_t reserved4 = 0;
    OptionalText text;
    OptionalText meta;
    OptionalText number;
    uint32_t direction = 0;
    uint32_t reserved36 = 0;
    int64_t time = 0;
    uint64_t reserved = 0;
};

struct StoredProfile {
    std::wstring name;
    std::wstring transportId;
    std::wstring base64;  // the record bytes as the SMS plug-in keeps them
};

// "HRX/Settings/Init" objects: an INI file kept as its text.
struct SettingsObject {
    std::wstring path;
    ModuleHandle instance = nullptr;
    std::string content;
};

using PluginServiceFn = intptr_t (*)(intptr_t first, intptr_t second);

// Transport id used when no plug-in has registered one.
inline constexpr const wchar_t* kDefaultTransportId = L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35";

class Host {
public:
    explicit Host(HostOptions options);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    const HostOptions& options() const { return options_; }
    // The table handed to pluginLoad; its entries reach this object.
    HRXFUNCTIONS* functionTable() { return &table_; }

    // The plug-in module, loaded on first need.
    HMODULE plugin() const { return plugin_; }
    bool LoadPlugin(std::string& error);
    FARPROC PluginExport(const char* name, std::string& error);
    // FreeLibrary, dropping the menu items and transports whose code lived in the module.
    void FreePlugin();

    // Output: one UTF-8 line on stdout each, flushed at once.
    void Print(const std::string& line);
    void Trace(const std::string& line);  // only with --trace
    // A pointer as 0x... with "@module" when it lies inside a loaded module; null as null.
    static std::string Where(const void* address);

    // Function table entries.
    intptr_t CallService(const wchar_t* name, intptr_t first, intptr_t second);
    intptr_t ServiceExists(const wchar_t* name);
    intptr_t RegisterService(const wchar_t* name, PluginServiceFn handler);

    // Registries filled by the plug-in through the services.
    std::vector<RegisteredTransport> transports;
    std::vector<MenuEntry> menu;
    std::map<intptr_t, SettingsObject> settings;
    intptr_t nextSettingsHandle = 1;
    // Texts handed out by the last "SMST/Enumerate" that filled entries.
    std::deque<std::wstring> enumerationTexts;

    // Stores of the data folder, read from their files on first use.
    std::vector<LogRecord>& log();
    std::vector<ArchivedSms>& archive();
    std::vector<StoredProfile>& profiles();
    void AppendLog(const LogRecord& record);
    void AppendArchive(const ArchivedSms& record);
    bool AddProfile(const StoredProfile& profile, std::string& error);
    // Writes the whole profile store back, after a profile was changed in place.
    bool SaveProfiles(std::string& error);
    // The stored profile of this name and the registered transport it belongs to; false,
    // with `error` saying which is missing, when either is not there.
    bool FindProfile(const std::wstring& name, StoredProfile*& profile,
                     const RegisteredTransport*& transport, std::string& error);
    // A profile's record bytes, decoded from its Base64 text as the plug-in does it.
    static std::vector<uint8_t> RecordBytes(const StoredProfile& profile);

    std::wstring DataPath(const wchar_t* relative) const;  // inside the data folder

    // Store line formats, shared by the files and the listing commands.
    static std::string LogLine(const LogRecord& record);
    static std::string ArchiveLine(const ArchivedSms& record);

private:
    HostOptions options_;
    HRXFUNCTIONS table_{};
    HMODULE plugin_ = nullptr;
    std::recursive_mutex mutex_;  // services may be called from plug-in threads
    std::map<std::wstring, PluginServiceFn> pluginServices_;
    std::optional<std::vector<LogRecord>> log_;
    std::optional<std::vector<ArchivedSms>> archive_;
    std::optional<std::vector<StoredProfile>> profiles_;
};

// File helpers for the data folder.
bool EnsureDirectory(const std::wstring& path);
bool AppendUtf8Line(const std::wstring& path, const std::string& line);
std::optional<std::string> ReadWholeFile(const std::wstring& path);
bool WriteWholeFile(const std::wstring& path, const std::string& content);
std::vector<std::string> SplitLines(const std::string& content);
std::wstring FileNameOf(const std::wstring& path);
std::wstring DirectoryOf(const std::wstring& path);

}  // namespace tarnik::host
