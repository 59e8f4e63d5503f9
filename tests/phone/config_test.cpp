#include "phone/config.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "pdu/pdu_decoder.h"

namespace tarnik::phone {
namespace {

bool Parse(const std::string& text, PhoneConfig& config, std::string& error) {
    std::istringstream in(text);
    return ParseConfig(in, config, error);
}

TEST(ParseConfig, ReadsEverySection) {
    PhoneConfig c;
    std::string error;
    ASSERT_TRUE(
        Parse("# a slow phone that refuses MT\n"
              "echo = off\n"
              "refuse_storage = mt SR\n"
              "storage_refusal = error\n"
              "cnmi = 1, 0, 0, 2, 1\n"
              "cnmi = 1,0,0,2,0\n"
              "byte_delay_us = 500\n"
              "[storage SM]\n"
              "capacity = 5\n"
              "pdu.4 = 3 0011000B918406214365F70000AA04D4F29C0E\n"
              "pdu = 1 0011000B918406214365F70000AA04d4f29c0e\n"
              "deliver = 0 +48601234567 Hello there\n"
              "[submit]\n"
              "outcome = cms 42, ok\n"
              "outcome = silent\n"
              "first_mr = 200\n"
              "[report]\n"
              "delay_ms = 150\n"
              "status = 0x46, 0\n"
              "cds_smsc = no\n"
              "[fault]\n"
              "silence = 2 AT+CNMI=2,0,0,1,0\n"
              "garbage = at+cmgl=4\n"
              "garbage_bytes = 00ff\n"
              "error = 1 at+cpms=\"mt\"\n"
              "endless_nul = at+cmgl=4\n"
              "endless_garbage = 3 AT\n"
              "endless_ring = AT+CPMS=\"SM\"\n"
              "dead = 1 AT+CMGS=18\n"
              "slow = at\n"
              "slow_byte_ms = 40\n"
              "[phone]\n"
              "smsc = +4860\n",
              c, error))
        << error;
    EXPECT_FALSE(c.echo);
    EXPECT_EQ(c.refusedStorages, (std::set<std::string>{"MT", "SR"}));
    EXPECT_EQ(c.storageRefusal.kind, Refusal::kError);
    EXPECT_EQ(c.cnmiAccepted, (std::set<std::string>{"1,0,0,2,1", "1,0,0,2,0"}));
    EXPECT_EQ(c.byteDelay.count(), 500);

    // Messages without an index fill the free places from 1, skipping taken ones.
    const auto& sm = c.messages["SM"];
    ASSERT_EQ(sm.size(), 3u);
    EXPECT_EQ(sm[0].index, 1);
    EXPECT_EQ(sm[0].pdu, "0011000B918406214365F70000AA04D4F29C0E");
    EXPECT_EQ(sm[1].index, 2);
    EXPECT_EQ(sm[1].stat, 0);
    const SmsPdu deliver = DecodePdu(sm[1].pdu);
    EXPECT_EQ(deliver.text, "Hello there");
    EXPECT_EQ(deliver.smsc.number, "4860");  // the centre of the whole file, set after it
    EXPECT_EQ(sm[2].index, 4);
    EXPECT_EQ(sm[2].stat, 3);
    EXPECT_EQ(c.capacity["SM"], 5);

    ASSERT_EQ(c.submitOutcomes.size(), 3u);
    EXPECT_EQ(c.submitOutcomes[0].kind, Refusal::kCms);
    EXPECT_EQ(c.submitOutcomes[0].code, 42);
    EXPECT_EQ(c.submitOutcomes[1].kind, Refusal::kOk);
    EXPECT_EQ(c.submitOutcomes[2].kind, Refusal::kSilent);
    EXPECT_EQ(c.firstMessageRef, 200);
    EXPECT_EQ(c.reportDelay.count(), 150);
    EXPECT_EQ(c.reportStatuses, (std::vector<uint8_t>{0x46, 0x00}));
    EXPECT_FALSE(c.cdsWithSmsc);

    ASSERT_EQ(c.silence.size(), 1u);
    EXPECT_EQ(c.silence[0].command, "AT+CNMI=2,0,0,1,0");
    EXPECT_EQ(c.silence[0].remaining, 2);
    ASSERT_EQ(c.garbage.size(), 1u);
    EXPECT_EQ(c.garbage[0].command, "AT+CMGL=4");
    EXPECT_EQ(c.garbage[0].remaining, -1);
    EXPECT_EQ(c.garbageBytes, std::string("\x00\xFF", 2));
    ASSERT_EQ(c.error.size(), 1u);
    EXPECT_EQ(c.error[0].command, "AT+CPMS=\"MT\"");
    EXPECT_EQ(c.error[0].remaining, 1);
    const std::pair<const std::vector<FaultRule>*, FaultRule> lineFaults[] = {
        {&c.endlessNul, {"AT+CMGL=4", -1}},
        {&c.endlessGarbage, {"AT", 3}},
        {&c.endlessRing, {"AT+CPMS=\"SM\"", -1}},
        {&c.dead, {"AT+CMGS=18", 1}},
        {&c.slow, {"AT", -1}},
    };
    for (const auto& [rules, rule] : lineFaults) {
        ASSERT_EQ(rules->size(), 1u) << rule.command;
        EXPECT_EQ(rules->front().command, rule.command);
        EXPECT_EQ(rules->front().remaining, rule.remaining);
    }
    EXPECT_EQ(c.slowByteDelay.count(), 40000);
}

// A mistyped file must not silently give a different phone than the one meant.
TEST(ParseConfig, NamesTheLineOfEveryMistake) {
    const struct {
        const char* text;
        const char* error;
    } cases[] = {
        {"echo = maybe\n", "line 1: bad value for 'echo'"},
        {"\n\necoh = on\n", "line 3: unknown key 'ecoh' in [phone]"},
        {"[phone\n", "unterminated section header"},
        {"[storage MT]\n", "storage sections are ME, SM and SR"},
        {"[reports]\n", "unknown section [reports]"},
        {"refuse_storage = SM XX\n", "bad value for 'refuse_storage'"},
        {"storage_refusal = silent\n", "bad value"},
        {"cnmi = 2;0\n", "bad value for 'cnmi'"},
        {"[storage SM]\npdu = 4 00\n", "line 2: bad value for 'pdu'"},
        {"[storage SM]\npdu = 1 0011ZZ\n", "bad value for 'pdu'"},
        {"[storage SM]\npdu = 1 00 extra\n", "bad value for 'pdu'"},
        {"[storage SM]\nmessage = 1 0011\n", "unknown key 'message'"},
        {"[storage SM]\ncapacity = 1\npdu = 1 0004\npdu = 1 0004\n",
         "more messages than its capacity"},
        {"[storage ME]\npdu.3 = 1 0004\npdu.3 = 1 0004\n", "index 3 is taken"},
        {"[submit]\noutcome = ok, cms\n", "bad value for 'outcome'"},
        {"[submit]\noutcome = retry\n", "bad value for 'outcome'"},
        {"[submit]\nfirst_mr = 256\n", "bad value for 'first_mr'"},
        {"[report]\nstatus = 0x100\n", "bad value for 'status'"},
        {"[fault]\nsilence = CSQ\n", "bad value for 'silence'"},
        {"[fault]\ndisconnect = 0 AT\n", "bad value for 'disconnect'"},
        {"[fault]\nerror = 2\n", "bad value for 'error'"},
        {"[fault]\ngarbage_bytes = F\n", "bad value for 'garbage_bytes'"},
        {"[fault]\nendless_ring = RING\n", "bad value for 'endless_ring'"},
        {"[fault]\nslow_byte_ms = 0\n", "bad value for 'slow_byte_ms'"},
        {"[fault]\nflood = AT\n", "unknown key 'flood' in [fault]"},
        {"key without value\n", "expected key = value"},
    };
    for (const auto& c : cases) {
        PhoneConfig config;
        std::string error;
        EXPECT_FALSE(Parse(c.text, config, error)) << c.text;
        EXPECT_NE(error.find(c.error), std::string::npos) << c.text << " gave: " << error;
    }
}

}  // namespace
}  // namespace tarnik::phone
