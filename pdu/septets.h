// Packing of GSM 7-bit septets into octets and back (TS 23.038 6.1.2.1.1): septet k
// takes bits 7k..7k+6 of the octet stream, least significant bit first.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarnik {

// Septets that the packer never exceeds (TS 23.040 9.2.3.16: 140 octets of user data).
constexpr int kMaxSeptets = 160;
constexpr size_t kMaxUserDataOctets = 140;

// Septets taken by a user data header of h octets, its length octet included,
// fill bits rounded up (TS 23.040 9.2.3.24): ceil(8h / 7).
constexpr size_t HeaderSeptets(size_t headerOctets) {
    return (8 * headerOctets + 6) / 7;
}

// Packs the narrow text after a header of `headerOctets` octets (0 for none) and
// returns the TP-User-Data-Length in septets, header septets included. `hex` receives
// the packed user data with the header octets left zero for the caller to replace.
// Bytes outside both tables go out as spaces; packing stops at 160 septets, and an
// escaped character that would not fit whole is left out. A header of 140 octets or
// more takes all 160 septets.
int PackSeptets(std::string_view text, size_t headerOctets, std::string& hex);

// Unpacks hexadecimal user data into narrow text, skipping the header septets. The
// septet count comes from the octets present, so spare bits may add one trailing '@'.
std::string UnpackSeptets(std::string_view hex, size_t headerOctets);

}  // namespace tarnik
