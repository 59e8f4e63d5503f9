// Waiting for the network's delivery report (SMS-STATUS-REPORT, TS 23.040 9.2.2.3) for the
// recipient of the message just sent, and showing its outcome.
#pragma once

#include <string>

#include "link/mobile_core.h"
#include "send/send_environment.h"

namespace tarnik {

// `number` is the recipient as it went into the PDU (digits, no '+').
void WaitForDeliveryReport(CMobileCore& link, const std::string& number, SendEnvironment& env);

}  // namespace tarnik
