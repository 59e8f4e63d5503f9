#include "pdu/pdu_decoder.h"

#include <gtest/gtest.h>

#include <string>

#include "pdu/code_page.h"
#include "pdu/pdu_builder.h"

namespace tarnik {
namespace {

// SMS-DELIVER in UCS-2 from +48601234567 at 2024-01-15 17:34:45.
std::string Ucs2Deliver(std::u16string_view text, const std::string& header = {}) {
    DeliverPdu pdu;
    pdu.originator = BuildAddress("+48601234567");
    pdu.dataCoding = 0x08;
    pdu.timeStamp = "42105171435480";
    pdu.userData = BuildUcs2UserData(text, header);
    return BuildDeliver(pdu);
}

// The other cases of the decoder are lines of tests/data/pdus.txt. UCS-2 is here because its
// text comes out in the system's code page, which the Windows build takes from the system.
TEST(DecodePdu, Ucs2InTheSystemCodePage) {
    const std::u16string polish = u"Zażółć gęślą jaźń";
    for (const std::string& header : {std::string(), BuildConcatHeader(42, 2, 1)}) {
        const SmsPdu r = DecodePdu(Ucs2Deliver(polish, header));
        EXPECT_TRUE(r.decoded);
        EXPECT_EQ(r.alphabet, kAlphabetUcs2);
        EXPECT_EQ(r.text, NarrowFromUtf16(polish));  // after a header: none of it in the text
    }
    // 511 units fill the text buffer; more are refused, not cut.
    const std::u16string units(511, u'A');
    EXPECT_EQ(DecodePdu(Ucs2Deliver(units)).text, std::string(511, 'A'));
    PduEnd end;
    const SmsPdu refused = DecodePdu(Ucs2Deliver(units + u'A'), end);
    EXPECT_FALSE(refused.decoded);
    EXPECT_EQ(refused.text, "");
    EXPECT_EQ(end.kind, PduEndKind::kLongUserData);
}

// Input from the network: every cut of a valid PDU is read safely, a DELIVER or a report is
// decoded as soon as its type is known, and each field is the full PDU's once the cut lies
// past it, empty before.
TEST(DecodePdu, EveryTruncationKeepsWhatWasRead) {
    const struct {
        std::string pdu;
        size_t typeEnd, addressEnd, stampEnd;  // characters up to the end of each field
    } cases[] = {
        {"00040B918406214365F700004210517143548004D4F29C0E", 4, 20, 38},
        {"07918406214365F7040B918406214365F700004210517143548004D4F29C0E", 18, 34, 52},
        {"00440B918406214365F70000421051714354800C050003070201906536FB0D", 4, 20, 38},
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

}  // namespace
}  // namespace tarnik
