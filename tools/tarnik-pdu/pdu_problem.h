// Why a PDU is not what a phone should have given: the first thing wrong with it, in words
// for a user holding a PDU from a real phone. The decoder itself only says whether it ran.
#pragma once

#include <string>
#include <string_view>

namespace tarnik {

// Empty when nothing is wrong; otherwise, e.g., "cut before the user data".
std::string PduProblem(std::string_view hex);

}  // namespace tarnik
