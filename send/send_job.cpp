#include "send/send_job.h"

#include <cstdio>
#include <optional>

#include "link/mobile_core.h"
#include "link/profile_link.h"
#include "pdu/submit_encoder.h"
#include "send/report_wait.h"
#include "text/text_format.h"
#include "text/user_text.h"

namespace tarnik {

namespace {

constexpr uint32_t kShortWaitMs = 500;
constexpr uint32_t kSubmitWaitMs = 45000;  // the network answers the PDU, not the phone
constexpr uint32_t kAfterSubmitMs = 500;
constexpr uint32_t kRetryAfterMs = 5000;
constexpr uint8_t kValidityFourDays = 0xAA;  // TS 23.040 9.2.3.12.1: (170 - 166) days

constexpr UserText kParameters{1004, u"Parametry... "};
constexpr UserText kOk{1005, u"OK"};
constexpr UserText kConnecting{1006, u"Lączenie... "};  // a plain "L", as it always read
constexpr UserText kFailed{1007, u"Błąd"};
constexpr UserText kInitialising{1008, u"Inicjalizacja... "};
constexpr UserText kRecipient{1009, u"Adresat: %s"};
constexpr UserText kPartOfParts{1010, u"Wiadomość %d z %d (%d z %d ogółem)"};
constexpr UserText kSending{1011, u"Wysyłam... "};
constexpr UserText kRetrying{1012, u"Tymczasowy błąd, ponowienie za 5s..."};
constexpr UserText kDisconnecting{1023, u"Rozłączenie... "};

// TS 24.011 8.2.5.4 causes worth one more try: network out of order, temporary failure,
// congestion.
bool IsTemporaryRefusal(const std::string& reply) {
    for (const char* cause : {"+CMS ERROR: 38", "+CMS ERROR: 41", "+CMS ERROR: 42"}) {
        if (reply.find(cause) != std::string::npos)
            return true;
    }
    return false;
}

std::string RecipientDigits(const std::string& narrow) {
    const size_t first = narrow.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    const size_t last = narrow.find_last_not_of(' ');
    std::string digits;
    for (const char c : narrow.substr(first, last - first + 1)) {
        if (c != '+')
            digits.push_back(c);
    }
    return digits;
}

uint8_t Reference(SendEnvironment& env) {
    return static_cast<uint8_t>(env.random() % 254 + 1);
}

enum class Submission { kAccepted, kCommandRefused, kPduRefused };

// One part to the phone: storage, AT+CMGS with its prompt, the PDU, and at most one more
// try after a temporary refusal by the network.
Submission SubmitPart(CMobileCore& link, const std::string& pdu, SendEnvironment& env) {
    char command[32];
    std::snprintf(command, sizeof command, "AT+CMGS=%d", CmgsLength(pdu));
    bool retried = false;
    for (;;) {
        env.Line(kSending);
        if (!link.SendCommand("AT+CPMS=\"SM\"", "OK", "\r", "ERROR", nullptr, kShortWaitMs) ||
            !link.SendCommand(command, ">", "\r", "ERROR", nullptr, kShortWaitMs)) {
            env.Append(kFailed);
            return Submission::kCommandRefused;
        }
        std::string reply;
        const int accepted = link.SendCommand(pdu, "OK", "\x1A", "ERROR", &reply, kSubmitWaitMs);
        env.clock.Sleep(kAfterSubmitMs);
        if (accepted)
            return Submission::kAccepted;

        env.Append(kFailed);
        if (retried || !IsTemporaryRefusal(reply))
            return Submission::kPduRefused;
        env.Line(kRetrying);
        retried = true;
        env.clock.Sleep(kRetryAfterMs);
    }
}

}  // namespace

std::vector<std::u16string> CutIntoParts(std::u16string_view text) {
    if (text.size() <= kSingleMessageUnits)
        return {std::u16string(text)};
    std::vector<std::u16string> parts;
    for (size_t start = 0; start < text.size(); start += kConcatPartUnits) {
        parts.emplace_back(text.substr(start, kConcatPartUnits));
    }
    return parts;
}

SendResult RunSendJob(const GsmProfile& profile, std::u16string_view text,
                      const std::vector<std::u16string>& recipients, int32_t* recipientState,
                      SendEnvironment& env) {
    env.Line(kParameters);
    env.Append(kOk);
    const std::vector<std::u16string> parts = CutIntoParts(text);

    const std::optional<CoreKind> kind = CoreKindOf(profile);
    if (!kind)
        return kSendUnusableRequest;

    CMobileCore link(*kind, env.clock, env.modules);
    env.Line(kConnecting);
    if (!OpenProfileLink(link, profile)) {
        env.Append(kFailed);
        return kSendFailed;
    }
    env.Append(kOk);
    env.Line(kInitialising);
    if (!link.SendCommand("AT", "OK", "\r\n", "ERROR", nullptr, kShortWaitMs)) {
        env.Append(kFailed);
        return kSendFailed;
    }
    env.Append(kOk);
    link.SendCommand("ATE1", "OK", "\r\n", "ERROR", nullptr, kShortWaitMs);

    SendResult result = kSendFailed;
    const int64_t overallTotal = static_cast<int64_t>(recipients.size()) * parts.size();
    int64_t overallIndex = 0;
    const bool many = parts.size() > 1;

    for (size_t i = 0; i < recipients.size(); ++i) {
        if (recipientState[i] == 0) {
            result = kSendLastRecipientSent;
            continue;
        }
        const std::string number = RecipientDigits(env.narrow(recipients[i]));
        const uint8_t concatRef = Reference(env);
        env.progress.Append(FormatText(env.translator.Text(kRecipient), {recipients[i]}), false);

        for (size_t j = 1; j <= parts.size(); ++j) {
            ++overallIndex;
            env.progress.Append(
                FormatText(env.translator.Text(kPartOfParts),
                           {static_cast<int64_t>(j), static_cast<int64_t>(parts.size()),
                            overallIndex, overallTotal}),
                false);
            const bool last = j == parts.size();
            SmsSubmitParams params;
            params.text = env.narrow(parts[j - 1]);
            params.number = number;
            params.concat = many ? 1 : 0;
            params.concatRef = concatRef;
            params.concatTotal = many ? static_cast<uint32_t>(parts.size()) : 0;
            params.concatSeq = many ? static_cast<uint32_t>(j) : 0;
            params.messageRef = Reference(env);
            params.statusReport = profile.waitForReport != 0 && last ? 1 : 0;
            params.vpPresent = 1;
            params.vp = kValidityFourDays;
            params.flash = profile.flashSms != 0 ? 1 : 0;
            const std::string pdu = EncodeSubmit(params);

            const Submission outcome = SubmitPart(link, pdu, env);
            if (outcome != Submission::kAccepted) {
                if (outcome == Submission::kCommandRefused)
                    recipientState[i] = 1;
                result = kSendFailed;
                break;  // the rest of this recipient's parts are not sent
            }
            env.Append(kOk);
            result = kSendLastRecipientSent;
            if (!last)
                continue;
            recipientState[i] = 0;
            if (profile.waitForReport != 0)
                WaitForDeliveryReport(link, number, env);
        }
    }

    env.Line(kDisconnecting);
    link.Close();
    env.Append(kOk);
    return result;
}

}  // namespace tarnik
