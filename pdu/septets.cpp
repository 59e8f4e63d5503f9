#include "pdu/septets.h"

#include <cstdint>

#include "pdu/gsm_alphabet.h"
#include "pdu/hex.h"

namespace tarnik {

int PackSeptets(std::string_view text, size_t headerOctets, std::string& hex) {
    // The header's septets are zero and not stored, and a header longer than the whole
    // user data fills it: no argument can run past the array or grow the output.
    const size_t fill = headerOctets == 0                    ? 0
                        : headerOctets >= kMaxUserDataOctets ? size_t{kMaxSeptets}
                                                             : HeaderSeptets(headerOctets);
    const size_t room = kMaxSeptets - fill;
    uint8_t septets[kMaxSeptets];
    size_t written = 0;
    for (const char c : text) {
        if (written >= room)
            break;
        const auto byte = static_cast<uint8_t>(c);
        const uint8_t ext = ExtensionSeptetFromByte(byte);
        if (ext != 0) {
            // A TP-UDL of 161 would make the service centre reject the whole part.
            if (written + 2 > room)
                break;
            septets[written++] = kGsmEscape;
            septets[written++] = ext;
        } else {
            septets[written++] = SeptetFromByte(byte);
        }
    }
    const size_t count = fill + written;

    const size_t octets = (count * 7 + 7) / 8;
    hex.clear();
    hex.reserve(octets * 2);
    uint32_t acc = 0;
    int bits = 0;
    size_t emitted = 0;
    for (size_t k = 0; k < count; ++k) {
        const uint8_t septet = k < fill ? 0 : septets[k - fill];
        acc |= static_cast<uint32_t>(septet & 0x7F) << bits;
        bits += 7;
        while (bits >= 8) {
            AppendHexOctet(hex, static_cast<uint8_t>(acc & 0xFF));
            acc >>= 8;
            bits -= 8;
            ++emitted;
        }
    }
    if (emitted < octets)
        AppendHexOctet(hex, static_cast<uint8_t>(acc & 0xFF));
    return static_cast<int>(count);
}

std::string UnpackSeptets(std::string_view hex, size_t headerOctets) {
    const size_t octets = hex.size() / 2;
    const size_t count = octets * 8 / 7;
    const size_t skip = headerOctets > 0 ? HeaderSeptets(headerOctets) : 0;
    std::string out;
    if (count <= skip)
        return out;
    // Escapes only shorten the text, so the septets after the header bound it.
    out.resize(count - skip);
    char* const begin = out.data();
    char* end = begin;

    // Each octet is read once into a bit accumulator, starting at the octet that holds the
    // first text septet; a septet is taken as soon as seven bits are there. Reading up to the
    // last octet gives floor(octets * 8 / 7) septets in all, the header's included.
    const size_t firstBit = skip * 7;
    const char* digits = hex.data() + 2 * (firstBit / 8);
    const char* const digitsEnd = hex.data() + 2 * octets;
    uint32_t acc = 0;
    unsigned bits = 0;
    unsigned dropBits = firstBit % 8;  // header bits at the start of the first octet
    bool escaped = false;
    for (; digits != digitsEnd; digits += 2) {
        acc |= uint32_t{HexPairValue(digits[0], digits[1])} << bits;
        bits += 8;
        if (dropBits != 0) {
            acc >>= dropBits;
            bits -= dropBits;
            dropBits = 0;
        }
        while (bits >= 7) {
            const auto septet = static_cast<uint8_t>(acc & 0x7F);
            acc >>= 7;
            bits -= 7;
            if (escaped) {
                end[-1] = static_cast<char>(ByteFromExtensionSeptet(septet));
                escaped = false;
                continue;
            }
            const uint8_t byte = ByteFromSeptet(septet);
            *end++ = static_cast<char>(byte);
            escaped = byte == kGsmEscape;
        }
    }
    out.resize(static_cast<size_t>(end - begin));
    return out;
}

}  // namespace tarnik
