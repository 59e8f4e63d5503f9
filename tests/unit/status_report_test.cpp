#include "pdu/status_report.h"

#include <gtest/gtest.h>

#include <string>

#include "pdu/cp1250.h"
#include "pdu/pdu_decoder.h"

namespace tarnik {
namespace {

// No SMSC, TP-MR 7, recipient +48601234567, sent 24-01-15 17:34:45, done 17:35:02.
std::string Report(const std::string& status, const std::string& sctsZone = "80",
                   const std::string& dtZone = "80") {
    return "0006070B918406214365F7"
           "421051714354" +
           sctsZone + "421051715320" + dtZone + status;
}

TEST(DecodeStatusReport, WorkedExample) {
    const SmsPdu r = DecodePdu(Report("00"));
    ASSERT_TRUE(r.decoded);
    EXPECT_TRUE(r.incoming);
    EXPECT_EQ(r.firstOctet.mti, kMtiStatusReport);
    EXPECT_EQ(r.alphabet, kAlphabetGsm7);
    EXPECT_EQ(r.address.number, "48601234567");
    EXPECT_EQ(r.status, 0u);
    EXPECT_EQ(r.sentTime, "2024-01-15 17:34:45");
    EXPECT_EQ(r.doneTime, "2024-01-15 17:35:02");
    EXPECT_EQ(r.timestamp.text, r.sentTime);
    EXPECT_EQ(r.timestamp.minute, 34);
    EXPECT_EQ(r.text, Cp1250FromUtf16(u"Raport doręczenia (7)\r\n"
                                      u"Stan: Ok, wiadomość dostarczona\r\n\r\n"
                                      u"Czas wysłania: 2024-01-15 17:34:45\r\n"
                                      u"Czas dostarczenia: 2024-01-15 17:35:02\r\n"));
}

// The texts are kept as Windows-1250 bytes in the code; check them against readable Polish.
TEST(DecodeStatusReport, StatusTexts) {
    const struct {
        uint32_t status;
        const char16_t* text;
    } cases[] = {
        {0x00, u"Ok, wiadomość dostarczona"},
        {0x01,
         u"Ok, wiadomość przekazana do Centrum SMS, jednaże nie można potwierdzić "
         u"dostarczenia."},
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
        {0x03, u"nieznany"},
        {0x26, u"nieznany"},
        {0xFF, u"nieznany"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.status);
        EXPECT_EQ(StatusText(c.status), Cp1250FromUtf16(c.text));
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", c.status);
        const SmsPdu r = DecodePdu(Report(hex));
        EXPECT_EQ(r.status, c.status);
        EXPECT_NE(r.text.find("Stan: " + Cp1250FromUtf16(c.text) + "\r\n"), std::string::npos);
    }
}

TEST(DecodeStatusReport, ZonesHaveNoEffect) {
    const SmsPdu a = DecodePdu(Report("00", "80", "80"));
    const SmsPdu b = DecodePdu(Report("00", "2B", "0A"));
    EXPECT_EQ(a.text, b.text);
    EXPECT_EQ(a.timestamp.time, b.timestamp.time);
    EXPECT_EQ(a.doneTime, b.doneTime);
}

TEST(DecodeStatusReport, OddCases) {
    // An alphanumeric recipient leaves the number empty but its octets are still passed over.
    const SmsPdu alpha = DecodePdu(
        "000607"
        "04D04142"
        "4210517143548042105171532080"
        "46");
    EXPECT_TRUE(alpha.decoded);
    EXPECT_EQ(alpha.address.number, "");
    EXPECT_EQ(alpha.status, 0x46u);
    // With an SMSC field and a three-digit reference.
    const SmsPdu smsc = DecodePdu(
        "07918406214365F7"
        "06FF0B918406214365F7"
        "4210517143548042105171532080"
        "20");
    EXPECT_TRUE(smsc.decoded);
    EXPECT_EQ(smsc.smsc.number, "48601234567");
    EXPECT_EQ(smsc.text.rfind("Raport dor\xEA"
                              "czenia (255)\r\n",
                              0),
              0u);
}

}  // namespace
}  // namespace tarnik
