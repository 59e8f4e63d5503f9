#include "pdu/submit_encoder.h"

#include <gtest/gtest.h>

#include <string>

#include "pdu/pdu_decoder.h"
#include "tests/unit/case_file.h"

namespace tarnik {
namespace {

// What the encoder writes, as tests/data/submit_pdus.txt has it, and what the decoder
// reads back from it.
TEST(EncodeSubmit, CasesOfTheDataFile) {
    for (const test::Case& c : test::ReadCases("submit_pdus.txt")) {
        for (const test::CaseLine& line : c.All("submit")) {
            const auto number = [&](const char* key) {
                return static_cast<uint32_t>(std::stoul(line.Word(key, "0")));
            };
            SmsSubmitParams p;
            p.text = line.Text("submit");
            p.number = line.Word("to");
            p.messageRef = static_cast<uint8_t>(number("mr"));
            p.vpPresent = line.Has("vp");
            p.vp = number("vp");
            p.flash = line.Has("flash");
            p.statusReport = line.Has("report");
            p.concat = line.Has("part");
            p.concatSeq = number("part");
            p.concatTotal = number("of");
            p.concatRef = number("ref");
            SCOPED_TRACE(c.name + ": " + p.text.substr(0, 20) + " to " + p.number);
            const std::string pdu = EncodeSubmit(p);
            if (line.Has("pdu")) {
                EXPECT_EQ(pdu, line.Word("pdu"));
                EXPECT_EQ(CmgsLength(pdu), std::stoi(line.Word("length")));
            }
            const SmsPdu r = DecodePdu(pdu);
            EXPECT_TRUE(r.decoded);
            EXPECT_EQ(r.firstOctet.mti, kMtiSubmit);
            EXPECT_EQ(r.address.number, line.Word("to"));
            EXPECT_EQ(r.text, line.Has("back") ? line.Text("back") : line.Text("submit"));
            EXPECT_EQ(r.concat, p.concat != 0);
            EXPECT_EQ(r.concatRef, p.concatRef);
            EXPECT_EQ(r.concatTotal, p.concatTotal);
            EXPECT_EQ(r.concatSeq, p.concatSeq);
        }
    }
}

}  // namespace
}  // namespace tarnik
