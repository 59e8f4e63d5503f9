// Fake link libraries with scripted reads or the emulated phone behind them, and a clock
// that only moves when slept on, for tests of the link classes and of every AT dialogue.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <set>
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

// The three fake libraries; exports are plain C functions, so they find theirs here.
inline FakeLibrary* fakeLibraries[3];

template <int Id>
struct FakeExports {
    static FakeLibrary& Lib() { return *fakeLibraries[Id]; }
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
    // Every library has every export; Bluetooth's open takes an address.
    static void* Find(const std::string& name) {
        const std::map<std::string, void*> exports = {
            {"libEnumDevices", reinterpret_cast<void*>(&EnumDevices)},
            {"libEnumPorts", reinterpret_cast<void*>(&EnumPorts)},
            {"libPortOpen",
             Id == 0 ? reinterpret_cast<void*>(&OpenBt) : reinterpret_cast<void*>(&Open)},
            {"libPortClose", reinterpret_cast<void*>(&Close)},
            {"libPortWrite", reinterpret_cast<void*>(&Write)},
            {"libPortRead", reinterpret_cast<void*>(&Read)}};
        return exports.count(name) != 0 ? exports.at(name) : nullptr;
    }
};

// Serves linkbt.mdl, linkir.mdl and linkcom.mdl ("bt", "ir", "com") from fakes; a library
// or an export named in `missing` is not found.
class FakeModules final : public ModuleApi {
public:
    FakeModules() {
        for (int id = 0; id < 3; ++id)
            fakeLibraries[id] = &libs_[id];
    }
    FakeLibrary& Lib(const std::string& name) { return libs_[Id(name)]; }

    void* Load(const char* fileName) override {
        events.push_back(std::string("load ") + fileName);
        const std::string name = std::string(fileName).substr(4, std::strlen(fileName) - 8);
        return missing.count(fileName) != 0 || Id(name) > 2 ? nullptr : &Lib(name);
    }
    void* Find(void* module, const char* exportName) override {
        const int id = static_cast<int>(static_cast<FakeLibrary*>(module) - libs_);
        events.push_back("find " + std::string(kNames[id]) + " " + exportName);
        if (missing.count(exportName) != 0)
            return nullptr;
        return id == 0   ? FakeExports<0>::Find(exportName)
               : id == 1 ? FakeExports<1>::Find(exportName)
                         : FakeExports<2>::Find(exportName);
    }
    void Free(void* module) override {
        events.push_back("free " + std::string(kNames[static_cast<FakeLibrary*>(module) - libs_]));
    }

    std::vector<std::string> events;
    std::set<std::string> missing;

private:
    static constexpr const char* kNames[] = {"bt", "ir", "com"};
    static size_t Id(const std::string& name) {
        return static_cast<size_t>(std::find(kNames, kNames + 3, name) - kNames);
    }
    FakeLibrary libs_[3];
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

}  // namespace tarnik::test
