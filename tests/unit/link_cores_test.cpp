#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "link/mobile_core.h"
#include "tests/enumerated_ports.h"
#include "tests/unit/case_file.h"
#include "tests/unit/link_fakes.h"

namespace tarnik {
namespace {

// One call of a case on the core: "bt.", "ir.", "com." reach that link class's own
// member, "core." the core's; "send" goes through the base's virtual Send. The enumerations
// give -1 when the library's device or port does not come back.
int Call(CMobileCore& core, const std::string& name, const std::string& arg) {
    const uint64_t n = std::strtoull(arg.c_str(), nullptr, 0);
    const auto u = static_cast<uint32_t>(n);
    const auto size = static_cast<uint32_t>(arg.size());
    CBlueCore& bt = core;
    CIrCore& ir = core;
    CSerialCore& com = core;
    char buffer[256];
    LinkDeviceRecord records[10] = {};
    test::EnumeratedPorts ports;
    const std::map<std::string, std::function<int()>> calls = {
        {"bt.load", [&] { return bt.LoadModule(); }},
        {"ir.load", [&] { return ir.LoadModule(); }},
        {"com.load", [&] { return com.LoadModule(); }},
        {"bt.open", [&] { return bt.Open(n); }},
        {"ir.open", [&] { return ir.Open(u); }},
        {"com.open", [&] { return com.Open(u); }},
        {"bt.isopen", [&] { return core.CBlueCore::IsOpen(); }},
        {"ir.isopen", [&] { return core.CIrCore::IsOpen(); }},
        {"com.isopen", [&] { return core.CSerialCore::IsOpen(); }},
        {"bt.close", [&] { return core.CBlueCore::Close(); }},
        {"ir.close", [&] { return core.CIrCore::Close(); }},
        {"com.close", [&] { return core.CSerialCore::Close(); }},
        {"bt.write", [&] { return bt.Write(arg.data(), size); }},
        {"ir.write", [&] { return ir.Write(arg.data(), size); }},
        {"com.write", [&] { return com.Write(arg.data(), size); }},
        {"bt.read", [&] { return bt.Read(buffer, u); }},
        {"ir.read", [&] { return ir.Read(buffer, u); }},
        {"com.read", [&] { return com.Read(buffer, u); }},
        {"bt.send", [&] { return bt.Send(arg.data(), size); }},
        {"ir.send", [&] { return ir.Send(arg.data(), size); }},
        {"com.send", [&] { return com.Send(arg.data(), size); }},
        {"bt.devices",
         [&] {
             const int r = bt.EnumDevices(nullptr, records, u);
             return r != 0 && records[0].address != 0x0011223344556677ull ? -1 : r;
         }},
        {"ir.devices", [&] { return ir.EnumDevices(nullptr, records, u); }},
        {"com.ports",
         [&] {
             const int r = com.EnumPorts(&ports.numberArray, &ports.nameArray);
             return r != 0 && (ports.numbers != std::vector<uint32_t>{3} ||
                               ports.names != std::vector<std::u16string>{u"COM3"})
                        ? -1
                        : r;
         }},
        {"core.isopen", [&] { return core.IsOpen(); }},
        {"core.close", [&] { return core.Close(); }},
        {"core.send", [&] { return core.Send(arg.data(), size); }},
        {"core.receive", [&] { return core.Receive(buffer, u); }},
        {"core.command", [&] { return core.SendCommand(arg, "OK", "\r", "ERROR", nullptr, 500); }},
    };
    return calls.at(name)();
}

// Every case of tests/data/link_cores.txt: calls on one core, then what the libraries saw.
TEST(LinkCores, Calls) {
    for (const test::Case& c : test::ReadCases("link_cores.txt")) {
        SCOPED_TRACE(c.name);
        test::FakeModules modules;
        for (const test::CaseLine& lib : c.All("library"))
            modules.Lib(lib.Word("library")).openResult = std::stoi(lib.Word("open-result"));
        const test::CaseLine core = c.Line("core");
        for (const std::string& name : core.Words("missing"))
            modules.missing.insert(name);
        {
            test::FakeClock clock;
            const std::string kind = core.Word("core");
            CMobileCore link(kind == "serial" ? CORE_SERIAL
                             : kind == "blue" ? CORE_BLUE
                             : kind == "ir"   ? CORE_IR
                                              : static_cast<CoreKind>(3),
                             clock, modules);
            for (const test::CaseLine& call : c.All("call")) {
                const std::string name = call.tokens.at(1).text;
                const std::string arg = call.tokens.size() > 4 ? call.tokens[2].text : "";
                EXPECT_EQ(Call(link, name, arg), std::stoi(call.Word("->"))) << name << " " << arg;
            }
        }
        if (c.Has("events")) {
            EXPECT_EQ(modules.events, c.Line("events").Strings("events"));
        }
        for (const test::CaseLine& line : c.All("calls"))
            EXPECT_EQ(modules.Lib(line.Word("calls")).calls, line.Strings(line.Word("calls")));
        for (const test::CaseLine& line : c.All("written"))
            EXPECT_EQ(modules.Lib(line.Word("written")).written, line.Text(line.Word("written")));
        for (const test::CaseLine& line : c.All("reads")) {
            std::vector<uint32_t> sizes;
            for (const std::string& size : line.Words(line.Word("reads")))
                sizes.push_back(static_cast<uint32_t>(std::stoul(size)));
            EXPECT_EQ(modules.Lib(line.Word("reads")).readSizes, sizes);
        }
        for (const test::CaseLine& line : c.All("opened")) {
            EXPECT_EQ(modules.Lib(line.Word("opened")).openedWith,
                      std::stoull(line.Words(line.Word("opened")).at(0), nullptr, 0));
        }
    }
}

}  // namespace
}  // namespace tarnik
