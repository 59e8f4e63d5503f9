// What plug-ins leave with the host through its services: transports, menu items, settings
// objects, and the texts of the last enumeration, which must outlive the call.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "plugin/host_records.h"

namespace tarnik::host {

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

// Transport id used when no plug-in has registered one: the plug-in's own.
inline constexpr const wchar_t* kDefaultTransportId = kTransportId;

class Registrations {
public:
    const std::vector<RegisteredTransport>& transports() const { return transports_; }
    const std::vector<MenuEntry>& menu() const { return menu_; }
    // Keeps the entry; true when it replaced one of the same id.
    bool Keep(const RegisteredTransport& transport);
    bool Keep(const MenuEntry& item);
    bool DropTransport(const std::wstring& id);  // false when there is none of that id
    // Drops the entries whose code lies in the module, before it is freed.
    void ForgetModule(HMODULE module);

private:
    std::vector<RegisteredTransport> transports_;
    std::vector<MenuEntry> menu_;
};

// "HRX/Settings/Init" objects: an INI file kept as its text.
struct SettingsObject {
    std::wstring path;
    ModuleHandle instance = nullptr;
    std::string content;
};

class SettingsObjects {
public:
    intptr_t Open(SettingsObject object);   // -> its handle (1, 2, ...)
    SettingsObject* Find(intptr_t handle);  // null for an unknown handle
    void Close(intptr_t handle) { objects_.erase(handle); }

private:
    std::map<intptr_t, SettingsObject> objects_;
    intptr_t next_ = 1;
};

// Texts handed out by the last "SMST/Enumerate" that filled entries.
class HandedTexts {
public:
    void Clear() { texts_.clear(); }
    const wchar_t* Keep(std::wstring text) { return texts_.emplace_back(std::move(text)).c_str(); }

private:
    std::deque<std::wstring> texts_;  // a deque: the texts stay where they are as it grows
};

}  // namespace tarnik::host
