#include "download/download_worker.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/unit/case_file.h"
#include "tests/unit/link_fakes.h"
#include "tests/unit/marked_texts.h"

namespace tarnik {
namespace {

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

// Each group as "storage index:text"; a group without parts can only be left from before.
std::vector<std::string> Rows(const std::vector<MessageGroup>& groups) {
    std::vector<std::string> rows;
    for (const MessageGroup& group : groups) {
        std::string row = "(no parts)";
        for (const SmsPdu& part : group.parts) {
            if (&part == &group.parts.front())
                row = part.storage + " " + part.index + ":";
            row += part.text;
        }
        rows.push_back(row);
    }
    return rows;
}

// Every download of tests/data/downloads.txt, from the emulated phone.
TEST(RunDownload, Runs) {
    for (const test::Case& c : test::ReadCases("downloads.txt")) {
        SCOPED_TRACE(c.name);
        const test::CaseLine run = c.Has("run") ? c.Line("run") : test::CaseLine{};
        test::FakeModules modules;
        test::FakeClock clock;
        test::EmulatedPhone phone(clock, c.Text("phone", "\n"));
        test::FakeLibrary& lib = modules.Lib(run.Word("link", "com"));
        phone.Attach(lib);
        modules.missing.insert(run.Word("missing"));
        GsmProfile profile{static_cast<uint8_t>(std::stoi(run.Word("kind", "2"))), 4, {}, 0, 0, 0};
        profile.SetBtAddress(0x0011223344556677ull);
        test::MarkedTexts texts;
        RecordingUi ui;
        ui.fillFails = run.Has("fill-fails");
        DownloadEnvironment env{texts, clock, modules};
        std::vector<MessageGroup> groups(2);

        const bool success = RunDownload(profile, groups, ui, env);
        EXPECT_EQ(success, c.Line("result").Word("result") == "1");
        EXPECT_EQ(lib.written, c.Text("wrote"));
        Events events;
        for (const test::CaseLine& event : c.All("event"))
            events.push_back(test::Utf16(event.Text("event")));
        EXPECT_EQ(ui.events, events);
        std::vector<std::string> rows;
        for (const test::CaseLine& row : c.All("row"))
            rows.push_back(row.Text("row"));
        EXPECT_EQ(Rows(groups), rows);
        if (success) {
            EXPECT_EQ(ui.filled, &groups);  // the list view shows the groups it was given
        }
        if (!lib.calls.empty()) {
            EXPECT_EQ(lib.calls.back(), "close");
        }
        std::vector<std::string> loads;
        for (const std::string& event : modules.events) {
            if (event.rfind("load ", 0) == 0)
                loads.push_back(event);
        }
        EXPECT_EQ(loads, c.Line("loads").Strings("loads"));
        EXPECT_EQ(lib.openedWith, std::stoull(c.Line("opened").Word("opened"), nullptr, 0));
    }
}

}  // namespace
}  // namespace tarnik
