#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "link/mobile_core.h"
#include "tests/enumerated_ports.h"
#include "tests/unit/link_fakes.h"

namespace tarnik {
namespace {

using test::FakeClock;
using test::FakeModules;

TEST(LinkCores, LoadLooksUpEveryExportOnceInOrder) {
    FakeModules modules;
    {
        CSerialCore com(modules);
        EXPECT_TRUE(com.LoadModule());
        EXPECT_TRUE(com.LoadModule());  // already loaded: no second load
    }
    const std::vector<std::string> expected = {"load linkcom.mdl",
                                               "find com libEnumPorts",
                                               "find com libPortOpen",
                                               "find com libPortClose",
                                               "find com libPortRead",
                                               "find com libPortWrite",
                                               "free com"};
    EXPECT_EQ(modules.events, expected);
}

TEST(LinkCores, ClosedValuesAndNeverOpenedPorts) {
    FakeModules modules;
    CBlueCore bt(modules);
    CIrCore ir(modules);
    CSerialCore com(modules);
    for (bool loaded : {false, true}) {
        SCOPED_TRACE(loaded ? "loaded" : "not loaded");
        if (loaded) {
            bt.LoadModule();
            ir.LoadModule();
            com.LoadModule();
        }
        EXPECT_FALSE(bt.IsOpen());
        EXPECT_FALSE(ir.IsOpen());
        EXPECT_FALSE(com.IsOpen());
        EXPECT_FALSE(bt.Close());
        EXPECT_FALSE(ir.Close());
        EXPECT_FALSE(com.Close());
        char buffer[8];
        EXPECT_EQ(bt.Write("AT", 2), 0);
        EXPECT_EQ(com.Read(buffer, 8), 0);
    }
}

TEST(LinkCores, OpenResultAgainstEachClosedValue) {
    const struct {
        const char* name;
        intptr_t openResult;
        bool btOpen, comOpen;
    } cases[] = {
        {"a real handle", 5, true, true},
        {"minus one", -1, false, true},  // a COM library reporting -1 would look open
        {"zero", 0, true, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeModules modules;
        modules.bt().openResult = c.openResult;
        modules.com().openResult = c.openResult;
        CBlueCore bt(modules);
        CSerialCore com(modules);
        bt.LoadModule();
        com.LoadModule();
        EXPECT_EQ(bt.Open(0x1122334455667788ull), c.btOpen);
        EXPECT_EQ(com.Open(4), c.comOpen);
        EXPECT_EQ(bt.IsOpen(), c.btOpen);
        EXPECT_EQ(com.IsOpen(), c.comOpen);
        EXPECT_EQ(modules.bt().openedWith, 0x1122334455667788ull);
    }
}

TEST(LinkCores, MissingLibraryOrExportsReportFailure) {
    FakeModules modules;
    modules.missingLibraries["linkbt.mdl"] = 1;
    modules.missingExports["libPortWrite"] = 1;
    modules.missingExports["libEnumPorts"] = 1;
    CBlueCore bt(modules);
    CSerialCore com(modules);
    EXPECT_FALSE(bt.LoadModule());
    EXPECT_FALSE(bt.Open(1));
    EXPECT_EQ(bt.EnumDevices(nullptr, nullptr, 10), 0);
    EXPECT_TRUE(com.LoadModule());
    EXPECT_TRUE(com.Open(1));
    EXPECT_EQ(com.Write("AT", 2), 0);  // no libPortWrite
    EXPECT_EQ(com.EnumPorts(nullptr, nullptr), 0);
    EXPECT_TRUE(com.Close());
}

TEST(LinkCores, EnumerationPassesThrough) {
    FakeModules modules;
    CBlueCore bt(modules);
    CIrCore ir(modules);
    CSerialCore com(modules);
    bt.LoadModule();
    com.LoadModule();
    LinkDeviceRecord records[10] = {};
    EXPECT_EQ(bt.EnumDevices(nullptr, records, 10), 1);
    EXPECT_EQ(records[0].address, 0x0011223344556677ull);
    EXPECT_EQ(modules.bt().calls.back(), "enumDevices max=10 reserved=0");
    EXPECT_EQ(ir.EnumDevices(nullptr, records, 10), 0);

    tarnik::test::EnumeratedPorts ports;
    const std::vector<uint32_t>& numbers = ports.numbers;
    const std::vector<std::u16string>& names = ports.names;
    EXPECT_EQ(com.EnumPorts(&ports.numberArray, &ports.nameArray), 1);
    EXPECT_EQ(numbers, std::vector<uint32_t>{3});
    EXPECT_EQ(names, std::vector<std::u16string>{u"COM3"});
}

TEST(MobileCore, DispatchesByKind) {
    const struct {
        CoreKind kind;
        const char* library;
    } cases[] = {{CORE_SERIAL, "com"}, {CORE_BLUE, "bt"}, {CORE_IR, "ir"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.library);
        FakeModules modules;
        FakeClock clock;
        CMobileCore core(c.kind, clock, modules);
        core.CBlueCore::LoadModule();
        core.CIrCore::LoadModule();
        core.CSerialCore::LoadModule();
        EXPECT_TRUE(core.OpenBluetooth(9));
        EXPECT_TRUE(core.OpenIrDA());
        EXPECT_TRUE(core.OpenSerial(4));
        EXPECT_EQ(modules.ir().openedWith, 0u);
        EXPECT_EQ(modules.com().openedWith, 4u);

        // Through any base, the call reaches the link of this kind only.
        CSerialCore& asSerial = core;
        CIrCore& asIr = core;
        EXPECT_EQ(asSerial.Send("AT\r", 3), 3);
        EXPECT_EQ(asIr.Send("AT\r", 3), 3);
        for (test::FakeLibrary* lib : {&modules.bt(), &modules.ir(), &modules.com()}) {
            EXPECT_EQ(lib->written, lib->name == c.library ? "AT\rAT\r" : "") << lib->name;
        }
        char buffer[256];
        core.Receive(buffer, sizeof buffer);  // one byte stays free for the terminator
        for (test::FakeLibrary* lib : {&modules.bt(), &modules.ir(), &modules.com()}) {
            EXPECT_EQ(lib->readSizes, lib->name == c.library ? std::vector<uint32_t>{255}
                                                             : std::vector<uint32_t>{});
        }
    }
}

TEST(MobileCore, CloseResultByKind) {
    FakeModules modules;
    FakeClock clock;
    CMobileCore serial(CORE_SERIAL, clock, modules);
    CMobileCore blue(CORE_BLUE, clock, modules);
    CMobileCore ir(CORE_IR, clock, modules);
    EXPECT_TRUE(serial.Close());  // COM always says closed
    EXPECT_FALSE(blue.Close());
    EXPECT_FALSE(ir.Close());
    blue.CBlueCore::LoadModule();
    EXPECT_TRUE(blue.OpenBluetooth(1));
    EXPECT_TRUE(blue.Close());
    EXPECT_FALSE(blue.IsOpen());
}

TEST(MobileCore, KindOutsideTheThreeDoesNothing) {
    FakeModules modules;
    FakeClock clock;
    CMobileCore core(static_cast<CoreKind>(3), clock, modules);
    core.CSerialCore::LoadModule();
    core.OpenSerial(1);
    char buffer[16];
    EXPECT_FALSE(core.IsOpen());
    EXPECT_EQ(core.Send("AT", 2), 0);
    EXPECT_EQ(core.Receive(buffer, sizeof buffer), 0);
    EXPECT_TRUE(core.Close());
    EXPECT_EQ(core.SendCommand("AT", "OK", "\r", "ERROR", nullptr, 500), 0);
    EXPECT_EQ(modules.com().written, "");
}

TEST(MobileCore, DestructorClosesThenFreesIrComBluetooth) {
    FakeModules modules;
    FakeClock clock;
    {
        CMobileCore core(CORE_SERIAL, clock, modules);
        core.CBlueCore::LoadModule();
        core.CIrCore::LoadModule();
        core.CSerialCore::LoadModule();
        core.OpenSerial(2);
        modules.events.clear();
    }
    EXPECT_EQ(modules.com().calls.back(), "close");
    const std::vector<std::string> expected = {"free ir", "free com", "free bt"};
    EXPECT_EQ(modules.events, expected);
}

}  // namespace
}  // namespace tarnik
