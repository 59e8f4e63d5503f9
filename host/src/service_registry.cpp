#include "service_registry.h"

#include <iterator>

#include "modules.h"

namespace tarnik::host {

PluginServiceFn ServiceRegistry::Registered(const wchar_t* name) const {
    const auto found = registered_.find(name);
    return found != registered_.end() ? found->second : nullptr;
}

bool ServiceRegistry::Exists(const wchar_t* name) const {
    return BuiltIn(name) != nullptr || registered_.count(name) != 0;
}

bool ServiceRegistry::Register(const wchar_t* name, PluginServiceFn handler) {
    if (Exists(name)) {
        return false;
    }
    registered_[name] = handler;
    return true;
}

void ServiceRegistry::ForgetModule(HMODULE module) {
    for (auto service = registered_.begin(); service != registered_.end();) {
        service = ModuleOf(reinterpret_cast<const void*>(service->second)) == module
                      ? registered_.erase(service)
                      : std::next(service);
    }
}

}  // namespace tarnik::host
