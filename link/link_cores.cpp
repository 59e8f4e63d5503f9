#include "link/link_cores.h"

namespace tarnik {

namespace {

template <typename Fn>
void Bind(ModuleApi& modules, void* module, const char* name, Fn& entry) {
    entry = reinterpret_cast<Fn>(modules.Find(module, name));
}

// The parts every link class does alike: open, close, write and read on one handle.
template <typename OpenFn, typename Target>
bool OpenPort(OpenFn open, Target target, intptr_t closed, intptr_t& port) {
    if (open == nullptr)
        return false;
    port = open(target);
    return port != closed;
}

bool ClosePort(LibPortCloseFn close, intptr_t closed, intptr_t& port) {
    if (close == nullptr || port == closed)
        return false;
    close(port);
    port = closed;
    return true;
}

int WritePort(LibPortWriteFn write, intptr_t closed, intptr_t port, const void* data,
              uint32_t length) {
    if (write == nullptr || port == closed)
        return 0;
    return write(port, data, length);
}

int ReadPort(LibPortReadFn read, intptr_t closed, intptr_t port, void* buffer, uint32_t size) {
    if (read == nullptr || port == closed)
        return 0;
    return read(port, buffer, size);
}

}  // namespace

// Every export is looked up, missing ones stored as null: an operation without its
// entry point then reports failure on its own.
bool CBlueCore::LoadModule() {
    if (module_ != nullptr)
        return true;
    module_ = modules_.Load("linkbt.mdl");
    if (module_ == nullptr)
        return false;
    Bind(modules_, module_, "libEnumDevices", enumDevices_);
    Bind(modules_, module_, "libPortOpen", portOpen_);
    Bind(modules_, module_, "libPortClose", portClose_);
    Bind(modules_, module_, "libPortRead", portRead_);
    Bind(modules_, module_, "libPortWrite", portWrite_);
    return true;
}

int CBlueCore::EnumDevices(void* comboBox, LinkDeviceRecord* records, uint32_t maxCount) {
    if (enumDevices_ == nullptr)
        return 0;
    return enumDevices_(comboBox, records, maxCount, 0);
}

bool CBlueCore::Open(uint64_t address) {
    return OpenPort(portOpen_, address, kLinkBtClosed, port_);
}
bool CBlueCore::Close() {
    return ClosePort(portClose_, kLinkBtClosed, port_);
}
int CBlueCore::Write(const void* data, uint32_t length) {
    return WritePort(portWrite_, kLinkBtClosed, port_, data, length);
}
int CBlueCore::Read(void* buffer, uint32_t size) {
    return ReadPort(portRead_, kLinkBtClosed, port_, buffer, size);
}
CBlueCore::~CBlueCore() {
    if (module_ != nullptr)
        modules_.Free(module_);
}

bool CIrCore::LoadModule() {
    if (module_ != nullptr)
        return true;
    module_ = modules_.Load("linkir.mdl");
    if (module_ == nullptr)
        return false;
    Bind(modules_, module_, "libPortOpen", portOpen_);
    Bind(modules_, module_, "libPortClose", portClose_);
    Bind(modules_, module_, "libPortRead", portRead_);
    Bind(modules_, module_, "libPortWrite", portWrite_);
    return true;
}

bool CIrCore::Open(uint32_t target) {
    return OpenPort(portOpen_, target, kLinkIrClosed, port_);
}
bool CIrCore::Close() {
    return ClosePort(portClose_, kLinkIrClosed, port_);
}
int CIrCore::Write(const void* data, uint32_t length) {
    return WritePort(portWrite_, kLinkIrClosed, port_, data, length);
}
int CIrCore::Read(void* buffer, uint32_t size) {
    return ReadPort(portRead_, kLinkIrClosed, port_, buffer, size);
}
CIrCore::~CIrCore() {
    if (module_ != nullptr)
        modules_.Free(module_);
}

bool CSerialCore::LoadModule() {
    if (module_ != nullptr)
        return true;
    module_ = modules_.Load("linkcom.mdl");
    if (module_ == nullptr)
        return false;
    Bind(modules_, module_, "libEnumPorts", enumPorts_);
    Bind(modules_, module_, "libPortOpen", portOpen_);
    Bind(modules_, module_, "libPortClose", portClose_);
    Bind(modules_, module_, "libPortRead", portRead_);
    Bind(modules_, module_, "libPortWrite", portWrite_);
    return true;
}

int CSerialCore::EnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
    if (enumPorts_ == nullptr)
        return 0;
    return enumPorts_(numbers, names);
}

bool CSerialCore::Open(uint32_t port) {
    return OpenPort(portOpen_, port, kLinkComClosed, port_);
}
bool CSerialCore::Close() {
    return ClosePort(portClose_, kLinkComClosed, port_);
}
int CSerialCore::Write(const void* data, uint32_t length) {
    return WritePort(portWrite_, kLinkComClosed, port_, data, length);
}
int CSerialCore::Read(void* buffer, uint32_t size) {
    return ReadPort(portRead_, kLinkComClosed, port_, buffer, size);
}
CSerialCore::~CSerialCore() {
    if (module_ != nullptr)
        modules_.Free(module_);
}

}  // namespace tarnik
