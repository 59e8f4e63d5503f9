// The test host: its output, the plug-in module, the named services and the function table
// that reaches them, what plug-ins registered, and the data folder's stores.
#pragma once

#include <optional>
#include <string>

#include "function_table.h"
#include "modules.h"
#include "output.h"
#include "registrations.h"
#include "services.h"
#include "stores.h"

namespace tarnik::host {

struct HostOptions {
    std::wstring pluginPath;  // absolute
    std::wstring dataDir;     // absolute
    bool trace = false;
    bool noSms = false;  // the SMS plug-in's SMST/* services are absent
};

class Host {
public:
    explicit Host(const HostOptions& options);

    std::wstring DataPath(const wchar_t* relative) const;  // inside the data folder

    Output output;
    PluginModule plugin;
    ServiceRegistry services;
    Registrations registered;
    SettingsObjects settings;
    HandedTexts enumerationTexts;
    LogStore log;
    ArchiveStore archive;
    ProfileStore profiles;
    FunctionTable table;  // last: its entries reach all of the above

private:
    std::wstring dataDir_;
};

// A stored profile and the registered transport it belongs to.
struct ProfileTarget {
    size_t index;
    StoredProfile profile;
    const RegisteredTransport* transport;
};
// The profile of this name, whose transport is registered with a `send` (else `configure`)
// callback; nullopt, with `error` saying which is missing, when either is not there.
std::optional<ProfileTarget> FindProfile(Host& host, const std::wstring& name, bool forSend,
                                         std::string& error);

}  // namespace tarnik::host
