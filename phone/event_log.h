// One line per event, "TAG text", to a file and optionally stderr, flushed at once so
// that tests can follow it while the phone runs. Tags: RX (command line received),
// TX (line sent), PDU (submitted PDU), SUBMIT (its decoded fields), REPORT, FAULT, LINK.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace tarnik::phone {

class EventLog {
public:
    EventLog() = default;
    ~EventLog();
    EventLog(const EventLog&) = delete;
    EventLog& operator=(const EventLog&) = delete;

    bool OpenFile(const std::string& path);
    void SetVerbose(bool verbose) { verbose_ = verbose; }

    // Bytes below 0x20, above 0x7E and the backslash are written as \xNN, so one event
    // stays on one line whatever the phone saw.
    void Line(std::string_view tag, std::string_view text);

private:
    std::FILE* file_ = nullptr;
    bool verbose_ = false;
};

std::string Printable(std::string_view bytes);

}  // namespace tarnik::phone
