#include "link/mobile_core.h"

namespace tarnik {

CMobileCore::CMobileCore(CoreKind kind, Clock& clock, ModuleApi& modules)
    : CBlueCore(modules), CSerialCore(modules), CIrCore(modules), kind_(kind), clock_(clock) {}

// The bases then free their libraries: IrDA, COM, Bluetooth.
CMobileCore::~CMobileCore() {
    Close();
}

bool CMobileCore::Close() {
    switch (kind_) {
        case CORE_SERIAL:
            CSerialCore::Close();
            return true;
        case CORE_BLUE:
            return CBlueCore::Close();
        case CORE_IR:
            return CIrCore::Close();
    }
    return true;
}

int CMobileCore::Send(const void* data, uint32_t length) {
    switch (kind_) {
        case CORE_SERIAL:
            return CSerialCore::Send(data, length);
        case CORE_BLUE:
            return CBlueCore::Send(data, length);
        case CORE_IR:
            return CIrCore::Send(data, length);
    }
    return 0;
}

int CMobileCore::Receive(void* buffer, uint32_t size) {
    if (size == 0)
        return 0;
    switch (kind_) {
        case CORE_SERIAL:
            return CSerialCore::Receive(buffer, size - 1);
        case CORE_BLUE:
            return CBlueCore::Receive(buffer, size - 1);
        case CORE_IR:
            return CIrCore::Receive(buffer, size - 1);
    }
    return 0;
}

bool CMobileCore::IsOpen() {
    switch (kind_) {
        case CORE_SERIAL:
            return CSerialCore::IsOpen();
        case CORE_BLUE:
            return CBlueCore::IsOpen();
        case CORE_IR:
            return CIrCore::IsOpen();
    }
    return false;
}

}  // namespace tarnik
