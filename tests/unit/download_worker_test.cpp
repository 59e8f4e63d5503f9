#include "download/download_worker.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/link_fakes.h"
#include "tests/unit/marked_texts.h"
#include "tests/unit/pdu_builders.h"

namespace tarnik {
namespace {

using test::Deliver7Bit;
using test::EmulatedPhone;
using test::FakeClock;
using test::FakeLibrary;
using test::FakeModules;
using Events = std::vector<std::u16string>;

// The windows as the worker leaves them, and every operation in the order it came.
class RecordingUi final : public DownloadUi {
public:
    void Attach() override { events.push_back(u"attach"); }
    void Detach() override { events.push_back(u"detach"); }
    void ShowStatus(const std::u16string& text) override { events.push_back(text); }
    void ClearList() override { events.push_back(u"clear"); }
    void FillList(const std::vector<MessageGroup>& groups) override {
        events.push_back(u"fill");
        if (fillFails)
            throw std::runtime_error("list view gone");
        filled = &groups;
    }
    void ReleaseThreadHandle() override { events.push_back(u"release thread handle"); }
    void ReenableWindows() override { events.push_back(u"reenable"); }
    void EndChooser(int result) override {
        events.push_back(u"end " + std::u16string(1, static_cast<char16_t>(u'0' + result)));
    }

    Events events;
    const std::vector<MessageGroup>* filled = nullptr;
    bool fillFails = false;
};

// A configuration line per stored PDU of one storage.
std::string Stored(const char* storage, const std::vector<std::string>& pdus) {
    std::string config = std::string("[storage ") + storage + "]\n";
    for (const std::string& pdu : pdus)
        config += "pdu = 1 " + pdu + "\n";
    return config;
}

struct Download {
    FakeModules modules;
    FakeClock clock;
    std::optional<EmulatedPhone> phone;
    test::MarkedTexts texts;
    RecordingUi ui;
    std::vector<MessageGroup> groups = std::vector<MessageGroup>(2);  // a previous result
    GsmProfile profile{kConnectionCom, 4, {}, 0, 0, 0};

    explicit Download(const std::string& config = "") { Phone(config); }
    void Phone(const std::string& config, FakeLibrary* lib = nullptr) {
        phone.emplace(clock, config);
        phone->Attach(lib != nullptr ? *lib : modules.com());
    }

    bool Run() {
        ui.events.clear();
        DownloadEnvironment env{texts, clock, modules};
        return RunDownload(profile, groups, ui, env);
    }

    // Each row as "storage index:text".
    std::vector<std::string> Rows() const {
        std::vector<std::string> rows;
        for (const MessageGroup& group : groups) {
            if (group.parts.empty()) {
                rows.push_back("(no parts)");  // only a group left from before the run
                continue;
            }
            std::string text;
            for (const SmsPdu& part : group.parts)
                text += part.text;
            rows.push_back(group.parts.front().storage + " " + group.parts.front().index + ":" +
                           text);
        }
        return rows;
    }
};

// The start every run shares, the middle given, then the end of a success or a failure.
Events Expect(Events middle, bool success) {
    Events all = {u"attach", u"[1028]Inicjalizacja...", u"clear"};
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), {u"[1036]Zakończono.", u"detach", u"release thread handle", u"reenable"});
    if (success)
        all.push_back(u"end 1");
    return all;
}

Events Connected(Events listings) {
    Events middle = {u"[1029]Łączenie..."};
    middle.insert(middle.end(), listings.begin(), listings.end());
    middle.insert(middle.end(),
                  {u"[1034]Łączenie długich wiadomości...", u"[1035]Ładuję...", u"fill"});
    return middle;
}

const std::u16string kMtListing = u"[1033]Pobieram listę z urządzenia...";
const std::u16string kMeListing = u"[1030]Pobieram listę z telefonu...";
const std::u16string kSmListing = u"[1032]Pobieram listę z karty SIM...";
const std::u16string kParsing = u"[1031]Przetwarzam...";
// Every command the worker writes, each ended by CR alone.
const std::string kAt = "AT\r";
const std::string kMt = "AT+CPMS=\"MT\"\r";
const std::string kMe = "AT+CPMS=\"ME\"\r";
const std::string kSm = "AT+CPMS=\"SM\"\r";
const std::string kList = "AT+CMGL=4\r";

TEST(RunDownload, Storages) {
    const std::string me = Stored("ME", {Deliver7Bit("me")});
    const std::string sm = Stored("SM", {Deliver7Bit("sm")});
    const struct {
        const char* name;
        std::string phone;
        std::string written;
        Events events;
        std::vector<std::string> rows;
        bool success;
    } cases[] = {
        {"MT accepted: listed once, ME and SM never selected",
         me + sm,
         kAt + kMt + kList,
         Expect(Connected({kMtListing, kParsing}), true),
         {"MT 1:me", "MT 51:sm"},
         true},
        {"MT refused: ME records, then SM records; a long message joins across them",
         "refuse_storage = MT\n" +
             Stored("ME", {Deliver7Bit("both"), Deliver7Bit("Ala ma ", 7, 2, 1)}) +
             Stored("SM", {Deliver7Bit("kota", 7, 2, 2), Deliver7Bit("both")}),
         kAt + kMt + kMe + kList + kSm + kList,
         Expect(Connected({kMeListing, kParsing, kSmListing, kParsing}), true),
         {"ME 1:both", "ME 2:Ala ma kota", "SM 2:both"},
         true},
        {"MT unanswered, ME refused: SM alone",
         "refuse_storage = ME\n" + sm + "[fault]\nsilence = AT+CPMS=\"MT\"\n",
         kAt + kMt + kMe + kSm + kList,
         Expect(Connected({kSmListing, kParsing}), true),
         {"SM 1:sm"},
         true},
        {"all three storages refused: a success with an empty list",
         "refuse_storage = MT ME SM\n" + me,
         kAt + kMt + kMe + kSm,
         Expect(Connected({}), true),
         {},
         true},
        {"ERROR to the MT listing",
         me + "[fault]\nerror = AT+CMGL=4\n",
         kAt + kMt + kList,
         Expect(Connected({kMtListing}), true),
         {},
         true},
        {"ERROR to the ME and SM listings",
         "refuse_storage = MT\n" + me + sm + "[fault]\nerror = AT+CMGL=4\n",
         kAt + kMt + kMe + kList + kSm + kList,
         Expect(Connected({kMeListing, kSmListing}), true),
         {},
         true},
        {"ERROR to ME's listing only skips ME",
         "refuse_storage = MT\n" + me + sm + "[fault]\nerror = 1 AT+CMGL=4\n",
         kAt + kMt + kMe + kList + kSm + kList,
         Expect(Connected({kMeListing, kSmListing, kParsing}), true),
         {"SM 1:sm"},
         true},
        {"no answer to AT: a failure",
         me + "[fault]\nsilence = AT\n",
         kAt,
         Expect({u"[1029]Łączenie..."}, false),
         {},
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Download d(c.phone);
        EXPECT_EQ(d.Run(), c.success);
        EXPECT_EQ(d.modules.com().written, c.written);
        EXPECT_EQ(d.ui.events, c.events);
        EXPECT_EQ(d.Rows(), c.rows);
        EXPECT_EQ(d.modules.com().calls.back(), "close");
        if (c.success) {
            EXPECT_EQ(d.ui.filled, &d.groups);  // the list view shows the groups it was given
        }
    }
}

// The profile numbers its kinds 0 Bluetooth, 1 IrDA, 2 COM; only that library is loaded,
// and a kind outside them, or a library that is missing, ends the run before a word.
TEST(RunDownload, OpensTheProfilesLink) {
    const struct {
        uint8_t kind;
        const char* missing;
        FakeLibrary& (FakeModules::*lib)();
        std::vector<std::string> loads;
        uint64_t openedWith;
    } cases[] = {
        {kConnectionBluetooth, "", &FakeModules::bt, {"load linkbt.mdl"}, 0x0011223344556677ull},
        {kConnectionIrda, "", &FakeModules::ir, {"load linkir.mdl"}, 0},
        {kConnectionCom, "", &FakeModules::com, {"load linkcom.mdl"}, 4},
        {kConnectionCom, "linkcom.mdl", &FakeModules::com, {"load linkcom.mdl"}, 0},
        {3, "", &FakeModules::com, {}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << int(c.kind) << " " << c.missing);
        Download d;
        FakeLibrary& lib = (d.modules.*c.lib)();
        d.Phone(Stored("ME", {Deliver7Bit("me")}), &lib);
        d.modules.missingLibraries[c.missing] = 1;
        d.profile.connectionKind = c.kind;
        d.profile.SetBtAddress(0x0011223344556677ull);
        const bool opened = c.openedWith != 0 || c.kind == kConnectionIrda;
        EXPECT_EQ(d.Run(), opened);
        std::vector<std::string> loads;
        for (const std::string& event : d.modules.events) {
            if (event.rfind("load ", 0) == 0)
                loads.push_back(event);
        }
        EXPECT_EQ(loads, c.loads);
        EXPECT_EQ(lib.openedWith, c.openedWith);
        EXPECT_EQ(lib.written.empty(), !opened);
        EXPECT_EQ(d.Rows(),
                  opened ? std::vector<std::string>{"MT 1:me"} : std::vector<std::string>{});
        if (!opened) {
            EXPECT_EQ(d.ui.events,
                      Expect(c.loads.empty() ? Events{} : Events{u"[1029]Łączenie..."}, false));
        }
    }
}

// Nothing may leave the worker's thread, and the chooser must get its controls back.
TEST(RunDownload, AThrowingWindowEndsTheRunAsAFailure) {
    Download d(Stored("ME", {Deliver7Bit("me")}));
    d.ui.fillFails = true;
    EXPECT_FALSE(d.Run());
    const Events tail(d.ui.events.end() - 5, d.ui.events.end());
    EXPECT_EQ(tail, (Events{u"fill", u"[1036]Zakończono.", u"detach", u"release thread handle",
                            u"reenable"}));
    EXPECT_EQ(d.modules.com().calls.back(), "close");
}

TEST(RunDownload, ASecondRunReplacesTheFirstResult) {
    Download d(Stored("ME", {Deliver7Bit("first"), Deliver7Bit("again")}));
    EXPECT_TRUE(d.Run());
    EXPECT_EQ(d.Rows(), (std::vector<std::string>{"MT 1:first", "MT 2:again"}));

    d.Phone(Stored("SM", {Deliver7Bit("second")}));
    EXPECT_TRUE(d.Run());
    EXPECT_EQ(d.Rows(), (std::vector<std::string>{"MT 51:second"}));

    d.Phone("[fault]\nsilence = AT\n");
    EXPECT_FALSE(d.Run());
    EXPECT_TRUE(d.groups.empty());
    EXPECT_EQ(d.ui.events[2], u"clear");
}

}  // namespace
}  // namespace tarnik
