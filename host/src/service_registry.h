// The named services a call can reach: the host's own (services.h), less the SMS plug-in's
// under --no-sms, and those that plug-ins registered through fnRegister.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>

#include "services.h"

namespace tarnik::host {

using PluginServiceFn = intptr_t (*)(intptr_t first, intptr_t second);

class ServiceRegistry {
public:
    explicit ServiceRegistry(bool noSms) : noSms_(noSms) {}

    const ServiceDef* BuiltIn(const wchar_t* name) const { return FindService(name, noSms_); }
    PluginServiceFn Registered(const wchar_t* name) const;
    bool Exists(const wchar_t* name) const;
    // False when the name is taken.
    bool Register(const wchar_t* name, PluginServiceFn handler);
    // Drops the services whose code lies in the module, before it is freed.
    void ForgetModule(HMODULE module);

private:
    bool noSms_;
    std::map<std::wstring, PluginServiceFn> registered_;
};

}  // namespace tarnik::host
