// A text the user reads, named once where it is used: its number in the host's translation
// service and its Polish default, written as it reads.
#pragma once

#include <cstdint>
#include <string_view>

namespace tarnik {

struct UserText {
    uint32_t id;
    std::u16string_view polish;
};

}  // namespace tarnik
