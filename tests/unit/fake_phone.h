// A phone in PDU mode behind the fake COM library, answering the send job's dialogue:
// echo, storage selection, AT+CMGS with its prompt, the PDU, indication settings and the
// delivery report, each configurable to refuse or stay silent.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/unit/link_fakes.h"

namespace tarnik::test {

struct FakePhone {
    bool answersAt = true;
    bool acceptsStorage = true;
    bool acceptsCmgs = true;
    std::deque<std::string> pduAnswers;  // per PDU, in order; then "OK". "" is silence
    std::set<std::string> cnmiAccepted = {"AT+CNMI=2,0,0,1,0", "AT+CNMI=1,0,0,2,1",
                                          "AT+CNMI=1,0,0,2,0"};
    std::string reportIndication;                // sent after the "AT" that waits for a report
    std::map<std::string, std::string> replies;  // other commands: the text after the echo

    // Every write as it arrived, terminator included: the phone itself reads past CR, LF
    // and Ctrl-Z alike, so only these show which one was sent.
    std::vector<std::string> received;
    std::vector<std::string> pdus;  // every PDU received, without its Ctrl-Z
    int references = 0;

    void Attach(FakeLibrary& lib) {
        lib.onWrite = [this](FakeLibrary& l, const std::string& data) { Handle(l, data); };
    }

private:
    void Say(FakeLibrary& lib, const std::string& text) { lib.reads.push_back(text); }

    void Handle(FakeLibrary& lib, std::string data) {
        received.push_back(data);
        if (!data.empty() && data.back() == '\x1A') {
            data.pop_back();
            pdus.push_back(data);
            std::string answer = "OK";
            if (!pduAnswers.empty()) {
                answer = pduAnswers.front();
                pduAnswers.pop_front();
            }
            // The phone echoes the PDU as typed after the prompt.
            if (answer == "OK") {
                Say(lib,
                    data + "\x1A\r\n+CMGS: " + std::to_string(++references) + "\r\n\r\nOK\r\n");
            } else if (!answer.empty()) {
                Say(lib, data + "\x1A\r\n" + answer + "\r\n");
            }
            return;
        }
        while (!data.empty() && (data.back() == '\r' || data.back() == '\n'))
            data.pop_back();
        const std::string echo = data + "\r";
        if (data == "AT" || data == "ATE1") {
            if (!answersAt)
                return;
            Say(lib, echo + "\r\nOK\r\n");
            if (data == "AT" && waitingForReport_) {
                waitingForReport_ = false;
                if (!reportIndication.empty())
                    Say(lib, reportIndication);
            }
        } else if (data == "AT+CPMS=\"SM\"") {
            Say(lib, echo + (acceptsStorage ? "\r\n+CPMS: 0,20,0,20,0,20\r\n\r\nOK\r\n"
                                            : "\r\nERROR\r\n"));
        } else if (data.rfind("AT+CMGS=", 0) == 0) {
            Say(lib, echo + (acceptsCmgs ? "\r\n> " : "\r\nERROR\r\n"));
        } else if (data.rfind("AT+CNMI=", 0) == 0) {
            const bool ok = cnmiAccepted.count(data) != 0;
            waitingForReport_ = waitingForReport_ || ok;
            Say(lib, echo + (ok ? "\r\nOK\r\n" : "\r\nERROR\r\n"));
        } else if (replies.count(data) != 0) {
            Say(lib, echo + replies[data]);
        } else {
            Say(lib, echo + "\r\nERROR\r\n");
        }
    }

    bool waitingForReport_ = false;
};

}  // namespace tarnik::test
