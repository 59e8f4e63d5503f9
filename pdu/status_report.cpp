#include "pdu/status_report.h"

#include <cstdio>
#include <string>

#include "pdu/hex_cursor.h"
#include "pdu/pdu_fields.h"
#include "pdu/sms_time.h"

namespace tarnik {

namespace {

struct StatusRow {
    uint8_t status;
    const char* text;  // Windows-1250
};

// TS 23.040 9.2.3.15: 0x0x completed, 0x2x still trying, 0x4x and 0x6x permanent failure.
constexpr StatusRow kStatusTexts[] = {
    {0x00, "Ok, wiadomo\x9C\xE6 dostarczona"},  // Ok, wiadomość dostarczona
    // Ok, wiadomość przekazana do Centrum SMS, jednaże nie można potwierdzić dostarczenia.
    {0x01,
     "Ok, wiadomo\x9C\xE6 przekazana do Centrum SMS, jedna\xBF"
     "e nie mo\xBFna potwierdzi\xE6 dostarczenia."},
    {0x02, "Ok, wiadomo\x9C\xE6 zast\xB9piona przez Centrum SMS"},  // zastąpiona
    {0x20,
     "Nadal proobuje, przeci\xB9\xBF"
     "enie;"},                                     // przeciążenie;
    {0x21, "Nadal proobuje, terminal zaj\xEAty"},  // zajęty
    {0x22, "Nadal proobuje, brak odpowiedzi"},
    {0x23,
     "Nadal proobuje, pro\x9C"
     "ba odrzucona"},                                    // prośba
    {0x24, "Nadal proobuje, QoS nie jest dost\xEApne"},  // dostępne
    {0x25,
     "Nadal proobuje, b\xB3\xB9"
     "d ze strony terminala"},  // błąd
    {0x40,
     "B\xB3\xB9"
     "d, zdalna procedura nie powiod\xB3"
     "a si\xEA"},  // Błąd, powiodła się
    {0x41,
     "B\xB3\xB9"
     "d, niekompatybilny numer docelowy"},
    {0x42,
     "B\xB3\xB9"
     "d, terminal odrzuci\xB3 po\xB3\xB9"
     "czenie"},  // odrzucił połączenie
    {0x43,
     "B\xB3\xB9"
     "d, brak danych"},
    {0x44,
     "B\xB3\xB9"
     "d, QoS nie jest dost\xEApny"},  // dostępny
    {0x45,
     "B\xB3\xB9"
     "d, sie\xE6 niedost\xEApna"},  // sieć niedostępna
    {0x46,
     "B\xB3\xB9"
     "d, up\xB3yn\xB9\xB3 limit wa\xBFno\x9C"
     "ci SMS'a"},  // upłynął ważności
    {0x47,
     "B\xB3\xB9"
     "d, terminal usun\xB9\xB3 wiadomo\x9C\xE6"},  // usunął wiadomość
    {0x48,
     "B\xB3\xB9"
     "d, Centrum SMSM usun\xEA\xB3owiadomo\x9C\xE6"},  // usunęłowiadomość
    {0x49,
     "B\xB3\xB9"
     "d, wiadomo\x9C\xE6 nie istnieje"},
    {0x60,
     "B\xB3\xB9"
     "d, przeci\xB9\xBF"
     "enie"},
    {0x61,
     "B\xB3\xB9"
     "d, terminal zaj\xEAty"},
    {0x62,
     "B\xB3\xB9"
     "d, terminal nie odpowiedzia\xB3"},  // odpowiedział
    {0x63,
     "B\xB3\xB9"
     "d, us\xB3uga odrzucona"},  // usługa
    {0x64,
     "B\xB3\xB9"
     "d, QoS nie jest dost\xEApny"},
    {0x65,
     "B\xB3\xB9"
     "d, b\xB3\xB9"
     "d terminala"},
};

constexpr char kUnknownStatus[] = "nieznany";
constexpr char kReportTitle[] =
    "Raport dor\xEA"
    "czenia ";  // Raport doręczenia
constexpr char kSentLabel[] =
    "Czas wys\xB3"
    "ania: ";  // Czas wysłania:
constexpr char kDoneLabel[] = "Czas dostarczenia: ";

}  // namespace

const char* StatusText(uint32_t status) {
    for (const StatusRow& row : kStatusTexts) {
        if (row.status == status)
            return row.text;
    }
    return kUnknownStatus;
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
    text.append(kReportTitle).append(reference).append("\r\n");
    text.append("Stan: ").append(StatusText(record.status)).append("\r\n").append("\r\n");
    text.append(kSentLabel).append(record.sentTime).append("\r\n");
    text.append(kDoneLabel).append(record.doneTime).append("\r\n");
    return record;
}

}  // namespace tarnik
