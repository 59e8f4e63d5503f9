// The calls between the plug-in and its three link libraries, linkbt.mdl (Bluetooth),
// linkir.mdl (IrDA) and linkcom.mdl (COM port). Plain C types only: the libraries may be
// built apart from the plug-in and must not share its heap or its C++ runtime.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef _WIN32
#define TARNIK_LINK_EXPORT extern "C" __declspec(dllexport)
#else
#define TARNIK_LINK_EXPORT extern "C" __attribute__((visibility("default")))
#endif

extern "C" {

// A growable array owned by the caller: the library appends through the callback, so
// nothing allocated on one side is freed on the other.
struct LinkUIntArray {
    void* self;
    void (*append)(void* self, uint32_t value);
};
struct LinkWStringArray {
    void* self;
    void (*append)(void* self, const char16_t* text);  // NUL-terminated UTF-16
};

// One found Bluetooth device. The plug-in reads only the address.
struct LinkDeviceRecord {
    uint64_t address;   // BTH_ADDR, little-endian
    char16_t name[20];  // the device's name, cut and NUL-terminated
};
static_assert(sizeof(LinkDeviceRecord) == 48, "device records are 48 bytes");

// libEnumDevices(combo box window, records, maximum count, reserved 0): adds one combo
// box entry per device and fills the record of the same index.
typedef int32_t (*LibEnumDevicesFn)(void* comboBox, LinkDeviceRecord* records, uint32_t maxCount,
                                    int32_t reserved);
// libEnumPorts(numbers, names): appends one COM port number and its display name per port.
typedef int32_t (*LibEnumPortsFn)(LinkUIntArray* numbers, LinkWStringArray* names);
// libPortOpen: Bluetooth takes the 64-bit device address; IrDA 0; COM the port number.
// Failure is -1 for Bluetooth and IrDA, 0 for COM.
typedef intptr_t (*LibPortOpenBtFn)(uint64_t address);
typedef intptr_t (*LibPortOpenFn)(uint32_t target);
typedef int32_t (*LibPortCloseFn)(intptr_t handle);
typedef int32_t (*LibPortWriteFn)(intptr_t handle, const void* data, uint32_t length);
// Returns at once: the count of bytes placed in the buffer, 0 or -1 when none waits.
typedef int32_t (*LibPortReadFn)(intptr_t handle, void* buffer, uint32_t size);

}  // extern "C"

constexpr intptr_t kLinkBtClosed = -1;
constexpr intptr_t kLinkIrClosed = -1;
constexpr intptr_t kLinkComClosed = 0;
