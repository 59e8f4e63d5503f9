#include "send/report_wait.h"

#include <cstdio>
#include <cstdlib>

#include "pdu/code_page.h"
#include "pdu/pdu_decoder.h"
#include "text/text_format.h"
#include "text/user_text.h"

namespace tarnik {

namespace {

constexpr uint32_t kSettingWaitMs = 500;
constexpr uint32_t kReportWaitMs = 45000;
constexpr uint32_t kBetweenLinesMs = 500;
constexpr uint32_t kAfterReportMs = 4000;
// A direct report shorter than this came without its SMSC field.
constexpr size_t kShortestPduWithSmsc = 62;

constexpr UserText kWaiting{1013, u"Oczekuję na raport... "};
constexpr UserText kDelivered{1015, u"dostarczona"};
constexpr UserText kSmscFailed{1016, u"błąd SMSC"};
constexpr UserText kDoneTime{1017, u" Czas: %s"};
constexpr UserText kStatusCode{1018, u" Kod: %d"};
constexpr UserText kUndecodable{1019, u"błąd dekodera"};
constexpr UserText kNotOurs{1020, u"błąd (zły raport)"};
constexpr UserText kNoPdu{1021, u"błąd parsera"};
constexpr UserText kNoReport{1022, u"błąd, timeout"};
constexpr UserText kModemRefused{10014, u"błąd modemu"};
// The time line after a delivery is not translated; the one after an SMSC error is (1017).
constexpr std::u16string_view kDeliveredTime = u" Czas: %s";

enum class Indication { kNone, kDirect, kStored };

// TS 27.005 3.4.1: <ds> 1 routes reports as +CDS, <ds> 2 stores them and says +CDSI.
Indication ChooseIndication(CMobileCore& link) {
    const struct {
        const char* command;
        Indication mode;
    } settings[] = {
        {"AT+CNMI=2,0,0,1,0", Indication::kDirect},
        {"AT+CNMI=1,0,0,2,1", Indication::kStored},
        {"AT+CNMI=1,0,0,2,0", Indication::kStored},
    };
    for (const auto& s : settings) {
        if (link.SendCommand(s.command, "OK", "\r\n", "ERROR", nullptr, kSettingWaitMs))
            return s.mode;
    }
    return Indication::kNone;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Follows a "+CDSI: <mem>,<index>" announcement to the stored report and makes the reply
// read like a direct "+CDS:" one. False when the announcement or the report is missing.
bool FetchStoredReport(CMobileCore& link, std::string& reply) {
    const size_t dsi = reply.find("DSI:");
    if (dsi == std::string::npos)
        return false;
    const size_t comma = reply.find(',', dsi + 1);
    const size_t cr = reply.find('\r', dsi + 1);
    if (comma == std::string::npos || cr == std::string::npos)
        return false;

    std::string storage;
    for (const char c : reply.substr(dsi + 4, comma > dsi + 4 ? comma - dsi - 4 : 0)) {
        if (c != '"' && c != ' ' && c != ',' && c != '\r' && c != '\n')
            storage.push_back(c);
    }
    const std::string indexText = cr > comma ? reply.substr(comma + 1, cr - comma - 1) : "";
    const int index = std::atoi(indexText.c_str());

    std::string ignored;
    link.SendCommand("AT+CPMS=\"" + storage + "\"", "OK", "\r", "ERROR", &ignored, kReportWaitMs);
    char read[32];
    std::snprintf(read, sizeof read, "AT+CMGR=%d", index);
    if (!link.SendCommand(read, "OK", "\r", "ERROR", &reply, kReportWaitMs))
        return false;
    ReplaceAll(reply, "+CMGR:", "+CDS:");
    return true;
}

std::string WithoutLineBreaksAndBlanks(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c != '\r' && c != '\n' && c != ' ')
            out.push_back(c);
    }
    return out;
}

void ShowReport(const std::string& reply, Indication mode, const std::string& number,
                SendEnvironment& env) {
    const size_t header = reply.find("+CDS:");
    const size_t a = header == std::string::npos ? std::string::npos : reply.find('\r', header + 5);
    const size_t b = a == std::string::npos ? std::string::npos : reply.find('\r', a + 1);
    if (a == std::string::npos || b == std::string::npos || a == 0) {
        env.Append(kNoPdu);
        return;
    }
    std::string pdu = WithoutLineBreaksAndBlanks(reply.substr(a, b - a));
    if (mode == Indication::kDirect && pdu.size() < kShortestPduWithSmsc)
        pdu = "00" + pdu;
    const SmsPdu report = DecodePdu(pdu);

    // Only the recipient is compared: a report about someone else is not ours to show.
    if (number.find(report.address.number) == std::string::npos) {
        env.Append(kNotOurs);
        return;
    }
    if (!report.decoded) {
        env.Append(kUndecodable);
        return;
    }
    const std::u16string doneTime = WidenNarrow(report.doneTime);
    if (report.status <= 3) {  // TS 23.040 9.2.3.15: transaction completed
        env.Append(kDelivered);
        env.clock.Sleep(kBetweenLinesMs);
        env.progress.Append(FormatText(kDeliveredTime, {doneTime}), false);
        return;
    }
    env.Append(kSmscFailed);
    env.clock.Sleep(kBetweenLinesMs);
    env.progress.Append(FormatText(env.translator.Text(kDoneTime), {doneTime}), false);
    env.clock.Sleep(kBetweenLinesMs);
    env.progress.Append(
        FormatText(env.translator.Text(kStatusCode), {static_cast<int64_t>(report.status)}), false);
}

}  // namespace

void WaitForDeliveryReport(CMobileCore& link, const std::string& number, SendEnvironment& env) {
    env.Line(kWaiting);
    const Indication mode = ChooseIndication(link);
    if (mode == Indication::kNone) {
        env.Append(kModemRefused);
        return;
    }

    std::string reply;
    const char* announcement = mode == Indication::kDirect ? "+CDS:" : "+CDSI:";
    bool fetched =
        link.SendCommand("AT", announcement, "\r\n", "ERROR", &reply, kReportWaitMs) != 0;
    if (fetched && mode == Indication::kStored)
        fetched = FetchStoredReport(link, reply);

    if (fetched) {
        ShowReport(reply, mode, number, env);
    } else {
        env.Append(kNoReport);
    }
    env.clock.Sleep(kAfterReportMs);
}

}  // namespace tarnik
