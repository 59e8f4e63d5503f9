// linkcom.mdl, portable build: a COM port is a POSIX terminal device, so the plug-in's
// phone dialogue can be driven on Linux against a real serial adapter or a pseudo-terminal.
//
// Choices:
// - Port n is the device named by the environment variable TARNIK_COM<n>; without it the
//   numbers map onto the usual Linux names: 1-64 /dev/ttyS0-63, 65-128 /dev/ttyUSB0-63,
//   129-192 /dev/ttyACM0-63. Every number libEnumPorts lists can therefore be opened.
// - Raw 8N1 at 115200 baud, no flow control, DTR and RTS raised: the same line settings as
//   the Windows build (see linkcom_win32.cpp for why).
// - The descriptor is non-blocking with VMIN = VTIME = 0, so a read returns at once: the
//   plug-in polls and keeps its own time-outs. Writes wait for room, but only for a bounded
//   time, so a stalled adapter cannot hold the caller for ever.
// - The handle is the descriptor plus one: 0 stays free to mean failure.
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <type_traits>

#include "link/link_library_abi.h"

namespace {

constexpr uint32_t kMaxPort = 255;  // a profile keeps the port number in one byte

struct DefaultRange {
    uint32_t first;
    const char* stem;
};
// Ports 1-64, 65-128 and 129-192 reach the three kinds of Linux serial device.
constexpr DefaultRange kDefaultRanges[] = {{1, "ttyS"}, {65, "ttyUSB"}, {129, "ttyACM"}};
constexpr uint32_t kRangeSize = 64;

// The device path of port n, and whether it was set through the environment.
std::string DevicePath(uint32_t port, bool* fromEnvironment) {
    const std::string variable = "TARNIK_COM" + std::to_string(port);
    if (const char* set = std::getenv(variable.c_str()); set != nullptr && *set != '\0') {
        *fromEnvironment = true;
        return set;
    }
    *fromEnvironment = false;
    for (const DefaultRange& range : kDefaultRanges) {
        if (port >= range.first && port < range.first + kRangeSize) {
            return std::string("/dev/") + range.stem + std::to_string(port - range.first);
        }
    }
    return {};
}

// The kernel creates every /dev/ttySn the 8250 driver could have, whether or not a UART
// answers there; sysfs "type" is 0 (PORT_UNKNOWN) for the empty ones. Without sysfs we
// cannot tell, so the device is kept.
bool LooksLikePresentPort(const std::string& path) {
    if (access(path.c_str(), F_OK) != 0) {
        return false;
    }
    const std::string::size_type slash = path.rfind('/');
    const std::string name = path.substr(slash + 1);
    if (name.rfind("ttyS", 0) != 0) {
        return true;
    }
    FILE* type = std::fopen(("/sys/class/tty/" + name + "/type").c_str(), "r");
    if (type == nullptr) {
        return true;
    }
    int value = -1;
    const int read = std::fscanf(type, "%d", &value);
    std::fclose(type);
    return read != 1 || value != 0;
}

// Display names are for the user only; bytes outside ASCII become '?'.
std::u16string DisplayName(uint32_t port, const std::string& path) {
    const std::string text = "COM" + std::to_string(port) + " (" + path + ")";
    std::u16string wide;
    for (unsigned char c : text) {
        wide.push_back(c < 0x80 ? char16_t(c) : u'?');
    }
    return wide;
}

bool ConfigureLine(int fd) {
    termios tio{};
    if (tcgetattr(fd, &tio) != 0) {
        return false;
    }
    cfmakeraw(&tio);
    tio.c_cflag &= ~tcflag_t(CSTOPB | PARENB | CRTSCTS | CSIZE);
    tio.c_cflag |= tcflag_t(CS8 | CLOCAL | CREAD);
    tio.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;
    if (cfsetispeed(&tio, B115200) != 0 || cfsetospeed(&tio, B115200) != 0) {
        return false;
    }
    if (tcsetattr(fd, TCSANOW, &tio) != 0) {
        return false;
    }
    // Phone cables often draw power from DTR and RTS, and phones ignore a terminal whose
    // DTR is low. Pseudo-terminals have no modem lines; that refusal is harmless.
    int lines = TIOCM_DTR | TIOCM_RTS;
    (void)ioctl(fd, TIOCMBIS, &lines);
    (void)tcflush(fd, TCIOFLUSH);
    return true;
}

int Descriptor(intptr_t handle) {
    return handle > 0 && handle <= INT_MAX ? int(handle - 1) : -1;
}

}  // namespace

TARNIK_LINK_EXPORT int32_t libEnumPorts(LinkUIntArray* numbers, LinkWStringArray* names) {
    int32_t count = 0;
    for (uint32_t port = 1; port <= kMaxPort; ++port) {
        bool fromEnvironment = false;
        const std::string path = DevicePath(port, &fromEnvironment);
        if (path.empty() || !(fromEnvironment || LooksLikePresentPort(path))) {
            continue;
        }
        if (numbers != nullptr && numbers->append != nullptr) {
            numbers->append(numbers->self, port);
        }
        if (names != nullptr && names->append != nullptr) {
            names->append(names->self, DisplayName(port, path).c_str());
        }
        ++count;
    }
    return count;
}

TARNIK_LINK_EXPORT intptr_t libPortOpen(uint32_t port) {
    bool fromEnvironment = false;
    const std::string path = DevicePath(port, &fromEnvironment);
    if (path.empty()) {
        return kLinkComClosed;
    }
    const int fd = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return kLinkComClosed;
    }
    if (!ConfigureLine(fd)) {
        close(fd);
        return kLinkComClosed;
    }
    return intptr_t(fd) + 1;
}

TARNIK_LINK_EXPORT int32_t libPortClose(intptr_t handle) {
    const int fd = Descriptor(handle);
    return fd >= 0 && close(fd) == 0 ? 0 : -1;
}

TARNIK_LINK_EXPORT int32_t libPortRead(intptr_t handle, void* buffer, uint32_t size) {
    const int fd = Descriptor(handle);
    if (fd < 0 || buffer == nullptr) {
        return -1;
    }
    const size_t wanted = size < uint32_t(INT32_MAX) ? size : size_t(INT32_MAX);
    ssize_t got;
    do {
        got = read(fd, buffer, wanted);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : -1;
    }
    return int32_t(got);
}

TARNIK_LINK_EXPORT int32_t libPortWrite(intptr_t handle, const void* data, uint32_t length) {
    const int fd = Descriptor(handle);
    if (fd < 0 || (data == nullptr && length != 0)) {
        return -1;
    }
    // 2 s plus 1 ms a byte: an AT line or a PDU leaves at 115200 baud within milliseconds.
    using Clock = std::chrono::steady_clock;
    const auto deadline =
        Clock::now() + std::chrono::milliseconds(2000) + std::chrono::milliseconds(length);
    const auto* bytes = static_cast<const unsigned char*>(data);
    uint32_t sent = 0;
    while (sent < length) {
        const ssize_t put = write(fd, bytes + sent, length - sent);
        if (put > 0) {
            sent += uint32_t(put);
            continue;
        }
        if (put < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            break;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            break;
        }
        pollfd wait{fd, POLLOUT, 0};
        (void)poll(&wait, 1, int(left.count() < 1000 ? left.count() : 1000));
    }
    return sent > 0 || length == 0 ? int32_t(sent) : -1;
}

static_assert(std::is_same_v<decltype(&libEnumPorts), LibEnumPortsFn>);
static_assert(std::is_same_v<decltype(&libPortOpen), LibPortOpenFn>);
static_assert(std::is_same_v<decltype(&libPortClose), LibPortCloseFn>);
static_assert(std::is_same_v<decltype(&libPortRead), LibPortReadFn>);
static_assert(std::is_same_v<decltype(&libPortWrite), LibPortWriteFn>);
