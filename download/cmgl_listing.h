// The phone's reply to "AT+CMGL=4" (TS 27.005 3.4.2, PDU mode): one "+CMGL: <index>,
// <stat>,[<alpha>],<length>" header line per stored message, each followed by its PDU line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pdu/sms_pdu.h"

namespace tarnik {

// Passes over one reply, so at most this many records come from it. The first pass looks
// at the text before the first header: normally just the command's echo, but a phone's
// unsolicited line that holds a colon and a PDU there is read like an entry.
constexpr int kMaxListingPasses = 2048;

// Appends a record for every listed message that decodes, with its index and storage.
void ParseCmglListing(std::string_view reply, std::vector<SmsPdu>& records,
                      std::string_view storage);

// What follows the first ':', trimmed of blanks and line ends; the text itself without one.
std::string TextAfterColon(std::string_view text);

}  // namespace tarnik
