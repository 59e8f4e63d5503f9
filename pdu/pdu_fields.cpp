#include "pdu/pdu_fields.h"

#include "pdu/hex.h"
#include "pdu/septets.h"

namespace tarnik {

void DecodeAddressType(uint8_t octet, SmsAddress& address) {
    if ((octet & 0x80) == 0) {
        address.ton = 0;
        address.npi = 0;
        address.extBit = false;
        return;
    }
    address.ton = (octet >> 4) & 0x07;
    address.npi = octet & 0x0F;
    address.extBit = true;
}

SmsFirstOctet DecodeFirstOctet(uint8_t octet) {
    SmsFirstOctet f;
    f.replyPath = (octet >> 7) & 1;
    f.udhi = (octet >> 6) & 1;
    f.statusReport = (octet >> 5) & 1;
    f.moreMessages = (octet & 0x04) == 0 ? 1 : 0;
    f.mti = octet & 0x03;
    f.vpf = (octet >> 3) & 0x03;
    return f;
}

uint32_t AlphabetFromDcs(uint8_t dcs) {
    const unsigned group = dcs >> 4;
    if (group <= 3)
        return (dcs >> 2) & 0x03;
    if (group == 15)
        return (dcs >> 2) & 0x01;
    return kAlphabetGsm7;
}

std::string NumberFromSemiOctets(std::string_view chars) {
    // Swapped in place: numbers fit the string's own buffer, with no temporary.
    size_t length = chars.size() & ~size_t{1};
    if (length > 0 && chars[length - 2] == 'F')
        --length;  // the filler is the high semi-octet of the last pair
    std::string number(length, '\0');
    for (size_t i = 0; i < length; ++i)
        number[i] = chars[i ^ 1];
    return number;
}

bool ReadAddress(HexCursor& cursor, SmsAddress& address, AlphanumericAddress alphanumeric,
                 PduField field) {
    uint8_t length = 0;
    uint8_t type = 0;
    if (!cursor.ReadOctet(length, field) || !cursor.ReadOctet(type, field))
        return false;
    DecodeAddressType(type, address);
    const size_t chars = length + (length & 1u);
    std::string_view digits;
    if (!cursor.Take(chars, digits, field, PduEndKind::kCutInside))
        return false;
    if (address.ton != kTonAlphanumeric) {
        address.number = NumberFromSemiOctets(digits);
    } else if (alphanumeric == AlphanumericAddress::kUnpackSeptets) {
        address.number = UnpackSeptets(digits, 0);
    }
    return true;
}

}  // namespace tarnik
