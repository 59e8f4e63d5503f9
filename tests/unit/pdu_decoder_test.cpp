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

std::string Packed(const std::string& text, size_t header) {
    std::string hex;
    PackSeptets(text, header, hex);
    return hex.substr(2 * header);
}

TEST(DecodePdu, WorkedDeliver) {
    const SmsPdu r = DecodePdu(kDeliverTest);
    EXPECT_TRUE(r.decoded);
    EXPECT_TRUE(r.incoming);
    EXPECT_EQ(r.smsc.number, "");
    EXPECT_FALSE(r.smsc.extBit);
    EXPECT_EQ(r.firstOctet.mti, 0u);
    EXPECT_EQ(r.firstOctet.moreMessages, 0u);
    EXPECT_EQ(r.address.ton, 1u);
    EXPECT_EQ(r.address.npi, 1u);
    EXPECT_TRUE(r.address.extBit);
    EXPECT_EQ(r.address.number, "48601234567");
    EXPECT_EQ(r.alphabet, kAlphabetGsm7);
    EXPECT_EQ(r.timestamp.text, "2024-01-15 17:34:45");
    EXPECT_EQ(r.timestamp.year, 24);
    EXPECT_EQ(r.timestamp.month, 1);
    EXPECT_EQ(r.timestamp.day, 15);
    EXPECT_EQ(r.timestamp.hour, 17);
    EXPECT_EQ(r.timestamp.minute, 34);
    EXPECT_EQ(r.timestamp.second, 45);
    // 2024-01-15 is day 45306 of the OLE calendar, whatever the time zone.
    EXPECT_NEAR(r.timestamp.date, 45306 + (17 * 3600 + 34 * 60 + 45) / 86400.0, 1e-6);
    EXPECT_EQ(r.text, "Test");
    EXPECT_FALSE(r.concat);
}

TEST(DecodePdu, ServiceCentreAddress) {
    const struct {
        const char* name;
        std::string smsc;
        const char* number;
        uint32_t ton;
    } cases[] = {
        {"international", "07918406214365F7", "48601234567", 1},
        {"type only", "0181", "", 0},
        {"alphanumeric centre keeps no number", "03D04142", "", 5},
        {"type with bit 7 clear reads as zeros", "03112143", "1234", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SmsPdu r = DecodePdu(c.smsc + kDeliverTest.substr(2));
        EXPECT_TRUE(r.decoded);
        EXPECT_EQ(r.smsc.number, c.number);
        EXPECT_EQ(r.smsc.ton, c.ton);
        EXPECT_EQ(r.text, "Test");
    }
}

TEST(DecodePdu, AlphanumericOriginator) {
    const std::string name = Packed("Tarnik", 0);  // 6 septets in 6 octets
    std::string pdu = "00040CD0" + name + "00004210517143548000" + Packed("Hej", 0);
    const SmsPdu r = DecodePdu(pdu);
    EXPECT_TRUE(r.decoded);
    EXPECT_EQ(r.address.ton, kTonAlphanumeric);
    EXPECT_EQ(r.address.number, "Tarnik");
    EXPECT_EQ(r.text, "Hej");
}

TEST(DecodePdu, ConcatenationHeaders) {
    const struct {
        const char* name;
        std::string header;  // UDHL and elements
        size_t headerOctets;
        uint32_t ref, total, seq;
    } cases[] = {
        {"8-bit reference", "0500032A0201", 6, 42, 2, 1},
        {"16-bit reference, text from septet 8", "06080412340201", 7, 0x12 + 65536u * 0x34, 2, 1},
        {"port element first", "0B05040B8423F00003FE0302", 12, 0xFE, 3, 2},
        {"two concatenation elements: the last wins", "0A0003010203000304050 6", 11, 4, 5, 6},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string header;
        for (char ch : c.header) {
            if (ch != ' ')
                header.push_back(ch);
        }
        const SmsPdu r = DecodePdu(Deliver(0x44, 0x00, header + Packed("Hello", c.headerOctets)));
        EXPECT_TRUE(r.decoded);
        EXPECT_TRUE(r.concat);
        EXPECT_EQ(r.concatRef, c.ref);
        EXPECT_EQ(r.concatTotal, c.total);
        EXPECT_EQ(r.concatSeq, c.seq);
        EXPECT_EQ(r.text, "Hello");
    }
}

TEST(DecodePdu, HeaderWalkStopsSafely) {
    const struct {
        const char* name;
        std::string ud;
        bool concat;
    } cases[] = {
        {"zero-length element ends the walk", "0800000003010203", false},
        {"element longer than the header", "05000A01", false},
        {"header length past the user data", "FF0003010203", true},
        {"header length zero is no header", "00D4F29C0E", false},
        {"udhi without user data", "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SmsPdu r = DecodePdu(Deliver(0x44, 0x00, c.ud));
        EXPECT_TRUE(r.decoded);
        EXPECT_EQ(r.concat, c.concat);
    }
}

TEST(DecodePdu, Alphabets) {
    const std::u16string polish = u"Zażółć gęślą jaźń";
    std::string ucs2;
    for (char16_t u : polish) {
        AppendHexOctet(ucs2, static_cast<uint8_t>(u >> 8));
        AppendHexOctet(ucs2, static_cast<uint8_t>(u & 0xFF));
    }
    const struct {
        const char* name;
        uint8_t first, dcs;
        std::string ud;
        uint32_t alphabet;
        std::string text;
    } cases[] = {
        {"7-bit", 0x04, 0x00, "D4F29C0E", 0, "Test"},
        {"flash 7-bit", 0x04, 0xF0, "D4F29C0E", 0, "Test"},
        {"UCS-2 in the system code page", 0x04, 0x08, ucs2, 2, NarrowFromUtf16(polish)},
        {"UCS-2 after a header holds none of it", 0x44, 0x08, "0500032A0201" + ucs2, 2,
         NarrowFromUtf16(polish)},
        {"UCS-2 stops at a NUL unit", 0x04, 0x08, "0041000000420043", 2, "A"},
        {"8-bit data", 0x04, 0x04, "0102", 1, kUnknownEncodingText},
        {"reserved alphabet", 0x04, 0x0C, "0102", 3, kUnknownEncodingText},
        {"group 15 8-bit", 0x04, 0xF4, "0102", 1, kUnknownEncodingText},
        {"other coding groups read as 7-bit", 0x04, 0x48, "D4F29C0E", 0, "Test"},
        {"trailing at signs are dropped", 0x04, 0x00, Packed("Hi@@", 0), 0, "Hi"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SmsPdu r = DecodePdu(Deliver(c.first, c.dcs, c.ud));
        EXPECT_TRUE(r.decoded);
        EXPECT_EQ(r.alphabet, c.alphabet);
        EXPECT_EQ(r.text, c.text);
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

TEST(DecodePdu, FirstOctetFields) {
    const struct {
        uint8_t octet;
        SmsFirstOctet expected;
    } cases[] = {
        {0x00, {0, 0, 0, 1, 0, 0}}, {0x04, {0, 0, 0, 0, 0, 0}}, {0xFF, {1, 1, 1, 0, 3, 3}},
        {0x51, {0, 1, 0, 1, 1, 2}}, {0x86, {1, 0, 0, 0, 2, 0}},
    };
    for (const auto& c : cases) {
        const SmsFirstOctet f = DecodeFirstOctet(c.octet);
        SCOPED_TRACE(c.octet);
        EXPECT_EQ(f.replyPath, c.expected.replyPath);
        EXPECT_EQ(f.udhi, c.expected.udhi);
        EXPECT_EQ(f.statusReport, c.expected.statusReport);
        EXPECT_EQ(f.moreMessages, c.expected.moreMessages);
        EXPECT_EQ(f.mti, c.expected.mti);
        EXPECT_EQ(f.vpf, c.expected.vpf);
    }
}

TEST(DecodePdu, SubmitStoredInThePhone) {
    const struct {
        const char* name;
        std::string pdu;
        bool decoded;
        const char* number;
        const char* text;
    } cases[] = {
        {"relative validity period", "0011010B918406214365F70000AA04D4F29C0E", true, "48601234567",
         "Test"},
        {"no validity period", "0001010B918406214365F7000004D4F29C0E", true, "48601234567", "Test"},
        {"absolute validity period", "0019010B918406214365F700004210517143548004D4F29C0E", true,
         "48601234567", "Test"},
        {"no destination",
         "00010000810000"
         "04D4F29C0E",
         true, "[ None ]", "Test"},
        {"alphanumeric destination",
         "0001000AD0D430BC5D0600"
         "0004D4F29C0E",
         true, "[ None ]", "Test"},
        {"fewer than two octets after the validity period", "0001010B918406214365F7000001", false,
         "48601234567", ""},
    };
    const auto before = static_cast<int64_t>(std::time(nullptr));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SmsPdu r = DecodePdu(c.pdu);
        EXPECT_EQ(r.decoded, c.decoded);
        EXPECT_FALSE(r.incoming);
        EXPECT_EQ(r.address.number, c.number);
        EXPECT_EQ(r.text, c.text);
        if (!c.decoded)
            continue;
        EXPECT_EQ(r.timestamp.text, "None");
        EXPECT_EQ(r.timestamp.year, 0);
        EXPECT_EQ(r.timestamp.date, 0.0);
        EXPECT_GE(r.timestamp.time, before);  // stamped with the current time
    }
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

// Stored messages cut short as phones keep them: shown with what was read.
TEST(DecodePdu, CutShortMessagesKeepTheirFields) {
    const SmsPdu deliver = DecodePdu("00040B918406214365F7000042105171435480");
    EXPECT_TRUE(deliver.decoded);
    EXPECT_TRUE(deliver.incoming);
    EXPECT_EQ(deliver.address.number, "48601234567");
    EXPECT_EQ(deliver.timestamp.text, "2024-01-15 17:34:45");
    EXPECT_NE(deliver.timestamp.time, 0);
    EXPECT_EQ(deliver.text, "");

    const SmsPdu report = DecodePdu("0006070B918406214365F74210517143548042105171532080");
    EXPECT_TRUE(report.decoded);
    EXPECT_EQ(report.address.number, "48601234567");
    EXPECT_EQ(report.sentTime, "2024-01-15 17:34:45");
    EXPECT_EQ(report.doneTime, "2024-01-15 17:35:02");
    EXPECT_EQ(report.status, 0u);
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
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    tzset();
    const struct {
        const char* scts;
        int64_t time;
    } cases[] = {
        {"42105171435480", 1705336485},  // 2024-01-15 17:34:45 CET = 16:34:45 UTC
        {"42705121000000", 1721037600},  // 2024-07-15 12:00:00 CEST = 10:00:00 UTC
        {"42406121000000", 1713261600},  // 2024-04-16 12:00:00 CEST
    };
    for (const auto& c : cases) {
        const std::string pdu = "00040B918406214365F70000" + std::string(c.scts) + "00";
        const SmsPdu r = DecodePdu(pdu);
        EXPECT_EQ(r.timestamp.time, c.time) << c.scts;
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
