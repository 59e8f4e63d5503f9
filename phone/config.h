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
#include <string_view>
#include <vector>

namespace tarnik::phone {

// A final result the phone gives instead of (or as) its normal answer.
struct Refusal {
    enum Kind { kOk, kCms, kError, kSilent } kind = kOk;
    int code = 0;  // the <err> of "+CMS ERROR: <err>" (TS 27.005 3.2.5)
};

// Where a fault strikes the handling of a command line, in the order the phone gets there.
enum class FaultStage {
    kLine,     // as the line arrives, before its echo
    kCommand,  // after the echo, instead of carrying the line out
    kAnswer,   // in the answer (or the refusal) as it leaves
    kPace,     // over all the line made the phone send, echo included
};

// What a fault does there.
enum class FaultEffect {
    kSwallow,         // neither echo nor answer
    kRefuse,          // "ERROR" instead of the answer
    kNoiseFirst,      // the noise of garbageBytes, then the answer
    kHalfThenHangUp,  // half of the answer, then the pty is replaced
    kHalfThenHold,    // half of the answer, then nothing until the client closes the port
    kEndless,         // `pattern` (the noise when empty) without end, holding the client
    kSlow,            // one byte at a time, slowByteDelay apart
    kLate,            // the echo at once, the answer after lateDelay of silence
};

// One kind of fault: its key in [fault], what it does and where, the FAULT log line's
// text before the command line, and its --help text ("\n" continues the text). At one
// stage the rows are tried in this order; a new fault is a new row here, and a new
// effect one case in the command processor.
struct FaultKind {
    const char* name;
    FaultStage stage;
    FaultEffect effect;
    std::string_view pattern;
    const char* log;
    const char* help;
};

inline constexpr FaultKind kFaultKinds[] = {
    {"silence", FaultStage::kLine, FaultEffect::kSwallow, "", "silence ",
     "neither echo nor answer"},
    {"error", FaultStage::kCommand, FaultEffect::kRefuse, "", "error ",
     "\"ERROR\" (after the echo) instead of the answer; the\ncommand line is not carried out"},
    {"garbage", FaultStage::kAnswer, FaultEffect::kNoiseFirst, "", "garbage before the answer to ",
     "noise bytes before the answer"},
    {"disconnect", FaultStage::kAnswer, FaultEffect::kHalfThenHangUp, "",
     "disconnect in the answer to ",
     "half of the answer, then the pty closes and PATH is\nlinked to a new one"},
    {"dead", FaultStage::kAnswer, FaultEffect::kHalfThenHold, "", "line dead in the answer to ",
     "half of the answer, then nothing until the client closes\nthe port; the pty stays open"},
    {"endless_nul", FaultStage::kAnswer, FaultEffect::kEndless, std::string_view("\0", 1),
     "endless NUL bytes instead of the answer to ",
     "after the echo, NUL bytes without end instead of the\n"
     "answer, until the client closes the port"},
    {"endless_garbage", FaultStage::kAnswer, FaultEffect::kEndless, "",
     "endless garbage instead of the answer to ", "the same with the noise of garbage_bytes"},
    {"endless_ring", FaultStage::kAnswer, FaultEffect::kEndless, "\r\nRING\r\n",
     "endless RING instead of the answer to ", "the same with \"RING\" lines"},
    {"slow", FaultStage::kPace, FaultEffect::kSlow, "", "slow answer to ",
     "echo and answer one byte at a time, slow_byte_ms apart"},
    {"late", FaultStage::kPace, FaultEffect::kLate, "", "late answer to ",
     "the echo at once, the answer after late_ms of silence"},
};

// A fault tied to one command line, compared without regard to case.
struct FaultRule {
    size_t kind = 0;  // its row in kFaultKinds
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

    std::vector<FaultRule> faults;
    std::string garbageBytes = "\xFF\x7E\x3F\x0D";
    std::chrono::milliseconds slowByteDelay{150};  // the pace of a slow fault
    std::chrono::milliseconds lateDelay{1000};     // the silence of a late fault
};

// Parses a configuration over the defaults in `config`. On failure `error` names the
// line and the problem; `config` may then be partly filled.
bool ParseConfig(std::istream& in, PhoneConfig& config, std::string& error);

// Text of --help that documents the file format.
std::string ConfigHelp();

// Without the blanks and line ends around it.
std::string Trim(std::string_view text);
std::string Upper(std::string text);

// One row of --help: `usage`, then `text` from `column` on (a usage too wide for that
// gets a line of its own); each "\n" in `text` continues it at `column`.
std::string HelpRow(const std::string& usage, size_t column, const std::string& text);

}  // namespace tarnik::phone
