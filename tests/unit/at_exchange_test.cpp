#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "link/mobile_core.h"
#include "tests/unit/case_file.h"
#include "tests/unit/link_fakes.h"

namespace tarnik {
namespace {

// Every dialogue of tests/data/at_exchanges.txt, replayed against the exchange.
TEST(SendCommand, Transcripts) {
    constexpr char kUntouched[] = "untouched";
    for (const test::Case& c : test::ReadCases("at_exchanges.txt")) {
        SCOPED_TRACE(c.name);
        const test::CaseLine send = c.Line("send");
        const test::CaseLine phone = c.Line("phone");
        const test::CaseLine result = c.Line("result");
        test::FakeModules modules;
        test::FakeClock clock(static_cast<uint32_t>(std::stoul(send.Word("start", "0"))));
        modules.Lib("com").endless = phone.Text("endless");
        for (const std::string& read : phone.Strings("phone"))
            modules.Lib("com").reads.push_back(read);

        CMobileCore core(CORE_SERIAL, clock, modules);
        core.CSerialCore::LoadModule();
        if (!send.Has("closed")) {
            ASSERT_TRUE(core.OpenSerial(1));
        }
        const std::string command = send.Text("send");
        std::string reply = kUntouched;
        const auto exchange = [&] {
            return core.SendCommand(command, send.Text("expect"), "\r", "ERROR",
                                    send.Has("reply") ? &reply : nullptr,
                                    static_cast<uint32_t>(std::stoul(send.Word("timeout"))));
        };
        EXPECT_EQ(exchange(), std::stoi(result.Word("result")));
        if (send.Has("twice")) {
            EXPECT_EQ(exchange(), std::stoi(result.Word("second")));
        }
        EXPECT_EQ(reply, result.Has("reply") ? result.Text("reply") : kUntouched);
        std::string written;
        for (int i = std::stoi(result.Word("written", send.Has("closed") ? "0" : "1")); i > 0; --i)
            written += command + "\r";
        EXPECT_EQ(modules.Lib("com").written, written);
        EXPECT_EQ(std::accumulate(clock.slept.begin(), clock.slept.end(), 0u),
                  std::stoul(result.Word("slept")));
        const std::vector<uint32_t>& reads = modules.Lib("com").readSizes;
        if (result.Has("reads")) {
            EXPECT_EQ(reads.size(), std::stoul(result.Word("reads")));
        }
        for (const uint32_t size : reads)
            EXPECT_EQ(size, 255u);
    }
}

}  // namespace
}  // namespace tarnik
