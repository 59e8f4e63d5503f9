#include "send/send_job.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "tests/unit/case_file.h"
#include "tests/unit/link_fakes.h"
#include "tests/unit/marked_texts.h"

namespace tarnik {
namespace {

using Lines = std::vector<std::u16string>;

// The list box as the user reads it: appended texts extend the last line.
class ListBox final : public ProgressLog {
public:
    void Append(const std::u16string& text, bool toLastLine) override {
        if (!toLastLine) {
            lines.push_back(text);
        } else if (!lines.empty()) {
            lines.back() += text;
        }
    }
    Lines lines;
};

// A line of the case with {time} as the emulated phone's report time, read in local time.
std::u16string Expected(std::string line) {
    const std::time_t when = test::EmulatedPhone::kWallClock;
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%d %H:%M:%S", std::localtime(&when));
    const size_t at = line.find("{time}");
    if (at != std::string::npos)
        line.replace(at, 6, time);
    return test::Utf16(line);
}

// Every job of tests/data/send_jobs.txt, sent through the emulated phone.
TEST(SendJob, Jobs) {
    for (const test::Case& c : test::ReadCases("send_jobs.txt")) {
        SCOPED_TRACE(c.name);
        test::FakeModules modules;
        test::FakeClock clock;
        test::EmulatedPhone phone(clock, c.Text("phone", "\n"));
        test::FakeLibrary& com = modules.Lib("com");
        phone.Attach(com);
        const test::CaseLine job = c.Line("job");
        GsmProfile profile{kConnectionCom, 3, {}, job.Has("flash"), job.Has("report"), 0};
        profile.connectionKind = uint8_t(std::stoi(job.Word("kind", "2")));
        com.openResult = std::stoi(job.Word("open", "5"));
        modules.missing.insert(job.Word("missing"));
        test::MarkedTexts texts(job.Has("marked"));
        ListBox progress;
        SendEnvironment env{progress, texts, clock, modules};
        size_t draws = 0;
        env.random = [&draws] { return std::vector<int>{41, 300, 7, 253, 254, 1000}[draws++ % 6]; };
        std::vector<std::u16string> recipients;
        std::vector<int32_t> state;
        for (const test::CaseLine& to : c.All("to")) {
            recipients.push_back(test::Utf16(to.Text("to")));
            state.push_back(std::stoi(to.Word("state")));
        }
        const test::CaseLine result = c.Line("result");
        EXPECT_EQ(RunSendJob(profile, test::Utf16(job.Text("text")), recipients, state.data(), env),
                  std::stoi(result.Word("result")));
        std::vector<std::string> words;
        for (const int32_t after : state)
            words.push_back(std::to_string(after));
        EXPECT_EQ(words, result.Words("state"));
        Lines lines;
        for (const test::CaseLine& line : c.All("line"))
            lines.push_back(Expected(line.Text("line")));
        EXPECT_EQ(progress.lines, lines);
        EXPECT_EQ(com.written, c.Text("wrote"));
        words.clear();
        for (const uint32_t ms : clock.slept) {
            if (ms != 100)
                words.push_back(std::to_string(ms));
        }
        EXPECT_EQ(words, c.Line("pauses").Words("pauses"));
        if (!com.calls.empty() && com.openResult != 0) {
            EXPECT_EQ(com.openedWith, 3u);
            EXPECT_EQ(com.calls.back(), "close");
        }
    }
}

}  // namespace
}  // namespace tarnik
