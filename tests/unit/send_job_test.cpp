#include "send/send_job.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdu/pdu_decoder.h"
#include "tests/unit/fake_phone.h"

namespace tarnik {
namespace {

using test::FakeClock;
using test::FakeModules;
using test::FakePhone;

// The list box as the user reads it: appended texts extend the last line.
class Lines final : public ProgressLog {
public:
    void Append(const std::u16string& text, bool toLastLine) override {
        if (!toLastLine) {
            lines.push_back(text);
        } else if (!lines.empty()) {
            lines.back() += text;
        }
    }
    std::vector<std::u16string> lines;
};

// The default texts, or each marked with its number as "[1007]Błąd", so that a text shown
// under a wrong number differs.
class Texts final : public Translator {
public:
    std::u16string Text(uint32_t id, std::u16string_view defaultText) override {
        if (!marked)
            return std::u16string(defaultText);
        std::u16string mark = u"[";
        for (const char c : std::to_string(id))
            mark += static_cast<char16_t>(c);
        return mark + u"]" + std::u16string(defaultText);
    }
    bool marked = false;
};

struct Job {
    FakeModules modules;
    FakeClock clock;
    FakePhone phone;
    Lines progress;
    Texts texts;
    int nextRandom = 0;
    std::vector<int> randoms = {41, 300, 7, 253, 254, 1000};
    GsmProfile profile{kConnectionCom, 3, {}, 0, 0, 0};

    Job() { phone.Attach(modules.com()); }

    SendResult Run(std::u16string text, std::vector<std::u16string> recipients,
                   std::vector<int32_t>& state) {
        SendEnvironment env{progress, texts, clock, modules};
        env.random = [this] { return randoms[static_cast<size_t>(nextRandom++) % randoms.size()]; };
        return RunSendJob(profile, text, recipients, state.data(), env);
    }
    // Every pause but the exchange's 100 ms polls of a silent line.
    std::vector<uint32_t> Pauses() const {
        std::vector<uint32_t> pauses;
        for (uint32_t ms : clock.slept) {
            if (ms != 100)
                pauses.push_back(ms);
        }
        return pauses;
    }
};

TEST(CutIntoParts, Lengths) {
    const struct {
        size_t length;
        std::vector<size_t> parts;
    } cases[] = {{0, {0}},        {1, {1}},          {160, {160}},
                 {161, {153, 8}}, {306, {153, 153}}, {307, {153, 153, 1}}};
    for (const auto& c : cases) {
        std::vector<size_t> sizes;
        for (const auto& part : CutIntoParts(std::u16string(c.length, u'x')))
            sizes.push_back(part.size());
        EXPECT_EQ(sizes, c.parts) << c.length;
    }
}

TEST(SendJob, OneRecipientOnePart) {
    Job job;
    std::vector<int32_t> state = {1};
    EXPECT_EQ(job.Run(u"Test", {u"+48601234567"}, state), kSendLastRecipientSent);
    EXPECT_EQ(state[0], 0);
    const std::vector<std::u16string> expected = {u"Parametry... OK",
                                                  u"Lączenie... OK",
                                                  u"Inicjalizacja... OK",
                                                  u"Adresat: +48601234567",
                                                  u"Wiadomość 1 z 1 (1 z 1 ogółem)",
                                                  u"Wysyłam... OK",
                                                  u"Rozłączenie... OK"};
    EXPECT_EQ(job.progress.lines, expected);
    // messageRef = 300 % 254 + 1 (the first draw went to the concatenation reference)
    const std::vector<std::string> received = {"AT\r\n", "ATE1\r\n", "AT+CPMS=\"SM\"\r",
                                               "AT+CMGS=18\r",
                                               "00112F0B918406214365F70000AA04D4F29C0E\x1A"};
    EXPECT_EQ(job.phone.received, received);
    EXPECT_EQ(job.modules.com().openedWith, 3u);
    EXPECT_EQ(job.modules.com().calls.back(), "close");
}

// Each row: what the phone does wrong, the lines the user reads, the state and result.
TEST(SendJob, FailureTable) {
    struct Row {
        const char* name;
        void (*setUp)(Job&);
        std::vector<std::u16string> lines;
        int32_t state;
        SendResult result;
    };
    const std::u16string head[] = {u"Parametry... OK", u"Lączenie... OK", u"Inicjalizacja... OK",
                                   u"Adresat: 123", u"Wiadomość 1 z 1 (1 z 1 ogółem)"};
    auto with = [&](std::vector<std::u16string> tail) {
        std::vector<std::u16string> all(std::begin(head), std::end(head));
        all.insert(all.end(), tail.begin(), tail.end());
        all.push_back(u"Rozłączenie... OK");
        return all;
    };
    const Row rows[] = {
        {"unknown connection kind",
         [](Job& j) { j.profile.connectionKind = 3; },
         {u"Parametry... OK"},
         5,
         kSendUnusableRequest},
        {"link library missing",
         [](Job& j) { j.modules.missingLibraries["linkcom.mdl"] = 1; },
         {u"Parametry... OK", u"Lączenie... Błąd"},
         5,
         kSendFailed},
        {"port does not open",
         [](Job& j) { j.modules.com().openResult = 0; },
         {u"Parametry... OK", u"Lączenie... Błąd"},
         5,
         kSendFailed},
        {"no answer to AT",
         [](Job& j) { j.phone.answersAt = false; },
         {u"Parametry... OK", u"Lączenie... OK", u"Inicjalizacja... Błąd"},
         5,
         kSendFailed},
        {"storage refused", [](Job& j) { j.phone.acceptsStorage = false; },
         with({u"Wysyłam... Błąd"}), 1, kSendFailed},
        {"AT+CMGS refused", [](Job& j) { j.phone.acceptsCmgs = false; }, with({u"Wysyłam... Błąd"}),
         1, kSendFailed},
        {"PDU refused for good", [](Job& j) { j.phone.pduAnswers = {"+CMS ERROR: 500"}; },
         with({u"Wysyłam... Błąd"}), 5, kSendFailed},
        {"PDU unanswered", [](Job& j) { j.phone.pduAnswers = {""}; }, with({u"Wysyłam... Błąd"}), 5,
         kSendFailed},
        {"temporary refusal, then accepted",
         [](Job& j) { j.phone.pduAnswers = {"+CMS ERROR: 38"}; },
         with({u"Wysyłam... Błąd", u"Tymczasowy błąd, ponowienie za 5s...", u"Wysyłam... OK"}), 0,
         kSendLastRecipientSent},
        // Each temporary cause is a first refusal once: 38 above, 41 here, 42 in the
        // retry test below.
        {"temporary refusal twice",
         [](Job& j) {
             j.phone.pduAnswers = {"+CMS ERROR: 41", "+CMS ERROR: 42"};
         },
         with({u"Wysyłam... Błąd", u"Tymczasowy błąd, ponowienie za 5s...", u"Wysyłam... Błąd"}), 5,
         kSendFailed},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Job job;
        row.setUp(job);
        std::vector<int32_t> state = {5};
        EXPECT_EQ(job.Run(u"x", {u"123"}, state), row.result);
        EXPECT_EQ(job.progress.lines, row.lines);
        EXPECT_EQ(state[0], row.state);
    }
}

TEST(SendJob, RetrySendsTheSamePduAfterFiveSeconds) {
    Job job;
    job.phone.pduAnswers = {"+CMS ERROR: 42"};
    std::vector<int32_t> state = {1};
    job.Run(u"Hej", {u"600100200"}, state);
    ASSERT_EQ(job.phone.pdus.size(), 2u);
    EXPECT_EQ(job.phone.pdus[0], job.phone.pdus[1]);
    // 500 after the refused PDU, 5000 before the retry, the exchange's second for the
    // accepted PDU's reply, 500 after it.
    EXPECT_EQ(job.Pauses(), (std::vector<uint32_t>{500, 5000, 1000, 500}));
    EXPECT_EQ(std::count(job.phone.received.begin(), job.phone.received.end(), "AT+CPMS=\"SM\"\r"),
              2);
}

TEST(SendJob, NumberingOverRecipientsWithOneSkipped) {
    Job job;
    std::vector<int32_t> state = {1, 0, 1};
    const std::u16string text(200, u'a');
    EXPECT_EQ(job.Run(text, {u"111", u"222", u"333"}, state), kSendLastRecipientSent);
    std::vector<std::u16string> numbering;
    for (const auto& line : job.progress.lines) {
        if (line.rfind(u"Wiadomość", 0) == 0 || line.rfind(u"Adresat", 0) == 0)
            numbering.push_back(line);
    }
    const std::vector<std::u16string> expected = {
        u"Adresat: 111", u"Wiadomość 1 z 2 (1 z 6 ogółem)", u"Wiadomość 2 z 2 (2 z 6 ogółem)",
        u"Adresat: 333", u"Wiadomość 1 z 2 (3 z 6 ogółem)", u"Wiadomość 2 z 2 (4 z 6 ogółem)"};
    EXPECT_EQ(numbering, expected);
    EXPECT_EQ(state, (std::vector<int32_t>{0, 0, 0}));
}

TEST(SendJob, PartsCarryReferencesAndTheReportRequestOnTheLast) {
    for (uint8_t waitForReport : {uint8_t{0}, uint8_t{1}}) {
        Job job;
        job.profile.waitForReport = waitForReport;
        job.profile.flashSms = 1;
        job.phone.cnmiAccepted.clear();  // no report wait: only the PDUs matter here
        std::vector<int32_t> state = {1};
        job.Run(std::u16string(400, u'z'), {u" +48 601+234567 "}, state);
        ASSERT_EQ(job.phone.pdus.size(), 3u);
        for (size_t j = 0; j < 3; ++j) {
            const SmsPdu part = DecodePdu(job.phone.pdus[j]);
            SCOPED_TRACE(j);
            EXPECT_EQ(part.address.number, "48 601234567");  // blanks inside stay
            EXPECT_TRUE(part.concat);
            EXPECT_EQ(part.concatRef, 41u % 254 + 1);
            EXPECT_EQ(part.concatTotal, 3u);
            EXPECT_EQ(part.concatSeq, j + 1);
            EXPECT_EQ(part.firstOctet.statusReport, waitForReport && j == 2 ? 1u : 0u);
            EXPECT_EQ(part.alphabet, kAlphabetGsm7);
        }
        EXPECT_EQ(job.phone.pdus[0].substr(4, 2), "2F");   // 300 % 254 + 1
        EXPECT_EQ(job.phone.pdus[1].substr(4, 2), "08");   // 7 % 254 + 1
        EXPECT_EQ(job.phone.pdus[2].substr(4, 2), "FE");   // 253 % 254 + 1
        EXPECT_EQ(job.phone.pdus[0].substr(24, 2), "F0");  // flash: class 0
        EXPECT_EQ(job.progress.lines[3], u"Adresat:  +48 601+234567 ");
    }
}

TEST(SendJob, ResultFollowsTheLastRecipient) {
    const struct {
        const char* name;
        std::deque<std::string> answers;
        std::vector<int32_t> stateAfter;
        SendResult result;
    } cases[] = {
        {"first sent, second refused", {"OK", "ERROR"}, {0, 7}, kSendFailed},
        {"first refused, second sent", {"ERROR", "OK"}, {7, 0}, kSendLastRecipientSent},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Job job;
        job.phone.pduAnswers = c.answers;
        std::vector<int32_t> state = {7, 7};
        EXPECT_EQ(job.Run(u"x", {u"1", u"2"}, state), c.result);
        EXPECT_EQ(state, c.stateAfter);
    }
}

TEST(SendJob, NoRecipientsStillConnectsAndDisconnects) {
    Job job;
    std::vector<int32_t> state;
    EXPECT_EQ(job.Run(u"x", {}, state), kSendFailed);
    const std::vector<std::u16string> expected = {u"Parametry... OK", u"Lączenie... OK",
                                                  u"Inicjalizacja... OK", u"Rozłączenie... OK"};
    EXPECT_EQ(job.progress.lines, expected);
}

// A status report for +48601234567 with the given status, as the phone shows it.
std::string ReportPdu(const std::string& status,
                      const std::string& recipient = "0B918406214365F7") {
    return "000607" + recipient + "42105171435480" + "42105171532080" + status;
}

// Texts are marked with their numbers: the time line after "dostarczona" has none.
// Pauses are those of the report wait: the exchange's second after a reply it keeps, 500
// between the outcome's lines, 4000 at the end.
TEST(ReportWait, Branches) {
    const std::string direct = ReportPdu("00");
    const std::u16string waiting = u"[1013]Oczekuję na raport... ";
    struct Row {
        const char* name;
        std::set<std::string> cnmi;
        std::string indication;
        std::map<std::string, std::string> replies;
        std::vector<std::u16string> tail;  // lines from "Oczekuję na raport... " on
        std::vector<uint32_t> pauses;
    };
    const Row rows[] = {
        {"no indication setting accepted", {}, "", {}, {waiting + u"[10014]błąd modemu"}, {}},
        {"silence", {"AT+CNMI=2,0,0,1,0"}, "", {}, {waiting + u"[1022]błąd, timeout"}, {4000}},
        {"delivered, direct without SMSC",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 25\r\n" + direct.substr(2) + "\r\n",
         {},
         {waiting + u"[1015]dostarczona", u" Czas: 2024-01-15 17:35:02"},
         {1000, 500, 4000}},
        {"SMSC error with its code",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 25\r\n" + ReportPdu("46").substr(2) + "\r\n",
         {},
         {waiting + u"[1016]błąd SMSC", u"[1017] Czas: 2024-01-15 17:35:02", u"[1018] Kod: 70"},
         {1000, 500, 500, 4000}},
        {"report for a number one digit longer",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 25\r\n" + ReportPdu("00", "0C91840621436587").substr(2) + "\r\n",
         {},
         {waiting + u"[1020]błąd (zły raport)"},
         {1000, 4000}},
        {"recipient without country digits is ours",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 25\r\n" + ReportPdu("00", "098106214365F7").substr(2) + "\r\n",
         {},
         {waiting + u"[1015]dostarczona", u" Czas: 2024-01-15 17:35:02"},
         {1000, 500, 4000}},
        {"undecodable report",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 3\r\n03\r\n",  // "00" in front: a reserved message type
         {},
         {waiting + u"[1019]błąd dekodera"},
         {1000, 4000}},
        {"no PDU line",
         {"AT+CNMI=2,0,0,1,0"},
         "\r\n+CDS: 25",
         {},
         {waiting + u"[1021]błąd parsera"},
         {1000, 4000}},
        {"stored, fetched from SR",
         {"AT+CNMI=1,0,0,2,1"},
         "\r\n+CDSI: \"SR\",3\r\n",
         {{"AT+CPMS=\"SR\"", "\r\n+CPMS: 1,20,0,20,0,20\r\n\r\nOK\r\n"},
          {"AT+CMGR=3", "\r\n+CMGR: 0,,25\r\n" + direct + "\r\n\r\nOK\r\n"}},
         {waiting + u"[1015]dostarczona", u" Czas: 2024-01-15 17:35:02"},
         {1000, 1000, 1000, 500, 4000}},
        {"stored announcement without a comma",
         {"AT+CNMI=1,0,0,2,0"},
         "\r\n+CDSI: \"SR\" 3\r\n",
         {},
         {waiting + u"[1022]błąd, timeout"},
         {1000, 4000}},
        {"stored report that cannot be read",
         {"AT+CNMI=1,0,0,2,0"},
         "\r\n+CDSI: \"SR\",9\r\n",
         {},
         {waiting + u"[1022]błąd, timeout"},
         {1000, 4000}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Job job;
        job.texts.marked = true;
        job.profile.waitForReport = 1;
        job.phone.cnmiAccepted = row.cnmi;
        job.phone.reportIndication = row.indication;
        job.phone.replies = row.replies;
        std::vector<int32_t> state = {1};
        EXPECT_EQ(job.Run(u"Test", {u"+48601234567"}, state), kSendLastRecipientSent);
        EXPECT_EQ(state[0], 0);  // sent, whatever the report says
        std::vector<std::u16string> tail(job.progress.lines.begin() + 6,
                                         job.progress.lines.end() - 1);
        EXPECT_EQ(tail, row.tail);
        // The first two are the accepted PDU's: the exchange's second and 500 after it.
        const std::vector<uint32_t> pauses = job.Pauses();
        EXPECT_EQ(std::vector<uint32_t>(pauses.begin() + 2, pauses.end()), row.pauses);
    }
}

TEST(ReportWait, StoredModeSelectsTheAnnouncedStorageAndIndex) {
    Job job;
    job.profile.waitForReport = 1;
    job.phone.cnmiAccepted = {"AT+CNMI=1,0,0,2,1"};
    job.phone.reportIndication = "\r\n+CDSI: \"SR\",3\r\n";
    job.phone.replies = {
        {"AT+CPMS=\"SR\"", "\r\nOK\r\n"},
        {"AT+CMGR=3", "\r\n+CMGR: 0,,25\r\n" + ReportPdu("00") + "\r\n\r\nOK\r\n"}};
    std::vector<int32_t> state = {1};
    job.Run(u"Test", {u"48601234567"}, state);
    const std::vector<std::string> tail(job.phone.received.begin() + 5, job.phone.received.end());
    const std::vector<std::string> expected = {"AT+CNMI=2,0,0,1,0\r\n", "AT+CNMI=1,0,0,2,1\r\n",
                                               "AT\r\n", "AT+CPMS=\"SR\"\r", "AT+CMGR=3\r"};
    EXPECT_EQ(tail, expected);
}

}  // namespace
}  // namespace tarnik
