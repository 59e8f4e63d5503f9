// DecodePdu on whatever the phone could send. The bytes go in twice: as they are, the way a
// garbled serial line would deliver them, and mapped onto upper-case hexadecimal digits, so
// that most inputs get past the length and type octets into the address, time stamp, header
// and user data paths.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.h"
#include "pdu/pdu_decoder.h"

namespace {

// The user data holds at most 511 UCS-2 units, which narrow to at most as many characters.
constexpr size_t kMaxUcs2Text = 511;

char HexDigitOf(uint8_t byte) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    if ((byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'F'))
        return static_cast<char>(byte);
    if (byte >= 'a' && byte <= 'f')
        return static_cast<char>(byte - 'a' + 'A');
    return kDigits[byte & 0x0F];
}

void CheckRecord(const tarnik::SmsPdu& record, size_t hexChars) {
    if (!record.decoded)
        return;
    FUZZ_REQUIRE(record.firstOctet.mti <= tarnik::kMtiStatusReport);
    FUZZ_REQUIRE(record.alphabet <= tarnik::kAlphabetReserved);
    if (record.firstOctet.mti != tarnik::kMtiStatusReport &&
        record.alphabet == tarnik::kAlphabetUcs2) {
        FUZZ_REQUIRE(record.text.size() <= kMaxUcs2Text);
    }
    if (record.firstOctet.mti != tarnik::kMtiStatusReport &&
        record.alphabet == tarnik::kAlphabetGsm7) {
        // Seven bits per character at most, and an escape pair is one character.
        FUZZ_REQUIRE(record.text.size() <= hexChars / 2 * 8 / 7);
    }
    if (record.concat)
        FUZZ_REQUIRE(record.firstOctet.udhi == 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string raw(reinterpret_cast<const char*>(data), size);
    CheckRecord(tarnik::DecodePdu(raw), size);

    std::string hex(size, '0');
    for (size_t i = 0; i < size; ++i)
        hex[i] = HexDigitOf(data[i]);
    CheckRecord(tarnik::DecodePdu(hex), size);
    return 0;
}
