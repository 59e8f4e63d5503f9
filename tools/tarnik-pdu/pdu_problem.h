// Why a PDU is not what a phone should have given: the first thing wrong with it, in words
// for a user holding a PDU from a real phone.
#pragma once

#include <string>
#include <string_view>

#include "pdu/hex_cursor.h"

namespace tarnik {

// Empty when nothing is wrong; otherwise, e.g., "cut before the user data". The text is
// looked at first; past that, `end` is where the decoder's reading of it stopped.
std::string PduProblem(std::string_view hex, const PduEnd& end);

}  // namespace tarnik
