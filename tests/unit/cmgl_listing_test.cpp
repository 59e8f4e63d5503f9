#include "download/cmgl_listing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/pdu_builders.h"

namespace tarnik {
namespace {

using test::Deliver7Bit;
using test::kDeliverTest;

std::string Entry(int index, const std::string& pdu, const char* eol = "\r\n") {
    return "+CMGL: " + std::to_string(index) + ",1,," + std::to_string(pdu.size() / 2 - 1) + eol +
           pdu + eol;
}

std::vector<SmsPdu> Parse(const std::string& reply, const char* storage = "SM") {
    std::vector<SmsPdu> records;
    ParseCmglListing(reply, records, storage);
    return records;
}

TEST(TextAfterColon, Trimming) {
    const struct {
        const char* in;
        const char* out;
    } cases[] = {
        {"no colon here", "no colon here"},
        {"+CMGL: 1,1,,24\r\nABC\r\n", "1,1,,24\r\nABC"},
        {"a:  b  ", "b"},
        // One trim per character and end, in a fixed order: \r left, \n right, \n left, \r right.
        {"a:\r\n\r\nb\r\n\r\n", "\r\nb\r\n"},
        {"a: \r\nb", "b"},
        {"a:b:c", "b:c"},
        {":", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TextAfterColon(c.in), c.out) << c.in;
}

TEST(ParseCmglListing, RecordsInListingOrderWithIndexAndStorage) {
    const std::string reply = "AT+CMGL=4\r\r\n" + Entry(12, kDeliverTest) +
                              Entry(3, Deliver7Bit("Second", 9, 2, 1)) + "\r\nOK\r\n";
    const std::vector<SmsPdu> r = Parse(reply, "SM");
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[0].index, "12");
    EXPECT_EQ(r[0].storage, "SM");
    EXPECT_EQ(r[0].text, "Test");
    EXPECT_EQ(r[1].index, "3");
    EXPECT_EQ(r[1].text, "Second");
    EXPECT_EQ(r[1].concatRef, 9u);
}

TEST(ParseCmglListing, OddReplies) {
    // A SUBMIT of exactly 20 characters is the shortest PDU line that is decoded.
    const std::string pdu20 = "00010000810000024121";
    const struct {
        const char* name;
        std::string reply;
        size_t records;
    } cases[] = {
        {"no header at all", "AT+CMGL=4\r\r\nOK\r\n", 0},
        {"empty reply", "", 0},
        {"header at the very start", Entry(1, kDeliverTest) + "OK\r\n", 1},
        {"last PDU line without carriage return", "\r\n+CMGL: 1,1,,23\r\n" + kDeliverTest, 1},
        {"line feeds only", "+CMGL: 1,1,,23\n" + kDeliverTest + "\n", 1},
        {"PDU line of 20 characters", Entry(1, pdu20), 1},
        {"PDU line of 19 characters", Entry(1, pdu20.substr(0, 19)), 0},
        {"a DELIVER cut short is kept",
         Entry(1, "0004" + std::string(40, '0').substr(0, 20)) + Entry(2, kDeliverTest), 2},
        {"reserved message type is dropped", Entry(1, "0003" + kDeliverTest.substr(4)), 0},
        {"blanks inside the PDU line",
         "+CMGL: 1,1,,23\r\n00 04 0B91 8406214365F700004210517143548004D4F29C0E\r\n", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Parse(c.reply).size(), c.records);
    }
}

// Without any carriage return the whole header line and PDU go to the decoder as one text:
// garbage in, but one defined record or none, never a read past the end.
TEST(ParseCmglListing, NoCarriageReturnAnywhere) {
    std::vector<SmsPdu> r = Parse("+CMGL: 1,1,,23\n" + kDeliverTest);
    EXPECT_LE(r.size(), 1u);
    r = Parse("+CMGL: 1,1,,23" + kDeliverTest + "+CMGL: 2,1,,23" + kDeliverTest);
    EXPECT_LE(r.size(), 2u);
}

TEST(ParseCmglListing, IndexComesFromTheHeaderLine) {
    const std::vector<SmsPdu> r = Parse("\r\n+CMGL: 3,1,,25\r\n" + kDeliverTest + "\r\n", "SM");
    ASSERT_EQ(r.size(), 1u);
    EXPECT_EQ(r[0].index, "3");
    EXPECT_EQ(r[0].storage, "SM");
}

// The text before the first header is read like an entry: an unsolicited line with a
// colon and a PDU there becomes a record, with whatever stands before its first comma.
TEST(ParseCmglListing, TextBeforeTheFirstHeaderIsReadLikeAnEntry) {
    const std::vector<SmsPdu> r =
        Parse("+CDS: 25\r\n" + kDeliverTest + "\r\n" + Entry(1, kDeliverTest) + "OK\r\n");
    ASSERT_EQ(r.size(), 2u);
    EXPECT_EQ(r[1].index, "1");
}

TEST(ParseCmglListing, AtMost2047MessagesPerReply) {
    std::string reply = "AT+CMGL=4\r\r\n";
    for (int i = 0; i < 2049; ++i)
        reply += Entry(i, kDeliverTest);
    reply += "\r\nOK\r\n";
    const std::vector<SmsPdu> r = Parse(reply);
    ASSERT_EQ(r.size(), 2047u);
    EXPECT_EQ(r.back().index, "2046");
}

TEST(ParseCmglListing, LastEntryOfALongReplyIsKept) {
    // A phone with a few hundred messages answers with more than 64 KiB; the last entry
    // must not fall off the end.
    for (size_t lead : {size_t{65536 - 100}, size_t{65536 - 30}, size_t{200000}}) {
        SCOPED_TRACE(lead);
        std::string reply(lead, ' ');
        reply += "+CMGL: 1,1,,23\r\n" + kDeliverTest + "\r\n";
        EXPECT_EQ(Parse(reply).size(), 1u);
    }
}

}  // namespace
}  // namespace tarnik
