// What tarnik-host prints: one UTF-8 line on stdout each, flushed at once, the trace lines
// only with --trace, and warnings on stderr.
#pragma once

#include <mutex>
#include <string>

namespace tarnik::host {

class Output {
public:
    explicit Output(bool trace) : trace_(trace) {}

    void Print(const std::string& line);
    void Trace(const std::string& line);  // only with --trace
    // Held by each service call as well, so that no other thread's line comes between a
    // call and its trace line.
    std::recursive_mutex& mutex() { return mutex_; }

private:
    bool trace_;
    std::recursive_mutex mutex_;  // services may be called from plug-in threads
};

// "tarnik-host: TEXT" on stderr.
void Warn(const std::string& text);

}  // namespace tarnik::host
