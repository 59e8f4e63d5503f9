// SMS-STATUS-REPORT (TS 23.040 9.2.2.3): the network's answer to a message sent with a
// status report request, with a ready-made Polish report text.
#pragma once

#include <cstdint>
#include <string_view>

#include "pdu/hex_cursor.h"
#include "pdu/sms_pdu.h"

namespace tarnik {

// Takes the PDU text after the first octet and the record read so far (SMSC, first octet).
SmsPdu DecodeStatusReport(HexCursor& rest, SmsPdu record);

// Polish text of a TP-Status value (TS 23.040 9.2.3.15), Windows-1250 bytes.
const char* StatusText(uint32_t status);

}  // namespace tarnik
