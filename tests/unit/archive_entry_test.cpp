#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "download/archive_entry.h"
#include "download/cmgl_listing.h"
#include "pdu/pdu_builder.h"

namespace tarnik {
namespace {

TEST(ArchiveNumber, InternationalForm) {
    const struct {
        const char16_t* in;
        const char16_t* out;
    } cases[] = {
        {u"601234567", u"+48601234567"},     // nine digits: a Polish number
        {u"48601234567", u"+48601234567"},   // eleven: international without "+"
        {u"+48601234567", u"+48601234567"},  // already international
        {u"+12", u"+12"},
        {u"80801234", u"80801234"},  // eight: a short number stays
        {u"", u""},
        {u"Informacja", u"+Informacja"},  // an alphanumeric sender is not spared
    };
    for (const auto& c : cases)
        EXPECT_EQ(ArchiveNumber(c.in), c.out);
}

std::vector<MessageGroup> Groups(const std::string& reply) {
    std::vector<SmsPdu> records;
    ParseCmglListing(reply, records, "SM");
    std::vector<MessageGroup> groups;
    JoinLongMessages(records, groups);
    return groups;
}

// Part `seq` of three of a long message from +48601234567, as the phone lists it.
std::string Part(const std::string& text, uint8_t seq, const char* smsc = "") {
    DeliverPdu pdu;
    pdu.smsc = BuildSmscField(smsc);
    pdu.originator = BuildAddress("+48601234567");
    pdu.timeStamp = "42105171435480";
    pdu.userData = BuildGsm7UserData(text, BuildConcatHeader(9, 3, seq));
    return BuildDeliver(pdu);
}

TEST(ArchiveEntry, ReceivedLongMessageWithItsFirstPartsMetadata) {
    const std::string reply = "+CMGL: 1,1,,0\r\n" + Part("Ala ", 1, "+48601020000") +
                              "\r\n+CMGL: 2,1,,0\r\n" + Part("ma ", 2) + "\r\n+CMGL: 3,1,,0\r\n" +
                              Part("kota", 3) + "\r\nOK\r\n";
    const std::vector<MessageGroup> groups = Groups(reply);
    ASSERT_EQ(groups.size(), 1u);
    const ArchiveEntry e = ArchiveEntryOf(groups[0], 12345);
    EXPECT_EQ(e.text, u"Ala ma kota");
    EXPECT_EQ(e.number, u"+48601234567");
    EXPECT_EQ(e.direction, kArchiveReceived);
    EXPECT_EQ(e.time, groups[0].parts[0].timestamp.time);  // the centre's stamp, not now
    EXPECT_EQ(e.meta, u"smsc=\"48601020000\",report=\"0\",mti=\"0x0000\"");
}

TEST(ArchiveEntry, StoredOutgoingMessageIsFiledNow) {
    // SMS-SUBMIT with a report request, as the phone keeps a sent message.
    const std::vector<MessageGroup> groups =
        Groups("+CMGL: 4,3,,0\r\n0031010B918406214365F70000AA04D4F29C0E\r\n");
    ASSERT_EQ(groups.size(), 1u);
    const ArchiveEntry e = ArchiveEntryOf(groups[0], 1700000000);
    EXPECT_EQ(e.direction, kArchiveSent);
    EXPECT_EQ(e.time, 1700000000);
    EXPECT_EQ(e.meta, u"smsc=\"\",report=\"1\",mti=\"0x0001\"");
    EXPECT_EQ(e.text, u"Test");
}

}  // namespace
}  // namespace tarnik
