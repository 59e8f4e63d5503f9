// Bytes as hexadecimal text and back, for the programs around the plug-in that take or show
// raw bytes (the emulated phone's configuration, tarnik-pdu). The plug-in reads PDUs octet by
// octet (pdu/hex.h) and does not link this.
#pragma once

#include <string>
#include <string_view>

namespace tarnik {

// Two upper-case digits per byte.
std::string HexFromBytes(std::string_view bytes);

// Pairs of hexadecimal digits of either case into `bytes`; false, `bytes` unchanged, for an
// odd count or any other character. An empty text gives no bytes.
bool BytesFromHex(std::string_view hex, std::string& bytes);

}  // namespace tarnik
