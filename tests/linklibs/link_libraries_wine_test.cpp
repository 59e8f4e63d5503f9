// The link libraries as the plug-in meets them on Windows: loaded by bare file name with
// LoadLibraryW (this program sits in the libraries' folder, the first place Windows looks),
// entry points found with GetProcAddress. Under Wine neither radio exists; the COM port is
// the emulated phone's pseudo-terminal, which wine_com_driver.py links in as COM<n>.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "link/link_library_abi.h"
#include "tests/enumerated_ports.h"

namespace {

class Library {
public:
    explicit Library(const wchar_t* file) : module_(LoadLibraryW(file)) {}
    ~Library() {
        if (module_ != nullptr) {
            FreeLibrary(module_);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    bool loaded() const { return module_ != nullptr; }
    FARPROC symbol(const char* name) const { return GetProcAddress(module_, name); }
    template <typename Fn>
    Fn get(const char* name) const {
        return reinterpret_cast<Fn>(reinterpret_cast<void*>(symbol(name)));
    }

private:
    HMODULE module_;
};

const char* const kAllExports[] = {"libEnumDevices", "libEnumPorts", "libPortOpen",
                                   "libPortClose",   "libPortRead",  "libPortWrite"};

struct ExportCase {
    const wchar_t* file;
    std::vector<std::string> exports;
};

TEST(LinkLibraryExports, EachLibraryLoadsByBareNameWithExactlyItsCalls) {
    const ExportCase cases[] = {
        {L"linkbt.mdl",
         {"libEnumDevices", "libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
        {L"linkir.mdl", {"libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
        {L"linkcom.mdl",
         {"libEnumPorts", "libPortOpen", "libPortClose", "libPortRead", "libPortWrite"}},
    };
    for (const ExportCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.exports.size() << " exports expected");
        Library library(c.file);
        ASSERT_TRUE(library.loaded()) << "LoadLibraryW error " << GetLastError();
        for (const char* name : kAllExports) {
            const bool wanted =
                std::find(c.exports.begin(), c.exports.end(), name) != c.exports.end();
            EXPECT_EQ(library.symbol(name) != nullptr, wanted) << name;
        }
    }
}

// Wine has neither a Bluetooth nor an IrDA Winsock provider, so both opens must fail with
// -1, promptly and without touching the caller's memory.
TEST(RadioLinks, OpenWithoutRadioFailsWithMinusOne) {
    Library bt(L"linkbt.mdl");
    Library ir(L"linkir.mdl");
    ASSERT_TRUE(bt.loaded() && ir.loaded());
    EXPECT_EQ(bt.get<LibPortOpenBtFn>("libPortOpen")(0x0011223344556677ull), kLinkBtClosed);
    EXPECT_EQ(ir.get<LibPortOpenFn>("libPortOpen")(0), kLinkIrClosed);
}

// The settings dialog passes room for 10 records; no more may be written.
TEST(RadioLinks, DeviceEnumerationStaysWithinMaxCount) {
    Library bt(L"linkbt.mdl");
    ASSERT_TRUE(bt.loaded());
    LinkDeviceRecord records[11];
    std::memset(records, 0xAB, sizeof(records));
    const int32_t found = bt.get<LibEnumDevicesFn>("libEnumDevices")(nullptr, records, 10, 0);
    EXPECT_GE(found, 0);
    EXPECT_LE(found, 10);
    EXPECT_EQ(records[10].address, 0xABABABABABABABABull) << "wrote past maxCount";
}

// Entry i of the combo box belongs to record i.
TEST(RadioLinks, DeviceEnumerationAddsOneComboBoxEntryPerDevice) {
    Library bt(L"linkbt.mdl");
    ASSERT_TRUE(bt.loaded());
    const HWND combo = CreateWindowExW(0, L"COMBOBOX", L"", CBS_DROPDOWNLIST | WS_POPUP, 0, 0, 200,
                                       200, nullptr, nullptr, nullptr, nullptr);
    if (combo == nullptr) {
        GTEST_SKIP() << "no window can be made here (Wine without a display)";
    }
    LinkDeviceRecord records[10];
    const int32_t found = bt.get<LibEnumDevicesFn>("libEnumDevices")(combo, records, 10, 0);
    EXPECT_EQ(SendMessageW(combo, CB_GETCOUNT, 0, 0), LRESULT(found));
    DestroyWindow(combo);
}

// Set by wine_com_driver.py: the port of the emulated phone, and one that does not exist.
uint32_t PortFromEnvironment(const char* variable) {
    const char* text = std::getenv(variable);
    return text != nullptr ? uint32_t(std::strtoul(text, nullptr, 10)) : 0;
}

class ComLink : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = PortFromEnvironment("TARNIK_TEST_COM_PORT");
        missing_ = PortFromEnvironment("TARNIK_TEST_COM_MISSING");
        if (port_ == 0 || missing_ == 0) {
            GTEST_SKIP() << "needs wine_com_driver.py";
        }
        ASSERT_TRUE(library_.loaded());
        open_ = library_.get<LibPortOpenFn>("libPortOpen");
        close_ = library_.get<LibPortCloseFn>("libPortClose");
        read_ = library_.get<LibPortReadFn>("libPortRead");
        write_ = library_.get<LibPortWriteFn>("libPortWrite");
        enum_ = library_.get<LibEnumPortsFn>("libEnumPorts");
        ASSERT_TRUE(open_ && close_ && read_ && write_ && enum_);
    }

    // Polls as the plug-in does until `wanted` bytes came or ten seconds passed.
    std::string PortReads(intptr_t port, size_t wanted) {
        std::string got;
        const DWORD start = GetTickCount();
        while (got.size() < wanted && GetTickCount() - start < 10000) {
            char buffer[256] = {};
            const int32_t n = read_(port, buffer, 255);
            if (n > 0) {
                got.append(buffer, size_t(n));
            } else {
                Sleep(20);
            }
        }
        return got;
    }

    Library library_{L"linkcom.mdl"};
    LibPortOpenFn open_ = nullptr;
    LibPortCloseFn close_ = nullptr;
    LibPortReadFn read_ = nullptr;
    LibPortWriteFn write_ = nullptr;
    LibEnumPortsFn enum_ = nullptr;
    uint32_t port_ = 0;
    uint32_t missing_ = 0;
};

TEST_F(ComLink, EnumerationListsThePortWithItsName) {
    tarnik::test::EnumeratedPorts ports;
    const std::vector<uint32_t>& numbers = ports.numbers;
    const std::vector<std::u16string>& names = ports.names;
    const int32_t count = enum_(&ports.numberArray, &ports.nameArray);
    EXPECT_EQ(count, int32_t(numbers.size()));
    ASSERT_EQ(numbers.size(), names.size());
    const auto at = std::find(numbers.begin(), numbers.end(), port_);
    ASSERT_NE(at, numbers.end());
    EXPECT_EQ(std::find(numbers.begin(), numbers.end(), missing_), numbers.end());
    const std::u16string& name = names[size_t(at - numbers.begin())];
    std::u16string plain = u"COM";
    for (char c : std::to_string(port_)) {
        plain.push_back(char16_t(c));
    }
    EXPECT_NE(name.find(plain), std::u16string::npos) << "the name shows the port";
}

TEST_F(ComLink, MissingPortFailsWithZero) {
    EXPECT_EQ(open_(missing_), kLinkComClosed);
}

// The emulated phone, echo on, answers each line below: the bytes must cross the port
// unchanged both ways (the LF inside the PDU, which the phone echoes, and the Ctrl-Z that
// ends it included), or the phone refuses the PDU or the answer differs.
TEST_F(ComLink, ConversationWithThePhone) {
    const intptr_t port = open_(port_);
    ASSERT_NE(port, kLinkComClosed);
    char buffer[256] = {};
    EXPECT_LE(read_(port, buffer, 255), 0) << "nothing waits yet";

    const std::string pdu = "00112F0B918406214365F70000AA04\nD4F29C0E";
    const struct {
        std::string sent;
        std::string answer;
    } exchanges[] = {
        {"AT\r", "AT\r\r\nOK\r\n"},
        {"AT+CMGS=18\r", "AT+CMGS=18\r\r\n> "},
        {pdu + "\x1a", pdu + "\r\n+CMGS: 1\r\n\r\nOK\r\n"},
    };
    for (const auto& e : exchanges) {
        EXPECT_EQ(write_(port, e.sent.data(), uint32_t(e.sent.size())), int32_t(e.sent.size()));
        EXPECT_EQ(PortReads(port, e.answer.size()), e.answer);
    }
    EXPECT_EQ(close_(port), 0);
}

}  // namespace
