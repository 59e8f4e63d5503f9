// The link libraries as the plug-in meets them, built natively and for Windows: loaded by the
// plug-in's own loader (by bare name on Windows, from the program's folder natively), and
// linkcom.mdl in front of the emulated phone, which link_libraries_driver.py puts behind a
// COM port (TARNIK_TEST_COM_* name the ports it set up).
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "link/link_library_abi.h"
#include "link/os_seams.h"
#include "tests/enumerated_ports.h"
#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <termios.h>
#endif

namespace {

template <typename Fn>
Fn Export(const char* file, const char* name) {
    void* module = tarnik::SystemModules().Load(file);  // kept for the whole run
    return module != nullptr ? reinterpret_cast<Fn>(tarnik::SystemModules().Find(module, name))
                             : nullptr;
}

const char* Setting(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

uint32_t Port(const char* name) {
    return uint32_t(std::strtoul(Setting(name), nullptr, 10));
}

// Neither radio exists here (no stack natively, no Winsock provider under Wine): opens fail
// with the radio's closed value, and the enumeration finds nothing and writes nothing, not
// into the records, not past them, not into the combo box the settings dialog passes on
// Windows.
TEST(RadioLinks, WithoutARadioOpenFailsAndNothingIsFound) {
    const auto openBt = Export<LibPortOpenBtFn>("linkbt.mdl", "libPortOpen");
    const auto openIr = Export<LibPortOpenFn>("linkir.mdl", "libPortOpen");
    const auto enumerate = Export<LibEnumDevicesFn>("linkbt.mdl", "libEnumDevices");
    ASSERT_TRUE(openBt && openIr && enumerate);
    EXPECT_EQ(openBt(0x0011223344556677ull), kLinkBtClosed);
    EXPECT_EQ(openIr(0), kLinkIrClosed);

    void* combo = nullptr;
#ifdef _WIN32
    combo = CreateWindowExW(0, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_POPUP, 0, 0, 200, 200,
                            nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(combo, nullptr);
#endif
    LinkDeviceRecord records[11];  // the dialog's room for 10, and one past it
    std::memset(records, 0xAB, sizeof(records));
    EXPECT_EQ(enumerate(combo, records, 10, 0), 0);
    for (const LinkDeviceRecord& record : records) {
        EXPECT_EQ(record.address, 0xABABABABABABABABull);
    }
#ifdef _WIN32
    EXPECT_EQ(SendMessageW(HWND(combo), CB_GETCOUNT, 0, 0), 0);
    DestroyWindow(HWND(combo));
#endif
}

class ComLink : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(phone_, 0u) << "run by link_libraries_driver.py";
        ASSERT_TRUE(open_ && close_ && read_ && write_ && enum_);
    }

    // Polls as the plug-in does until `wanted` bytes came or ten seconds passed.
    std::string PortReads(intptr_t port, size_t wanted) {
        std::string got;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (got.size() < wanted && std::chrono::steady_clock::now() < end) {
            char buffer[256];
            const int32_t n = read_(port, buffer, 255);
            if (n > 0) {
                got.append(buffer, size_t(n));
            } else {
                tarnik::SystemClock().Sleep(10);
            }
        }
        return got;
    }

    const uint32_t phone_ = Port("TARNIK_TEST_COM_PORT");
    const LibPortOpenFn open_ = Export<LibPortOpenFn>("linkcom.mdl", "libPortOpen");
    const LibPortCloseFn close_ = Export<LibPortCloseFn>("linkcom.mdl", "libPortClose");
    const LibPortReadFn read_ = Export<LibPortReadFn>("linkcom.mdl", "libPortRead");
    const LibPortWriteFn write_ = Export<LibPortWriteFn>("linkcom.mdl", "libPortWrite");
    const LibEnumPortsFn enum_ = Export<LibEnumPortsFn>("linkcom.mdl", "libEnumPorts");
};

TEST_F(ComLink, OpenFailsWithZeroWhereNoTerminalAnswers) {
    for (uint32_t port :
         {0u, 256u, Port("TARNIK_TEST_COM_MISSING"), Port("TARNIK_TEST_COM_NOT_TERMINAL")}) {
        const intptr_t handle = open_(port);
        EXPECT_EQ(handle, kLinkComClosed) << "COM" << port;
        if (handle != kLinkComClosed) {
            close_(handle);
        }
    }
}

TEST_F(ComLink, EnumerationListsEachPortOnceInOrderWithItsName) {
    tarnik::test::EnumeratedPorts ports;
    const int32_t count = enum_(&ports.numberArray, &ports.nameArray);
    const auto& numbers = ports.numbers;
    ASSERT_EQ(ports.names.size(), numbers.size());
    EXPECT_EQ(count, int32_t(numbers.size()));
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end(), std::greater_equal<>()),
              numbers.end());
    EXPECT_EQ(std::find(numbers.begin(), numbers.end(), Port("TARNIK_TEST_COM_MISSING")),
              numbers.end());
    const auto at = std::find(numbers.begin(), numbers.end(), phone_);
    ASSERT_NE(at, numbers.end());
    const std::u16string& name = ports.names[size_t(at - numbers.begin())];
    const std::string wanted = Setting("TARNIK_TEST_COM_NAME");
    EXPECT_TRUE(name == std::u16string(wanted.begin(), wanted.end()))
        << std::string(name.begin(), name.end());
}

// The phone, echo on, answers each line below, and echoes the bytes after a prompt back
// as they came. They must cross unchanged both ways: a line left in a terminal's cooked
// defaults would turn CR into LF, hold a prompt without line end, act on control bytes,
// strip the high bit, or echo the phone's text back (the driver checks what it heard).
TEST_F(ComLink, ConversationWithThePhone) {
    const intptr_t port = open_(phone_);
    ASSERT_NE(port, kLinkComClosed);
    // The plug-in polls and keeps its own time-outs: a read with nothing waiting must return
    // at once, without touching the buffer. The port is asked how it was set up rather than
    // timed, since a read that waits still returns nothing.
#ifdef _WIN32
    COMMTIMEOUTS timeouts{};
    ASSERT_TRUE(GetCommTimeouts(reinterpret_cast<HANDLE>(port), &timeouts));
    EXPECT_EQ(timeouts.ReadIntervalTimeout, MAXDWORD);
    EXPECT_EQ(timeouts.ReadTotalTimeoutMultiplier + timeouts.ReadTotalTimeoutConstant, 0u);
#else
    termios tio{};
    ASSERT_EQ(tcgetattr(int(port - 1), &tio), 0);  // the handle is the descriptor plus one
    EXPECT_EQ(tio.c_cc[VMIN] + tio.c_cc[VTIME], 0);
    EXPECT_NE(fcntl(int(port - 1), F_GETFL) & O_NONBLOCK, 0);
#endif
    char buffer[256] = {};
    EXPECT_LE(read_(port, buffer, 255), 0);
    EXPECT_EQ(buffer[0], 0);

    const std::string pdu = "00112F0B918406214365F70000AA04\nD4F29C0E";
    const std::string bytes("\x03\x04\x11\x13\x1c\x7f\x80\xff\x00\r\n.", 12);
    const struct {
        std::string sent;
        std::string answer;
    } exchanges[] = {
        {"AT\r", "AT\r\r\nOK\r\n"},
        {"AT+CMGS=18\r", "AT+CMGS=18\r\r\n> "},
        {pdu + "\x1a", pdu + "\r\n+CMGS: 1\r\n\r\nOK\r\n"},
        {"AT+CMGS=9\r", "AT+CMGS=9\r\r\n> "},
        {bytes + "\x1a", bytes + "\r\n+CMS ERROR: 304\r\n"},
    };
    for (const auto& e : exchanges) {
        EXPECT_EQ(write_(port, e.sent.data(), uint32_t(e.sent.size())), int32_t(e.sent.size()));
        EXPECT_EQ(PortReads(port, e.answer.size()), e.answer);
    }
    EXPECT_EQ(close_(port), 0);
}

}  // namespace
