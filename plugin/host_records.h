// Records exchanged with the host and its SMS plug-in inside one 64-bit process, and the
// identifier of our transport in them. The sizes and offsets are the host's, so each is
// checked at compile time. Every record starts with its own size and is zeroed before it
// is filled (value-initialise them: {}). The host stand-in includes this header too.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnik {

using WideText = const wchar_t*;  // zero-terminated UTF-16
using WindowHandle = void*;       // HWND
using ModuleHandle = void*;       // HINSTANCE

// The identifier under which our transport registers with the SMS plug-in, unregisters,
// and recognises its own profiles among every transport's.
constexpr wchar_t kTransportId[] = L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35";
static_assert(sizeof kTransportId / sizeof kTransportId[0] == 37, "36 characters, no braces");

// Exact, case-sensitive, over the 36 characters and the terminating zero.
inline bool IsOurTransport(const wchar_t* transportId) {
    if (transportId == nullptr)
        return false;
    for (int i = 0; i < 37; ++i) {
        if (transportId[i] != kTransportId[i])
            return false;
    }
    return true;
}

struct PluginInfo {
    uint32_t size;
    uint32_t reserved4;
    WideText shortName;
    WideText description;
    WideText legalNotice;
    WideText author;
    WideText email;
    WideText webAddress;
    WideText updateManifest;
    uint64_t version;        // four 16-bit parts, the first in the top bits
    uint64_t moduleVersion;  // likewise; also the file and product version of the module
    uint32_t three;          // 3, the host's business
    uint32_t reserved84;
    void* reserved88;
    WideText pluginId;  // GUID with braces
    void* reserved104[3];
};

struct LogEntry {
    uint32_t size;
    int32_t kind;  // 1 start-up notice, -2 warning
    WideText source;
    WideText message;
    void* reserved24[2];
};

struct SettingsPathRequest {
    uint32_t size;
    uint32_t reserved4;
    wchar_t* buffer;
    uint32_t capacity;  // in characters
    uint32_t reserved20;
    void* reserved24;
};

struct SmstSendInfo;
struct SmstConfigureInfo;
using TransportSendFn = intptr_t (*)(SmstSendInfo*);
using TransportConfigureFn = intptr_t (*)(SmstConfigureInfo*);

struct SmstTransportInfo {
    uint32_t size;
    uint32_t reserved4;
    WideText transportId;  // GUID without braces
    WideText displayName;
    uint32_t reserved24[3];
    uint32_t number10;
    uint32_t maxSingleText;  // 160
    uint32_t number50;
    TransportSendFn send;
    TransportConfigureFn configure;
    void* reserved64[2];
};

using MenuCallbackFn = intptr_t (*)(intptr_t, intptr_t);

struct MenuItemDef {
    uint32_t size;
    uint32_t reserved4;
    WideText itemId;
    WideText parentMenu;
    WideText caption;
    uint32_t reserved32[3];
    int32_t position;  // -20000000, the host's business
    uint64_t reserved48;
    MenuCallbackFn callback;
    void* reserved64[2];
    ModuleHandle instance;
    void* reserved88;
};

struct SmstSendInfo {
    uint32_t size;
    uint32_t reserved4;
    const uint8_t* profileData;
    uint32_t profileLength;
    uint32_t reserved20;
    void* reserved24;
    const WideText* recipients;
    int32_t* recipientState;  // non-zero: still to send; 0: sent
    int32_t recipientCount;
    uint32_t reserved52;
    WideText messageText;
    WindowHandle progressList;
};

struct SmstConfigureInfo {
    uint32_t size;
    uint32_t reserved4;
    uint8_t* profileData;  // 13 bytes read, and written back on OK
    uint32_t reserved16;
    uint32_t writtenLength;  // 13 on OK, else untouched
};

struct SmstProfileEntry {
    uint32_t size;  // 32
    uint32_t reserved4;
    WideText profileData;  // the GsmProfile as Base64
    WideText transportId;
    WideText profileName;
};

struct ArchiveSmsRecord {
    uint32_t size;  // 56
    uint32_t reserved4;
    WideText text;
    WideText meta;
    WideText number;
    uint32_t direction;  // 1 received, 2 sent
    uint32_t reserved36;
    int64_t time;  // seconds since 1970, UTC
    uint64_t reserved;
};

#define TARNIK_CHECK_LAYOUT(T, SIZE) static_assert(sizeof(T) == SIZE, #T " has the host's size")
#define TARNIK_CHECK_OFFSET(T, F, OFF) \
    static_assert(offsetof(T, F) == OFF, #T "." #F " sits where the host reads it")

TARNIK_CHECK_LAYOUT(PluginInfo, 128);
TARNIK_CHECK_OFFSET(PluginInfo, shortName, 8);
TARNIK_CHECK_OFFSET(PluginInfo, description, 16);
TARNIK_CHECK_OFFSET(PluginInfo, legalNotice, 24);
TARNIK_CHECK_OFFSET(PluginInfo, author, 32);
TARNIK_CHECK_OFFSET(PluginInfo, email, 40);
TARNIK_CHECK_OFFSET(PluginInfo, webAddress, 48);
TARNIK_CHECK_OFFSET(PluginInfo, updateManifest, 56);
TARNIK_CHECK_OFFSET(PluginInfo, version, 64);
TARNIK_CHECK_OFFSET(PluginInfo, moduleVersion, 72);
TARNIK_CHECK_OFFSET(PluginInfo, three, 80);
TARNIK_CHECK_OFFSET(PluginInfo, reserved88, 88);
TARNIK_CHECK_OFFSET(PluginInfo, pluginId, 96);
TARNIK_CHECK_OFFSET(PluginInfo, reserved104, 104);

TARNIK_CHECK_LAYOUT(LogEntry, 40);
TARNIK_CHECK_OFFSET(LogEntry, kind, 4);
TARNIK_CHECK_OFFSET(LogEntry, source, 8);
TARNIK_CHECK_OFFSET(LogEntry, message, 16);

TARNIK_CHECK_LAYOUT(SettingsPathRequest, 32);
TARNIK_CHECK_OFFSET(SettingsPathRequest, buffer, 8);
TARNIK_CHECK_OFFSET(SettingsPathRequest, capacity, 16);

TARNIK_CHECK_LAYOUT(SmstTransportInfo, 80);
TARNIK_CHECK_OFFSET(SmstTransportInfo, transportId, 8);
TARNIK_CHECK_OFFSET(SmstTransportInfo, displayName, 16);
TARNIK_CHECK_OFFSET(SmstTransportInfo, number10, 36);
TARNIK_CHECK_OFFSET(SmstTransportInfo, maxSingleText, 40);
TARNIK_CHECK_OFFSET(SmstTransportInfo, number50, 44);
TARNIK_CHECK_OFFSET(SmstTransportInfo, send, 48);
TARNIK_CHECK_OFFSET(SmstTransportInfo, configure, 56);

TARNIK_CHECK_LAYOUT(MenuItemDef, 96);
TARNIK_CHECK_OFFSET(MenuItemDef, itemId, 8);
TARNIK_CHECK_OFFSET(MenuItemDef, parentMenu, 16);
TARNIK_CHECK_OFFSET(MenuItemDef, caption, 24);
TARNIK_CHECK_OFFSET(MenuItemDef, position, 44);
TARNIK_CHECK_OFFSET(MenuItemDef, callback, 56);
TARNIK_CHECK_OFFSET(MenuItemDef, instance, 80);

TARNIK_CHECK_OFFSET(SmstSendInfo, profileData, 8);
TARNIK_CHECK_OFFSET(SmstSendInfo, profileLength, 16);
TARNIK_CHECK_OFFSET(SmstSendInfo, recipients, 32);
TARNIK_CHECK_OFFSET(SmstSendInfo, recipientState, 40);
TARNIK_CHECK_OFFSET(SmstSendInfo, recipientCount, 48);
TARNIK_CHECK_OFFSET(SmstSendInfo, messageText, 56);
TARNIK_CHECK_OFFSET(SmstSendInfo, progressList, 64);
TARNIK_CHECK_LAYOUT(SmstSendInfo, 72);

TARNIK_CHECK_OFFSET(SmstConfigureInfo, profileData, 8);
TARNIK_CHECK_OFFSET(SmstConfigureInfo, writtenLength, 20);
TARNIK_CHECK_LAYOUT(SmstConfigureInfo, 24);

TARNIK_CHECK_LAYOUT(SmstProfileEntry, 32);
TARNIK_CHECK_OFFSET(SmstProfileEntry, profileData, 8);
TARNIK_CHECK_OFFSET(SmstProfileEntry, transportId, 16);
TARNIK_CHECK_OFFSET(SmstProfileEntry, profileName, 24);

TARNIK_CHECK_LAYOUT(ArchiveSmsRecord, 56);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, text, 8);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, meta, 16);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, number, 24);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, direction, 32);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, time, 40);
TARNIK_CHECK_OFFSET(ArchiveSmsRecord, reserved, 48);

#undef TARNIK_CHECK_LAYOUT
#undef TARNIK_CHECK_OFFSET

}  // namespace tarnik
