#include "pdu/submit_encoder.h"

#include <gtest/gtest.h>

#include <string>

#include "pdu/pdu_decoder.h"

namespace tarnik {
namespace {

SmsSubmitParams Params(const std::string& text, uint8_t mr) {
    SmsSubmitParams p;
    p.text = text;
    p.number = "48601234567";
    p.messageRef = mr;
    p.vpPresent = 1;
    p.vp = 170;
    return p;
}

struct EncodeCase {
    const char* name;
    SmsSubmitParams params;
    std::string pdu;
    int cmgsLength;
};

TEST(EncodeSubmit, WorkedExamples) {
    SmsSubmitParams flash = Params("Test", 0x02);
    flash.flash = 1;
    flash.statusReport = 1;
    SmsSubmitParams part = Params("Hello", 0x03);
    part.concat = 1;
    part.concatRef = 0x2A;
    part.concatTotal = 2;
    part.concatSeq = 1;
    SmsSubmitParams noVp = Params("Test", 0x01);
    noVp.vpPresent = 0;
    SmsSubmitParams shortNumber = Params("", 0);
    shortNumber.number = "1234";
    SmsSubmitParams fiveDigits = Params("", 0);
    fiveDigits.number = "12345";

    const EncodeCase cases[] = {
        {"single part", Params("Test", 0x01), "0011010B918406214365F70000AA04D4F29C0E", 18},
        {"flash with report", flash, "0031020B918406214365F700F0AA04D4F29C0E", 18},
        {"first of two parts", part, "0051030B918406214365F70000AA0C0500032A0201906536FB0D", 25},
        {"no validity period", noVp, "0001010B918406214365F7000004D4F29C0E", 17},
        {"four digits are unknown type", shortNumber,
         "00110004812143"
         "0000AA00",
         10},
        {"five digits are international", fiveDigits, "0011000591214 3F50000AA00", 11},
    };
    for (EncodeCase c : cases) {
        SCOPED_TRACE(c.name);
        std::string expected;
        for (char ch : c.pdu) {
            if (ch != ' ')
                expected.push_back(ch);
        }
        const std::string pdu = EncodeSubmit(c.params);
        EXPECT_EQ(pdu, expected);
        EXPECT_EQ(CmgsLength(pdu), c.cmgsLength);
    }
}

// Only the last part of a long message asks for the report.
TEST(EncodeSubmit, ReportRequestOnTheLastPartOnly) {
    const struct {
        uint32_t concat, seq, total;
        bool asks;
    } cases[] = {{0, 0, 0, true}, {1, 1, 3, false}, {1, 2, 3, false}, {1, 3, 3, true}};
    for (const auto& c : cases) {
        SmsSubmitParams p = Params("x", 1);
        p.statusReport = 1;
        p.concat = c.concat;
        p.concatSeq = c.seq;
        p.concatTotal = c.total;
        const uint8_t first =
            static_cast<uint8_t>(std::stoi(EncodeSubmit(p).substr(2, 2), nullptr, 16));
        EXPECT_EQ((first & 0x20) != 0, c.asks) << "part " << c.seq << " of " << c.total;
    }
}

TEST(EncodeSubmit, PadsTheCallersNumber) {
    SmsSubmitParams p = Params("x", 1);
    p.number = "123";
    EncodeSubmit(p);
    EXPECT_EQ(p.number, "123F");
}

// What the encoder writes, the decoder reads back.
TEST(EncodeSubmit, DecodesBackAsTheSameMessage) {
    const struct {
        std::string text;
        std::string number;
        uint32_t concat, ref, total, seq;
    } cases[] = {
        {"Zazolc gesla jazn {} [] ~ | \\ ^ \xA4", "48601234567", 0, 0, 0, 0},
        {"Part two of three", "600100200", 1, 200, 3, 2},
        {std::string(153, 'q'), "1", 1, 1, 2, 1},
        {"Hi", "1234", 0, 0, 0, 0},
    };
    for (const auto& c : cases) {
        SmsSubmitParams p = Params(c.text, 7);
        p.number = c.number;
        p.concat = c.concat;
        p.concatRef = c.ref;
        p.concatTotal = c.total;
        p.concatSeq = c.seq;
        const SmsPdu r = DecodePdu(EncodeSubmit(p));
        SCOPED_TRACE(c.text);
        ASSERT_TRUE(r.decoded);
        EXPECT_EQ(r.firstOctet.mti, kMtiSubmit);
        EXPECT_FALSE(r.incoming);
        EXPECT_EQ(r.address.number, c.number);
        EXPECT_EQ(r.text, c.text);
        EXPECT_EQ(r.concat, c.concat != 0);
        EXPECT_EQ(r.concatRef, c.ref);
        EXPECT_EQ(r.concatTotal, c.total);
        EXPECT_EQ(r.concatSeq, c.seq);
    }
}

TEST(EncodeSubmit, ExtensionCharactersCutALongPartAt160Septets) {
    // 153 characters with three braces need 156 septets plus 7 for the header.
    SmsSubmitParams p = Params(std::string(150, 'a') + "{{{", 1);
    p.concat = 1;
    p.concatRef = 5;
    p.concatTotal = 2;
    p.concatSeq = 1;
    const SmsPdu r = DecodePdu(EncodeSubmit(p));
    EXPECT_EQ(r.text, std::string(150, 'a') + "{");
}

}  // namespace
}  // namespace tarnik
