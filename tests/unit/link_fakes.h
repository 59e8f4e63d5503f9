// Fake link libraries with scripted reads or the emulated phone behind them, and a clock
// that only moves when slept on, for tests of the link classes and of every AT dialogue.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "link/link_library_abi.h"
#include "link/os_seams.h"
#include "phone/modem.h"

namespace tarnik::test {

class FakeClock final : public Clock {
public:
    explicit FakeClock(uint32_t start = 0) : now(start) {}
    uint32_t TickCount() override { return now; }
    void Sleep(uint32_t ms) override {
        slept.push_back(ms);
        now += ms;
    }
    uint32_t now;
    std::vector<uint32_t> slept;
};

// What one fake library saw and what it answers. Each read takes the next scripted
// chunk; an empty chunk, or an empty script, is a read with nothing waiting.
struct FakeLibrary {
    std::string name;
    intptr_t openResult = 5;
    std::deque<std::string> reads;
    // When set, every read brings a full buffer of it, over and over; after 32768 reads
    // (8 MiB) the talker falls silent, so a missing cut-off fails a test instead of hanging it.
    std::string endless;
    std::vector<std::string> calls;
    std::string written;
    std::vector<uint32_t> readSizes;
    uint64_t openedWith = 0;
    // A phone that answers what it is sent: called with each write and before each read,
    // it queues reads.
    std::function<void(FakeLibrary&, const std::string&)> onWrite;
    std::function<void(FakeLibrary&)> onRead;
};

// Exports are plain C functions, so the fakes find their library through one global.
inline std::map<int, FakeLibrary*>& FakeRegistry() {
    static std::map<int, FakeLibrary*> registry;
    return registry;
}

template <int Id>
struct FakeExports {
    static FakeLibrary& Lib() { return *FakeRegistry().at(Id); }
    static int32_t EnumDevices(void*, LinkDeviceRecord* records, uint32_t max, int32_t reserved) {
        Lib().calls.push_back("enumDevices max=" + std::to_string(max) +
                              " reserved=" + std::to_string(reserved));
        if (max > 0)
            records[0].address = 0x0011223344556677ull;
        return 1;
    }
    static int32_t EnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
        Lib().calls.push_back("enumPorts");
        numbers->append(numbers->self, 3);
        names->append(names->self, u"COM3");
        return 1;
    }
    static intptr_t OpenBt(uint64_t address) {
        Lib().calls.push_back("open");
        Lib().openedWith = address;
        return Lib().openResult;
    }
    static intptr_t Open(uint32_t target) { return OpenBt(target); }
    static int32_t Close(intptr_t) {
        Lib().calls.push_back("close");
        return 1;
    }
    static int32_t Write(intptr_t, const void* data, uint32_t length) {
        Lib().calls.push_back("write");
        Lib().written.append(static_cast<const char*>(data), length);
        if (Lib().onWrite)
            Lib().onWrite(Lib(), std::string(static_cast<const char*>(data), length));
        return static_cast<int32_t>(length);
    }
    static int32_t Read(intptr_t, void* buffer, uint32_t size) {
        FakeLibrary& lib = Lib();
        if (lib.onRead)
            lib.onRead(lib);
        lib.readSizes.push_back(size);
        if (!lib.endless.empty() && lib.readSizes.size() <= 32768) {
            for (uint32_t i = 0; i < size; ++i)
                static_cast<char*>(buffer)[i] = lib.endless[i % lib.endless.size()];
            return static_cast<int32_t>(size);
        }
        if (lib.reads.empty())
            return 0;
        const std::string chunk = lib.reads.front();
        lib.reads.pop_front();
        const size_t n = chunk.size() < size ? chunk.size() : size;
        std::memcpy(buffer, chunk.data(), n);
        if (n < chunk.size())
            lib.reads.push_front(chunk.substr(n));  // the rest comes next
        return chunk.empty() ? -1 : static_cast<int32_t>(n);
    }
};

// Serves linkbt.mdl, linkir.mdl and linkcom.mdl from fakes; a name left out of
// `missingExports` is found.
class FakeModules final : public ModuleApi {
public:
    FakeModules() {
        libs_["linkbt.mdl"].name = "bt";
        libs_["linkir.mdl"].name = "ir";
        libs_["linkcom.mdl"].name = "com";
        FakeRegistry()[0] = &libs_["linkbt.mdl"];
        FakeRegistry()[1] = &libs_["linkir.mdl"];
        FakeRegistry()[2] = &libs_["linkcom.mdl"];
    }
    FakeLibrary& bt() { return libs_["linkbt.mdl"]; }
    FakeLibrary& ir() { return libs_["linkir.mdl"]; }
    FakeLibrary& com() { return libs_["linkcom.mdl"]; }

    void* Load(const char* fileName) override {
        events.push_back(std::string("load ") + fileName);
        if (missingLibraries.count(fileName) != 0)
            return nullptr;
        auto it = libs_.find(fileName);
        return it == libs_.end() ? nullptr : &it->second;
    }
    void* Find(void* module, const char* exportName) override {
        auto* lib = static_cast<FakeLibrary*>(module);
        events.push_back("find " + lib->name + " " + exportName);
        if (missingExports.count(exportName) != 0)
            return nullptr;
        const std::string e = exportName;
        if (lib->name == "bt")
            return Lookup<0>(e, true);
        if (lib->name == "ir")
            return Lookup<1>(e, false);
        return Lookup<2>(e, false);
    }
    void Free(void* module) override {
        events.push_back("free " + static_cast<FakeLibrary*>(module)->name);
    }

    std::vector<std::string> events;
    std::map<std::string, int> missingLibraries;
    std::map<std::string, int> missingExports;

private:
    template <int Id>
    static void* Lookup(const std::string& e, bool bluetooth) {
        using X = FakeExports<Id>;
        if (e == "libEnumDevices")
            return reinterpret_cast<void*>(&X::EnumDevices);
        if (e == "libEnumPorts")
            return reinterpret_cast<void*>(&X::EnumPorts);
        if (e == "libPortOpen") {
            return bluetooth ? reinterpret_cast<void*>(&X::OpenBt)
                             : reinterpret_cast<void*>(&X::Open);
        }
        if (e == "libPortClose")
            return reinterpret_cast<void*>(&X::Close);
        if (e == "libPortWrite")
            return reinterpret_cast<void*>(&X::Write);
        if (e == "libPortRead")
            return reinterpret_cast<void*>(&X::Read);
        return nullptr;
    }
    std::map<std::string, FakeLibrary> libs_;
};

// The phone as its emulator's command processor behind one fake library: writes go in,
// its answers come out as reads, and the fake clock's milliseconds are its time, so its
// reports fall due while the caller polls. Configured in the emulator's own file format.
class EmulatedPhone {
public:
    // 2024-01-15 16:35:02 UTC, the phone's wall clock: its reports' time stamps.
    static constexpr std::time_t kWallClock = 1705336502;

    explicit EmulatedPhone(FakeClock& clock, const std::string& config = "")
        : clock_(clock), modem_(Parse(config), log_, [] { return kWallClock; }) {}

    void Attach(FakeLibrary& lib) {
        lib.onWrite = [this](FakeLibrary& l, const std::string& data) {
            modem_.Receive(data, Now());
            Drain(l);
        };
        lib.onRead = [this](FakeLibrary& l) {
            modem_.Tick(Now());
            Drain(l);
        };
    }

private:
    static phone::PhoneConfig Parse(const std::string& text) {
        phone::PhoneConfig config;
        std::istringstream in(text);
        std::string error;
        if (!phone::ParseConfig(in, config, error))
            ADD_FAILURE() << "phone configuration: " << error;
        return config;
    }
    phone::Modem::Clock::time_point Now() const {
        return phone::Modem::Clock::time_point(std::chrono::milliseconds(clock_.now));
    }
    void Drain(FakeLibrary& lib) {
        for (const phone::Emission& e : modem_.TakeOutput()) {
            if (e.kind == phone::Emission::kBytes)
                lib.reads.push_back(e.bytes);
            else if (e.kind == phone::Emission::kEndless)
                lib.endless = e.bytes;
        }
    }

    FakeClock& clock_;
    phone::EventLog log_;
    phone::Modem modem_;
};

// The PDUs among what a library wrote: each ends in Ctrl-Z after a command line.
inline std::vector<std::string> WrittenPdus(const std::string& written) {
    std::vector<std::string> pdus;
    for (size_t end = written.find('\x1A'); end != std::string::npos;
         end = written.find('\x1A', end + 1)) {
        const size_t start = written.find_last_of("\r\n", end) + 1;
        pdus.push_back(written.substr(start, end - start));
    }
    return pdus;
}

}  // namespace tarnik::test
