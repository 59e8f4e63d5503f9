#include "download/download_worker.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/link_fakes.h"
#include "tests/unit/pdu_builders.h"

namespace tarnik {
namespace {

using test::Deliver7Bit;
using test::FakeClock;
using test::FakeLibrary;
using test::FakeModules;

// A phone whose storages each hold PDUs; a storage it does not have is refused, and so is
// the listing of one marked refused. Commands in `silentTo` get no answer at all.
struct ListingPhone {
    struct Storage {
        std::vector<std::string> pdus;
        bool refusesListing = false;
    };
    bool answersAt = true;
    std::map<std::string, Storage> storages;
    std::set<std::string> silentTo;

    std::vector<std::string> commands;

    void Attach(FakeLibrary& lib) {
        lib.onWrite = [this](FakeLibrary& l, const std::string& data) { Handle(l, data); };
    }

private:
    void Handle(FakeLibrary& lib, std::string data) {
        while (!data.empty() && data.back() == '\r')
            data.pop_back();
        commands.push_back(data);
        if (silentTo.count(data) != 0)
            return;
        const std::string echo = data + "\r";
        const std::string prefix = "AT+CPMS=\"";
        if (data == "AT") {
            if (answersAt)
                lib.reads.push_back(echo + "\r\nOK\r\n");
        } else if (data.rfind(prefix, 0) == 0) {
            const std::string name = data.substr(prefix.size(), 2);
            const bool has = storages.count(name) != 0;
            if (has)
                selected_ = name;
            lib.reads.push_back(echo + (has ? "\r\n+CPMS: 1,20,1,20,1,20\r\n\r\nOK\r\n"
                                            : "\r\n+CMS ERROR: 302\r\n"));
        } else if (data == "AT+CMGL=4" && !selected_.empty() &&
                   !storages[selected_].refusesListing) {
            std::string listing = echo + "\r\n";
            int index = 0;
            for (const std::string& pdu : storages[selected_].pdus) {
                listing += "+CMGL: " + std::to_string(++index) + ",1,," +
                           std::to_string(pdu.size() / 2 - 1) + "\r\n" + pdu + "\r\n";
            }
            lib.reads.push_back(listing + "\r\nOK\r\n");
        } else {
            lib.reads.push_back(echo + "\r\nERROR\r\n");
        }
    }

    std::string selected_;
};

// The windows as the worker leaves them, and every operation in the order it came.
class RecordingUi final : public DownloadUi {
public:
    void Attach() override { events.push_back(u"attach"); }
    void Detach() override { events.push_back(u"detach"); }
    void ShowStatus(const std::u16string& text) override { events.push_back(u"status " + text); }
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

    std::vector<std::u16string> events;
    const std::vector<MessageGroup>* filled = nullptr;
    bool fillFails = false;
};

// Statuses are translated: the run shows what the translator gives, not the default.
class Numbered final : public Translator {
public:
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        asked.push_back(id);
        return std::u16string(defaultText);
    }
    std::vector<uint32_t> asked;
};

struct Download {
    FakeModules modules;
    FakeClock clock;
    ListingPhone phone;
    Numbered texts;
    RecordingUi ui;
    std::vector<MessageGroup> groups = std::vector<MessageGroup>(2);  // a previous result
    GsmProfile profile{kConnectionCom, 4, {}, 0, 0, 0};

    Download() { phone.Attach(modules.com()); }

    bool Run() {
        ui.events.clear();
        DownloadEnvironment env{texts, clock, modules};
        return RunDownload(profile, groups, ui, env);
    }

    // Each row as "storage:text".
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
            rows.push_back(group.parts.front().storage + ":" + text);
        }
        return rows;
    }
};

using Events = std::vector<std::u16string>;

const std::u16string kFinishing[] = {u"status Zakończono.", u"detach", u"release thread handle",
                                     u"reenable"};

// The start every run shares, the middle given, then the end of a success or a failure.
Events Expect(std::vector<std::u16string> middle, bool success) {
    Events all = {u"attach", u"status Inicjalizacja...", u"clear"};
    all.insert(all.end(), middle.begin(), middle.end());
    all.insert(all.end(), std::begin(kFinishing), std::end(kFinishing));
    if (success)
        all.push_back(u"end 1");
    return all;
}

Events Connected(std::vector<std::u16string> listings) {
    Events middle = {u"status Łączenie..."};
    middle.insert(middle.end(), listings.begin(), listings.end());
    middle.insert(middle.end(),
                  {u"status Łączenie długich wiadomości...", u"status Ładuję...", u"fill"});
    return middle;
}

const std::string kMt = "AT+CPMS=\"MT\"";
const std::string kMe = "AT+CPMS=\"ME\"";
const std::string kSm = "AT+CPMS=\"SM\"";
const std::string kList = "AT+CMGL=4";

struct RunCase {
    const char* name;
    void (*setUp)(Download&);
    std::vector<std::string> commands;
    Events events;
    std::vector<std::string> rows;
    bool success;
};

TEST(RunDownload, Storages) {
    const RunCase cases[] = {
        {"MT accepted: listed once, ME and SM never selected",
         [](Download& d) {
             d.phone.storages["MT"].pdus = {Deliver7Bit("one"), Deliver7Bit("two")};
             d.phone.storages["ME"].pdus = {Deliver7Bit("me")};
             d.phone.storages["SM"].pdus = {Deliver7Bit("sm")};
         },
         {"AT", kMt, kList},
         Expect(Connected({u"status Pobieram listę z urządzenia...", u"status Przetwarzam..."}),
                true),
         {"MT:one", "MT:two"},
         true},
        {"MT refused: ME records, then SM records; a long message joins across them",
         [](Download& d) {
             d.phone.storages["ME"].pdus = {Deliver7Bit("both"), Deliver7Bit("Ala ma ", 7, 2, 1)};
             d.phone.storages["SM"].pdus = {Deliver7Bit("kota", 7, 2, 2), Deliver7Bit("both")};
         },
         {"AT", kMt, kMe, kList, kSm, kList},
         Expect(Connected({u"status Pobieram listę z telefonu...", u"status Przetwarzam...",
                           u"status Pobieram listę z karty SIM...", u"status Przetwarzam..."}),
                true),
         {"ME:both", "ME:Ala ma kota", "SM:both"},
         true},
        {"MT unanswered, ME refused: SM alone",
         [](Download& d) {
             d.phone.silentTo.insert(kMt);
             d.phone.storages["SM"].pdus = {Deliver7Bit("sm")};
         },
         {"AT", kMt, kMe, kSm, kList},
         Expect(Connected({u"status Pobieram listę z karty SIM...", u"status Przetwarzam..."}),
                true),
         {"SM:sm"},
         true},
        {"all three storages refused: a success with an empty list",
         [](Download&) {},
         {"AT", kMt, kMe, kSm},
         Expect(Connected({}), true),
         {},
         true},
        {"ERROR to the MT listing",
         [](Download& d) {
             d.phone.storages["MT"] = {{Deliver7Bit("mt")}, true};
             d.phone.storages["SM"].pdus = {Deliver7Bit("sm")};
         },
         {"AT", kMt, kList},
         Expect(Connected({u"status Pobieram listę z urządzenia..."}), true),
         {},
         true},
        {"ERROR to the ME and SM listings",
         [](Download& d) {
             d.phone.storages["ME"] = {{Deliver7Bit("me")}, true};
             d.phone.storages["SM"] = {{Deliver7Bit("sm")}, true};
         },
         {"AT", kMt, kMe, kList, kSm, kList},
         Expect(Connected({u"status Pobieram listę z telefonu...",
                           u"status Pobieram listę z karty SIM..."}),
                true),
         {},
         true},
        {"ERROR to ME's listing only skips ME",
         [](Download& d) {
             d.phone.storages["ME"] = {{Deliver7Bit("me")}, true};
             d.phone.storages["SM"].pdus = {Deliver7Bit("sm")};
         },
         {"AT", kMt, kMe, kList, kSm, kList},
         Expect(Connected({u"status Pobieram listę z telefonu...",
                           u"status Pobieram listę z karty SIM...", u"status Przetwarzam..."}),
                true),
         {"SM:sm"},
         true},
        {"no answer to AT: a failure",
         [](Download& d) {
             d.phone.answersAt = false;
             d.phone.storages["MT"].pdus = {Deliver7Bit("mt")};
         },
         {"AT"},
         Expect({u"status Łączenie..."}, false),
         {},
         false},
        {"link library missing: a failure, nothing sent",
         [](Download& d) { d.modules.missingLibraries["linkcom.mdl"] = 1; },
         {},
         Expect({u"status Łączenie..."}, false),
         {},
         false},
        {"connection kind 3: a failure without a link",
         [](Download& d) { d.profile.connectionKind = 3; },
         {},
         Expect({}, false),
         {},
         false},
    };
    for (const RunCase& c : cases) {
        SCOPED_TRACE(c.name);
        Download d;
        c.setUp(d);
        EXPECT_EQ(d.Run(), c.success);
        EXPECT_EQ(d.phone.commands, c.commands);
        EXPECT_EQ(d.ui.events, c.events);
        EXPECT_EQ(d.Rows(), c.rows);
        if (c.success) {
            EXPECT_EQ(d.ui.filled, &d.groups);  // the list view shows the groups it was given
        }
    }
}

TEST(RunDownload, EveryStatusIsTranslatedByItsNumber) {
    Download d;
    d.phone.storages["ME"].pdus = {Deliver7Bit("me")};
    d.phone.storages["SM"].pdus = {Deliver7Bit("sm")};
    d.Run();
    const std::vector<uint32_t> numbers = {1028, 1029, 1030, 1031, 1032, 1031, 1034, 1035, 1036};
    EXPECT_EQ(d.texts.asked, numbers);

    Download mt;
    mt.phone.storages["MT"].pdus = {Deliver7Bit("mt")};
    mt.Run();
    EXPECT_EQ(mt.texts.asked, (std::vector<uint32_t>{1028, 1029, 1033, 1031, 1034, 1035, 1036}));
}

TEST(RunDownload, ExchangesEndInCarriageReturnAndWaitThreeSeconds) {
    Download d;
    d.phone.storages["MT"].pdus = {Deliver7Bit("mt")};
    d.Run();
    EXPECT_EQ(d.modules.com().written, "AT\rAT+CPMS=\"MT\"\rAT+CMGL=4\r");
    EXPECT_EQ(d.modules.com().calls.back(), "close");
    ASSERT_EQ(d.Rows().size(), 1u);
    EXPECT_EQ(d.groups[0].parts[0].index, "1");

    // Silence is given up once more than 3000 ms passed since the command went out.
    Download silent;
    silent.phone.answersAt = false;
    silent.Run();
    uint32_t waited = 0;
    for (uint32_t ms : silent.clock.slept)
        waited += ms;
    EXPECT_EQ(waited, 3100u);
    EXPECT_EQ(silent.modules.com().calls.back(), "close");
}

// The profile numbers its kinds 0 Bluetooth, 1 IrDA, 2 COM; only that library is loaded.
TEST(RunDownload, OpensTheProfilesLink) {
    const struct {
        uint8_t kind;
        const char* library;
        FakeLibrary& (FakeModules::*lib)();
        uint64_t openedWith;
    } cases[] = {
        {kConnectionBluetooth, "load linkbt.mdl", &FakeModules::bt, 0x0011223344556677ull},
        {kConnectionIrda, "load linkir.mdl", &FakeModules::ir, 0},
        {kConnectionCom, "load linkcom.mdl", &FakeModules::com, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.library);
        Download d;
        FakeLibrary& lib = (d.modules.*c.lib)();
        d.phone.Attach(lib);
        d.profile.connectionKind = c.kind;
        d.profile.SetBtAddress(0x0011223344556677ull);
        EXPECT_TRUE(d.Run());
        EXPECT_EQ(d.modules.events.front(), c.library);
        size_t loads = 0;
        for (const std::string& event : d.modules.events)
            loads += event.rfind("load ", 0) == 0 ? 1 : 0;
        EXPECT_EQ(loads, 1u);
        EXPECT_EQ(lib.openedWith, c.openedWith);
        EXPECT_EQ(d.phone.commands.front(), "AT");
    }

    Download unusable;
    unusable.profile.connectionKind = 3;
    unusable.Run();
    EXPECT_TRUE(unusable.modules.events.empty());
    EXPECT_TRUE(unusable.groups.empty());
}

// Nothing may leave the worker's thread, and the chooser must get its controls back.
TEST(RunDownload, AThrowingWindowEndsTheRunAsAFailure) {
    Download d;
    d.phone.storages["MT"].pdus = {Deliver7Bit("mt")};
    d.ui.fillFails = true;
    EXPECT_FALSE(d.Run());
    const std::vector<std::u16string> tail(d.ui.events.end() - 5, d.ui.events.end());
    EXPECT_EQ(tail, (Events{u"fill", u"status Zakończono.", u"detach", u"release thread handle",
                            u"reenable"}));
    EXPECT_EQ(d.modules.com().calls.back(), "close");
}

TEST(RunDownload, ASecondRunReplacesTheFirstResult) {
    Download d;
    d.phone.storages["MT"].pdus = {Deliver7Bit("first"), Deliver7Bit("again")};
    EXPECT_TRUE(d.Run());
    EXPECT_EQ(d.Rows(), (std::vector<std::string>{"MT:first", "MT:again"}));

    d.phone.storages["MT"].pdus = {Deliver7Bit("second")};
    EXPECT_TRUE(d.Run());
    EXPECT_EQ(d.Rows(), (std::vector<std::string>{"MT:second"}));

    d.phone.answersAt = false;
    EXPECT_FALSE(d.Run());
    EXPECT_TRUE(d.groups.empty());
    EXPECT_EQ(d.ui.events[2], u"clear");
}

}  // namespace
}  // namespace tarnik
