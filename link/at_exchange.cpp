// The AT exchange (TS 27.007 4, TS 27.005 3): one line out, then whatever the phone sends
// gathered until a token decides. Time-outs count silence, from the last byte; a phone that
// never falls silent long enough is stopped by the limits in mobile_core.h.
#include <cstring>

#include "link/mobile_core.h"

namespace tarnik {

namespace {

constexpr uint32_t kReadBufferSize = 256;  // at most 255 bytes arrive, so it stays terminated
constexpr uint32_t kSilentPollMs = 100;
constexpr uint32_t kSettleAfterTokenMs = 1000;  // what follows the token, e.g. a +CMGS line

// Looks for `token` at or after `start`, skipping what an earlier search over the text up
// to `searchedEnd` already ruled out, so a long listing is not searched again and again.
size_t FindNew(const std::string& text, std::string_view token, size_t start, size_t searchedEnd) {
    size_t from = start;
    if (searchedEnd >= token.size() && searchedEnd - token.size() + 1 > from) {
        from = searchedEnd - token.size() + 1;
    }
    return text.find(token.data(), from, token.size());
}

}  // namespace

int CMobileCore::SendCommand(std::string_view command, std::string_view expected,
                             std::string_view terminator, std::string_view errorToken,
                             std::string* reply, uint32_t timeout) {
    std::string line;
    line.reserve(command.size() + terminator.size());
    line.append(command).append(terminator);
    // A babbling line gets nothing more written: it fails like a closed port.
    if (!IsOpen() || babbling_)
        return 0;
    Send(line.data(), static_cast<uint32_t>(line.size()));

    // The phone echoes the command first; tokens are looked for after that many characters.
    const size_t start = command.size();
    const uint32_t begun = clock_.TickCount();
    uint32_t last = begun;
    bool seen = false;
    std::string gathered;
    size_t searched = 0;
    // The cap counts bytes received, not text gathered: a line that sends NUL bytes (a
    // break, a wrong baud rate, a dying adapter) restarts the silence timer with every
    // read and never grows the text.
    size_t received = 0;

    for (;;) {
        const uint32_t now = clock_.TickCount();
        if (static_cast<uint32_t>(now - last) > timeout && !seen)
            return 0;
        if (static_cast<uint32_t>(now - begun) > ExchangeBoundMs(timeout, received) && !seen) {
            babbling_ = true;
            return 0;
        }

        char buffer[kReadBufferSize] = {};
        const int count = Receive(buffer, kReadBufferSize);
        if (count <= 0 && !seen) {
            clock_.Sleep(kSilentPollMs);
            continue;
        }
        gathered.append(buffer, std::strlen(buffer));  // bytes after a NUL are lost
        last = clock_.TickCount();
        received += count > 0 ? static_cast<size_t>(count) : 0;
        if (received > kMaxExchangeBytes) {
            babbling_ = true;
            return 0;
        }

        if (FindNew(gathered, expected, start, searched) != std::string::npos) {
            if (reply == nullptr)
                return 1;
            if (seen) {
                *reply = gathered;
                return 1;
            }
            clock_.Sleep(kSettleAfterTokenMs);
            seen = true;
            continue;
        }
        if (FindNew(gathered, errorToken, start, searched) != std::string::npos) {
            if (reply != nullptr)
                *reply = gathered;
            return 0;
        }
        searched = gathered.size();
    }
}

}  // namespace tarnik
