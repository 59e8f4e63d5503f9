#include "send/send_job.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pdu/pdu_decoder.h"
#include "tests/unit/link_fakes.h"
#include "tests/unit/marked_texts.h"

namespace tarnik {
namespace {

using test::EmulatedPhone;
using test::FakeClock;
using test::FakeModules;
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

// One send through the emulated phone, configured as its file would be.
struct Job {
    FakeModules modules;
    FakeClock clock;
    EmulatedPhone phone;
    ListBox progress;
    test::MarkedTexts texts{false};
    int nextRandom = 0;
    std::vector<int> randoms = {41, 300, 7, 253, 254, 1000};
    GsmProfile profile{kConnectionCom, 3, {}, 0, 0, 0};

    explicit Job(const std::string& phoneConfig = "") : phone(clock, phoneConfig) {
        phone.Attach(modules.com());
    }

    SendResult Run(std::u16string text, std::vector<std::u16string> recipients,
                   std::vector<int32_t>& state) {
        SendEnvironment env{progress, texts, clock, modules};
        env.random = [this] { return randoms[static_cast<size_t>(nextRandom++) % randoms.size()]; };
        return RunSendJob(profile, text, recipients, state.data(), env);
    }
    // Every write as the phone got it, terminators included.
    const std::string& Written() { return modules.com().written; }
    std::vector<std::string> Pdus() { return test::WrittenPdus(Written()); }
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
    const Lines expected = {u"Parametry... OK",
                            u"Lączenie... OK",
                            u"Inicjalizacja... OK",
                            u"Adresat: +48601234567",
                            u"Wiadomość 1 z 1 (1 z 1 ogółem)",
                            u"Wysyłam... OK",
                            u"Rozłączenie... OK"};
    EXPECT_EQ(job.progress.lines, expected);
    // CR LF after AT and ATE1, CR alone after the storage and AT+CMGS, Ctrl-Z after the
    // PDU; messageRef = 300 % 254 + 1 (the first draw went to the concatenation reference).
    EXPECT_EQ(
        job.Written(),
        "AT\r\nATE1\r\nAT+CPMS=\"SM\"\rAT+CMGS=18\r00112F0B918406214365F70000AA04D4F29C0E\x1A");
    EXPECT_EQ(job.modules.com().openedWith, 3u);
    EXPECT_EQ(job.modules.com().calls.back(), "close");
}

// Each row: the phone's fault as its configuration, the lines the user reads, the state
// and result.
TEST(SendJob, FailureTable) {
    struct Row {
        const char* name;
        std::string phone;
        void (*setUp)(Job&);
        Lines lines;
        int32_t state;
        SendResult result;
    };
    const std::u16string head[] = {u"Parametry... OK", u"Lączenie... OK", u"Inicjalizacja... OK",
                                   u"Adresat: 123", u"Wiadomość 1 z 1 (1 z 1 ogółem)"};
    auto with = [&](Lines tail) {
        Lines all(std::begin(head), std::end(head));
        all.insert(all.end(), tail.begin(), tail.end());
        all.push_back(u"Rozłączenie... OK");
        return all;
    };
    const Row rows[] = {
        {"unknown connection kind",
         "",
         [](Job& j) { j.profile.connectionKind = 3; },
         {u"Parametry... OK"},
         5,
         kSendUnusableRequest},
        {"link library missing",
         "",
         [](Job& j) { j.modules.missingLibraries["linkcom.mdl"] = 1; },
         {u"Parametry... OK", u"Lączenie... Błąd"},
         5,
         kSendFailed},
        {"port does not open",
         "",
         [](Job& j) { j.modules.com().openResult = 0; },
         {u"Parametry... OK", u"Lączenie... Błąd"},
         5,
         kSendFailed},
        {"no answer to AT",
         "[fault]\nsilence = AT\n",
         nullptr,
         {u"Parametry... OK", u"Lączenie... OK", u"Inicjalizacja... Błąd"},
         5,
         kSendFailed},
        {"storage refused", "refuse_storage = SM\n", nullptr, with({u"Wysyłam... Błąd"}), 1,
         kSendFailed},
        {"AT+CMGS refused", "[fault]\nerror = AT+CMGS=11\n", nullptr, with({u"Wysyłam... Błąd"}), 1,
         kSendFailed},
        {"PDU refused for good", "[submit]\noutcome = cms 500\n", nullptr,
         with({u"Wysyłam... Błąd"}), 5, kSendFailed},
        {"PDU unanswered", "[submit]\noutcome = silent\n", nullptr, with({u"Wysyłam... Błąd"}), 5,
         kSendFailed},
        {"temporary refusal, then accepted", "[submit]\noutcome = cms 38\n", nullptr,
         with({u"Wysyłam... Błąd", u"Tymczasowy błąd, ponowienie za 5s...", u"Wysyłam... OK"}), 0,
         kSendLastRecipientSent},
        // Each temporary cause is a first refusal once: 38 above, 41 here, 42 in the
        // retry test below.
        {"temporary refusal twice", "[submit]\noutcome = cms 41, cms 42\n", nullptr,
         with({u"Wysyłam... Błąd", u"Tymczasowy błąd, ponowienie za 5s...", u"Wysyłam... Błąd"}), 5,
         kSendFailed},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Job job(row.phone);
        if (row.setUp != nullptr)
            row.setUp(job);
        std::vector<int32_t> state = {5};
        EXPECT_EQ(job.Run(u"x", {u"123"}, state), row.result);
        EXPECT_EQ(job.progress.lines, row.lines);
        EXPECT_EQ(state[0], row.state);
    }
}

TEST(SendJob, RetrySendsTheSamePduAfterFiveSeconds) {
    Job job("[submit]\noutcome = cms 42\n");
    std::vector<int32_t> state = {1};
    job.Run(u"Hej", {u"600100200"}, state);
    const std::vector<std::string> pdus = job.Pdus();
    ASSERT_EQ(pdus.size(), 2u);
    EXPECT_EQ(pdus[0], pdus[1]);
    // 500 after the refused PDU, 5000 before the retry, the exchange's second for the
    // accepted PDU's reply, 500 after it.
    EXPECT_EQ(job.Pauses(), (std::vector<uint32_t>{500, 5000, 1000, 500}));
    EXPECT_EQ(job.Written().find("AT+CPMS=\"SM\"\rAT+CMGS=", job.Written().find('\x1A')),
              job.Written().find('\x1A') + 1);  // the retry selects the storage again
}

TEST(SendJob, NumberingOverRecipientsWithOneSkipped) {
    Job job;
    std::vector<int32_t> state = {1, 0, 1};
    EXPECT_EQ(job.Run(std::u16string(200, u'a'), {u"111", u"222", u"333"}, state),
              kSendLastRecipientSent);
    Lines numbering;
    for (const auto& line : job.progress.lines) {
        if (line.rfind(u"Wiadomość", 0) == 0 || line.rfind(u"Adresat", 0) == 0)
            numbering.push_back(line);
    }
    const Lines expected = {
        u"Adresat: 111", u"Wiadomość 1 z 2 (1 z 6 ogółem)", u"Wiadomość 2 z 2 (2 z 6 ogółem)",
        u"Adresat: 333", u"Wiadomość 1 z 2 (3 z 6 ogółem)", u"Wiadomość 2 z 2 (4 z 6 ogółem)"};
    EXPECT_EQ(numbering, expected);
    EXPECT_EQ(state, (std::vector<int32_t>{0, 0, 0}));
}

// The first recipient keeps a blank inside its number, which the phone refuses (so only
// its first part goes out); the second gets all three parts.
TEST(SendJob, PartsCarryReferencesAndTheReportRequestOnTheLast) {
    for (uint8_t waitForReport : {uint8_t{0}, uint8_t{1}}) {
        Job job("cnmi = 0,0,0,0,0\n");  // no report wait: only the PDUs matter here
        job.profile.waitForReport = waitForReport;
        job.profile.flashSms = 1;
        std::vector<int32_t> state = {1, 1};
        job.Run(std::u16string(400, u'z'), {u" +48 601+234567 ", u" +48601+234567 "}, state);
        const std::vector<std::string> pdus = job.Pdus();
        ASSERT_EQ(pdus.size(), 4u);
        EXPECT_EQ(DecodePdu(pdus[0]).address.number, "48 601234567");  // blanks inside stay
        for (size_t j = 1; j < 4; ++j) {
            const SmsPdu part = DecodePdu(pdus[j]);
            SCOPED_TRACE(j);
            EXPECT_EQ(part.address.number, "48601234567");
            EXPECT_TRUE(part.concat);
            EXPECT_EQ(part.concatRef, 7u % 254 + 1);
            EXPECT_EQ(part.concatTotal, 3u);
            EXPECT_EQ(part.concatSeq, j);
            EXPECT_EQ(part.firstOctet.statusReport, waitForReport && j == 3 ? 1u : 0u);
            EXPECT_EQ(part.alphabet, kAlphabetGsm7);
        }
        EXPECT_EQ(pdus[0].substr(4, 2), "2F");   // 300 % 254 + 1
        EXPECT_EQ(pdus[1].substr(4, 2), "FE");   // 253 % 254 + 1
        EXPECT_EQ(pdus[2].substr(4, 2), "01");   // 254 % 254 + 1
        EXPECT_EQ(pdus[3].substr(4, 2), "EF");   // 1000 % 254 + 1
        EXPECT_EQ(pdus[1].substr(24, 2), "F0");  // flash: class 0
        EXPECT_EQ(job.progress.lines[3], u"Adresat:  +48 601+234567 ");
    }
}

TEST(SendJob, ResultFollowsTheLastRecipient) {
    const struct {
        const char* name;
        std::string phone;
        std::vector<int32_t> stateAfter;
        SendResult result;
    } cases[] = {
        {"first sent, second refused", "[submit]\noutcome = ok, error\n", {0, 7}, kSendFailed},
        {"first refused, second sent",
         "[submit]\noutcome = error\n",
         {7, 0},
         kSendLastRecipientSent},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Job job(c.phone);
        std::vector<int32_t> state = {7, 7};
        EXPECT_EQ(job.Run(u"x", {u"1", u"2"}, state), c.result);
        EXPECT_EQ(state, c.stateAfter);
    }
}

TEST(SendJob, NoRecipientsStillConnectsAndDisconnects) {
    Job job;
    std::vector<int32_t> state;
    EXPECT_EQ(job.Run(u"x", {}, state), kSendFailed);
    const Lines expected = {u"Parametry... OK", u"Lączenie... OK", u"Inicjalizacja... OK",
                            u"Rozłączenie... OK"};
    EXPECT_EQ(job.progress.lines, expected);
}

// The discharge time the phone writes into its reports, as the user reads it.
std::u16string DoneTime() {
    const std::time_t when = EmulatedPhone::kWallClock;
    char text[32];
    std::strftime(text, sizeof text, " Czas: %Y-%m-%d %H:%M:%S", std::localtime(&when));
    return std::u16string(text, text + std::strlen(text));
}

// Each row: the phone's report behaviour as its configuration, what the job wrote after
// the PDU, the lines from "Oczekuję na raport... " on, and the pauses after the PDU's own
// (the exchange's second after a reply it keeps, 500 between the outcome's lines, 4000 at
// the end). Texts are marked with their numbers: the time line after "dostarczona" has none.
TEST(ReportWait, Branches) {
    const std::u16string waiting = u"[1013]Oczekuję na raport... ";
    const std::u16string done = DoneTime();
    const std::string direct = "AT+CNMI=2,0,0,1,0\r\nAT\r\n";
    const std::string stored = "AT+CNMI=2,0,0,1,0\r\nAT+CNMI=1,0,0,2,1\r\n";
    struct Row {
        const char* name;
        std::string phone;
        std::string written;  // after the PDU
        Lines tail;
        std::vector<uint32_t> pauses;
    };
    const Row rows[] = {
        {"no indication setting accepted",
         "cnmi = 0,0,0,0,0\n",
         stored + "AT+CNMI=1,0,0,2,0\r\n",
         {waiting + u"[10014]błąd modemu"},
         {}},
        {"silence",
         "[report]\ndelay_ms = 60000\n",
         direct,
         {waiting + u"[1022]błąd, timeout"},
         {4000}},
        {"delivered, direct without SMSC",
         "[report]\ncds_smsc = off\n",
         direct,
         {waiting + u"[1015]dostarczona", done},
         {1000, 500, 4000}},
        {"SMSC error with its code",
         "[report]\nstatus = 70\n",
         direct,
         {waiting + u"[1016]błąd SMSC", u"[1017]" + done, u"[1018] Kod: 70"},
         {1000, 500, 500, 4000}},
        {"report for a number one digit longer",
         "[report]\nrecipient = +486012345678\n",
         direct,
         {waiting + u"[1020]błąd (zły raport)"},
         {1000, 4000}},
        {"recipient without country digits is ours",
         "[report]\nrecipient = 601234567\n",
         direct,
         {waiting + u"[1015]dostarczona", done},
         {1000, 500, 4000}},
        // "00" in front: a reserved message type.
        {"undecodable report",
         "[report]\nindication = +CDS: 3\nindication = 03\n",
         direct,
         {waiting + u"[1019]błąd dekodera"},
         {1000, 4000}},
        {"no PDU line",
         "[report]\nindication = +CDS: 25\n",
         direct,
         {waiting + u"[1021]błąd parsera"},
         {1000, 4000}},
        {"stored, fetched from SR",
         "cnmi = 1,0,0,2,1\n",
         stored + "AT\r\nAT+CPMS=\"SR\"\rAT+CMGR=1\r",
         {waiting + u"[1015]dostarczona", done},
         {1000, 1000, 1000, 500, 4000}},
        {"stored announcement without a comma",
         "cnmi = 1,0,0,2,0\n[report]\nindication = +CDSI: \"SR\" 3\n",
         stored + "AT+CNMI=1,0,0,2,0\r\nAT\r\n",
         {waiting + u"[1022]błąd, timeout"},
         {1000, 4000}},
        {"stored report that cannot be read",
         "cnmi = 1,0,0,2,0\n[report]\nindication = +CDSI: \"SR\",9\n",
         stored + "AT+CNMI=1,0,0,2,0\r\nAT\r\nAT+CPMS=\"SR\"\rAT+CMGR=9\r",
         {waiting + u"[1022]błąd, timeout"},
         {1000, 1000, 4000}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Job job(row.phone);
        job.texts.marked = true;
        job.profile.waitForReport = 1;
        std::vector<int32_t> state = {1};
        EXPECT_EQ(job.Run(u"Test", {u"+48601234567"}, state), kSendLastRecipientSent);
        EXPECT_EQ(state[0], 0);  // sent, whatever the report says
        EXPECT_EQ(job.Written().substr(job.Written().find('\x1A') + 1), row.written);
        const Lines tail(job.progress.lines.begin() + 6, job.progress.lines.end() - 1);
        EXPECT_EQ(tail, row.tail);
        // The first two are the accepted PDU's: the exchange's second and 500 after it.
        const std::vector<uint32_t> pauses = job.Pauses();
        EXPECT_EQ(std::vector<uint32_t>(pauses.begin() + 2, pauses.end()), row.pauses);
    }
}

}  // namespace
}  // namespace tarnik
