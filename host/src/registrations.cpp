#include "registrations.h"

#include <algorithm>

#include "modules.h"

namespace tarnik::host {

namespace {

template <class Entry>
bool KeepById(std::vector<Entry>& entries, const Entry& entry) {
    const auto same = std::find_if(entries.begin(), entries.end(),
                                   [&](const Entry& e) { return e.id == entry.id; });
    if (same == entries.end()) {
        entries.push_back(entry);
        return false;
    }
    *same = entry;
    return true;
}

bool InModule(const void* address, HMODULE module) {
    return ModuleOf(address) == module;
}

}  // namespace

bool Registrations::Keep(const RegisteredTransport& transport) {
    return KeepById(transports_, transport);
}

bool Registrations::Keep(const MenuEntry& item) {
    return KeepById(menu_, item);
}

bool Registrations::DropTransport(const std::wstring& id) {
    const auto found = std::find_if(transports_.begin(), transports_.end(),
                                    [&](const RegisteredTransport& t) { return t.id == id; });
    if (found == transports_.end()) {
        return false;
    }
    transports_.erase(found);
    return true;
}

void Registrations::ForgetModule(HMODULE module) {
    // Their callbacks would point into freed code.
    menu_.erase(std::remove_if(menu_.begin(), menu_.end(),
                               [&](const MenuEntry& item) {
                                   return item.instance == module ||
                                          InModule(reinterpret_cast<const void*>(item.callback),
                                                   module);
                               }),
                menu_.end());
    transports_.erase(
        std::remove_if(transports_.begin(), transports_.end(),
                       [&](const RegisteredTransport& t) {
                           return InModule(reinterpret_cast<const void*>(t.send), module) ||
                                  InModule(reinterpret_cast<const void*>(t.configure), module);
                       }),
        transports_.end());
}

intptr_t SettingsObjects::Open(SettingsObject object) {
    objects_[next_] = std::move(object);
    return next_++;
}

SettingsObject* SettingsObjects::Find(intptr_t handle) {
    const auto found = objects_.find(handle);
    return found != objects_.end() ? &found->second : nullptr;
}

}  // namespace tarnik::host
