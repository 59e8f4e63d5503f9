// One link to the phone per job: a Bluetooth, IrDA or COM link chosen at construction,
// and the AT command exchange over it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "link/link_cores.h"
#include "link/os_seams.h"

namespace tarnik {

// The link's own numbering; the profile numbers its kinds differently (0 Bluetooth,
// 1 IrDA, 2 COM) and callers translate.
enum CoreKind : int32_t {
    CORE_SERIAL = 0,
    CORE_BLUE = 1,
    CORE_IR = 2,
};

class CMobileCore : public CBlueCore, public CSerialCore, public CIrCore {
public:
    explicit CMobileCore(CoreKind kind, Clock& clock = SystemClock(),
                         ModuleApi& modules = SystemModules());
    ~CMobileCore() override;

    bool OpenBluetooth(uint64_t address) { return CBlueCore::Open(address); }
    bool OpenIrDA() { return CIrCore::Open(0); }
    bool OpenSerial(uint32_t port) { return CSerialCore::Open(port); }

    // Dispatch to the base of this link's kind, whichever base the call came through.
    bool Close() override;
    int Send(const void* data, uint32_t length) override;
    int Receive(void* buffer, uint32_t size) override;  // leaves one byte for a terminator
    bool IsOpen() override;

    // Writes command + terminator, then gathers what the phone says until `expected`
    // (success, 1) or `errorToken` (0) appears after the echo of the command, or the line
    // stays silent for `timeout` ms (0). With `reply`, a success waits one second and one
    // more read for what follows the token, then copies everything gathered. A line that
    // talks past the limits below fails the exchange and every later one on this link.
    int SendCommand(std::string_view command, std::string_view expected,
                    std::string_view terminator, std::string_view errorToken, std::string* reply,
                    uint32_t timeout);

    CoreKind kind() const { return kind_; }

private:
    CoreKind kind_;
    Clock& clock_;
    // Set once an exchange ran past a limit: the phone was talking without end, and a
    // flood or a ringing phone does not stop for the next command, so each later exchange
    // of the job would only take its own share of the same noise. They fail at once.
    bool babbling_ = false;
};

// Above this many bytes received in one exchange the phone is taken to be babbling: the
// largest reply we can use, a full listing of 2047 messages of at most ~400 characters
// each, is about 820 KiB. A size limit ends a flood at any line speed, where the time limit
// below has to allow a slow 9600-baud cable many minutes.
constexpr size_t kMaxExchangeBytes = 1u << 20;

// The silence time-out does not bound a phone that keeps talking slowly ("RING" every few
// seconds restarts it for ever), and the byte limit takes many minutes on a slow line. So
// one exchange may also last no longer than its time-out, plus a minute for the phone to
// think, plus what its bytes need on the slowest cable in use, 9600 baud at 10 bits a
// byte: a full listing of 1000 messages (210 kB, about 219 s) still gets through, while
// a line slower than that cable, which no real reply is, ends in minutes. A flood at any
// higher speed never reaches this bound; the byte limit ends it.
constexpr uint32_t kExchangeGraceMs = 60000;
constexpr uint32_t kSlowestLineBaud = 9600;
constexpr uint32_t kBitsPerByte = 10;  // start bit, 8 data bits, stop bit

// How long an exchange with this time-out that has received `received` bytes may last.
constexpr uint64_t ExchangeBoundMs(uint32_t timeout, size_t received) {
    return uint64_t{timeout} + kExchangeGraceMs +
           uint64_t{received} * kBitsPerByte * 1000 / kSlowestLineBaud;
}

}  // namespace tarnik
