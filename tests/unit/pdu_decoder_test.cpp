#include "pdu/pdu_decoder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "pdu/code_page.h"
#include "pdu/hex.h"
#include "pdu/pdu_fields.h"
#include "pdu/septets.h"
#include "tests/unit/pdu_builders.h"

namespace tarnik {
namespace {

using test::Deliver7Bit;
using test::kDeliverTest;

// SMS-DELIVER from +48601234567 at 2024-01-15 17:34:45 with the given first octet,
// coding scheme and user data (TP-UDL is not read, so it is written as 00).
std::string Deliver(uint8_t first, uint8_t dcs, const std::string& ud) {
    std::string pdu = "00";
    AppendHexOctet(pdu, first);
    pdu += "0B918406214365F700";
    AppendHexOctet(pdu, dcs);
    return pdu + "42105171435480" + "00" + ud;
}

// The other alphabets are cases of tests/data/pdus.txt; UCS-2 is here because its text
// comes out in the system's code page, which the Windows build takes from the system.
TEST(DecodePdu, Ucs2InTheSystemCodePage) {
    const std::u16string polish = u"Zażółć gęślą jaźń";
    std::string ucs2;
    for (char16_t u : polish) {
        AppendHexOctet(ucs2, static_cast<uint8_t>(u >> 8));
        AppendHexOctet(ucs2, static_cast<uint8_t>(u & 0xFF));
    }
    for (const auto& [first, ud] :
         {std::pair<uint8_t, std::string>{0x04, ucs2}, {0x44, "0500032A0201" + ucs2}}) {
        const SmsPdu r = DecodePdu(Deliver(first, 0x08, ud));
        EXPECT_TRUE(r.decoded);
        EXPECT_EQ(r.alphabet, kAlphabetUcs2);
        EXPECT_EQ(r.text, NarrowFromUtf16(polish));  // after a header: none of it in the text
    }
}

TEST(DecodePdu, Ucs2BeyondTheTextBufferIsRefused) {
    std::string units;
    for (int i = 0; i < 511; ++i)
        units += "0041";
    EXPECT_TRUE(DecodePdu(Deliver(0x04, 0x08, units)).decoded);
    EXPECT_EQ(DecodePdu(Deliver(0x04, 0x08, units)).text.size(), 511u);
    const SmsPdu refused = DecodePdu(Deliver(0x04, 0x08, units + "0041"));
    EXPECT_FALSE(refused.decoded);
    EXPECT_EQ(refused.text, "");
}

// Input from the network: every cut of a valid PDU is read safely, a DELIVER or a report is
// decoded as soon as its type is known, and each field is the full PDU's once the cut lies
// past it, empty before.
TEST(DecodePdu, EveryTruncationKeepsWhatWasRead) {
    const struct {
        std::string pdu;
        size_t typeEnd, addressEnd, stampEnd;  // characters up to the end of each field
    } cases[] = {
        {kDeliverTest, 4, 20, 38},
        {"07918406214365F7" + kDeliverTest.substr(2), 18, 34, 52},
        {Deliver7Bit("Hello", 7, 2, 1), 4, 20, 38},
        {"0006070B918406214365F7421051714354804210517153208046", 4, 22, 36},
    };
    for (const auto& c : cases) {
        const SmsPdu full = DecodePdu(c.pdu);
        for (size_t n = 0; n <= c.pdu.size(); ++n) {
            SCOPED_TRACE(c.pdu.substr(0, n));
            const SmsPdu r = DecodePdu(c.pdu.substr(0, n));
            EXPECT_EQ(r.decoded, n >= c.typeEnd);
            EXPECT_EQ(r.address.number, n >= c.addressEnd ? full.address.number : "");
            EXPECT_EQ(r.timestamp.text, n >= c.stampEnd ? full.timestamp.text : "");
            EXPECT_EQ(r.timestamp.time, n >= c.stampEnd ? full.timestamp.time : 0);
            EXPECT_EQ(r.status, n == c.pdu.size() ? full.status : 0u);
        }
    }
}

TEST(DecodePdu, GarbageIsNotATrap) {
    const struct {
        const char* input;
        bool decoded;  // a DELIVER's type octet was read
    } cases[] = {
        {"", false},           {"0", false},    {"zz", false},
        {"00", false},         {"0004", true},  {"FF", false},
        {"00FF", false},       {"0003", false}, {"\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", false},
        {"00 04 0B 91", true},  // " 0" reads as the octet 0, a DELIVER
    };
    for (const auto& c : cases)
        EXPECT_EQ(DecodePdu(c.input).decoded, c.decoded) << c.input;
    // Lower-case hex is read with the strict digits: still one defined record.
    const SmsPdu lower = DecodePdu("00040b918406214365f700004210517143548004d4f29c0e");
    EXPECT_EQ(lower.firstOctet.mti, 0u);
}

#ifndef _WIN32
// Local time follows the system's daylight-saving rules (POSIX TZ; the Windows build
// uses the system's own time zone and is checked there by hand).
TEST(DecodePdu, TimeStampUsesLocalDaylightSaving) {
    const char* old = std::getenv("TZ");
    const std::string saved = old ? old : "";
    constexpr const char* kWarsaw = "CET-1CEST,M3.5.0,M10.5.0/3";
    constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";
    // Summer time as the standard and winter time as daylight saving time, as Irish rules
    // are written: the spring gap then reads the other way round.
    constexpr const char* kDublin = "IST-1GMT0,M10.5.0,M3.5.0/1";
    const struct {
        const char* zone;
        const char* scts;
        int64_t time;
    } cases[] = {
        {kWarsaw, "42105171435480", 1705336485},  // 2024-01-15 17:34:45 CET = 16:34:45 UTC
        {kWarsaw, "42705121000000", 1721037600},  // 2024-07-15 12:00:00 CEST = 10:00:00 UTC
        {kWarsaw, "42406121000000", 1713261600},  // 2024-04-16 12:00:00 CEST
        // Months past December carry into the next year: 2024-13-15 is 2025-01-15 (CET),
        // 2024-20-09 is 2025-08-09 (CEST).
        {kWarsaw, "42315121000000", 1736938800},
        {kWarsaw, "42029021000000", 1754733600},
        // The spring gap reads as it always has: the reading that lands in daylight saving
        // time. 2024-03-31 02:30 is 01:30 UTC; 2024-03-10 02:30 EST is 07:30 UTC;
        // 2024-03-31 01:30 is 00:30 UTC, the winter ("daylight") side in Dublin.
        {kWarsaw, "42301320030000", 1711848600},
        {kNewYork, "42300120030000", 1710055800},
        {kDublin, "42301310030000", 1711845000},
        // The repeated autumn hour is its first pass: 02:27 CEST = 00:27 UTC, 01:30 EDT =
        // 05:30 UTC, 01:30 IST = 00:30 UTC.
        {kWarsaw, "42017220720000", 1729988820},
        {kNewYork, "42113010030000", 1730611800},
        {kDublin, "42017210030000", 1729989000},
    };
    for (const auto& c : cases) {
        setenv("TZ", c.zone, 1);
        tzset();
        // Whatever was decoded before (winter or summer) must not change the reading.
        for (const char* before : {"42101521000000", "42701521000000"}) {
            DecodePdu("00040B918406214365F70000" + std::string(before) + "00");
            const SmsPdu r = DecodePdu("00040B918406214365F70000" + std::string(c.scts) + "00");
            EXPECT_EQ(r.timestamp.time, c.time) << c.zone << " " << c.scts << " after " << before;
        }
    }
    // The zone pair has no effect.
    EXPECT_EQ(DecodePdu("00040B918406214365F7000042105171435480"
                        "00")
                  .timestamp.time,
              DecodePdu("00040B918406214365F7000042105171435421"
                        "00")
                  .timestamp.time);
    if (old) {
        setenv("TZ", saved.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}
#endif

}  // namespace
}  // namespace tarnik
