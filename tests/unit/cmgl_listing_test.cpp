#include "download/cmgl_listing.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/unit/case_file.h"

namespace tarnik {
namespace {

// A row line: the index ("any": not compared), then the text when one is given.
void ExpectRow(const test::CaseLine& row, const SmsPdu& record) {
    if (row.tokens.at(1).quoted) {
        EXPECT_EQ(record.index, row.tokens[1].text);
    }
    if (row.tokens.size() > 2) {
        EXPECT_EQ(record.text, row.tokens[2].text);
    }
}

// Every listing of tests/data/cmgl_listings.txt, parsed, against its rows.
TEST(ParseCmglListing, Listings) {
    for (const test::Case& c : test::ReadCases("cmgl_listings.txt")) {
        SCOPED_TRACE(c.name);
        for (const test::CaseLine& trim : c.All("trim"))
            EXPECT_EQ(TextAfterColon(trim.tokens.at(1).text), trim.tokens.at(2).text);
        for (const test::CaseLine& reply : c.All("reply")) {
            const std::string storage = reply.Word("storage", "SM");
            std::vector<SmsPdu> records;
            ParseCmglListing(reply.Text("reply"), records, storage);
            const std::vector<test::CaseLine> rows = c.All("row");
            const std::vector<test::CaseLine> count = c.All("rows");
            const size_t expected = count.empty() ? rows.size() : std::stoul(count[0].Word("rows"));
            EXPECT_EQ(records.size(), expected);
            if (records.size() != expected)
                continue;
            for (size_t i = 0; i < rows.size(); ++i)
                ExpectRow(rows[i], records[i]);
            for (const test::CaseLine& last : c.All("last"))
                ExpectRow(last, records.back());
            for (const SmsPdu& record : records)
                EXPECT_EQ(record.storage, storage);
        }
    }
}

}  // namespace
}  // namespace tarnik
