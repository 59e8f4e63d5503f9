#include "download/long_messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdu/pdu_decoder.h"

namespace tarnik {
namespace {

SmsPdu Single(const std::string& text) {
    SmsPdu r;
    r.text = text;
    r.decoded = true;
    return r;
}

SmsPdu Part(uint32_t ref, uint32_t total, uint32_t seq, const std::string& text) {
    SmsPdu r = Single(text);
    r.concat = true;
    r.concatRef = ref;
    r.concatTotal = total;
    r.concatSeq = seq;
    return r;
}

struct Row {
    int32_t reference;
    std::u16string text;
    size_t parts;
};

struct JoinCase {
    const char* name;
    std::vector<SmsPdu> records;
    std::vector<Row> rows;
};

TEST(JoinLongMessages, Rows) {
    const JoinCase cases[] = {
        {"nothing", {}, {}},
        {"two parts in order",
         {Part(7, 2, 1, "Ala ma "), Part(7, 2, 2, "kota")},
         {{7, u"Ala ma kota", 2}}},
        {"part 2 before part 1 is dropped",
         {Part(7, 2, 2, "B"), Part(7, 2, 1, "A")},
         {{7, u"A", 1}}},
        {"joined in listing order, not by number",
         {Part(7, 3, 1, "1"), Part(7, 3, 3, "3"), Part(7, 3, 2, "2")},
         {{7, u"132", 3}}},
        {"no opening part, no row", {Part(7, 2, 2, "B")}, {}},
        {"stored twice in phone and SIM",
         {Part(7, 2, 1, "p1"), Part(7, 2, 2, "p2"), Part(7, 2, 1, "s1"), Part(7, 2, 2, "s2")},
         {{7, u"p1p2s2", 3}, {7, u"s1s2", 2}}},
        {"same key from two senders",
         {Part(9, 2, 1, "a1"), Part(9, 2, 1, "b1"), Part(9, 2, 2, "x2")},
         {{9, u"a1x2", 2}, {9, u"b1x2", 2}}},
        {"total is part of the key", {Part(9, 2, 1, "a"), Part(9, 3, 2, "b")}, {{9, u"a", 1}}},
        {"single messages keep their own rows",
         {Single("one"), Part(0, 2, 2, "zero ref"), Single("two")},
         {{-1, u"one", 1}, {-1, u"two", 1}}},
        {"16-bit references",
         {Part(0x340012, 2, 1, "x"), Part(0x340012, 2, 2, "y")},
         {{0x340012, u"xy", 2}}},
        {"text widened through the code page",
         {Single("\xB3\xF3\xBF\x6B\x6F")},
         {{-1, u"łóżko", 1}}},
    };
    for (const JoinCase& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<MessageGroup> groups;
        JoinLongMessages(c.records, groups);
        ASSERT_EQ(groups.size(), c.rows.size());
        for (size_t i = 0; i < groups.size(); ++i) {
            EXPECT_EQ(groups[i].reference, c.rows[i].reference);
            EXPECT_EQ(groups[i].joinedText, c.rows[i].text);
            EXPECT_EQ(groups[i].parts.size(), c.rows[i].parts);
        }
    }
}

TEST(JoinLongMessages, AppendsToTheGivenListAndKeepsOpeningRecordFirst) {
    std::vector<MessageGroup> groups(1);
    SmsPdu opening = Part(5, 2, 1, "a");
    opening.address.number = "48601234567";
    JoinLongMessages({opening, Part(5, 2, 2, "b")}, groups);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(groups[1].total, 2u);
    EXPECT_EQ(groups[1].parts.front().address.number, "48601234567");
    EXPECT_EQ(groups[1].parts.back().concatSeq, 2u);
}

TEST(ListRowOf, Columns) {
    const struct {
        const char* number;
        const char16_t* shown;
    } numbers[] = {
        {"123456789", u"123456789"},     // 9 characters: as it stands
        {"1234567890", u"+1234567890"},  // 10: international
        {"48601234567", u"+48601234567"},
        {"+4860123456", u"++4860123456"},  // the first character is not looked at
        {"Operator10", u"+Operator10"},    // nor whether it is a number at all
        {"\xA3\xF3\x64\x9F", u"Łódź"},     // widened through the code page
        {"", u""},
    };
    for (const auto& n : numbers) {
        SCOPED_TRACE(n.number);
        SmsPdu opening = Part(3, 2, 1, "a");
        opening.address.number = n.number;
        opening.timestamp.text = "2024-01-15 17:34:45";
        SmsPdu later = Part(3, 2, 2, "b");
        later.address.number = "999";
        later.timestamp.text = "2024-01-16 08:00:00";
        std::vector<MessageGroup> groups;
        JoinLongMessages({opening, later}, groups);
        ASSERT_EQ(groups.size(), 1u);
        const MessageListRow row = ListRowOf(groups[0]);
        EXPECT_EQ(row.name, u"");
        EXPECT_EQ(row.number, n.shown);
        EXPECT_EQ(row.date, u"2024-01-15 17:34:45");  // the opening part's, not the last one's
        EXPECT_EQ(row.text, u"ab");
    }
}

// A stored outgoing message without a destination, as the decoder gives it.
TEST(ListRowOf, StoredSubmitWithoutDestination) {
    const SmsPdu submit = DecodePdu("00010000810000024121");
    ASSERT_TRUE(submit.decoded);
    std::vector<MessageGroup> groups;
    JoinLongMessages({submit}, groups);
    const MessageListRow row = ListRowOf(groups.at(0));
    EXPECT_EQ(row.number, u"[ None ]");  // 8 characters: no "+"
    EXPECT_EQ(row.date, u"None");
}

}  // namespace
}  // namespace tarnik
