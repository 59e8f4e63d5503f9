// The codec benchmarks' corpus: a mixed, deterministic set of the PDUs a phone lists,
// short and long 7-bit messages, parts of long messages with 8- and 16-bit references,
// UCS-2, alphanumeric senders, stored outgoing messages and status reports. Shared by the
// Google Benchmark run and the plain timing loop that also runs on the Windows build.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "pdu/pdu_builder.h"
#include "pdu/submit_encoder.h"

namespace tarnik {
namespace bench {

constexpr size_t kCorpusSize = 400;

constexpr const char* kWords[] = {
    "spotkanie", "jutro",       "o",        "godzinie",   "10",     "w",       "biurze",
    "prosze",    "potwierdzic", "kod",      "dostepu",    "to",     "482913",  "paczka",
    "czeka",     "na",          "odbior",   "do",         "piatku", "zadzwon", "jak",
    "bedziesz",  "mogl",        "dziekuje", "pozdrawiam", "Ania",   "(pilne)", "50%"};
constexpr const char16_t* kWideWords[] = {
    u"zażółć", u"gęślą",       u"jaźń",  u"spotkanie",  u"jutro", u"w", u"Łodzi", u"dziękuję",
    u"proszę", u"potwierdzić", u"część", u"wiadomości", u"€",     u"—", u"ok"};

class CorpusBuilder {
public:
    std::vector<std::string> Build() {
        std::vector<std::string> pdus;
        for (size_t i = 0; i < kCorpusSize; ++i)
            pdus.push_back(Next(i));
        return pdus;
    }

private:
    std::mt19937 random_{20240115};

    size_t Below(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(random_); }
    uint8_t Octet() { return static_cast<uint8_t>(Below(256)); }

    std::string Text(size_t chars) {
        std::string text;
        while (text.size() < chars) {
            if (!text.empty())
                text += ' ';
            text += kWords[Below(std::size(kWords))];
        }
        text.resize(chars);
        return text;
    }
    std::u16string WideText(size_t units) {
        std::u16string text;
        while (text.size() < units) {
            if (!text.empty())
                text += u' ';
            text += kWideWords[Below(std::size(kWideWords))];
        }
        text.resize(units);
        return text;
    }
    std::string Digits(size_t count) {
        std::string digits = "48";
        while (digits.size() < count)
            digits += static_cast<char>('0' + Below(10));
        return digits;
    }

    std::string Smsc() { return Below(2) ? "07918406010013F0" : "00"; }
    static std::string Address(const std::string& digits) { return BuildAddress("+" + digits); }
    std::string TimeStamp() {
        // One draw per field, in this order: the corpus must not change between runs.
        // (A braced list is evaluated left to right.)
        return BuildTimeStamp(
            TimeStampFields{24, 1 + static_cast<int>(Below(12)), 1 + static_cast<int>(Below(28)),
                            static_cast<int>(Below(24)), static_cast<int>(Below(60)),
                            static_cast<int>(Below(60)), 4});
    }
    std::string ConcatHeader(bool sixteenBit, size_t total, size_t seq) {
        const auto t = static_cast<uint8_t>(total);
        const auto q = static_cast<uint8_t>(seq);
        if (!sixteenBit)
            return BuildConcatHeader(Octet(), t, q);
        const uint8_t high = Octet();
        const uint8_t low = Octet();
        return BuildConcatHeader16(static_cast<uint16_t>(high << 8 | low), t, q);
    }

    // SMS-DELIVER from a random service centre (drawn before the time stamp).
    std::string Deliver(const std::string& originator, uint8_t dataCoding, UserData userData) {
        DeliverPdu pdu;
        pdu.smsc = Smsc();
        pdu.originator = originator;
        pdu.dataCoding = dataCoding;
        pdu.timeStamp = TimeStamp();
        pdu.userData = std::move(userData);
        return BuildDeliver(pdu);
    }
    std::string Deliver7(const std::string& originator, const std::string& text,
                         const std::string& header) {
        return Deliver(originator, 0x00, BuildGsm7UserData(text, header));
    }
    std::string DeliverUcs2(const std::string& originator, const std::u16string& text,
                            const std::string& header) {
        return Deliver(originator, 0x08, BuildUcs2UserData(text, header));
    }
    std::string Submit() {
        SmsSubmitParams p;
        p.number = Digits(9 + Below(4));
        p.messageRef = Octet();
        p.vpPresent = 1;
        p.vp = 0xAA;
        p.statusReport = static_cast<uint32_t>(Below(2));
        if (Below(2)) {
            p.concat = 1;
            p.concatRef = Octet();
            p.concatTotal = 2 + static_cast<uint32_t>(Below(3));
            p.concatSeq = 1 + static_cast<uint32_t>(Below(p.concatTotal));
            p.text = Text(153);
        } else {
            p.text = Text(5 + Below(155));
        }
        return EncodeSubmit(p);
    }
    std::string StatusReport() {
        static constexpr uint8_t kStatuses[] = {0x00, 0x00, 0x00, 0x01, 0x20, 0x30, 0x46, 0x61};
        StatusReportPdu pdu;
        pdu.smsc = Smsc();
        pdu.messageRef = Octet();
        // Drawn in the order the corpus was first made in, so that it stays the same.
        pdu.dischargeTime = TimeStamp();
        pdu.timeStamp = TimeStamp();
        pdu.recipient = Address(Digits(11));
        pdu.status = kStatuses[Below(std::size(kStatuses))];
        return BuildStatusReport(pdu);
    }

    std::string Next(size_t i) {
        const std::string sender = Address(Digits(11));
        switch (i % 8) {
            case 0:
                return Deliver7(sender, Text(10 + Below(40)), "");
            case 1:
                return Deliver7(sender, Text(120 + Below(41)), "");
            case 2:
                return Deliver7(sender, Text(100 + Below(54)),
                                ConcatHeader(false, 3, 1 + Below(3)));
            case 3:
                return DeliverUcs2(sender, WideText(20 + Below(51)), "");
            case 4:
                return DeliverUcs2(sender, WideText(30 + Below(37)),
                                   ConcatHeader(true, 2, 1 + Below(2)));
            case 5:
                return Deliver7(BuildAlphanumericAddress(Below(2) ? "Tarnik" : "Bank24"),
                                Text(30 + Below(100)), "");
            case 6:
                return Submit();
            default:
                return StatusReport();
        }
    }
};

inline const std::vector<std::string>& Corpus() {
    static const std::vector<std::string> corpus = CorpusBuilder().Build();
    return corpus;
}

}  // namespace bench
}  // namespace tarnik
