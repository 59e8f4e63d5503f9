// The emulator's time stamps, which the session transcripts cannot pin down: the phone
// stamps its messages and reports with the time of the run.
#include "phone/sms_encoder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "pdu/pdu_builder.h"
#include "pdu/pdu_decoder.h"

namespace tarnik::phone {
namespace {

void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

// 2024-01-15 16:34:45 UTC.
constexpr std::time_t kInstant = 1705336485;

TEST(BuildTimeStamp, ZoneInQuarterHoursWithSignBit) {
    const struct {
        const char* zone;
        const char* expected;  // TS 23.040 9.2.3.11 octets as PDU text
    } cases[] = {
        {"UTC0", "42105161435400"},      // no offset
        {"CET-1", "42105171435440"},     // +1 h: 4 quarters
        {"EST5", "4210511143540A"},      // -5 h: 20 quarters, sign in bit 3
        {"IST-5:30", "42105122405422"},  // +5:30: 22 quarters
        {"NPT-5:45", "42105122915432"},  // +5:45: 23 quarters
    };
    for (const auto& c : cases) {
        SetZone(c.zone);
        EXPECT_EQ(BuildTimeStamp(kInstant), c.expected) << c.zone;
    }
}

TEST(EncodeStatusReport, SubmittedThenDischarged) {
    SetZone("CET-1");
    StatusReportFields f;
    f.recipient = "0B918406214365F7";
    f.submitted = kInstant;
    f.discharged = kInstant + 17;
    const SmsPdu r = DecodePdu(EncodeStatusReport(f));
    EXPECT_EQ(r.sentTime, "2024-01-15 17:34:45");
    EXPECT_EQ(r.doneTime, "2024-01-15 17:35:02");
}

}  // namespace
}  // namespace tarnik::phone
