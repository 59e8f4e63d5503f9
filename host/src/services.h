// The named services the test host offers through fnCall.
#pragma once

#include <cstdint>
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

// The service of that name, or null when there is none (or it is switched off).
const ServiceDef* FindService(const wchar_t* name, bool noSms);
// Every built-in service, for --help.
const ServiceDef* ServicesBegin();
const ServiceDef* ServicesEnd();

}  // namespace tarnik::host
