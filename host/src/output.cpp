#include "output.h"

#include <cstdio>

namespace tarnik::host {

void Output::Print(const std::string& line) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    const std::string out = line + "\n";
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
}

void Output::Trace(const std::string& line) {
    if (trace_) {
        Print(line);
    }
}

void Warn(const std::string& text) {
    std::fprintf(stderr, "tarnik-host: %s\n", text.c_str());
}

}  // namespace tarnik::host
