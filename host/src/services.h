// The named services the test host offers through fnCall: its own, and those plug-ins
// register.
#pragma once

#include <windows.h>

#include <cstdint>
#include <map>
#include <string>

namespace tarnik::host {

class Host;

// One call in progress: the service decodes its arguments into `args` (printed before
// "->") and reports what it did in `outcome` (printed after the result).
struct ServiceCall {
    Host& host;
    intptr_t first;
    intptr_t second;
    std::string args;
    std::string outcome;
};

using ServiceFn = intptr_t (*)(ServiceCall& call);

struct ServiceDef {
    const wchar_t* name;
    bool sms;  // belongs to the SMS plug-in: absent with --no-sms
    ServiceFn run;
    const char* help;
};

// Every built-in service, for --help.
const ServiceDef* ServicesBegin();
const ServiceDef* ServicesEnd();

using PluginServiceFn = intptr_t (*)(intptr_t first, intptr_t second);

// The services a call can reach: the built-in ones, less the SMS plug-in's under --no-sms,
// and those that plug-ins registered through fnRegister.
class ServiceRegistry {
public:
    explicit ServiceRegistry(bool noSms) : noSms_(noSms) {}

    const ServiceDef* BuiltIn(const wchar_t* name) const;  // null when there is none
    PluginServiceFn Registered(const wchar_t* name) const;
    bool Exists(const wchar_t* name) const;
    bool Register(const wchar_t* name, PluginServiceFn handler);  // false: the name is taken
    // Drops the services whose code lies in the module, before it is freed.
    void ForgetModule(HMODULE module);

private:
    bool noSms_;
    std::map<std::wstring, PluginServiceFn> registered_;
};

}  // namespace tarnik::host
