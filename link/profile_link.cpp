#include "link/profile_link.h"

namespace tarnik {

std::optional<CoreKind> CoreKindOf(const GsmProfile& profile) {
    switch (profile.connectionKind) {
        case kConnectionBluetooth:
            return CORE_BLUE;
        case kConnectionIrda:
            return CORE_IR;
        case kConnectionCom:
            return CORE_SERIAL;
    }
    return std::nullopt;
}

bool OpenProfileLink(CMobileCore& link, const GsmProfile& profile) {
    switch (link.kind()) {
        case CORE_BLUE:
            link.CBlueCore::LoadModule();
            return link.OpenBluetooth(profile.BtAddress());
        case CORE_IR:
            link.CIrCore::LoadModule();
            return link.OpenIrDA();
        case CORE_SERIAL:
            link.CSerialCore::LoadModule();
            try {
                link.OpenSerial(profile.comPort);
            } catch (...) {
                // A port that fails this way is simply not open.
            }
            return link.IsOpen();
    }
    return false;
}

}  // namespace tarnik
