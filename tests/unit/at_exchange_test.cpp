#include <gtest/gtest.h>

#include <deque>
#include <numeric>
#include <string>

#include "link/mobile_core.h"
#include "tests/unit/link_fakes.h"

namespace tarnik {
namespace {

using test::FakeClock;
using test::FakeModules;

constexpr char kUntouched[] = "untouched";

struct ExchangeCase {
    const char* name;
    std::string command;
    std::string expected;
    bool wantReply;
    uint32_t timeout;
    std::deque<std::string> phone;  // one chunk per read; "" is a read with nothing
    int result;
    std::string reply;  // kUntouched when the reply must not be written
    uint32_t sleptMs;
    uint32_t startTick = 0;
};

TEST(SendCommand, Dialogues) {
    const std::string nul("AT\r\r\n\0OK\r\n", 10);
    // One byte after every 400 ms of silence: 2.8 s in all against a time-out of 500 ms.
    std::deque<std::string> trickle;
    for (const char c : std::string("AT\r\r\nOK")) {
        trickle.insert(trickle.end(), 4, "");
        trickle.push_back(std::string(1, c));
    }
    const ExchangeCase cases[] = {
        {"echo, then OK, no reply wanted",
         "AT",
         "OK",
         false,
         500,
         {"AT\r\r\nOK\r\n"},
         1,
         kUntouched,
         0},
        {"token split over two reads",
         "AT",
         "OK",
         false,
         500,
         {"AT\r\r\nO", "K\r\n"},
         1,
         kUntouched,
         0},
        {"silence first, then OK",
         "AT",
         "OK",
         false,
         500,
         {"", "", "AT\r\r\nOK"},
         1,
         kUntouched,
         200},
        {"reply: one more read after the token",
         "AT+CMGS=18",
         "OK",
         true,
         45000,
         {"AT+CMGS=18\r\r\n+CMGS: 7\r\n", "\r\nOK\r\n", "\r\n+CDS: 25\r\n"},
         1,
         "AT+CMGS=18\r\r\n+CMGS: 7\r\n\r\nOK\r\n\r\n+CDS: 25\r\n",
         1000},
        {"reply: the extra read may bring nothing",
         "AT",
         "OK",
         true,
         500,
         {"AT\r\r\nOK\r\n"},
         1,
         "AT\r\r\nOK\r\n",
         1000},
        {"prompt is one character",
         "AT+CMGS=18",
         ">",
         false,
         500,
         {"AT+CMGS=18\r\r\n> "},
         1,
         kUntouched,
         0},
        {"error token",
         "AT+CMGS=18",
         ">",
         true,
         500,
         {"AT+CMGS=18\r\r\n+CMS ERROR: 42\r\n"},
         0,
         "AT+CMGS=18\r\r\n+CMS ERROR: 42\r\n",
         0},
        {"both tokens: success wins",
         "AT",
         "OK",
         false,
         500,
         {"AT\r\r\nERROR OK"},
         1,
         kUntouched,
         0},
        {"token inside the echo is not seen",
         "AT+CPMS=\"OK\"",
         "OK",
         true,
         500,
         {"AT+CPMS=\"OK\"\r"},
         0,
         kUntouched,
         600},
        {"short answer without echo hides in the skipped part",
         "AT+CMGL=4",
         "OK",
         false,
         500,
         {"\r\nOK\r\n"},
         0,
         kUntouched,
         600},
        {"every byte restarts the silence time-out", "AT", "OK", false, 500, trickle, 1, kUntouched,
         2800},
        {"silence times out after the limit", "AT", "OK", true, 500, {}, 0, kUntouched, 600},
        {"time-out 0 fails after the first empty read",
         "AT",
         "OK",
         false,
         0,
         {},
         0,
         kUntouched,
         100},
        {"bytes after a NUL in one chunk are lost",
         "AT",
         "OK",
         false,
         500,
         {nul},
         0,
         kUntouched,
         600},
        {"tick count wraps without a false time-out",
         "AT",
         "OK",
         false,
         500,
         {"", "", "", "AT\r\r\nOK"},
         1,
         kUntouched,
         300,
         0xFFFFFF00u},
    };
    for (const ExchangeCase& c : cases) {
        SCOPED_TRACE(c.name);
        FakeModules modules;
        FakeClock clock(c.startTick);
        modules.com().reads = c.phone;
        CMobileCore core(CORE_SERIAL, clock, modules);
        core.CSerialCore::LoadModule();
        ASSERT_TRUE(core.OpenSerial(1));
        std::string reply = kUntouched;
        const int result = core.SendCommand(c.command, c.expected, "\r", "ERROR",
                                            c.wantReply ? &reply : nullptr, c.timeout);
        EXPECT_EQ(result, c.result);
        EXPECT_EQ(reply, c.reply);
        EXPECT_EQ(modules.com().written, c.command + "\r");
        EXPECT_EQ(std::accumulate(clock.slept.begin(), clock.slept.end(), 0u), c.sleptMs);
        for (uint32_t size : modules.com().readSizes)
            EXPECT_EQ(size, 255u);
    }
}

TEST(SendCommand, NothingIsWrittenToAClosedPort) {
    FakeModules modules;
    FakeClock clock;
    CMobileCore core(CORE_SERIAL, clock, modules);
    core.CSerialCore::LoadModule();
    EXPECT_EQ(core.SendCommand("AT", "OK", "\r\n", "ERROR", nullptr, 500), 0);
    EXPECT_EQ(modules.com().written, "");
    EXPECT_TRUE(modules.com().readSizes.empty());
}

// Bytes that never make a token are cut off by their count, whether they grow the text
// or, as NUL bytes do, vanish from it.
TEST(SendCommand, APhoneThatNeverStopsTalkingIsCutOff) {
    const std::string patterns[] = {"x", std::string(1, '\0'), std::string("\0\xFF", 2)};
    for (const std::string& pattern : patterns) {
        SCOPED_TRACE(static_cast<int>(static_cast<unsigned char>(pattern.back())));
        FakeModules modules;
        FakeClock clock;
        modules.com().endless = pattern;
        CMobileCore core(CORE_SERIAL, clock, modules);
        core.CSerialCore::LoadModule();
        core.OpenSerial(1);
        std::string reply = kUntouched;
        EXPECT_EQ(core.SendCommand("AT+CMGL=4", "OK", "\r", "ERROR", &reply, 3000), 0);
        EXPECT_EQ(reply, kUntouched);
        // 1 MiB, and not one read more.
        EXPECT_GE(modules.com().readSizes.size() * 255, 1u << 20);
        EXPECT_LE(modules.com().readSizes.size() * 255, (1u << 20) + 255);
    }
}

// A full listing arrives in thousands of small reads; the whole reply is kept.
TEST(SendCommand, LongListingArrivesWhole) {
    FakeModules modules;
    FakeClock clock;
    std::string listing = "AT+CMGL=4\r\r\n";
    for (int i = 0; i < 2000; ++i) {
        listing += "+CMGL: " + std::to_string(i) +
                   ",1,,23\r\n00040B918406214365F700004210517143548004D4F29C0E\r\n";
    }
    listing += "\r\nOK\r\n";
    for (size_t i = 0; i < listing.size(); i += 100)
        modules.com().reads.push_back(listing.substr(i, 100));
    CMobileCore core(CORE_SERIAL, clock, modules);
    core.CSerialCore::LoadModule();
    core.OpenSerial(1);
    std::string reply;
    EXPECT_EQ(core.SendCommand("AT+CMGL=4", "OK", "\r", "ERROR", &reply, 3000), 1);
    EXPECT_EQ(reply, listing);
}

}  // namespace
}  // namespace tarnik
