// The host's named services as a plug-in meets them. Each decodes its record field by field
// for the trace, refuses what the real host could not use (null or wrongly sized records),
// and keeps what it was given.
#include "services.h"

#include <algorithm>
#include <cstddef>
#include <cwchar>
#include <initializer_list>
#include <iterator>

#include "fields.h"
#include "host.h"
#include "host/files/files.h"
#include "host/text/utf8.h"

namespace tarnik::host {

namespace {

void Refuse(ServiceCall& call, const std::string& why) {
    call.outcome += " error=" + Quote(WideFromUtf8(why));
}

std::string Number(intptr_t value) {
    return std::to_string(value);
}

std::string Pointer(intptr_t value) {
    return Where(reinterpret_cast<const void*>(value));
}

template <class Function>
std::string Code(Function function) {
    return Where(reinterpret_cast<const void*>(function));
}

// The record behind the first argument, when it is there and carries the host's size.
template <class Record>
const Record* CheckedRecord(ServiceCall& call) {
    if (call.first == 0) {
        call.args += " record=null";
        Refuse(call, "null record");
        return nullptr;
    }
    const auto* record = reinterpret_cast<const Record*>(call.first);
    call.args += " size=" + std::to_string(record->size);
    if (record->size != sizeof(Record)) {
        Refuse(call, "size " + std::to_string(record->size) + ", expected " +
                         std::to_string(sizeof(Record)));
        return nullptr;
    }
    return record;
}

struct ReservedField {
    const char* name;
    size_t offset;
    size_t size;
};
#define TARNIK_RESERVED(T, F)            \
    ReservedField {                      \
#F, offsetof(T, F), sizeof(T::F) \
    }

// Every record is zeroed before it is filled: a stray byte in a field nobody reads
// shows a record filled from the wrong layout.
void CheckReserved(ServiceCall& call, const void* record,
                   std::initializer_list<ReservedField> fields) {
    std::string dirty;
    for (const ReservedField& field : fields) {
        const auto* bytes = static_cast<const unsigned char*>(record) + field.offset;
        if (std::any_of(bytes, bytes + field.size, [](unsigned char b) { return b != 0; })) {
            dirty += (dirty.empty() ? "" : ",") + std::string(field.name);
        }
    }
    if (!dirty.empty()) {
        call.args += " nonzero=" + dirty;
    }
}

// The checked record behind the first argument, its fields described and its reserved ones
// checked, then the second argument as the service reads it; null when it is refused.
template <class Record, class Describe>
const Record* DecodeRecord(ServiceCall& call, Describe describe,
                           std::initializer_list<ReservedField> reserved,
                           const std::string& second) {
    const Record* record = CheckedRecord<Record>(call);
    if (record != nullptr) {
        call.args += describe(*record);
        CheckReserved(call, record, reserved);
    }
    call.args += second;
    return record;
}

// A plug-in's text, or empty for a null pointer.
std::wstring TextOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

// A plug-in's text kept as given, a null pointer too.
OptionalText Kept(const wchar_t* text) {
    return text != nullptr ? OptionalText(text) : std::nullopt;
}

std::wstring ModuleFileName(HMODULE module) {
    wchar_t path[MAX_PATH * 2];
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH * 2);
    return length > 0 && length < MAX_PATH * 2 ? std::wstring(path, length) : std::wstring();
}

intptr_t Log(ServiceCall& call) {
    const LogEntry* entry = DecodeRecord<LogEntry>(
        call,
        [](const LogEntry& e) {
            return " kind=" + std::to_string(e.kind) + " source=" + QuoteOrNull(e.source) +
                   " message=" + QuoteOrNull(e.message);
        },
        {TARNIK_RESERVED(LogEntry, reserved24)}, " second=" + Number(call.second));
    if (entry == nullptr) {
        return -1;
    }
    LogRecord record;
    record.kind = entry->kind;
    record.source = Kept(entry->source);
    record.message = Kept(entry->message);
    std::string error;
    if (!call.host.log.Append(record, error)) {
        Warn(error);
    }
    return 0;
}

intptr_t GetMyConfigFile(ServiceCall& call) {
    const auto* request = DecodeRecord<SettingsPathRequest>(
        call,
        [](const SettingsPathRequest& r) {
            return std::string(" buffer=") + (r.buffer ? "present" : "null") +
                   " capacity=" + std::to_string(r.capacity);
        },
        {TARNIK_RESERVED(SettingsPathRequest, reserved4),
         TARNIK_RESERVED(SettingsPathRequest, reserved20),
         TARNIK_RESERVED(SettingsPathRequest, reserved24)},
        " instance=" + Pointer(call.second));
    if (request == nullptr) {
        return -1;
    }
    const std::wstring module = ModuleFileName(reinterpret_cast<HMODULE>(call.second));
    if (call.second == 0 || module.empty()) {
        Refuse(call, "the instance is not a loaded module");
        return -1;
    }
    std::wstring name = FileNameOf(module);
    name = name.substr(0, name.find_last_of(L'.'));
    const std::wstring path = call.host.DataPath(L"settings\\") + name + L".ini";
    if (request->buffer == nullptr) {
        Refuse(call, "null buffer");
        return -1;
    }
    if (path.size() + 1 > request->capacity) {
        if (request->capacity > 0) {
            request->buffer[0] = L'\0';
        }
        Refuse(call, "the path needs " + std::to_string(path.size() + 1) + " characters");
        return -1;
    }
    std::wmemcpy(request->buffer, path.c_str(), path.size() + 1);
    call.outcome += " path=" + Quote(path);
    return 0;
}

// The settings object of the handle, then the second argument as the service reads it.
SettingsObject* FindSettings(ServiceCall& call, const std::string& second) {
    call.args += " handle=" + Number(call.first);
    SettingsObject* object = call.host.settings.Find(call.first);
    if (object == nullptr) {
        Refuse(call, "unknown handle");
    }
    call.args += second;
    return object;
}

intptr_t SettingsInit(ServiceCall& call) {
    const auto* path = reinterpret_cast<const wchar_t*>(call.first);
    call.args += " path=" + QuoteOrNull(path) + " instance=" + Pointer(call.second);
    if (path == nullptr || *path == L'\0') {
        Refuse(call, "no path");
        return 0;
    }
    return call.host.settings.Open({path, reinterpret_cast<ModuleHandle>(call.second), {}});
}

intptr_t SettingsRead(ServiceCall& call) {
    SettingsObject* object = FindSettings(call, " second=" + Number(call.second));
    if (object == nullptr) {
        return -1;
    }
    const std::optional<std::string> content = ReadWholeFile(object->path);
    object->content = content.value_or(std::string());
    call.outcome += content ? " file=present bytes=" + std::to_string(content->size())
                            : std::string(" file=absent");
    return 0;
}

intptr_t SettingsWrite(ServiceCall& call) {
    SettingsObject* object = FindSettings(call, " second=" + Number(call.second));
    if (object == nullptr) {
        return -1;
    }
    if (!WriteWholeFile(object->path, object->content)) {
        Refuse(call, "cannot write " + Utf8(object->path));
        return -1;
    }
    call.outcome += " bytes=" + std::to_string(object->content.size());
    return 0;
}

intptr_t SettingsDestroy(ServiceCall& call) {
    SettingsObject* object = FindSettings(call, " instance=" + Pointer(call.second));
    if (object == nullptr) {
        return -1;
    }
    if (object->instance != reinterpret_cast<ModuleHandle>(call.second)) {
        call.outcome += " warning=\"instance differs from the one given to Init\"";
    }
    call.host.settings.Close(call.first);
    return 0;
}

intptr_t MenuAdd(ServiceCall& call) {
    const MenuItemDef* item = DecodeRecord<MenuItemDef>(
        call,
        [](const MenuItemDef& i) {
            return " itemId=" + QuoteOrNull(i.itemId) + " parent=" + QuoteOrNull(i.parentMenu) +
                   " caption=" + QuoteOrNull(i.caption) +
                   " position=" + std::to_string(i.position) + " callback=" + Code(i.callback) +
                   " instance=" + Where(i.instance);
        },
        {TARNIK_RESERVED(MenuItemDef, reserved4), TARNIK_RESERVED(MenuItemDef, reserved32),
         TARNIK_RESERVED(MenuItemDef, reserved48), TARNIK_RESERVED(MenuItemDef, reserved64),
         TARNIK_RESERVED(MenuItemDef, reserved88)},
        " second=" + Number(call.second));
    if (item == nullptr) {
        return -1;
    }
    if (item->itemId == nullptr) {
        Refuse(call, "no item id");
        return -1;
    }
    MenuEntry entry{item->itemId,   TextOf(item->parentMenu), TextOf(item->caption),
                    item->position, item->callback,           item->instance};
    if (call.host.registered.Keep(entry)) {
        call.outcome += " replaced=1";
    }
    return 0;
}

intptr_t SmstRegister(ServiceCall& call) {
    const SmstTransportInfo* info = DecodeRecord<SmstTransportInfo>(
        call,
        [](const SmstTransportInfo& i) {
            return " transportId=" + QuoteOrNull(i.transportId) +
                   " displayName=" + QuoteOrNull(i.displayName) +
                   " number10=" + std::to_string(i.number10) +
                   " maxSingleText=" + std::to_string(i.maxSingleText) +
                   " number50=" + std::to_string(i.number50) + " send=" + Code(i.send) +
                   " configure=" + Code(i.configure);
        },
        {TARNIK_RESERVED(SmstTransportInfo, reserved4),
         TARNIK_RESERVED(SmstTransportInfo, reserved24),
         TARNIK_RESERVED(SmstTransportInfo, reserved64)},
        " second=" + Number(call.second));
    if (info == nullptr) {
        return -1;
    }
    if (info->transportId == nullptr) {
        Refuse(call, "no transport id");
        return -1;
    }
    // Copies: the plug-in's texts may be gone by the time the user picks the transport.
    RegisteredTransport transport{info->transportId, TextOf(info->displayName),
                                  info->number10,    info->maxSingleText,
                                  info->number50,    info->send,
                                  info->configure};
    if (call.host.registered.Keep(transport)) {
        call.outcome += " replaced=1";
    }
    return 0;
}

intptr_t SmstUnregister(ServiceCall& call) {
    const auto* id = reinterpret_cast<const wchar_t*>(call.first);
    call.args += " transportId=" + QuoteOrNull(id) + " second=" + Number(call.second);
    if (id == nullptr || !call.host.registered.DropTransport(id)) {
        Refuse(call, "not registered");
        return -1;
    }
    return 0;
}

intptr_t SmstEnumerate(ServiceCall& call) {
    const std::vector<StoredProfile>& profiles = call.host.profiles.Records();
    if (call.first == 0) {
        call.args += " entries=null second=" + Number(call.second);
        // The SMS plug-in's count is a 32-bit int; the upper half of the pointer-sized
        // result is whatever its register held, so a caller must not read it.
        constexpr uint64_t kUndefinedUpperHalf = 0xCCCCCCCC00000000ull;
        return static_cast<intptr_t>(kUndefinedUpperHalf | static_cast<uint32_t>(profiles.size()));
    }
    auto* entries = reinterpret_cast<SmstProfileEntry*>(call.first);
    const intptr_t count = call.second;
    call.args += " entries=present count=" + Number(count);
    if (count <= 0) {
        return 0;
    }
    // The texts of the previous enumeration go now; the new ones stay until the next.
    call.host.enumerationTexts.Clear();
    std::string badSize;
    std::string dirty;
    int32_t filled = 0;
    for (intptr_t i = 0; i < count; ++i) {
        SmstProfileEntry& entry = entries[i];
        const bool zeroed = entry.reserved4 == 0 && entry.profileData == nullptr &&
                            entry.transportId == nullptr && entry.profileName == nullptr;
        if (!zeroed) {
            dirty += (dirty.empty() ? "" : ",") + std::to_string(i);
        }
        if (entry.size != sizeof(SmstProfileEntry)) {
            badSize += (badSize.empty() ? "" : ",") + std::to_string(i);
            continue;
        }
        if (static_cast<size_t>(i) >= profiles.size()) {
            continue;
        }
        const StoredProfile& profile = profiles[static_cast<size_t>(i)];
        entry.profileData = call.host.enumerationTexts.Keep(profile.base64);
        entry.transportId = call.host.enumerationTexts.Keep(profile.transportId);
        entry.profileName = call.host.enumerationTexts.Keep(profile.name);
        ++filled;
    }
    call.outcome += " filled=" + std::to_string(filled);
    if (!dirty.empty()) {
        call.outcome += " notzeroed=" + dirty;
    }
    if (!badSize.empty()) {
        Refuse(call, "entries " + badSize + " do not carry size 32");
    }
    return filled;
}

intptr_t ArWriteSms(ServiceCall& call) {
    const ArchiveSmsRecord* sms = DecodeRecord<ArchiveSmsRecord>(
        call,
        [](const ArchiveSmsRecord& r) {
            return " text=" + QuoteOrNull(r.text) + " meta=" + QuoteOrNull(r.meta) +
                   " number=" + QuoteOrNull(r.number) +
                   " direction=" + std::to_string(r.direction) + " time=" + std::to_string(r.time);
        },
        {TARNIK_RESERVED(ArchiveSmsRecord, reserved4),
         TARNIK_RESERVED(ArchiveSmsRecord, reserved36),
         TARNIK_RESERVED(ArchiveSmsRecord, reserved)},
        " second=" + Number(call.second));
    if (sms == nullptr) {
        return -1;
    }
    ArchivedSms record;
    record.size = sms->size;
    record.reserved4 = sms->reserved4;
    record.text = Kept(sms->text);
    record.meta = Kept(sms->meta);
    record.number = Kept(sms->number);
    record.direction = sms->direction;
    record.reserved36 = sms->reserved36;
    record.time = sms->time;
    record.reserved = sms->reserved;
    if (record.direction != 1 && record.direction != 2) {
        call.outcome += " warning=\"direction is neither 1 (received) nor 2 (sent)\"";
    }
    std::string error;
    if (!call.host.archive.Append(record, error)) {
        Warn(error);
    }
    call.outcome += " index=" + std::to_string(call.host.archive.Records().size() - 1);
    return 0;
}

const ServiceDef kServices[] = {
    {L"HRX/Log", false, Log, "LogEntry, 0: appends kind, source and message to log.txt. -> 0"},
    {L"HRX/Settings/GetMyConfigFile", false, GetMyConfigFile,
     "SettingsPathRequest, instance: writes DATA\\settings\\<module>.ini into the buffer when "
     "it fits the capacity. -> 0"},
    {L"HRX/Settings/Init", false, SettingsInit,
     "path, instance: a settings object for that INI file. -> its handle (1, 2, ...)"},
    {L"HRX/Settings/Read", false, SettingsRead,
     "handle, 0: loads the INI file (absent: empty). -> 0"},
    {L"HRX/Settings/Write", false, SettingsWrite,
     "handle, 0: saves the INI file, creating its folder. -> 0"},
    {L"HRX/Settings/Destroy", false, SettingsDestroy, "handle, instance: releases it. -> 0"},
    {L"HRX/Menu/Add", false, MenuAdd,
     "MenuItemDef, 0: keeps the item (same id: replaced); see menu, menu-invoke. -> 0"},
    {L"SMST/Register", true, SmstRegister,
     "SmstTransportInfo, 0: keeps copies of the texts, numbers and callbacks (same id: "
     "replaced). -> 0"},
    {L"SMST/Unregister", true, SmstUnregister, "transport id, 0: forgets it. -> 0"},
    {L"SMST/Enumerate", true, SmstEnumerate,
     "null, 0: -> the number of stored profiles of every transport, a 32-bit int in the low "
     "half of the result (the upper half undefined). SmstProfileEntry array, "
     "count: fills at most count entries (size 32 each, left as set) with texts that stay "
     "valid until the next such call. -> the number filled"},
    {L"Ar/WriteSMS", false, ArWriteSms,
     "ArchiveSmsRecord (size 56), 0: appends every field to archive.txt. -> 0"},
};

}  // namespace

const ServiceDef* ServiceRegistry::BuiltIn(const wchar_t* name) const {
    for (const ServiceDef& service : kServices) {
        if (std::wcscmp(service.name, name) == 0) {
            return noSms_ && service.sms ? nullptr : &service;
        }
    }
    return nullptr;
}

PluginServiceFn ServiceRegistry::Registered(const wchar_t* name) const {
    const auto found = registered_.find(name);
    return found != registered_.end() ? found->second : nullptr;
}

bool ServiceRegistry::Exists(const wchar_t* name) const {
    return BuiltIn(name) != nullptr || registered_.count(name) != 0;
}

bool ServiceRegistry::Register(const wchar_t* name, PluginServiceFn handler) {
    return !Exists(name) && registered_.emplace(name, handler).second;
}

void ServiceRegistry::ForgetModule(HMODULE module) {
    for (auto service = registered_.begin(); service != registered_.end();) {
        service = ModuleOf(reinterpret_cast<const void*>(service->second)) == module
                      ? registered_.erase(service)
                      : std::next(service);
    }
}

const ServiceDef* ServicesBegin() {
    return std::begin(kServices);
}

const ServiceDef* ServicesEnd() {
    return std::end(kServices);
}

}  // namespace tarnik::host
