// One class per link library: each loads its library, holds its entry points and one
// open port. A port's closed value is -1 for Bluetooth and IrDA, 0 for COM, as each
// library reports a failed open.
#pragma once

#include <cstdint>

#include "link/link_library_abi.h"
#include "link/os_seams.h"

namespace tarnik {

// A link library, loaded once and freed with its owner.
class LinkModule {
public:
    explicit LinkModule(ModuleApi& modules) : modules_(modules) {}
    LinkModule(const LinkModule&) = delete;
    LinkModule& operator=(const LinkModule&) = delete;
    ~LinkModule() {
        if (handle_ != nullptr)
            modules_.Free(handle_);
    }

    // True when loaded now or before; `bindExports` runs once, right after the load.
    template <typename BindExports>
    bool Load(const char* fileName, BindExports bindExports) {
        if (handle_ != nullptr)
            return true;
        handle_ = modules_.Load(fileName);
        if (handle_ == nullptr)
            return false;
        bindExports();
        return true;
    }
    // A missing export is stored as null: the operation needing it then fails on its own.
    template <typename Fn>
    void Bind(const char* exportName, Fn& entry) {
        entry = reinterpret_cast<Fn>(modules_.Find(handle_, exportName));
    }

private:
    ModuleApi& modules_;
    void* handle_ = nullptr;
};

// One port of a link library and the entry points that work it. `kClosed` is the
// handle the library gives for a failed open.
template <typename OpenFn, intptr_t kClosed>
class LinkPort {
public:
    void Bind(LinkModule& module) {
        module.Bind("libPortOpen", open_);
        module.Bind("libPortClose", close_);
        module.Bind("libPortRead", read_);
        module.Bind("libPortWrite", write_);
    }
    template <typename Target>
    bool Open(Target target) {
        if (open_ == nullptr)
            return false;
        handle_ = open_(target);
        return handle_ != kClosed;
    }
    bool Close() {
        if (close_ == nullptr || handle_ == kClosed)
            return false;
        close_(handle_);
        handle_ = kClosed;
        return true;
    }
    int Write(const void* data, uint32_t length) {
        return write_ == nullptr || handle_ == kClosed ? 0 : write_(handle_, data, length);
    }
    int Read(void* buffer, uint32_t size) {
        return read_ == nullptr || handle_ == kClosed ? 0 : read_(handle_, buffer, size);
    }
    bool IsOpen() const { return handle_ != kClosed; }

private:
    OpenFn open_ = nullptr;
    LibPortCloseFn close_ = nullptr;
    LibPortWriteFn write_ = nullptr;
    LibPortReadFn read_ = nullptr;
    intptr_t handle_ = kClosed;
};

class CBlueCore {
public:
    explicit CBlueCore(ModuleApi& modules = SystemModules()) : module_(modules) {}
    CBlueCore(const CBlueCore&) = delete;
    CBlueCore& operator=(const CBlueCore&) = delete;

    bool LoadModule();

    virtual int EnumDevices(void* comboBox, LinkDeviceRecord* records, uint32_t maxCount);
    virtual bool Open(uint64_t address) { return port_.Open(address); }
    virtual bool Close() { return port_.Close(); }
    virtual int Write(const void* data, uint32_t length) { return port_.Write(data, length); }
    virtual int Read(void* buffer, uint32_t size) { return port_.Read(buffer, size); }
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_.IsOpen(); }
    virtual ~CBlueCore() = default;  // frees the library; the port is not closed here

private:
    LinkModule module_;
    LibEnumDevicesFn enumDevices_ = nullptr;
    LinkPort<LibPortOpenBtFn, kLinkBtClosed> port_;
};

class CIrCore {
public:
    explicit CIrCore(ModuleApi& modules = SystemModules()) : module_(modules) {}
    CIrCore(const CIrCore&) = delete;
    CIrCore& operator=(const CIrCore&) = delete;

    bool LoadModule();

    virtual int EnumDevices(void*, LinkDeviceRecord*, uint32_t) { return 0; }
    virtual bool Open(uint32_t target) { return port_.Open(target); }
    virtual bool Close() { return port_.Close(); }
    virtual int Write(const void* data, uint32_t length) { return port_.Write(data, length); }
    virtual int Read(void* buffer, uint32_t size) { return port_.Read(buffer, size); }
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_.IsOpen(); }
    virtual ~CIrCore() = default;

private:
    LinkModule module_;
    LinkPort<LibPortOpenFn, kLinkIrClosed> port_;
};

class CSerialCore {
public:
    explicit CSerialCore(ModuleApi& modules = SystemModules()) : module_(modules) {}
    CSerialCore(const CSerialCore&) = delete;
    CSerialCore& operator=(const CSerialCore&) = delete;

    bool LoadModule();

    virtual ~CSerialCore() = default;
    virtual int EnumPorts(LinkUIntArray* numbers, LinkWStringArray* names);
    virtual bool Open(uint32_t port) { return port_.Open(port); }
    virtual bool Close() { return port_.Close(); }
    virtual int Write(const void* data, uint32_t length) { return port_.Write(data, length); }
    virtual int Read(void* buffer, uint32_t size) { return port_.Read(buffer, size); }
    virtual int Send(const void* data, uint32_t length) { return Write(data, length); }
    virtual int Receive(void* buffer, uint32_t size) { return Read(buffer, size); }
    virtual bool IsOpen() { return port_.IsOpen(); }

private:
    LinkModule module_;
    LibEnumPortsFn enumPorts_ = nullptr;
    LinkPort<LibPortOpenFn, kLinkComClosed> port_;
};

}  // namespace tarnik
