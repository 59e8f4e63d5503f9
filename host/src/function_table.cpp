#include "function_table.h"

#include "fields.h"
#include "host.h"
#include "modules.h"

namespace tarnik::host {

namespace {

Host* current = nullptr;

std::string Shown(const wchar_t* name) {
    return name != nullptr ? Bare(name) : "null";
}

intptr_t Call(const wchar_t* name, intptr_t first, intptr_t second) {
    Host& host = *current;
    std::lock_guard<std::recursive_mutex> lock(host.output.mutex());
    if (name != nullptr) {
        if (const ServiceDef* service = host.services.BuiltIn(name)) {
            ServiceCall call{host, first, second, {}, {}};
            const intptr_t result = service->run(call);
            host.output.Trace("CALL " + Shown(name) + call.args + " -> " + std::to_string(result) +
                              call.outcome);
            return result;
        }
        if (const PluginServiceFn registered = host.services.Registered(name)) {
            const intptr_t result = registered(first, second);
            host.output.Trace(
                "CALL " + Shown(name) + " first=" + Hex(static_cast<uintptr_t>(first)) +
                " second=" + Hex(static_cast<uintptr_t>(second)) + " -> " + std::to_string(result));
            return result;
        }
    }
    host.output.Trace("MISSING " + Shown(name) + " first=" + Hex(static_cast<uintptr_t>(first)) +
                      " second=" + Hex(static_cast<uintptr_t>(second)) + " -> 0");
    return 0;
}

intptr_t Exists(const wchar_t* name) {
    Host& host = *current;
    std::lock_guard<std::recursive_mutex> lock(host.output.mutex());
    const bool exists = name != nullptr && host.services.Exists(name);
    host.output.Trace("EXISTS " + Shown(name) + " -> " + (exists ? "1" : "0"));
    return exists ? 1 : 0;
}

intptr_t Register(const wchar_t* name, PluginServiceFn handler) {
    Host& host = *current;
    std::lock_guard<std::recursive_mutex> lock(host.output.mutex());
    intptr_t result = -1;
    std::string outcome;
    if (name == nullptr || handler == nullptr) {
        outcome = " error=\"null name or handler\"";
    } else if (!host.services.Register(name, handler)) {
        outcome = " error=\"already registered\"";
    } else {
        result = 0;
    }
    host.output.Trace("REGISTER " + Shown(name) +
                      " handler=" + Where(reinterpret_cast<const void*>(handler)) + " -> " +
                      std::to_string(result) + outcome);
    return result;
}

}  // namespace

FunctionTable::FunctionTable(Host& host) {
    table_.size = sizeof(HRXFUNCTIONS);
    table_.version = 1;
    table_.fnRegister = Register;
    table_.fnCall = Call;
    table_.fnExists = Exists;
    current = &host;
}

FunctionTable::~FunctionTable() {
    current = nullptr;
}

}  // namespace tarnik::host
