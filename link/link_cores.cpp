#include "link/link_cores.h"

namespace tarnik {

// The enumeration export is looked up first, then the port's.
bool CBlueCore::LoadModule() {
    return module_.Load("linkbt.mdl", [this] {
        module_.Bind("libEnumDevices", enumDevices_);
        port_.Bind(module_);
    });
}

int CBlueCore::EnumDevices(void* comboBox, LinkDeviceRecord* records, uint32_t maxCount) {
    if (enumDevices_ == nullptr)
        return 0;
    return enumDevices_(comboBox, records, maxCount, 0);
}

bool CIrCore::LoadModule() {
    return module_.Load("linkir.mdl", [this] { port_.Bind(module_); });
}

bool CSerialCore::LoadModule() {
    return module_.Load("linkcom.mdl", [this] {
        module_.Bind("libEnumPorts", enumPorts_);
        port_.Bind(module_);
    });
}

int CSerialCore::EnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
    if (enumPorts_ == nullptr)
        return 0;
    return enumPorts_(numbers, names);
}

}  // namespace tarnik
