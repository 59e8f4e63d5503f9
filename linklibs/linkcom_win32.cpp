// linkcom.mdl, Windows build: the phone on a COM port, whether a cable, a USB modem or the
// virtual port of a Bluetooth or infrared driver.
//
// Choices:
// - Port n is "\\.\COMn", the form that reaches every port number ("Naming Files, Paths,
//   and Namespaces": COM10 and above exist only in the device namespace).
// - 115200 baud 8N1: phone data cables and the phones' own USB modems take it, virtual
//   ports ignore the rate, and an AT dialogue needs no more. No flow control: the
//   exchange is a few hundred bytes at a time, and cables that do not wire CTS would
//   otherwise stall every write.
// - DTR and RTS raised, both in the DCB and again with EscapeCommFunction: many cables draw
//   their power from these lines, and phones ignore a terminal whose DTR is low.
// - COMMTIMEOUTS with ReadIntervalTimeout = MAXDWORD and both read totals 0, which the
//   COMMTIMEOUTS documentation gives as "return immediately with the bytes already
//   received, even if none": the plug-in polls and keeps its own time-outs. Writes get a
//   total of 2 s plus 1 ms a byte, so a stalled port cannot hold the caller for ever.
// - The handle is the HANDLE itself; a failed open returns 0, never INVALID_HANDLE_VALUE.
// - libEnumPorts tests COM1 to COM255 with QueryDosDevice, which sees every port Windows
//   knows without opening any, and takes display names such as "Standard Serial over
//   Bluetooth link (COM5)" from SetupAPI's Ports class when present. Under Wine it also
//   finds ports linked into the prefix after the session started (see PortExists).

// setupapi.h builds on the types of windows.h.
// clang-format off
#include <windows.h>
#include <setupapi.h>
// clang-format on

#include <cstdlib>
#include <cwchar>
#include <type_traits>

#include "link/link_library_abi.h"

namespace {

constexpr uint32_t kMaxPort = 255;  // a profile keeps the port number in one byte
constexpr size_t kNameLength = 128;

// {4D36E978-E325-11CE-BFC1-08002BE10318}, GUID_DEVCLASS_PORTS of devguid.h.
constexpr GUID kPortsClass = {
    0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

using FriendlyNames = wchar_t[kMaxPort + 1][kNameLength];
static_assert(sizeof(wchar_t) == sizeof(char16_t), "names pass to the plug-in as UTF-16");

// "COM12" -> 12; 0 for anything else.
uint32_t PortNumber(const wchar_t* name) {
    if (std::wcsncmp(name, L"COM", 3) != 0 || name[3] == L'\0') {
        return 0;
    }
    uint32_t value = 0;
    for (const wchar_t* digit = name + 3; *digit != L'\0'; ++digit) {
        if (*digit < L'0' || *digit > L'9' || value > kMaxPort) {
            return 0;
        }
        value = value * 10 + uint32_t(*digit - L'0');
    }
    return value <= kMaxPort ? value : 0;
}

// Fills names[n] with the device manager's name of port n where it has one.
void ReadFriendlyNames(FriendlyNames& names) {
    const HDEVINFO devices = SetupDiGetClassDevsW(&kPortsClass, nullptr, nullptr, DIGCF_PRESENT);
    if (devices == INVALID_HANDLE_VALUE) {
        return;
    }
    SP_DEVINFO_DATA device;
    device.cbSize = sizeof(device);
    for (DWORD index = 0; SetupDiEnumDeviceInfo(devices, index, &device); ++index) {
        const HKEY key =
            SetupDiOpenDevRegKey(devices, &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, KEY_READ);
        if (key == INVALID_HANDLE_VALUE) {
            continue;
        }
        wchar_t portName[16] = {};
        DWORD size = sizeof(portName) - sizeof(wchar_t);
        DWORD type = 0;
        const LONG read = RegQueryValueExW(key, L"PortName", nullptr, &type,
                                           reinterpret_cast<BYTE*>(portName), &size);
        RegCloseKey(key);
        const uint32_t port = read == ERROR_SUCCESS && type == REG_SZ ? PortNumber(portName) : 0;
        if (port == 0) {
            continue;  // a printer port, or no port name
        }
        wchar_t* friendly = names[port];
        if (!SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_FRIENDLYNAME, nullptr,
                                               reinterpret_cast<BYTE*>(friendly),
                                               (kNameLength - 1) * sizeof(wchar_t), nullptr)) {
            friendly[0] = L'\0';
        }
        friendly[kNameLength - 1] = L'\0';
    }
    SetupDiDestroyDeviceInfoList(devices);
}

// "\\.\COMn" in path.
void DevicePath(uint32_t port, wchar_t (&path)[16]) {
    _snwprintf(path, 16, L"\\\\.\\COM%u", unsigned(port));
    path[15] = L'\0';
}

// Wine resolves \\.\COMn through $WINEPREFIX/dosdevices/comN when the port is opened, but
// its QueryDosDevice lists only the ports its mount manager registered when the session
// started. Wine is known by the ntdll export every Wine version has.
bool RunningUnderWine() {
    const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

bool PortExists(uint32_t port, bool underWine) {
    wchar_t name[8];
    _snwprintf(name, 8, L"COM%u", unsigned(port));
    name[7] = L'\0';
    wchar_t target[MAX_PATH];
    if (QueryDosDeviceW(name, target, MAX_PATH) != 0 ||
        GetLastError() == ERROR_INSUFFICIENT_BUFFER) {
        return true;
    }
    if (!underWine) {
        // On Windows the DOS device list is complete; opening ports to probe them would
        // reach their drivers (a Bluetooth virtual port starts connecting, for one).
        return false;
    }
    // No access and full sharing, so the probe locks nothing; a port another program
    // holds answers with a sharing violation, and exists all the same.
    wchar_t path[16];
    DevicePath(port, path);
    const HANDLE probe = CreateFileW(path, 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                     OPEN_EXISTING, 0, nullptr);
    if (probe != INVALID_HANDLE_VALUE) {
        CloseHandle(probe);
        return true;
    }
    const DWORD error = GetLastError();
    return error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
}

bool ConfigurePort(HANDLE port) {
    (void)SetupComm(port, 4096, 4096);  // a request only; drivers may keep their own sizes
    DCB dcb;
    ZeroMemory(&dcb, sizeof(dcb));
    dcb.DCBlength = sizeof(dcb);
    if (!GetCommState(port, &dcb)) {
        return false;
    }
    dcb.BaudRate = CBR_115200;
    dcb.ByteSize = 8;
    dcb.Parity = NOPARITY;
    dcb.StopBits = ONESTOPBIT;
    dcb.fBinary = TRUE;
    dcb.fParity = FALSE;
    dcb.fOutxCtsFlow = FALSE;
    dcb.fOutxDsrFlow = FALSE;
    dcb.fDtrControl = DTR_CONTROL_ENABLE;
    dcb.fDsrSensitivity = FALSE;
    dcb.fOutX = FALSE;
    dcb.fInX = FALSE;
    dcb.fErrorChar = FALSE;
    dcb.fNull = FALSE;
    dcb.fRtsControl = RTS_CONTROL_ENABLE;
    dcb.fAbortOnError = FALSE;
    if (!SetCommState(port, &dcb)) {
        return false;
    }
    COMMTIMEOUTS timeouts;
    timeouts.ReadIntervalTimeout = MAXDWORD;
    timeouts.ReadTotalTimeoutMultiplier = 0;
    timeouts.ReadTotalTimeoutConstant = 0;
    timeouts.WriteTotalTimeoutMultiplier = 1;
    timeouts.WriteTotalTimeoutConstant = 2000;
    if (!SetCommTimeouts(port, &timeouts)) {
        return false;
    }
    // Virtual ports may have no modem lines to raise; that is no reason to fail.
    (void)EscapeCommFunction(port, SETDTR);
    (void)EscapeCommFunction(port, SETRTS);
    (void)PurgeComm(port, PURGE_RXCLEAR | PURGE_TXCLEAR);
    return true;
}

HANDLE AsHandle(intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

bool Valid(intptr_t handle) {
    return handle != kLinkComClosed && AsHandle(handle) != INVALID_HANDLE_VALUE;
}

}  // namespace

TARNIK_LINK_EXPORT int32_t libEnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
    // 64 KB: too much for the caller's stack, so from the heap; without it, plain names.
    auto* friendly = static_cast<FriendlyNames*>(std::calloc(1, sizeof(FriendlyNames)));
    if (friendly != nullptr) {
        ReadFriendlyNames(*friendly);
    }
    const bool underWine = RunningUnderWine();
    int32_t count = 0;
    for (uint32_t port = 1; port <= kMaxPort; ++port) {
        if (!PortExists(port, underWine)) {
            continue;
        }
        wchar_t plain[8];
        _snwprintf(plain, 8, L"COM%u", unsigned(port));
        plain[7] = L'\0';
        const wchar_t* display =
            friendly != nullptr && (*friendly)[port][0] != L'\0' ? (*friendly)[port] : plain;
        if (numbers != nullptr && numbers->append != nullptr) {
            numbers->append(numbers->self, port);
        }
        if (names != nullptr && names->append != nullptr) {
            names->append(names->self, reinterpret_cast<const char16_t*>(display));
        }
        ++count;
    }
    std::free(friendly);
    return count;
}

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t portNumber) {
    if (portNumber == 0 || portNumber > kMaxPort) {
        return kLinkComClosed;
    }
    wchar_t path[16];
    DevicePath(portNumber, path);
    const HANDLE port = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (port == INVALID_HANDLE_VALUE || port == nullptr) {
        return kLinkComClosed;
    }
    if (!ConfigurePort(port)) {
        CloseHandle(port);
        return kLinkComClosed;
    }
    return reinterpret_cast<intptr_t>(port);
}

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t handle) {
    return Valid(handle) && CloseHandle(AsHandle(handle)) ? 0 : -1;
}

TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t handle, void* buffer, uint32_t size) {
    if (!Valid(handle) || buffer == nullptr) {
        return -1;
    }
    const DWORD wanted = size < uint32_t(INT32_MAX) ? size : uint32_t(INT32_MAX);
    DWORD got = 0;
    if (!ReadFile(AsHandle(handle), buffer, wanted, &got, nullptr)) {
        return -1;
    }
    return int32_t(got);
}

TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t handle, const void* data, uint32_t length) {
    if (!Valid(handle) || (data == nullptr && length != 0)) {
        return -1;
    }
    DWORD put = 0;
    const BOOL written = WriteFile(AsHandle(handle), data, length, &put, nullptr);
    // A write cut short by the time-out still reports what left.
    return written || put > 0 ? int32_t(put) : -1;
}

static_assert(std::is_same_v<decltype(&libEnumPorts), LibEnumPortsFn>);
static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenFn>);
static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
