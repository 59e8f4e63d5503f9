// What one emulated phone is like: its answers, storages, indication modes, how it
// treats submissions and reports, and the faults it shows. Read from a small
// "key = value" file with [sections]; the format is documented in ConfigHelp().
#pragma once

#include <chrono>
#include <cstdint>
#include <istream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tarnik::phone {

// A final result the phone gives instead of (or as) its normal answer.
struct Refusal {
    enum Kind { kOk, kCms, kError, kSilent } kind = kOk;
    int code = 0;  // the <err> of "+CMS ERROR: <err>" (TS 27.005 3.2.5)
};

// A fault tied to one command line, compared without regard to case.
struct FaultRule {
    std::string command;
    int remaining = -1;  // how many more times it fires; -1 for every time
};

// TS 27.005 3.1 <stat>: 0 received unread, 1 received read, 2 stored unsent, 3 stored sent.
struct StoredMessage {
    int index = 0;
    int stat = 0;
    std::string pdu;  // PDU-mode hexadecimal, SMSC field first
};

struct PhoneConfig {
    bool echo = true;
    std::string manufacturer = "TARNIK";
    std::string model = "TP-1 pty";
    std::string revision = "1.0";
    std::string imei = "350000000000006";
    std::string imsi = "260019876543210";
    std::string smsc = "+48601000310";
    bool textMode = true;  // whether AT+CMGF=1 is accepted

    // Storages answered with `storageRefusal` by AT+CPMS (upper case: MT, ME, SM, SR).
    std::set<std::string> refusedStorages;
    Refusal storageRefusal{Refusal::kCms, 302};
    std::map<std::string, int> capacity{{"ME", 50}, {"SM", 20}, {"SR", 20}};
    std::map<std::string, std::vector<StoredMessage>> messages;  // by storage ME, SM, SR

    // AT+CNMI parameter lists accepted, blanks removed; empty accepts every setting.
    std::set<std::string> cnmiAccepted;

    std::vector<Refusal> submitOutcomes;             // one per submission attempt, then ok
    std::chrono::milliseconds submitAnswerDelay{0};  // silence before a submission's answer
    int firstMessageRef = 1;

    std::chrono::milliseconds reportDelay{2000};
    std::vector<uint8_t> reportStatuses{0x00};  // one per report, the last repeated
    bool cdsWithSmsc = true;
    // Quirks of a network or a phone that a client must survive: reports for another
    // number than the one submitted to, and an indication text sent instead of each report.
    std::string reportRecipient;
    std::vector<std::string> reportIndication;  // its lines, joined with CR LF

    std::chrono::microseconds byteDelay{0};

    std::vector<FaultRule> silence;
    std::vector<FaultRule> garbage;
    std::vector<FaultRule> disconnect;
    std::vector<FaultRule> error;
    // A line that holds the client: instead of the answer, bytes without end (NUL, the
    // noise of garbageBytes, "RING" lines), or half of it and then nothing; the phone
    // keeps it up until the client closes the port.
    std::vector<FaultRule> endlessNul;
    std::vector<FaultRule> endlessGarbage;
    std::vector<FaultRule> endlessRing;
    std::vector<FaultRule> dead;
    std::vector<FaultRule> slow;  // echo and answer paced at slowByteDelay
    std::vector<FaultRule> late;  // the echo at once, the answer after lateDelay of silence
    std::chrono::milliseconds lateDelay{1000};
    std::string garbageBytes = "\xFF\x7E\x3F\x0D";
    std::chrono::microseconds slowByteDelay{150000};
};

// Parses a configuration over the defaults in `config`. On failure `error` names the
// line and the problem; `config` may then be partly filled.
bool ParseConfig(std::istream& in, PhoneConfig& config, std::string& error);

// Text of --help that documents the file format.
const char* ConfigHelp();

}  // namespace tarnik::phone
