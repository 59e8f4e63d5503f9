// linkir.mdl, Windows build: the phone's IrCOMM port through the Windows IrDA Winsock
// provider (AF_IRDA), without a virtual COM port.
//
// Choices:
// - The phone is the first device IRLMP_ENUMDEVICES reports that announces itself as a
//   phone or modem (hint bits), else simply the first one: infrared reaches only what lies
//   in front of the port, which is nearly always one device. Discovery may come back empty
//   while the first discovery frames are still out, so it is asked a few times.
// - IRLMP_9WIRE_MODE is set before connect, as the IrCOMM client sample in the Windows
//   IrDA documentation does: the stack then speaks 9-wire ("cooked") IrCOMM, which phones
//   offer under the IAS class "IrDA:IrCOMM", and keeps IrCOMM's control channel to itself,
//   so the socket carries the AT text only.
// - libPortOpen's argument (always 0 from the plug-in) is not used.
// - The connected socket is made non-blocking; see winsock_link.h for reads, writes and the
//   Winsock reference each open port holds.

// winsock2.h must come before windows.h (it says so itself), and the protocol header after it.
// clang-format off
#include <winsock2.h>
#include <af_irda.h>
#include <windows.h>
// clang-format on

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "link/link_library_abi.h"
#include "linklibs/winsock_link.h"

namespace {

constexpr int kDiscoveryAttempts = 4;
constexpr DWORD kDiscoveryPauseMs = 400;
constexpr ULONG kMaxDevices = 8;

// DEVICELIST with room for kMaxDevices entries, laid out as the header declares it.
struct DeviceList {
    ULONG numDevice;
    IRDA_DEVICE_INFO device[kMaxDevices];
};
static_assert(offsetof(DeviceList, device) == offsetof(DEVICELIST, Device),
              "DeviceList must match DEVICELIST");

bool IsPhone(const IRDA_DEVICE_INFO& info) {
    if (info.irdaDeviceHints1 & LM_HB1_Modem) {
        return true;
    }
    // The second hint byte is present only when the first one says so.
    return (info.irdaDeviceHints1 & LM_HB_Extension) != 0 &&
           (info.irdaDeviceHints2 & LM_HB2_Telephony) != 0;
}

bool FindPhone(SOCKET link, unsigned char id[4]) {
    for (int attempt = 0; attempt < kDiscoveryAttempts; ++attempt) {
        if (attempt > 0) {
            Sleep(kDiscoveryPauseMs);
        }
        DeviceList list;
        std::memset(&list, 0, sizeof(list));
        int size = sizeof(list);
        if (getsockopt(link, SOL_IRLMP, IRLMP_ENUMDEVICES, reinterpret_cast<char*>(&list), &size) !=
            0) {
            return false;
        }
        const ULONG found = list.numDevice < kMaxDevices ? list.numDevice : kMaxDevices;
        if (found == 0) {
            continue;
        }
        const IRDA_DEVICE_INFO* chosen = &list.device[0];
        for (ULONG i = 0; i < found; ++i) {
            if (IsPhone(list.device[i])) {
                chosen = &list.device[i];
                break;
            }
        }
        std::memcpy(id, chosen->irdaDeviceID, 4);
        return true;
    }
    return false;
}

SOCKET ConnectIrComm() {
    const SOCKET link = socket(AF_IRDA, SOCK_STREAM, 0);
    if (link == INVALID_SOCKET) {
        return INVALID_SOCKET;  // no IrDA stack or no infrared port
    }
    SOCKADDR_IRDA target;
    std::memset(&target, 0, sizeof(target));
    target.irdaAddressFamily = AF_IRDA;
    static const char kService[] = "IrDA:IrCOMM";
    static_assert(sizeof(kService) <= sizeof(target.irdaServiceName));
    std::memcpy(target.irdaServiceName, kService, sizeof(kService));
    int nineWire = 1;
    if (FindPhone(link, target.irdaDeviceID) &&
        setsockopt(link, SOL_IRLMP, IRLMP_9WIRE_MODE, reinterpret_cast<const char*>(&nineWire),
                   sizeof(nineWire)) == 0 &&
        connect(link, reinterpret_cast<const sockaddr*>(&target), sizeof(target)) == 0) {
        return link;
    }
    closesocket(link);
    return INVALID_SOCKET;
}

}  // namespace

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t /*target*/) {
    if (!winsock_link::Start()) {
        return kLinkIrClosed;
    }
    const SOCKET link = ConnectIrComm();
    if (link == INVALID_SOCKET) {
        winsock_link::Stop();
        return kLinkIrClosed;
    }
    return winsock_link::Adopt(link);
}
