// The phone's command processor: V.25ter command lines with TS 27.007 identification
// and TS 27.005 PDU-mode SMS commands, message storages, status reports and faults.
// It owns no file descriptors: bytes go in through Receive, and what the phone sends
// comes out of TakeOutput, so the pty loop decides only about timing and the link.
#pragma once

#include <chrono>
#include <ctime>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "phone/config.h"
#include "phone/event_log.h"
#include "phone/sms_encoder.h"

namespace tarnik::phone {

struct Emission {
    // kEndless: `bytes` over and over (nothing at all when empty), holding back whatever
    // follows until the client closes the port.
    enum Kind { kBytes, kDisconnect, kEndless } kind = kBytes;
    std::string bytes;
    std::chrono::microseconds byteDelay{0};  // a pause before each byte, for a slow line
};

class Modem {
public:
    using Clock = std::chrono::steady_clock;

    Modem(PhoneConfig config, EventLog& log, std::function<std::time_t()> wallClock);

    void Receive(std::string_view bytes, Clock::time_point now);
    // Sends the status reports that are due, when no command is in progress.
    void Tick(Clock::time_point now);
    std::optional<Clock::time_point> NextDeadline() const;
    // A client closed the port or the link was replaced: half-typed input is dropped.
    void LinkReset();

    std::vector<Emission> TakeOutput();

    // The commands the phone knows, one line each, from the table that runs them.
    static std::string CommandHelp();

    // The outcome of one command of a command line.
    struct Result {
        enum Kind { kOk, kError, kCms, kPrompt } kind = kOk;
        int code = 0;
        std::string info;  // information text, already framed
    };

private:
    struct Command;
    static const std::vector<Command>& Commands();
    struct Slot {
        std::string storage;  // ME, SM or SR
        int index = 0;        // index in that storage
        int shown = 0;        // index as the selected storage shows it (MT renumbers SM)
    };
    struct PendingReport {
        Clock::time_point due;
        StatusReportFields fields;
    };
    struct Storage {
        int capacity = 0;
        std::map<int, StoredMessage> slots;
    };

    void CommandLine(const std::string& line);
    // Keeps what was queued from `first` on until `until`: a phone slow to answer.
    void Hold(size_t first, Clock::time_point until);
    void Answer(const std::string& raw, const std::string& line, size_t at, const std::string& key);
    void PromptByte(char c, Clock::time_point now);
    void Submit(const std::string& pdu, Clock::time_point now);
    // One command: a basic one by its letter (or "&"), an extended one by its name.
    Result Run(const std::string& name, const std::string& suffix);

    Result Cpms(const std::string& suffix);
    Result Cmgl(const std::string& suffix);
    Result Cmgr(const std::string& suffix);
    Result Cmgd(const std::string& suffix);
    Result Cmgs(const std::string& suffix);
    Result Cnmi(const std::string& suffix);

    std::vector<Slot> View(const std::string& storage) const;
    std::optional<Slot> Find(const std::string& storage, int shown) const;
    std::string Usage(const std::string& storage) const;
    bool StorageRefused(const std::string& name) const;
    int StoreReport(const std::string& pdu);
    void DeliverReport(const PendingReport& report);
    void ResetSettings();
    // Sends a reply, with the faults of the command line it answers.
    void Reply(const std::string& bytes, const std::string& line);
    void Send(const std::string& bytes);
    // Whether a rule of fault `kind` fires on `line`, counting the firing.
    bool FaultFires(size_t kind, const std::string& line);
    // Carries out the faults of `stage` that fire on `line`: on `answer` in the answer,
    // on the output from index `first` on for a pace. True when the line gets no more.
    bool Strike(FaultStage stage, const std::string& line, const std::string& answer = {},
                size_t first = 0);

    PhoneConfig config_;
    EventLog& log_;
    std::function<std::time_t()> wallClock_;
    std::vector<Emission> output_;
    std::vector<Emission> held_;
    Clock::time_point heldUntil_;
    Clock::time_point now_;   // when the bytes in hand came
    size_t answerStart_ = 0;  // where the answer to the line in hand starts in output_

    std::string line_;
    bool lineOverflow_ = false;
    bool prompt_ = false;
    int announcedLength_ = 0;
    std::string pdu_;

    bool echo_ = true;
    bool textMode_ = false;
    int cmee_ = 0;
    int creg_ = 0;
    std::string charset_ = "GSM";
    std::string smsc_;
    std::vector<int> cnmi_{0, 0, 0, 0, 0};
    std::string mem1_ = "SM", mem2_ = "SM", mem3_ = "SM";
    std::map<std::string, Storage> storages_;

    int nextMessageRef_ = 1;
    size_t submissions_ = 0;
    size_t reports_ = 0;
    std::deque<PendingReport> pending_;
};

}  // namespace tarnik::phone
