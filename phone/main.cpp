// tarnik-phone: a GSM phone in PDU mode on a pseudo-terminal, for testing SMS clients
// without a handset. See --help.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "phone/config.h"
#include "phone/event_log.h"
#include "phone/modem.h"
#include "phone/pty_link.h"

namespace tarnik::phone {
namespace {

using Clock = std::chrono::steady_clock;

// While no client holds the slave, the master reports POLLHUP without end; this is how
// often it is looked at again.
constexpr auto kIdlePoll = std::chrono::milliseconds(20);
// Time for the client to read the half answer before a fault disconnect hangs up,
// because the hangup discards what the client has not read.
constexpr auto kHangupGrace = std::chrono::milliseconds(200);

constexpr char kUsage[] =
    "Usage: tarnik-phone --link PATH [--config FILE] [--log FILE] [-v]\n"
    "\n"
    "Behaves like a GSM phone in SMS PDU mode (TS 27.005, 27.007) on a pseudo-terminal.\n"
    "PATH becomes a symbolic link to the pty slave: open it as a serial port. The phone\n"
    "serves one client at a time, and the next one after a client closes, until SIGTERM\n"
    "or SIGINT, which remove the link.\n"
    "\n"
    "  --link PATH     where to put the symbolic link (required)\n"
    "  --config FILE   the phone's behaviour, format below (defaults without it)\n"
    "  --log FILE      append one line per event: RX <command line>, TX <answer line>,\n"
    "                  PDU <submitted hex>, SUBMIT <decoded fields and outcome>,\n"
    "                  REPORT <route and PDU>, FAULT <what>, LINK <client and pty events>\n"
    "  -v              the same lines on standard error\n"
    "\n";

volatile sig_atomic_t g_stop = 0;

void OnSignal(int) {
    g_stop = 1;
}

struct Options {
    std::string link;
    std::string config;
    std::string log;
    bool verbose = false;
};

int UsageError(const std::string& message) {
    std::fprintf(stderr, "tarnik-phone: %s\n(see tarnik-phone --help)\n", message.c_str());
    return 2;
}

// What waits to be written: modem output in order, with the disconnect faults in place.
class Outbox {
public:
    void Add(std::vector<Emission> emissions) {
        for (Emission& e : emissions)
            queue_.push_back(std::move(e));
    }
    bool Empty() const { return queue_.empty(); }
    void Clear() {
        queue_.clear();
        offset_ = 0;
    }
    size_t PendingBytes() const {
        if (Empty())
            return 0;
        size_t n = 0;
        for (const Emission& e : queue_) {
            if (e.kind != Emission::kEndless)
                n += e.bytes.size();
        }
        return Front().kind == Emission::kEndless ? n : n - offset_;
    }
    // A dead line: nothing goes out until the client leaves.
    bool Stalled() const {
        return !Empty() && Front().kind == Emission::kEndless && Front().bytes.empty();
    }
    const Emission& Front() const { return queue_.front(); }
    // What to write next: the rest of the front, or for an endless front a run of its
    // pattern that goes on from where the last write stopped.
    std::string_view Next(std::string& scratch) const {
        const std::string& bytes = Front().bytes;
        if (Front().kind != Emission::kEndless)
            return std::string_view(bytes).substr(offset_);
        scratch.clear();
        for (size_t i = 0; scratch.size() < 4096; ++i)
            scratch.push_back(bytes[(offset_ + i) % bytes.size()]);
        return scratch;
    }
    void Consume(size_t n) {
        offset_ += n;
        if (Front().kind == Emission::kEndless)
            offset_ %= Front().bytes.size();
        else if (offset_ >= Front().bytes.size())
            Pop();
    }
    void Pop() {
        queue_.pop_front();
        offset_ = 0;
    }

private:
    std::deque<Emission> queue_;
    size_t offset_ = 0;
};

class Phone {
public:
    Phone(const Options& options, PhoneConfig config, EventLog& log)
        : options_(options),
          byteDelay_(config.byteDelay),
          log_(log),
          modem_(std::move(config), log, [] { return std::time(nullptr); }) {}

    int Run() {
        std::string error;
        bool ok = link_.Open(options_.link, error);
        if (ok)
            log_.Line("LINK", "ready " + options_.link + " -> " + link_.slaveName());
        while (ok && g_stop == 0)
            ok = Step(error);
        if (ok)
            log_.Line("LINK", "stopped");
        else
            std::fprintf(stderr, "tarnik-phone: %s\n", error.c_str());
        link_.Close();
        return ok ? 0 : 1;
    }

private:
    // One turn of the loop: a wait for the client or the next deadline, then what is due.
    bool Step(std::string& error) {
        pollfd pfd{link_.fd(), POLLIN, 0};
        const int ready = Wait(pfd);
        if (ready < 0 && errno != EINTR)
            return Failed("poll", error);
        if (ready < 0 || StopRequested())
            return true;
        if (!connected_ && poll(&pfd, 1, 0) < 0)
            return Failed("poll", error);
        if (hangupAt_ && Clock::now() >= *hangupAt_)
            return Hangup(error);
        if ((pfd.revents & POLLIN) != 0)
            Read();
        FollowClient(pfd.revents);
        modem_.Tick(Clock::now());
        Collect();
        if (connected_)
            Write();
        return true;
    }

    static bool Failed(const char* what, std::string& error) {
        error = std::string(what) + ": " + std::strerror(errno);
        return false;
    }

    bool Writing() const {
        return connected_ && !outbox_.Empty() && !outbox_.Stalled() && !hangupAt_;
    }

    // The soonest of: a look at an idle master, a report due, a hang-up, the next byte.
    Clock::time_point WakeTime(Clock::time_point now) const {
        Clock::time_point wake = now + (connected_ ? std::chrono::seconds(1) : kIdlePoll);
        if (const auto deadline = modem_.NextDeadline())
            wake = std::min(wake, *deadline);
        if (hangupAt_)
            wake = std::min(wake, *hangupAt_);
        if (Writing())
            wake = std::min(wake, nextByte_);
        return wake;
    }

    int Wait(pollfd& pfd) const {
        const Clock::time_point now = Clock::now();
        if (Writing() && nextByte_ <= now)
            pfd.events |= POLLOUT;
        // To the nanosecond: a wait cut to whole milliseconds would spin through the
        // 87 µs between the bytes of a 115200-baud line and take a core from the client.
        const long long ns = std::max<long long>(
            0, std::chrono::duration_cast<std::chrono::nanoseconds>(WakeTime(now) - now).count());
        const timespec timeout{static_cast<time_t>(ns / 1000000000LL),
                               static_cast<long>(ns % 1000000000LL)};
        sigset_t unblocked;
        sigemptyset(&unblocked);
        // Without a client the master is always "ready" with POLLHUP, so the wait is
        // a plain sleep and the master is only looked at afterwards.
        return connected_ ? ppoll(&pfd, 1, &timeout, &unblocked)
                          : ppoll(nullptr, 0, &timeout, &unblocked);
    }

    // A busy master can keep ppoll from ever blocking, and so from delivering a signal.
    static bool StopRequested() {
        sigset_t pending;
        sigpending(&pending);
        if (sigismember(&pending, SIGTERM) == 1 || sigismember(&pending, SIGINT) == 1)
            g_stop = 1;
        return g_stop != 0;
    }

    // The bytes of a command line go to the modem as they come.
    void Read() {
        char buffer[512];
        const ssize_t n = read(link_.fd(), buffer, sizeof buffer);
        if (n > 0) {
            if (!connected_)
                ClientCame();
            bytesIn_ += static_cast<size_t>(n);
            modem_.Receive(std::string_view(buffer, static_cast<size_t>(n)), Clock::now());
        } else if (n < 0 && errno == EIO && connected_) {
            ClientGone();
        }
    }

    // The master hangs up (POLLHUP) while no client holds the slave.
    void FollowClient(short revents) {
        const bool hungUp = (revents & POLLHUP) != 0 && (revents & POLLIN) == 0;
        if (hungUp && connected_)
            ClientGone();
        else if (!connected_ && (revents & POLLHUP) == 0)
            ClientCame();
    }

    void ClientCame() {
        connected_ = true;
        bytesIn_ = 0;
        bytesOut_ = 0;
        log_.Line("LINK", "client opened " + link_.slaveName());
    }

    void ClientGone() {
        connected_ = false;
        modem_.LinkReset();
        const size_t dropped = outbox_.PendingBytes();
        outbox_.Clear();
        // What crossed the line both ways, so that a client's dialogue can be measured.
        std::string what = "client closed after " + std::to_string(bytesIn_) + " bytes in, " +
                           std::to_string(bytesOut_) + " out";
        if (dropped > 0)
            what += ", " + std::to_string(dropped) + " bytes unsent";
        if (endlessSent_ > 0)
            what += ", " + std::to_string(endlessSent_) + " endless bytes sent";
        log_.Line("LINK", what);
        endlessSent_ = 0;
    }

    void Collect() {
        std::vector<Emission> out = modem_.TakeOutput();
        if (out.empty())
            return;
        if (!connected_) {
            // A phone's unsolicited codes go out whether anyone listens or not; written
            // to the master now they would greet the next client.
            size_t n = 0;
            for (const Emission& e : out)
                n += e.bytes.size();
            if (n > 0)
                log_.Line("LINK", "no client, " + std::to_string(n) + " bytes dropped");
            return;
        }
        // After a silence the line's clock starts again from now, not from its last byte.
        if (outbox_.Empty())
            nextByte_ = std::max(nextByte_, Clock::now());
        outbox_.Add(std::move(out));
    }

    void Write() {
        std::string scratch;
        while (Writing()) {
            if (outbox_.Front().kind == Emission::kDisconnect) {
                // A fault on the wire: the hang-up waits for the half answer to be read.
                outbox_.Pop();
                hangupAt_ = Clock::now() + kHangupGrace;
            } else if (!WritePaced(scratch)) {
                return;
            }
        }
    }

    // Writes what the line's clock has made due; false when that is nothing yet, or the
    // pty takes nothing (full, or the client just left).
    bool WritePaced(std::string& scratch) {
        const Clock::time_point now = Clock::now();
        if (now < nextByte_)
            return false;
        const Emission& front = outbox_.Front();
        const std::chrono::microseconds delay = std::max(byteDelay_, front.byteDelay);
        const bool endless = front.kind == Emission::kEndless;
        std::string_view bytes = outbox_.Next(scratch);
        // One byte when the phone woke in time, more after a late wake-up, so that the
        // pace over an answer is the line's and not the scheduler's.
        if (delay.count() > 0)
            bytes = bytes.substr(0, static_cast<size_t>(1 + (now - nextByte_) / delay));
        const ssize_t n = write(link_.fd(), bytes.data(), bytes.size());
        if (n <= 0)
            return false;
        outbox_.Consume(static_cast<size_t>(n));
        bytesOut_ += static_cast<size_t>(n);
        endlessSent_ += endless ? static_cast<size_t>(n) : 0;
        nextByte_ = delay.count() > 0 ? nextByte_ + n * delay : now;
        return true;
    }

    // The cable pulled and plugged back: a new pty behind the same path.
    bool Hangup(std::string& error) {
        hangupAt_.reset();
        outbox_.Clear();
        modem_.LinkReset();
        connected_ = false;
        if (!link_.Renew(error))
            return false;
        log_.Line("LINK", "hung up; " + options_.link + " -> " + link_.slaveName());
        return true;
    }

    const Options& options_;
    std::chrono::microseconds byteDelay_;
    EventLog& log_;
    Modem modem_;
    PtyLink link_;
    Outbox outbox_;
    bool connected_ = false;
    size_t endlessSent_ = 0;
    size_t bytesIn_ = 0;
    size_t bytesOut_ = 0;
    Clock::time_point nextByte_{};
    std::optional<Clock::time_point> hangupAt_;
};

// The options, or the exit status when there is nothing more to do (--help, a mistake).
std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            std::fputs(Modem::CommandHelp().c_str(), stdout);
            std::fputs(ConfigHelp().c_str(), stdout);
            return 0;
        } else if (arg == "--link" && hasValue) {
            options.link = argv[++i];
        } else if (arg == "--config" && hasValue) {
            options.config = argv[++i];
        } else if (arg == "--log" && hasValue) {
            options.log = argv[++i];
        } else if (arg == "-v" || arg == "--verbose") {
            options.verbose = true;
        } else {
            return UsageError("unknown or incomplete option: " + arg);
        }
    }
    if (options.link.empty())
        return UsageError("--link PATH is required");
    return std::nullopt;
}

// The signals stay blocked except inside ppoll, so none is lost between a check of the
// flag and the wait.
void CatchStopSignals() {
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    sigprocmask(SIG_BLOCK, &stopSignals, nullptr);
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

int Main(int argc, char** argv) {
    Options options;
    if (const std::optional<int> status = ReadOptions(argc, argv, options))
        return *status;
    PhoneConfig config;
    if (!options.config.empty()) {
        std::ifstream in(options.config);
        std::string error;
        if (!in)
            return UsageError("cannot read " + options.config);
        if (!ParseConfig(in, config, error))
            return UsageError(options.config + ": " + error);
    }
    EventLog log;
    log.SetVerbose(options.verbose);
    if (!options.log.empty() && !log.OpenFile(options.log))
        return UsageError("cannot open " + options.log);
    CatchStopSignals();
    Phone phone(options, std::move(config), log);
    return phone.Run();
}

}  // namespace
}  // namespace tarnik::phone

int main(int argc, char** argv) {
    return tarnik::phone::Main(argc, argv);
}
