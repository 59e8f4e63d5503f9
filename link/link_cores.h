// One class per link library: each loads its library, holds its entry points and one
// open port. A port's closed value is -1 for Bluetooth and IrDA, 0 for COM, as each
// library reports a failed open.
#pragma once

#include <cstdint>

#include "link/link_library_abi.h"
#include "link/os_seams.h"

namespace tarnik {

class CBlueCore {
public:
    explicit CBlueCore(ModuleApi& modules = SystemModules()) : modules_(modules) {}
    CBlueCore(const CBlueCore&) = delete;
    CBlueCore& operator=(const CBlueCore&) = delete;

    bool LoadModule();

    virtual int EnumDevices(void* comboBox, LinkDeviceRecord* records, uint32_t maxCount);
    virtual bool Open(uint64_t address);
    virtual bool Close();
    virtual int Write(const void* data, uint32_t length);
    virtual int Read(void* buffer, uint32_t size);
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_ != kLinkBtClosed; }
    virtual ~CBlueCore();  // frees the library; the port is not closed here

private:
    ModuleApi& modules_;
    void* module_ = nullptr;
    LibEnumDevicesFn enumDevices_ = nullptr;
    LibPortOpenBtFn portOpen_ = nullptr;
    LibPortCloseFn portClose_ = nullptr;
    LibPortWriteFn portWrite_ = nullptr;
    LibPortReadFn portRead_ = nullptr;
    intptr_t port_ = kLinkBtClosed;
};

class CIrCore {
public:
    explicit CIrCore(ModuleApi& modules = SystemModules()) : modules_(modules) {}
    CIrCore(const CIrCore&) = delete;
    CIrCore& operator=(const CIrCore&) = delete;

    bool LoadModule();

    virtual int EnumDevices(void*, LinkDeviceRecord*, uint32_t) { return 0; }
    virtual bool Open(uint32_t target);
    virtual bool Close();
    virtual int Write(const void* data, uint32_t length);
    virtual int Read(void* buffer, uint32_t size);
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_ != kLinkIrClosed; }
    virtual ~CIrCore();

private:
    ModuleApi& modules_;
    void* module_ = nullptr;
    LibPortOpenFn portOpen_ = nullptr;
    LibPortCloseFn portClose_ = nullptr;
    LibPortWriteFn portWrite_ = nullptr;
    LibPortReadFn portRead_ = nullptr;
    intptr_t port_ = kLinkIrClosed;
};

class CSerialCore {
public:
    explicit CSerialCore(ModuleApi& modules = SystemModules()) : modules_(modules) {}
    CSerialCore(const CSerialCore&) = delete;
    CSerialCore& operator=(const CSerialCore&) = delete;

    bool LoadModule();

    virtual ~CSerialCore();
    virtual int EnumPorts(LinkUIntArray* numbers, LinkWStringArray* names);
    virtual bool Open(uint32_t port);
    virtual bool Close();
    virtual int Write(const void* data, uint32_t length);
    virtual int Read(void* buffer, uint32_t size);
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_ != kLinkComClosed; }

private:
    ModuleApi& modules_;
    void* module_ = nullptr;
    LibEnumPortsFn enumPorts_ = nullptr;
    LibPortOpenFn portOpen_ = nullptr;
    LibPortCloseFn portClose_ = nullptr;
    LibPortWriteFn portWrite_ = nullptr;
    LibPortReadFn portRead_ = nullptr;
    intptr_t port_ = kLinkComClosed;
};

}  // namespace tarnik
