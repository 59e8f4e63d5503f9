"""Building blocks of SMS PDUs for the Python tests and benchmarks (TS 23.038 alphabet,
TS 23.040 fields): written once, so that the oracle and the phone-store generator build
their PDUs the same way."""

GSM_DEFAULT = (
    "@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
    "¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà")
assert len(GSM_DEFAULT) == 128
ESCAPE = 0x1B
# The extension table: character -> septet after the escape.
GSM_EXTENSION = {"\x0c": 0x0A, "^": 0x14, "{": 0x28, "}": 0x29, "\\": 0x2F, "[": 0x3C,
                 "~": 0x3D, "]": 0x3E, "|": 0x40, "€": 0x65}


def gsm_septets(text):
    """Septets of a text, extension characters as escape pairs; None if one has no septet."""
    out = []
    for ch in text:
        if ch in GSM_EXTENSION:
            out += [ESCAPE, GSM_EXTENSION[ch]]
        elif ch in GSM_DEFAULT and ch != "\x1b":
            out.append(GSM_DEFAULT.index(ch))
        else:
            return None
    return out


def pack_septets(septets, header=b""):
    """User data and its length for 7-bit text behind an optional header (UDHL included).

    The text starts on the first septet boundary after the header (fill bits between)."""
    start = (len(header) * 8 + 6) // 7
    udl = start + len(septets)
    acc = int.from_bytes(header, "little")
    for k, s in enumerate(septets):
        acc |= s << (7 * (start + k))
    return udl, acc.to_bytes((udl * 7 + 7) // 8, "little")


def semi_octets(digits):
    if len(digits) % 2:
        digits += "F"
    return bytes(int(digits[i + 1] + digits[i], 16) for i in range(0, len(digits), 2))


def bcd(value):
    return ((value % 10) << 4) | (value // 10)
