// The emulator's encoder is checked against the plug-in's own decoder: a report or an
// inbox message the phone builds must read back as the fields it was built from.
#include "phone/sms_encoder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "pdu/pdu_decoder.h"
#include "pdu/submit_encoder.h"

namespace tarnik::phone {
namespace {

// Runs a test body in a given time zone and restores the old one.
class ZoneGuard {
public:
    explicit ZoneGuard(const char* zone) {
        const char* old = std::getenv("TZ");
        hadOld_ = old != nullptr;
        if (hadOld_)
            old_ = old;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ZoneGuard() {
        if (hadOld_) {
            setenv("TZ", old_.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }

private:
    bool hadOld_ = false;
    std::string old_;
};

// 2024-01-15 16:34:45 UTC.
constexpr std::time_t kInstant = 1705336485;

TEST(TimeStampSemiOctets, ZoneInQuarterHoursWithSignBit) {
    const struct {
        const char* zone;
        const char* expected;  // TS 23.040 9.2.3.11 octets as PDU text
    } cases[] = {
        {"UTC0", "42105161435400"},
        {"CET-1",
         "421051714354"
         "40"},  // +1 h: 4 quarters
        {"EST5",
         "421051114354"
         "0A"},  // -5 h: 20 quarters, sign in bit 3
        {"IST-5:30",
         "421051224054"
         "22"},  // +5:30: 22 quarters
        {"NPT-5:45",
         "421051229154"
         "32"},  // +5:45: 23 quarters
    };
    for (const auto& c : cases) {
        ZoneGuard zone(c.zone);
        EXPECT_EQ(TimeStampSemiOctets(kInstant), c.expected) << c.zone;
    }
}

TEST(EncodeStatusReport, ReadsBackThroughTheDecoder) {
    ZoneGuard zone("CET-1");
    const struct {
        const char* smsc;
        const char* recipient;  // TP-DA as submitted
        uint8_t mr;
        uint8_t status;
        const char* number;
    } cases[] = {
        {"+48601000310", "0B918406214365F7", 1, 0x00, "48601234567"},
        {"", "0B918406214365F7", 255, 0x46, "48601234567"},
        {"48601000310", "0681214365", 17, 0x20, "123456"},  // short national number
    };
    for (const auto& c : cases) {
        StatusReportFields f;
        f.smsc = c.smsc;
        f.messageRef = c.mr;
        f.recipient = c.recipient;
        f.submitted = kInstant;
        f.discharged = kInstant + 17;
        f.status = c.status;
        const std::string pdu = EncodeStatusReport(f);
        const SmsPdu r = DecodePdu(pdu);
        SCOPED_TRACE(pdu);
        ASSERT_TRUE(r.decoded);
        EXPECT_EQ(r.firstOctet.mti, kMtiStatusReport);
        EXPECT_EQ(r.firstOctet.moreMessages, 0u);
        EXPECT_EQ(r.address.number, c.number);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.sentTime, "2024-01-15 17:34:45");
        EXPECT_EQ(r.doneTime, "2024-01-15 17:35:02");
        EXPECT_EQ(r.smsc.number, std::string(c.smsc).substr(c.smsc[0] == '+' ? 1 : 0));
        // TS 27.005 3.4.1: +CDS <length> counts the TPDU only.
        EXPECT_EQ(TpduOctets(pdu), 25 + (static_cast<int>(f.recipient.size()) - 16) / 2);
        EXPECT_NE(r.text.find("(" + std::to_string(c.mr) + ")"), std::string::npos);
    }
}

TEST(EncodeDeliver, ReadsBackThroughTheDecoder) {
    ZoneGuard zone("UTC0");
    const std::string pdu =
        EncodeDeliver("+48601000310", "+48609999888", "Hello {world}", kInstant);
    const SmsPdu r = DecodePdu(pdu);
    ASSERT_TRUE(r.decoded);
    EXPECT_EQ(r.firstOctet.mti, kMtiDeliver);
    EXPECT_EQ(r.smsc.number, "48601000310");
    EXPECT_EQ(r.address.number, "48609999888");
    EXPECT_EQ(r.address.ton, 1u);
    EXPECT_EQ(r.text, "Hello {world}");  // braces take escaped septets
    EXPECT_EQ(r.timestamp.text, "2024-01-15 16:34:45");

    const SmsPdu national = DecodePdu(EncodeDeliver("", "5551", "x", kInstant));
    EXPECT_EQ(national.address.number, "5551");
    EXPECT_EQ(national.address.ton, 0u);
}

TEST(ReadSubmitHeader, TakesWhatTheReportNeeds) {
    SmsSubmitParams params;
    params.text = "Test";
    params.number = "48601234567";
    params.messageRef = 9;
    params.statusReport = 1;
    params.vpPresent = 1;
    params.vp = 0xAA;
    const std::string plugin = EncodeSubmit(params);

    const struct {
        std::string pdu;
        size_t tpdu;
        bool report;
        const char* destination;
    } cases[] = {
        {plugin, static_cast<size_t>(CmgsLength(plugin)), true, "0B918406214365F7"},
        // As gammu sends it: an SMSC field first, no report, six digits.
        {"07918406010013F0110006812143650000FF05E8329BFD06", 16, false, "0681214365"},
        // Odd digit count: the filler semi-octet belongs to the address.
        {"000100038121F300000100", 10, false, "038121F3"},
    };
    for (const auto& c : cases) {
        SubmitHeader h;
        ASSERT_TRUE(ReadSubmitHeader(c.pdu, h)) << c.pdu;
        EXPECT_EQ(h.tpduOctets, c.tpdu) << c.pdu;
        EXPECT_EQ(h.reportRequested, c.report) << c.pdu;
        EXPECT_EQ(h.destination, c.destination) << c.pdu;
    }
}

TEST(ReadSubmitHeader, RefusesWhatIsNotASubmit) {
    const char* cases[] = {
        "",
        "00",
        "0004",                            // a DELIVER's first octet
        "0011000B91840621",                // TP-DA cut short
        "0011000b918406214365f70000AA00",  // lower case is not PDU mode
        "0011000B918406214365F70000AA0",   // odd length
        "0911000B918406214365F70000AA00",  // SMSC length beyond the PDU
        "0011000B918406214365G70000AA00",  // not hexadecimal
    };
    for (const char* pdu : cases) {
        SubmitHeader h;
        EXPECT_FALSE(ReadSubmitHeader(pdu, h)) << pdu;
    }
}

}  // namespace
}  // namespace tarnik::phone
