#include "pdu/status_report.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pdu/cp1250.h"
#include "pdu/hex_cursor.h"
#include "pdu/pdu_fields.h"
#include "pdu/sms_time.h"

namespace tarnik {

namespace {

struct StatusRow {
    uint8_t status;
    std::u16string_view text;
};

// TS 23.040 9.2.3.15: 0x0x completed, 0x2x still trying, 0x4x and 0x6x permanent failure.
constexpr StatusRow kStatusTexts[] = {
    {0x00, u"Ok, wiadomość dostarczona"},
    {0x01, u"Ok, wiadomość przekazana do Centrum SMS, jednaże nie można potwierdzić dostarczenia."},
    {0x02, u"Ok, wiadomość zastąpiona przez Centrum SMS"},
    {0x20, u"Nadal proobuje, przeciążenie;"},
    {0x21, u"Nadal proobuje, terminal zajęty"},
    {0x22, u"Nadal proobuje, brak odpowiedzi"},
    {0x23, u"Nadal proobuje, prośba odrzucona"},
    {0x24, u"Nadal proobuje, QoS nie jest dostępne"},
    {0x25, u"Nadal proobuje, błąd ze strony terminala"},
    {0x40, u"Błąd, zdalna procedura nie powiodła się"},
    {0x41, u"Błąd, niekompatybilny numer docelowy"},
    {0x42, u"Błąd, terminal odrzucił połączenie"},
    {0x43, u"Błąd, brak danych"},
    {0x44, u"Błąd, QoS nie jest dostępny"},
    {0x45, u"Błąd, sieć niedostępna"},
    {0x46, u"Błąd, upłynął limit ważności SMS'a"},
    {0x47, u"Błąd, terminal usunął wiadomość"},
    {0x48, u"Błąd, Centrum SMSM usunęłowiadomość"},
    {0x49, u"Błąd, wiadomość nie istnieje"},
    {0x60, u"Błąd, przeciążenie"},
    {0x61, u"Błąd, terminal zajęty"},
    {0x62, u"Błąd, terminal nie odpowiedział"},
    {0x63, u"Błąd, usługa odrzucona"},
    {0x64, u"Błąd, QoS nie jest dostępny"},
    {0x65, u"Błąd, błąd terminala"},
};

constexpr std::u16string_view kUnknownStatus = u"nieznany";
constexpr std::u16string_view kReportTitle = u"Raport doręczenia ";
constexpr std::u16string_view kStatusLabel = u"Stan: ";
constexpr std::u16string_view kSentLabel = u"Czas wysłania: ";
constexpr std::u16string_view kDoneLabel = u"Czas dostarczenia: ";

// The report's texts in Windows-1250, whatever the system's code page: converted once.
struct ReportTexts {
    ReportTexts() {
        for (const StatusRow& row : kStatusTexts)
            statuses.emplace_back(row.status, Cp1250FromUtf16(row.text));
    }
    std::vector<std::pair<uint8_t, std::string>> statuses;
    std::string unknown = Cp1250FromUtf16(kUnknownStatus);
    std::string title = Cp1250FromUtf16(kReportTitle);
    std::string statusLabel = Cp1250FromUtf16(kStatusLabel);
    std::string sentLabel = Cp1250FromUtf16(kSentLabel);
    std::string doneLabel = Cp1250FromUtf16(kDoneLabel);
};

const ReportTexts& Texts() {
    static const ReportTexts texts;
    return texts;
}

}  // namespace

const char* StatusText(uint32_t status) {
    for (const auto& [value, text] : Texts().statuses) {
        if (value == status)
            return text.c_str();
    }
    return Texts().unknown.c_str();
}

SmsPdu DecodeStatusReport(HexCursor& cursor, SmsPdu record) {
    record.incoming = true;
    record.alphabet = kAlphabetGsm7;
    // A report cut short keeps what was read before the cut; the fields after it stay as a
    // new record has them.
    uint8_t mr = 0, status = 0;
    std::string_view scts, dt;
    if (cursor.ReadOctet(mr, PduField::kMessageReference) &&
        ReadAddress(cursor, record.address, AlphanumericAddress::kLeaveEmpty,
                    PduField::kRecipient) &&
        cursor.Take(kTimeStampChars, scts, PduField::kTimeStamp)) {
        record.timestamp = DecodeTimeStamp(scts);
        if (cursor.Take(kTimeStampChars, dt, PduField::kDischargeTime)) {
            record.doneTime = TimeStampText(dt);
            if (cursor.ReadOctet(status, PduField::kStatus))
                record.status = status;
        }
    }
    record.sentTime = record.timestamp.text;

    char reference[16];
    std::snprintf(reference, sizeof reference, "(%i)", static_cast<int>(mr));
    std::string& text = record.text;
    text.clear();
    const ReportTexts& texts = Texts();
    text.append(texts.title).append(reference).append("\r\n");
    text.append(texts.statusLabel).append(StatusText(record.status)).append("\r\n").append("\r\n");
    text.append(texts.sentLabel).append(record.sentTime).append("\r\n");
    text.append(texts.doneLabel).append(record.doneTime).append("\r\n");
    return record;
}

}  // namespace tarnik
