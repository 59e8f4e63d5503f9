// The phone's own side of the PDU codec: what a phone builds from its state (SMS-DELIVER
// for its inbox, SMS-STATUS-REPORT from the network; the octets are pdu/pdu_builder.h's) and
// the few SMS-SUBMIT fields it must read before the message leaves (TS 23.040 9.2.2).
// Decoding for the log is left to tarnik_core.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace tarnik::phone {

// The header fields of a submitted SMS-SUBMIT that the phone acts on.
struct SubmitHeader {
    size_t tpduOctets = 0;  // what "AT+CMGS=<n>" must announce (TS 27.005 3.5.1)
    uint8_t firstOctet = 0;
    uint8_t messageRef = 0;        // TP-MR as the client filled it; the phone assigns its own
    bool reportRequested = false;  // TP-SRR, bit 5 of the first octet (TS 23.040 9.2.3.5)
    std::string destination;       // TP-DA as it stands: length, type and semi-octets, in hex
};

// Reads the SMSC field, first octet, TP-MR and TP-DA of an SMS-SUBMIT given as PDU-mode
// hexadecimal. False for anything that is not a whole, well-formed SMS-SUBMIT header.
bool ReadSubmitHeader(std::string_view hex, SubmitHeader& header);

// Octets after the SMSC field of any PDU-mode hexadecimal PDU: the <length> of
// "+CMGL:", "+CMGR:" and "+CDS:" (TS 27.005 3.4.1); -1 when the SMSC field overruns it.
int TpduOctets(std::string_view hex);

struct StatusReportFields {
    std::string smsc;            // service centre number, "" for an empty SMSC field
    uint8_t messageRef = 0;      // the "+CMGS:" reference of the submitted message
    std::string recipient;       // TP-RA in hex: the submission's TP-DA, or BuildAddress's
    std::time_t submitted = 0;   // TP-SCTS
    std::time_t discharged = 0;  // TP-DT
    uint8_t status = 0;          // TP-ST (TS 23.040 9.2.3.15)
};

// SMS-STATUS-REPORT with both times in the phone's local time.
std::string EncodeStatusReport(const StatusReportFields& fields);

// SMS-DELIVER of one GSM 7-bit text of at most 160 septets, stamped in local time.
std::string EncodeDeliver(std::string_view smsc, std::string_view sender, std::string_view text,
                          std::time_t received);

}  // namespace tarnik::phone
