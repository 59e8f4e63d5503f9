#include "download/long_messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdu/cp1250.h"
#include "pdu/pdu_decoder.h"
#include "tests/unit/case_file.h"

namespace tarnik {
namespace {

// The records of each case of tests/data/long_messages.txt joined, and the rows they give.
TEST(JoinLongMessages, CasesOfTheDataFile) {
    for (const test::Case& c : test::ReadCases("long_messages.txt")) {
        SCOPED_TRACE(c.name);
        std::vector<SmsPdu> records;
        for (const test::CaseLine& line : c.All("sms")) {
            const auto number = [&](const char* key) {
                return static_cast<uint32_t>(std::stoul(line.Word(key, "0")));
            };
            SmsPdu r = DecodePdu(line.Word("pdu"));
            if (!line.Has("pdu")) {
                r.text = line.Text("sms");
                r.concat = line.Has("part");
                r.concatSeq = number("part");
                r.concatTotal = number("of");
                r.concatRef = number("ref");
                r.address.number = line.Text("from");
                r.timestamp.text = line.Text("at");
            }
            records.push_back(r);
        }
        std::vector<MessageGroup> groups(1);
        JoinLongMessages(records, groups);
        const std::vector<test::CaseLine> rows = c.All("row");
        ASSERT_EQ(groups.size(), rows.size() + 1);
        for (size_t i = 0; i < rows.size(); ++i) {
            const test::CaseLine& want = rows[i];
            SCOPED_TRACE(want.Text("row"));
            EXPECT_EQ(groups[i + 1].reference, std::stoi(want.Word("ref", "-1")));
            EXPECT_EQ(groups[i + 1].parts.size(), std::stoul(want.Word("parts")));
            const MessageListRow row = ListRowOf(groups[i + 1]);
            EXPECT_EQ(row.name, u"");
            EXPECT_EQ(row.text, Utf16FromCp1250(want.Text("row")));
            EXPECT_EQ(row.number, Utf16FromCp1250(want.Text("number")));
            EXPECT_EQ(row.date, Utf16FromCp1250(want.Text("date")));
        }
    }
}

}  // namespace
}  // namespace tarnik
