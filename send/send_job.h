// Sending one message to its recipients through the profile's phone: connect, initialise,
// cut the text into parts, submit every part with AT+CMGS in PDU mode (TS 27.005 3.5.1),
// wait for delivery reports when the profile asks, disconnect.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "plugin/gsm_profile.h"
#include "send/send_environment.h"

namespace tarnik {

enum SendResult : intptr_t {
    kSendLastRecipientSent = 0,  // the last recipient was sent in full, or skipped as sent
    kSendFailed = 1,             // no phone, no recipients, or the last recipient failed
    kSendUnusableRequest = 2,
};

// One message longer than this goes in parts of kConcatPartUnits, each with a header.
constexpr size_t kSingleMessageUnits = 160;
constexpr size_t kConcatPartUnits = 153;

// The parts of a message text, in UTF-16 code units; an empty text is one empty part.
std::vector<std::u16string> CutIntoParts(std::u16string_view text);

// Runs the whole job. `recipientState[i]` non-zero means still to send; it is set to 0
// when recipient i's last part was accepted and to 1 when the phone refused the storage
// or the AT+CMGS command.
SendResult RunSendJob(const GsmProfile& profile, std::u16string_view text,
                      const std::vector<std::u16string>& recipients, int32_t* recipientState,
                      SendEnvironment& env);

}  // namespace tarnik
