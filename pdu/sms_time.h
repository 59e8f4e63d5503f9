// Time stamps of SMS PDUs: seven swapped semi-octet pairs, year to second and the
// zone (TS 23.040 9.2.3.11). The zone is not used: times are shown as the centre wrote them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "pdu/sms_pdu.h"

namespace tarnik {

// Characters of one time stamp in the PDU.
constexpr size_t kTimeStampChars = 14;

// "20yy-mm-dd hh:mm:ss" from the first six swapped pairs, the digits as they stand.
std::string TimeStampText(std::string_view fourteenChars);

// Numeric fields, text, and the local calendar time and OLE date of that moment.
SmsTime DecodeTimeStamp(std::string_view fourteenChars);

// OLE automation date (days since 1899-12-30, local time) of an instant; 0.0 when the
// instant cannot be converted to local time.
double OleDateFromTime(int64_t time);

}  // namespace tarnik
