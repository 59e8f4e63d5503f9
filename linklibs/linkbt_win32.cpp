// linkbt.mdl, Windows build: the phone's serial port over Bluetooth RFCOMM through the
// Microsoft Bluetooth stack's Winsock provider (AF_BTH), without a virtual COM port.
//
// Choices:
// - libEnumDevices lists the devices Windows already knows (paired or remembered) with
//   WSALookupServiceBegin/Next over NS_BTH and no LUP_FLUSHCACHE: a fresh inquiry would hold
//   the settings dialog for about ten seconds, and a phone has to be paired before it
//   accepts an RFCOMM connection anyway ("Bluetooth and WSALookupServiceBegin for Device
//   Inquiry").
// - libPortOpen connects with port 0 and a service class, so Winsock finds the RFCOMM
//   channel by SDP (SOCKADDR_BTH documentation): the Serial Port profile first, then Dial-up
//   Networking, which older phones offer for their AT command interpreter instead.
// - The connected socket is made non-blocking; see winsock_link.h for reads, writes and the
//   Winsock reference each open port holds.

// winsock2.h must come before windows.h (it says so itself), and the protocol header after it.
// clang-format off
#include <winsock2.h>
#include <ws2bth.h>
#include <windows.h>
// clang-format on

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <type_traits>

#include "link/link_library_abi.h"
#include "linklibs/winsock_link.h"

namespace {

// Bluetooth base UUID with the 16-bit service class (Bluetooth Assigned Numbers); defined
// here so that no GUID library has to be linked.
constexpr GUID ServiceClass(unsigned short shortUuid) {
    return GUID{shortUuid, 0x0000, 0x1000, {0x80, 0x00, 0x00, 0x80, 0x5F, 0x9B, 0x34, 0xFB}};
}
constexpr GUID kSerialPortService = ServiceClass(0x1101);
constexpr GUID kDialupNetworkingService = ServiceClass(0x1103);
constexpr GUID kServicesTried[] = {kSerialPortService, kDialupNetworkingService};

// "Name (00:11:22:33:44:55)": two phones of one model are told apart by their address.
void DisplayText(const wchar_t* name, BTH_ADDR address, wchar_t* text, size_t capacity) {
    wchar_t hex[18];
    for (int i = 0; i < 6; ++i) {
        const unsigned byte = unsigned(address >> (8 * (5 - i))) & 0xFFu;
        hex[3 * i] = L"0123456789ABCDEF"[byte >> 4];
        hex[3 * i + 1] = L"0123456789ABCDEF"[byte & 0xF];
        hex[3 * i + 2] = i < 5 ? L':' : L'\0';
    }
    if (name != nullptr && name[0] != L'\0') {
        _snwprintf(text, capacity, L"%ls (%ls)", name, hex);
    } else {
        _snwprintf(text, capacity, L"%ls", hex);
    }
    text[capacity - 1] = L'\0';
}

void FillRecord(LinkDeviceRecord* record, BTH_ADDR address, const wchar_t* name) {
    std::memset(record, 0, sizeof(*record));
    record->address = address;
    const size_t room = sizeof(record->name) / sizeof(record->name[0]) - 1;
    for (size_t i = 0; name != nullptr && i < room && name[i] != L'\0'; ++i) {
        record->name[i] = char16_t(name[i]);
    }
}

}  // namespace

TARNIK_LINK_EXPORT int32_t libEnumDevices(void* comboBox, LinkDeviceRecord* records,
                                          uint32_t maxCount, int32_t /*reserved*/) {
    if (!winsock_link::Start()) {
        return 0;
    }
    const DWORD flags = LUP_CONTAINERS | LUP_RETURN_NAME | LUP_RETURN_ADDR;
    WSAQUERYSETW query;
    std::memset(&query, 0, sizeof(query));
    query.dwSize = sizeof(query);
    query.dwNameSpace = NS_BTH;
    HANDLE lookup = nullptr;
    uint32_t count = 0;
    if (WSALookupServiceBeginW(&query, flags, &lookup) == 0) {
        DWORD capacity = 4096;
        auto* result = static_cast<WSAQUERYSETW*>(std::malloc(capacity));
        while (result != nullptr && count < maxCount) {
            DWORD size = capacity;
            if (WSALookupServiceNextW(lookup, flags, &size, result) != 0) {
                if (WSAGetLastError() != WSAEFAULT || size <= capacity) {
                    break;  // WSA_E_NO_MORE, or a failure we cannot recover from
                }
                std::free(result);
                capacity = size;
                result = static_cast<WSAQUERYSETW*>(std::malloc(capacity));
                continue;
            }
            const CSADDR_INFO* addresses = result->lpcsaBuffer;
            if (result->dwNumberOfCsAddrs == 0 || addresses == nullptr ||
                addresses->RemoteAddr.lpSockaddr == nullptr) {
                continue;
            }
            const auto* device =
                reinterpret_cast<const SOCKADDR_BTH*>(addresses->RemoteAddr.lpSockaddr);
            const wchar_t* name = result->lpszServiceInstanceName;
            if (records != nullptr) {
                FillRecord(&records[count], device->btAddr, name);
            }
            if (comboBox != nullptr) {
                wchar_t text[300];
                DisplayText(name, device->btAddr, text, sizeof(text) / sizeof(text[0]));
                SendMessageW(static_cast<HWND>(comboBox), CB_ADDSTRING, 0,
                             reinterpret_cast<LPARAM>(text));
            }
            ++count;
        }
        std::free(result);
        WSALookupServiceEnd(lookup);
    }
    winsock_link::Stop();
    return int32_t(count);
}

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint64_t address) {
    if (!winsock_link::Start()) {
        return kLinkBtClosed;
    }
    for (const GUID& service : kServicesTried) {
        const SOCKET link = socket(AF_BTH, SOCK_STREAM, BTHPROTO_RFCOMM);
        if (link == INVALID_SOCKET) {
            break;  // no Bluetooth stack or no radio
        }
        SOCKADDR_BTH target;
        std::memset(&target, 0, sizeof(target));
        target.addressFamily = AF_BTH;
        target.btAddr = address;
        target.serviceClassId = service;
        target.port = 0;
        if (connect(link, reinterpret_cast<const sockaddr*>(&target), sizeof(target)) == 0) {
            return winsock_link::Adopt(link);
        }
        closesocket(link);
    }
    winsock_link::Stop();
    return kLinkBtClosed;
}
