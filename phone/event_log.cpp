#include "phone/event_log.h"

namespace tarnik::phone {

std::string Printable(std::string_view bytes) {
    static const char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x20 || b > 0x7E || b == '\\') {
            out += "\\x";
            out.push_back(kDigits[b >> 4]);
            out.push_back(kDigits[b & 0x0F]);
        } else {
            out.push_back(c);
        }
    }
    return out;
}

EventLog::~EventLog() {
    if (file_ != nullptr)
        std::fclose(file_);
}

bool EventLog::OpenFile(const std::string& path) {
    file_ = std::fopen(path.c_str(), "a");
    return file_ != nullptr;
}

void EventLog::Line(std::string_view tag, std::string_view text) {
    std::string line(tag);
    line.push_back(' ');
    line += Printable(text);
    line.push_back('\n');
    if (file_ != nullptr) {
        std::fputs(line.c_str(), file_);
        std::fflush(file_);
    }
    if (verbose_)
        std::fputs(line.c_str(), stderr);
}

}  // namespace tarnik::phone
