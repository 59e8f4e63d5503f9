// The link libraries as the plug-in meets them on Linux: loaded with dlopen from the folder
// of the running program, looked up by name, and linkcom.mdl driven over a pseudo-terminal
// that stands in for the phone.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "link/link_library_abi.h"
#include "tests/enumerated_ports.h"

namespace {

std::string ProgramFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0) {
        return ".";
    }
    std::string text(path, size_t(length));
    return text.substr(0, text.rfind('/'));
}

class Library {
public:
    explicit Library(const char* file)
        : handle_(dlopen((ProgramFolder() + "/" + file).c_str(), RTLD_NOW | RTLD_LOCAL)) {}
    ~Library() {
        if (handle_ != nullptr) {
            dlclose(handle_);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    bool loaded() const { return handle_ != nullptr; }
    void* symbol(const char* name) const { return dlsym(handle_, name); }
    template <typename Fn>
    Fn get(const char* name) const {
        return reinterpret_cast<Fn>(symbol(name));
    }

private:
    void* handle_;
};

const char* const kAllExports[] = {"libEnumDevices", "libEnumPorts", "libPortOpen",
                                   "libPortClose",   "libPortRead",  "libPortWrite"};

struct ExportCase {
    const char* file;
    std::vector<std::string> exports;
};

const ExportCase kExportCases[] = {
    {"linkbt.mdl",
     {"libEnumDevices", "libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
    {"linkir.mdl", {"libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
    {"linkcom.mdl", {"libEnumPorts", "libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
};

TEST(LinkLibraryExports, EachLibraryHasExactlyItsCalls) {
    for (const ExportCase& c : kExportCases) {
        SCOPED_TRACE(c.file);
        Library library(c.file);
        ASSERT_TRUE(library.loaded()) << dlerror();
        for (const char* name : kAllExports) {
            const bool wanted =
                std::find(c.exports.begin(), c.exports.end(), name) != c.exports.end();
            EXPECT_EQ(library.symbol(name) != nullptr, wanted) << name;
        }
    }
}

// The native build has no radio stack: both radio libraries refuse plainly.
TEST(RadioLinks, NativeOpenFailsWithTheRadioClosedValue) {
    Library bt("linkbt.mdl");
    Library ir("linkir.mdl");
    ASSERT_TRUE(bt.loaded() && ir.loaded());
    EXPECT_EQ(bt.get<LibPortOpenBtFn>("libPortOpen")(0x0011223344556677ull), kLinkBtClosed);
    EXPECT_EQ(ir.get<LibPortOpenFn>("libPortOpen")(0), kLinkIrClosed);

    LinkDeviceRecord records[10];
    std::memset(records, 0xAB, sizeof(records));
    EXPECT_EQ(bt.get<LibEnumDevicesFn>("libEnumDevices")(nullptr, records, 10, 0), 0);
    EXPECT_EQ(records[0].address, 0xABABABABABABABABull) << "no device, no record written";
}

// One end of a pseudo-terminal is the phone; linkcom.mdl opens the other as COM7.
class ComLink : public ::testing::Test {
protected:
    static constexpr uint32_t kPort = 7;

    void SetUp() override {
        char name[PATH_MAX];
        ASSERT_EQ(openpty(&phone_, &slave_, name, nullptr, nullptr), 0);
        slavePath_ = name;
        setenv("TARNIK_COM7", name, 1);
        ASSERT_TRUE(library_.loaded()) << dlerror();
        open_ = library_.get<LibPortOpenFn>("libPortOpen");
        close_ = library_.get<LibPortCloseFn>("libPortClose");
        read_ = library_.get<LibPortReadFn>("libPortRead");
        write_ = library_.get<LibPortWriteFn>("libPortWrite");
        enum_ = library_.get<LibEnumPortsFn>("libEnumPorts");
        ASSERT_TRUE(open_ && close_ && read_ && write_ && enum_);
    }
    void TearDown() override {
        unsetenv("TARNIK_COM7");
        close(phone_);
        close(slave_);
    }

    // What the phone side receives within a generous bound.
    std::string PhoneReads(size_t wanted) {
        std::string got;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (got.size() < wanted && std::chrono::steady_clock::now() < deadline) {
            pollfd wait{phone_, POLLIN, 0};
            if (poll(&wait, 1, 100) == 1) {
                char chunk[256];
                const ssize_t n = read(phone_, chunk, sizeof(chunk));
                if (n > 0) {
                    got.append(chunk, size_t(n));
                }
            }
        }
        return got;
    }
    bool PhoneHasNothingWaiting() {
        pollfd wait{phone_, POLLIN, 0};
        return poll(&wait, 1, 200) == 0;
    }
    void PhoneWrites(const std::string& text) {
        ASSERT_EQ(write(phone_, text.data(), text.size()), ssize_t(text.size()));
    }
    // Polls the library as the plug-in does until `wanted` bytes came or a bound passed.
    std::string PortReads(intptr_t port, size_t wanted) {
        std::string got;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (got.size() < wanted && std::chrono::steady_clock::now() < deadline) {
            char buffer[256] = {};
            const int32_t n = read_(port, buffer, 255);
            if (n > 0) {
                got.append(buffer, size_t(n));
            } else {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        }
        return got;
    }

    Library library_{"linkcom.mdl"};
    LibPortOpenFn open_ = nullptr;
    LibPortCloseFn close_ = nullptr;
    LibPortReadFn read_ = nullptr;
    LibPortWriteFn write_ = nullptr;
    LibEnumPortsFn enum_ = nullptr;
    int phone_ = -1;
    int slave_ = -1;
    std::string slavePath_;
};

TEST_F(ComLink, ReadWithNothingWaitingReturnsAtOnce) {
    const intptr_t port = open_(kPort);
    ASSERT_NE(port, kLinkComClosed);
    char buffer[256] = {};
    // A blocking read would hang here; the test's time limit would catch it.
    EXPECT_LE(read_(port, buffer, 255), 0);
    EXPECT_EQ(buffer[0], 0);
    EXPECT_EQ(close_(port), 0);
}

// Bytes must cross unchanged in both directions: a terminal left in its cooked defaults
// would turn CR into LF, hold a prompt without line end, or echo the phone's text back.
TEST_F(ComLink, BytesCrossUnchangedBothWays) {
    struct Exchange {
        const char* name;
        std::string sent;
        std::string answer;
    };
    const Exchange exchanges[] = {
        {"command and OK", "AT\r", "\r\nOK\r\n"},
        {"send prompt without line end", "AT+CMGS=23\r", "\r\n> "},
        {"PDU ended by Ctrl-Z, line feed kept", std::string("0011\n00\x1a", 8),
         "\r\n+CMGS: 5\r\n\r\nOK\r\n"},
        {"control bytes and high bytes", std::string("\x03\x11\x13\x7f\xff\x00.", 7),
         std::string("\x04\x1a\x1c\x13\x11\x80\x00\xfe", 8)},
    };
    const intptr_t port = open_(kPort);
    ASSERT_NE(port, kLinkComClosed);
    for (const Exchange& e : exchanges) {
        SCOPED_TRACE(e.name);
        EXPECT_EQ(write_(port, e.sent.data(), uint32_t(e.sent.size())), int32_t(e.sent.size()));
        EXPECT_EQ(PhoneReads(e.sent.size()), e.sent);
        PhoneWrites(e.answer);
        EXPECT_EQ(PortReads(port, e.answer.size()), e.answer);
        EXPECT_TRUE(PhoneHasNothingWaiting()) << "the port echoed the phone's text";
    }
    EXPECT_EQ(close_(port), 0);
}

TEST_F(ComLink, OpenFailsWithZeroForPortsThatCannotBeOpened) {
    struct Case {
        const char* name;
        uint32_t port;
        const char* device;  // TARNIK_COM<port>, or null to leave it unset
    };
    const Case cases[] = {
        {"device path that does not exist", 9, "/nonexistent/tarnik-com9"},
        {"not a terminal", 9, "/dev/null"},
        {"port 0", 0, nullptr},
        {"beyond the profile's byte", 256, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        if (c.device != nullptr) {
            setenv("TARNIK_COM9", c.device, 1);
        }
        const intptr_t port = open_(c.port);
        EXPECT_EQ(port, kLinkComClosed);
        if (port != kLinkComClosed) {
            close_(port);
        }
        unsetenv("TARNIK_COM9");
    }
}

TEST_F(ComLink, EnumerationListsTheConfiguredPortWithItsName) {
    tarnik::test::EnumeratedPorts ports;
    const std::vector<uint32_t>& numbers = ports.numbers;
    const std::vector<std::u16string>& names = ports.names;
    const int32_t count = enum_(&ports.numberArray, &ports.nameArray);

    ASSERT_EQ(numbers.size(), names.size());
    EXPECT_EQ(count, int32_t(numbers.size()));
    for (size_t i = 1; i < numbers.size(); ++i) {
        EXPECT_LT(numbers[i - 1], numbers[i]) << "ports listed once, in order";
    }
    const auto at = std::find(numbers.begin(), numbers.end(), kPort);
    ASSERT_NE(at, numbers.end());
    const std::u16string& name = names[size_t(at - numbers.begin())];
    std::u16string expected = u"COM7 (";
    for (char c : slavePath_) {
        expected.push_back(char16_t(c));
    }
    expected += u")";
    EXPECT_TRUE(name == expected);
}

}  // namespace
