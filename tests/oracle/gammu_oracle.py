#!/usr/bin/env python3
"""Cross-checks `tarnik-pdu decode` against Gammu, an independent PDU decoder.

Generates thousands of valid PDUs as a phone lists them (SMSC field first): SMS-DELIVER
(numeric and alphanumeric originators; GSM 7-bit with extension and Greek characters, UCS-2,
8-bit; concatenation headers with 8- and 16-bit references, alone or among other elements),
SMS-SUBMIT (every validity period format) and SMS-STATUS-REPORT, time stamps with zones both
sides of GMT. Each field is compared with Gammu's reading, or, where Gammu says nothing of it,
with what the generator put in; where our decoder reads a field otherwise on purpose, the rule
is written beside the check.

Usage: gammu_oracle.py TARNIK_PDU [--count N] [--seed S]
Exits 1 on any mismatch; exits 0 with "skipped: ..." when python3-gammu is missing.
"""
import argparse
import json
import os
import random
import subprocess
import sys

try:
    import gammu
except ImportError:
    # pyenv or a virtualenv can shadow the distribution's interpreter, which has the module.
    if os.environ.get("TARNIK_ORACLE_REEXEC") != "1" and os.path.exists("/usr/bin/python3"):
        os.environ["TARNIK_ORACLE_REEXEC"] = "1"
        os.execv("/usr/bin/python3", ["/usr/bin/python3"] + sys.argv)
    print("skipped: python3-gammu not installed")
    sys.exit(0)

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), ".."))
from pdu_pieces import ESCAPE, GSM_DEFAULT, bcd, pack_septets, semi_octets  # noqa: E402
from pdu_pieces import GSM_EXTENSION as SEPTET_OF_EXTENSION  # noqa: E402

GSM_EXTENSION = {septet: ch for ch, septet in SEPTET_OF_EXTENSION.items()}
GREEK_SEPTETS = [0x10] + list(range(0x12, 0x1B))
PLAIN_SEPTETS = [s for s in range(128) if s != ESCAPE and s not in GREEK_SEPTETS]
NAME_SEPTETS = [GSM_DEFAULT.index(c) for c in
                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 -.&!ÄÖÜäöüé$_"]
# Our narrow bytes for GSM characters: ISO 8859-1, except the ten Greek capitals, which
# take 0x81-0x8A in septet order, and the euro sign, which shares 0xA4 with the currency sign.
NARROW_OF_GSM_CHAR = {GSM_DEFAULT[s]: 0x81 + i for i, s in enumerate(GREEK_SEPTETS)}
NARROW_OF_GSM_CHAR["€"] = 0xA4


def narrow_of_gsm_text(text):
    """Our narrow bytes for a text Gammu decoded from septets; None if one has none."""
    try:
        return bytes(NARROW_OF_GSM_CHAR.get(ch, ord(ch)) for ch in text)
    except ValueError:
        return None


def displayed(byte):
    """Our tool shows narrow text through Windows-1250, the five bytes it lacks as C1 controls."""
    try:
        return bytes([byte]).decode("cp1250")
    except UnicodeDecodeError:
        return chr(byte)


NARROW_OF_DISPLAYED = {displayed(b): b for b in range(256)}


def random_time(rng):
    # Gammu does not read two-digit years from 90 on as 20yy; ours always are.
    yy, month = rng.randrange(0, 90), rng.randint(1, 12)
    days = [31, 29 if yy % 4 == 0 else 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31][month - 1]
    fields = (yy, month, rng.randint(1, days), rng.randrange(24), rng.randrange(60),
              rng.randrange(60))
    zone = bcd(rng.randrange(0, 57)) | (0x08 if rng.random() < 0.4 else 0)  # 0x08: west of GMT
    return fields, bytes(bcd(v) for v in fields) + bytes([zone])


def random_bytes(rng, count):
    return bytes(rng.randrange(256) for _ in range(count))


def numeric_address(rng, lo, hi, smsc=False):
    """(address octets, truth) for lo..hi digits; an SMSC field counts octets, not digits."""
    digits = "".join(rng.choice("0123456789") for _ in range(rng.randint(lo, hi)))
    toa = rng.choice([0x91, 0x81, 0xA1, 0x91])
    body = bytes([toa]) + semi_octets(digits)
    length = len(body) if smsc else len(digits)
    return bytes([length]) + body, {"kind": "numeric", "ton": toa >> 4 & 7, "npi": toa & 0x0F}


def alphanumeric_address(rng):
    septets = []
    while not septets or len(septets) > 11:
        septets = [rng.choice(NAME_SEPTETS) for _ in range(rng.randint(1, 11))]
        if rng.random() < 0.15:
            septets[rng.randrange(len(septets)):0] = [ESCAPE, rng.choice(list(GSM_EXTENSION))]
    length = (len(septets) * 7 + 3) // 4  # useful semi-octets
    return bytes([length, 0xD0]) + pack_septets(septets)[1], {"kind": "alpha", "ton": 5, "npi": 0}


# Header elements Gammu passes over as a user header; none has length zero, which ends our walk.
OTHER_ELEMENTS = [(0x04, 2), (0x05, 4), (0x01, 2), (0x0A, 3), (0x0A, 4), (0x06, 1), (0x20, 1)]
# 16-bit port elements with which Gammu still reports the concatenation element after them.
PORTS_GAMMU_KNOWS = [bytes.fromhex(p) for p in
                     ("15820000", "158A0000", "23F40000", "00E40000", "0B8423F0")]


def random_header(rng):
    """Returns (header octets with UDHL, concat truth or None, Gammu reports concat)."""
    kind = rng.choices(["concat8", "concat16", "ports", "others8", "others16", "no_concat"],
                       [30, 20, 10, 15, 10, 5])[0]
    wide = kind.endswith("16")
    total = rng.randint(1, 255) if rng.random() < 0.3 else rng.randint(1, 6)
    seq, ref = rng.randint(1, total), rng.randrange(65536 if wide else 256)
    concat = bytes([0x08, 4, ref >> 8]) if wide else bytes([0x00, 3])
    concat += bytes([ref & 0xFF, total, seq])
    truth = {"ref": ref, "total": total, "seq": seq, "wide": wide}

    def others(n):
        elements = [rng.choice(OTHER_ELEMENTS) for _ in range(n)]
        return b"".join(bytes([iei, size]) + random_bytes(rng, size) for iei, size in elements)

    if kind == "ports":
        body = bytes([0x05, 4]) + rng.choice(PORTS_GAMMU_KNOWS) + concat
    elif kind == "no_concat":
        body, truth = others(rng.randint(1, 3)), None
    elif kind != "concat8" and kind != "concat16":
        body = others(rng.randint(1, 3)) + concat + others(rng.random() < 0.3)
    else:
        body = concat
    return bytes([len(body)]) + body, truth, kind in ("concat8", "concat16", "ports")


UCS2_POOL = (
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,!?:;-()@\n"
    "ąćęłńóśźżĄĆĘŁŃÓŚŹŻ"      # Polish
    "čďěňřšťůžČĎĚŇŘŠŤŮŽőűŐŰĺľŕ"  # other Windows-1250 languages
    "äöüßÄÖÜéç€„”–—…‰™°±§«»\u00a0"
    "œøñåÆ"                    # Latin outside Windows-1250
    "ПриветЖЯ" "αβγΩ" "漢字ひら" "😀🎉")  # other scripts and astral characters


def random_septets(rng, budget):
    septets = []
    target = rng.randint(0, budget)
    while len(septets) < target:
        r = rng.random()
        if r < 0.10 and len(septets) + 2 <= budget:
            septets += [ESCAPE, rng.choice(list(GSM_EXTENSION))]
        elif r < 0.14:
            septets.append(rng.choice(GREEK_SEPTETS))
        elif r < 0.16:
            septets.append(0x00)  # '@' in the middle or at the end of a text
        else:
            septets.append(rng.choice(PLAIN_SEPTETS))
    return septets


def user_data(rng, udhi, alphabet):
    """Returns (UDL and UD octets, concat truth, Gammu reports concat)."""
    header, concat, gammu_knows = random_header(rng) if udhi else (b"", None, False)
    if alphabet == 0:
        udl, ud = pack_septets(random_septets(rng, 160 - (len(header) * 8 + 6) // 7), header)
        return bytes([udl]) + ud, concat, gammu_knows
    if alphabet == 2:
        units = rng.randint(0, (140 - len(header)) // 2)
        text = ""
        while len(text.encode("utf-16-be")) // 2 < units:
            text += rng.choice(UCS2_POOL)
        payload = text.encode("utf-16-be")[: units * 2]
        if len(payload) >= 2 and 0xD8 <= payload[-2] <= 0xDB:
            payload = payload[:-2]  # keep no half of a surrogate pair
    else:
        payload = random_bytes(rng, rng.randint(0, 140 - len(header)))
    return bytes([len(header + payload)]) + header + payload, concat, gammu_knows


def random_dcs(rng):
    """A data coding scheme of the general group (no compression) or of group 15."""
    alphabet = rng.choices([0, 2, 1], [55, 37, 8])[0]
    if rng.random() < 0.2:
        alphabet = 1 if alphabet == 1 else 0  # group 15 has no UCS-2
        return 0xF0 | alphabet << 2 | rng.randrange(4), alphabet
    with_class = 0x10 | rng.randrange(4) if rng.random() < 0.3 else 0
    return alphabet << 2 | with_class, alphabet


# Validity periods by TP-VPF: none, enhanced (a functionality octet and six more), relative,
# absolute.
VALIDITY = [lambda rng: b"",
            lambda rng: bytes([rng.choice([1, 2, 3, 0x41])]) + random_bytes(rng, 6),
            lambda rng: random_bytes(rng, 1),
            lambda rng: random_time(rng)[1]]
STATUSES = [0x00, 0x01, 0x02, 0x20, 0x21, 0x25, 0x40, 0x46, 0x49, 0x60, 0x65]


def build(rng, mti):
    """A PDU of type mti (0 DELIVER, 1 SUBMIT, 2 STATUS-REPORT), the PDU Gammu is given and
    the truth."""
    smsc, t_smsc = (b"\0", None) if rng.random() < 0.35 else numeric_address(rng, 3, 14, True)
    udhi = mti != 2 and rng.random() < 0.45
    vpf = rng.randrange(4) if mti == 1 else 0
    first = mti | vpf << 3 | udhi << 6 | rng.choice([0, 0x04]) | rng.choice([0, 0x20])
    first |= rng.choice([0, 0, 0x80]) if mti != 2 else 0
    r = rng.random()
    if mti == 1 and r < 0.06:
        address, t_address = bytes([0, 0x81]), {"kind": "empty"}
    elif r < [0.2, 0.14, 0.05][mti]:
        address, t_address = alphanumeric_address(rng)
    else:
        address, t_address = numeric_address(rng, 1, 20)
    t = {"mti": mti, "first": first, "smsc": t_smsc, "address": t_address, "empty_ud": False}
    pdu = smsc + bytes([first]) + (random_bytes(rng, 1) if mti else b"") + address
    if mti == 2:
        (t["time"], scts), (t["done"], dt) = random_time(rng), random_time(rng)
        t["status"] = rng.choice(STATUSES) if rng.random() < 0.7 else rng.randrange(256)
        # an optional parameter indicator with nothing after it
        pdu += scts + dt + bytes([t["status"]]) + (b"\0" if rng.random() < 0.3 else b"")
        return pdu, pdu, t
    dcs, t["alphabet"] = random_dcs(rng)
    pdu += bytes([rng.choice([0x00, 0x00, 0x00, 0x39]) if mti == 0 else 0, dcs])
    if mti == 0:
        t["time"], scts = random_time(rng)
        pdu += scts
    ud, t["concat"], t["gammu_knows_concat"] = user_data(rng, udhi, t["alphabet"])
    pdu += VALIDITY[vpf](rng) + ud
    t["empty_ud"] = ud == b"\0" and mti == 1
    # Gammu refuses the enhanced format; the absolute one has the same seven-octet layout.
    at = len(smsc)
    return pdu, pdu[:at] + bytes([first | 0x18 if vpf == 1 else first]) + pdu[at + 1:], t


# ---------------------------------------------------------------- comparison

GAMMU_TYPE_MTI = {"Deliver": 0, "Submit": 1, "Status_Report": 2}
GAMMU_CODING_ALPHABET = {"Default_No_Compression": 0, "8bit": 1, "Unicode_No_Compression": 2}


def gammu_time(d):
    return "%04d-%02d-%02d %02d:%02d:%02d" % (d.year, d.month, d.day, d.hour, d.minute, d.second)


def checks_of(ours, g, t):
    """(field, ours, expected, source) for every field of a PDU."""
    mti, a, s = t["mti"], ours["address"], ours["smsc"]
    # A SUBMIT needs at least one octet after its length octet to be read at all.
    yield "decoded", ours["decoded"], not t["empty_ud"], "our rule"
    if not ours["decoded"] or t["empty_ud"]:
        return
    f, fo = ours["firstOctet"], t["first"]
    yield "firstOctet.mti", f["mti"], GAMMU_TYPE_MTI.get(g["Type"]), "gammu"
    yield ("firstOctet.bits", [f["replyPath"], f["udhi"], f["statusReport"], f["moreMessages"],
                               f["vpf"]],
           [fo >> 7, fo >> 6 & 1, fo >> 5 & 1, 0 if fo & 4 else 1, fo >> 3 & 3], "generator")
    yield "incoming", ours["incoming"], mti != 1, "generator"
    yield "smsc.number", s["number"], g["SMSC"]["Number"].lstrip("+"), "gammu"
    ts = t["smsc"]
    yield ("smsc.type", [s["ton"], s["npi"], s["extBit"]],
           [ts["ton"], ts["npi"], True] if ts else [0, 0, False], "generator")
    ta = t["address"]
    if ta["kind"] != "empty":
        yield "address.type", [a["ton"], a["npi"], a["extBit"]], [ta["ton"], ta["npi"], True], \
            "generator"
    if ta["kind"] == "numeric":
        # Numbers are the raw digits; Gammu marks international ones with '+'.
        yield "address.number", a["number"], g["Number"].lstrip("+"), "gammu"
    elif mti == 0:
        # Gammu hands a name over as raw septet values (up to the first septet 0), so the
        # characters come from the tables. Our name's spare bits may unpack as one more
        # septet, '@', which is dropped as in a text.
        septets = [ord(ch) for ch in g["Number"]]
        name = "".join(GSM_EXTENSION.get(q, " ") if p == ESCAPE else GSM_DEFAULT[q]
                       for p, q in zip([None] + septets, septets) if q != ESCAPE or p == ESCAPE)
        yield ("address.number", bytes(NARROW_OF_DISPLAYED.get(ch, 0x3F) for ch in a["number"])
               .rstrip(b"@"), narrow_of_gsm_text(name.rstrip("@")), "gammu")
    else:
        # Only an originator's name is read; an empty destination reads "[ None ]".
        yield "address.number", a["number"], "[ None ]" if mti == 1 else "", "our rule"
    if mti == 1:
        yield "timestamp.text", ours["timestamp"]["text"], "None", "our rule"
    else:
        # Times are the digits as they stand; the zone is not read.
        yield ("timestamp.text", ours["timestamp"]["text"],
               "20%02d-%02d-%02d %02d:%02d:%02d" % t["time"], "generator")
        o, d = ours["timestamp"], g["DateTime"]
        yield ("timestamp.fields", [2000 + o["year"], o["month"], o["day"], o["hour"],
                                    o["minute"], o["second"]],
               [d.year, d.month, d.day, d.hour, d.minute, d.second] if d else None, "gammu")
    if mti == 2:
        # The text of a report is our own Polish report and is not compared.
        yield "status", ours["status"], g["DeliveryStatus"], "gammu"
        yield "doneTime", ours["doneTime"], gammu_time(g["SMSCDateTime"]), "gammu"
        yield "sentTime", ours["sentTime"], ours["timestamp"]["text"], "our rule"
        return
    yield "alphabet", ours["alphabet"], GAMMU_CODING_ALPHABET.get(g["Coding"]), "gammu"
    yield "alphabet", ours["alphabet"], t["alphabet"], "generator"
    # A padding septet decodes to '@', so every trailing '@' is dropped, real ones too.
    if t["alphabet"] == 0:
        # Gammu counts an escape sequence as two characters and fills the text's end with
        # NUL and stray characters; the texts here hold no NUL of their own, so cut there.
        want = narrow_of_gsm_text(g["Text"].split("\x00")[0].rstrip("@"))
        yield "textHex", ours["textHex"], want.hex().upper() if want is not None else None, "gammu"
    elif t["alphabet"] == 2:
        # Wide text becomes Windows-1250; characters it lacks become '?'.
        want = g["Text"].encode("cp1250", errors="replace").rstrip(b"@")
        yield "textHex", ours["textHex"], want.hex().upper(), "gammu"
        yield "text", ours["text"], want.decode("cp1250"), "gammu"
    else:
        # 8-bit data is not shown; the record holds a fixed text instead.
        yield "text", ours["text"], "Unknown encoding scheme, 8bit?", "our rule"
    c = t["concat"]
    got = [ours["concat"], ours["concatRef"], ours["concatTotal"], ours["concatSeq"]]
    if c and c["wide"]:
        # Our 16-bit reference is first octet + 65536 * second; the value is read big-endian.
        got[1] = (got[1] & 0xFF) << 8 | got[1] >> 16
    yield "concat", got, [True, c["ref"], c["total"], c["seq"]] if c else [False, 0, 0, 0], \
        "generator"
    if t["gammu_knows_concat"]:
        u = g["UDH"]
        yield ("concat", got, [True, u["ID16bit"] if c["wide"] else u["ID8bit"], u["AllParts"],
                               u["PartNumber"]], "gammu")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tool", help="path of the tarnik-pdu executable")
    parser.add_argument("--count", type=int, default=20000)
    parser.add_argument("--seed", type=int, default=20240115)
    args = parser.parse_args()

    rng = random.Random(args.seed)
    cases = [build(rng, rng.choice([0] * 6 + [1] * 3 + [2])) for _ in range(args.count)]
    hexes = [pdu.hex().upper() for pdu, _, _ in cases]
    run = subprocess.run([args.tool, "decode"], input="\n".join(hexes) + "\n",
                         capture_output=True, text=True, encoding="utf-8", check=False)
    lines = run.stdout.splitlines()
    if run.returncode != 0 or len(lines) != len(hexes):
        print("oracle: tarnik-pdu decode failed (exit %d, %d of %d lines)\n%s"
              % (run.returncode, len(lines), len(hexes), run.stderr))
        return 1

    failures, refused, kinds, checks = [], [], [0, 0, 0], {}
    for (_, gammu_pdu, t), hex_text, line in zip(cases, hexes, lines):
        kinds[t["mti"]] += 1
        g = None
        if not t["empty_ud"]:  # Gammu refuses some of these; we do not read them
            try:
                g = gammu.DecodePDU(gammu_pdu, SMSC=True)
            except gammu.GSMError:
                # Gammu refuses a few very short valid PDUs; many refusals mean a generator fault.
                refused.append(hex_text)
                continue
        diffs = []
        for field, got, want, source in checks_of(json.loads(line), g, t):
            checks[source] = checks.get(source, 0) + 1
            if got != want:
                diffs.append("  %s: ours %r, expected %r (%s)" % (field, got, want, source))
        if diffs:
            failures.append("PDU " + hex_text + "\n" + "\n".join(diffs))

    print("oracle: %d PDUs compared (%d deliver, %d submit, %d status report), %d mismatches"
          % (len(cases) - len(refused), *kinds, len(failures)))
    if refused:
        print("oracle: %d PDUs refused by gammu and not compared, e.g. %s"
              % (len(refused), refused[0]))
    print("oracle: field checks by reference: " +
          ", ".join("%s %d" % item for item in sorted(checks.items())))
    for failure in failures[:10]:
        print(failure)
    too_many_refused = len(refused) * 100 > len(cases)
    if too_many_refused:
        print("oracle: gammu refused more than 1% of the PDUs")
    return 1 if failures or too_many_refused else 0


if __name__ == "__main__":
    sys.exit(main())
