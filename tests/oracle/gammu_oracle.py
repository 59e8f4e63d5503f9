#!/usr/bin/env python3
"""Cross-checks `tarnik-pdu decode` against Gammu, an independent 3GPP PDU decoder.

Generates thousands of valid PDUs, as a phone lists them in PDU mode (SMSC field first),
with a small packer of its own: SMS-DELIVER (numeric and alphanumeric originators,
GSM 7-bit with extension and Greek characters, UCS-2, 8-bit data, concatenation headers
with 8-bit and 16-bit references, alone or after other header elements), SMS-SUBMIT
(every validity period format, with and without report request) and SMS-STATUS-REPORT.
Each PDU is decoded by python3-gammu and by our tool, and the fields are compared where
our decoder does not deliberately read them differently; those places are normalised
below, each with its reason.

Where Gammu says nothing about a field (the type-of-address octets, the first-octet bits,
a concatenation element behind a header layout Gammu does not recognise), the values the
generator put into the PDU are the reference instead.

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
    system_python = "/usr/bin/python3"
    if (os.environ.get("TARNIK_ORACLE_REEXEC") != "1" and os.path.exists(system_python)
            and os.path.realpath(system_python) != os.path.realpath(sys.executable)):
        os.environ["TARNIK_ORACLE_REEXEC"] = "1"
        os.execv(system_python, [system_python] + sys.argv)
    print("skipped: python3-gammu not installed")
    sys.exit(0)

# ---------------------------------------------------------------- GSM 7-bit alphabet

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
    out = bytearray()
    for ch in text:
        if ch in NARROW_OF_GSM_CHAR:
            out.append(NARROW_OF_GSM_CHAR[ch])
        elif ord(ch) < 256:
            out.append(ord(ch))
        else:
            return None
    return bytes(out)


# Our tool shows narrow text through Windows-1250, the five bytes it lacks as C1 controls.
NARROW_OF_DISPLAYED = {}
for _b in range(256):
    try:
        NARROW_OF_DISPLAYED[bytes([_b]).decode("cp1250")] = _b
    except UnicodeDecodeError:
        NARROW_OF_DISPLAYED[chr(_b)] = _b


def gsm_text_of_septets(septets):
    out, escaped = [], False
    for s in septets:
        if escaped:
            out.append(GSM_EXTENSION.get(s, " "))
        elif s != ESCAPE:
            out.append(GSM_DEFAULT[s])
        escaped = s == ESCAPE and not escaped
    return "".join(out)


def narrow_of_displayed(text):
    return bytes(NARROW_OF_DISPLAYED.get(ch, 0x3F) for ch in text)


DAYS_IN_MONTH = [31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31]


def random_time(rng):
    # Gammu does not read two-digit years from 90 on as 20yy; ours always are.
    yy = rng.randrange(0, 90)
    month = rng.randint(1, 12)
    day = rng.randint(1, DAYS_IN_MONTH[month - 1] - (1 if month == 2 and yy % 4 else 0))
    fields = (yy, month, day, rng.randrange(24), rng.randrange(60), rng.randrange(60))
    quarters = rng.randrange(0, 57)
    zone = bcd(quarters) | (0x08 if rng.random() < 0.4 else 0)  # 0x08: west of GMT
    return fields, bytes(bcd(v) for v in fields) + bytes([zone])


def random_number(rng, lo=1, hi=20):
    return "".join(rng.choice("0123456789") for _ in range(rng.randint(lo, hi)))


def numeric_address(rng, lo=1, hi=20):
    """Returns (address octets, truth) for a numeric address of lo..hi digits."""
    digits = random_number(rng, lo, hi)
    toa = rng.choice([0x91, 0x81, 0xA1, 0x91])
    truth = {"kind": "numeric", "digits": digits, "ton": (toa >> 4) & 7, "npi": toa & 0x0F}
    return bytes([len(digits), toa]) + semi_octets(digits), truth


def alphanumeric_address(rng):
    septets = []
    while not septets or len(septets) > 11:
        septets = [rng.choice(NAME_SEPTETS) for _ in range(rng.randint(1, 11))]
        if rng.random() < 0.15:
            septets[rng.randrange(len(septets)):0] = [ESCAPE, rng.choice(list(GSM_EXTENSION))]
    _, packed = pack_septets(septets)
    length = (len(septets) * 7 + 3) // 4  # useful semi-octets
    truth = {"kind": "alpha", "ton": 5, "npi": 0}
    return bytes([length, 0xD0]) + packed, truth


def smsc_field(rng):
    if rng.random() < 0.35:
        return b"\x00", None
    digits = random_number(rng, 3, 14)
    toa = rng.choice([0x91, 0x91, 0x81, 0xA1])
    body = bytes([toa]) + semi_octets(digits)
    return bytes([len(body)]) + body, {"digits": digits, "ton": (toa >> 4) & 7, "npi": toa & 0x0F}


# ---------------------------------------------------------------- user data

# Header elements Gammu passes over as a user header; none has length zero, which ends our walk.
OTHER_ELEMENTS = [(0x04, 2), (0x05, 4), (0x01, 2), (0x0A, 3), (0x0A, 4), (0x06, 1), (0x20, 1)]
# 16-bit port elements with which Gammu still reports the concatenation element after them.
PORTS_GAMMU_KNOWS = [bytes.fromhex(p) for p in
                     ("15820000", "158A0000", "23F40000", "00E40000", "0B8423F0")]


def random_header(rng):
    """Returns (header octets with UDHL, concat truth or None, Gammu reports concat)."""
    kind = rng.choices(["concat8", "concat16", "ports", "others8", "others16", "no_concat"],
                       [30, 20, 10, 15, 10, 5])[0]
    total = rng.randint(1, 255) if rng.random() < 0.3 else rng.randint(1, 6)
    seq = rng.randint(1, total)
    ref = rng.randrange(256) if kind != "concat16" and kind != "others16" else rng.randrange(65536)
    concat8 = bytes([0x00, 3, ref & 0xFF, total, seq])
    concat16 = bytes([0x08, 4, ref >> 8, ref & 0xFF, total, seq])
    truth = {"ref": ref, "total": total, "seq": seq, "wide": kind in ("concat16", "others16")}

    def others(n):
        out = b""
        for _ in range(n):
            iei, length = rng.choice(OTHER_ELEMENTS)
            out += bytes([iei, length]) + bytes(rng.randrange(256) for _ in range(length))
        return out

    if kind == "concat8":
        body, gammu_knows = concat8, True
    elif kind == "concat16":
        body, gammu_knows = concat16, True
    elif kind == "ports":
        body, gammu_knows = bytes([0x05, 4]) + rng.choice(PORTS_GAMMU_KNOWS) + concat8, True
    elif kind in ("others8", "others16"):
        body = others(rng.randint(1, 3)) + (concat8 if kind == "others8" else concat16)
        if rng.random() < 0.3:
            body += others(1)
        gammu_knows = False
    else:
        body, truth, gammu_knows = others(rng.randint(1, 3)), None, False
    return bytes([len(body)]) + body, truth, gammu_knows


UCS2_POOL = (
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 .,!?:;-()@\n"
    "ąćęłńóśźżĄĆĘŁŃÓŚŹŻ"      # Polish
    "čďěňřšťůžČĎĚŇŘŠŤŮŽőűŐŰĺľŕ"  # other Windows-1250 languages
    "äöüßÄÖÜéç€„”–—…‰™°±§«»\u00a0"
    "œøñåÆ"                    # Latin outside Windows-1250
    "ПриветЖЯ" "αβγΩ" "漢字ひら" "😀🎉")  # other scripts and astral characters


def random_gsm_septets(rng, budget):
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
    """Returns (udl, ud, concat truth, Gammu reports concat)."""
    header, concat, gammu_knows = random_header(rng) if udhi else (b"", None, False)
    if alphabet == 0:
        budget = 160 - (len(header) * 8 + 6) // 7
        udl, ud = pack_septets(random_gsm_septets(rng, budget), header)
    elif alphabet == 2:
        units = rng.randint(0, (140 - len(header)) // 2)
        text = ""
        while len(text.encode("utf-16-be")) // 2 < units:
            text += rng.choice(UCS2_POOL)
        payload = text.encode("utf-16-be")[: units * 2]
        if len(payload) >= 2 and 0xD8 <= payload[-2] <= 0xDB:
            payload = payload[:-2]  # keep no half of a surrogate pair
        ud = header + payload
        udl = len(ud)
    else:
        ud = header + bytes(rng.randrange(256) for _ in range(rng.randint(0, 140 - len(header))))
        udl = len(ud)
    return udl, ud, concat, gammu_knows


def random_dcs(rng):
    """A data coding scheme of the general group (no compression) or of group 15."""
    alphabet = rng.choices([0, 2, 1], [55, 37, 8])[0]
    if rng.random() < 0.2:
        alphabet = 1 if alphabet == 1 else 0  # group 15 has no UCS-2
        return 0xF0 | alphabet << 2 | rng.randrange(4), alphabet
    dcs = alphabet << 2
    if rng.random() < 0.3:
        dcs |= 0x10 | rng.randrange(4)  # with a message class
    return dcs, alphabet


# ---------------------------------------------------------------- message builders


def build_deliver(rng):
    smsc, smsc_truth = smsc_field(rng)
    udhi = rng.random() < 0.45
    first = 0x00 | (0x40 if udhi else 0)
    first |= rng.choice([0, 0x04]) | rng.choice([0, 0, 0x20]) | rng.choice([0, 0, 0x80])
    address, addr_truth = alphanumeric_address(rng) if rng.random() < 0.2 else numeric_address(rng)
    pid = rng.choice([0x00, 0x00, 0x00, 0x39])
    dcs, alphabet = random_dcs(rng)
    time_fields, scts = random_time(rng)
    udl, ud, concat, gammu_knows = user_data(rng, udhi, alphabet)
    pdu = smsc + bytes([first]) + address + bytes([pid, dcs]) + scts + bytes([udl]) + ud
    return pdu, pdu, {"mti": 0, "first": first, "smsc": smsc_truth, "address": addr_truth,
                      "alphabet": alphabet, "time": time_fields, "concat": concat,
                      "gammu_knows_concat": gammu_knows}


def build_submit(rng):
    smsc, smsc_truth = smsc_field(rng)
    udhi = rng.random() < 0.4
    vpf = rng.randrange(4)
    first = 0x01 | (vpf << 3) | (0x40 if udhi else 0)
    first |= rng.choice([0, 0x20]) | rng.choice([0, 0x04]) | rng.choice([0, 0, 0x80])
    r = rng.random()
    if r < 0.06:
        address, addr_truth = bytes([0, 0x81]), {"kind": "empty", "ton": 0, "npi": 1}
    elif r < 0.14:
        address, addr_truth = alphanumeric_address(rng)
    else:
        address, addr_truth = numeric_address(rng)
    dcs, alphabet = random_dcs(rng)
    if vpf == 2:
        vp = bytes([rng.randrange(256)])
    elif vpf == 3:
        vp = random_time(rng)[1]
    elif vpf == 1:
        vp = bytes([rng.choice([0x01, 0x02, 0x03, 0x41])])
        vp += bytes(rng.randrange(256) for _ in range(6))
    else:
        vp = b""
    udl, ud, concat, gammu_knows = user_data(rng, udhi, alphabet)
    head = smsc + bytes([first, rng.randrange(256)]) + address + bytes([0x00, dcs])
    pdu = head + vp + bytes([udl]) + ud
    # Gammu refuses the enhanced format; the absolute one has the same seven-octet layout.
    gammu_pdu = pdu if vpf != 1 else pdu[: len(smsc)] + bytes([first | 0x18]) + pdu[len(smsc) + 1:]
    return pdu, gammu_pdu, {"mti": 1, "first": first, "smsc": smsc_truth, "address": addr_truth,
                            "alphabet": alphabet, "concat": concat, "empty_ud": not ud,
                            "gammu_knows_concat": gammu_knows}


STATUSES = [0x00, 0x01, 0x02, 0x20, 0x21, 0x25, 0x40, 0x46, 0x49, 0x60, 0x65]


def build_status_report(rng):
    smsc, smsc_truth = smsc_field(rng)
    first = 0x02 | rng.choice([0, 0x04]) | rng.choice([0, 0x20])
    if rng.random() < 0.05:
        address, addr_truth = alphanumeric_address(rng)
    else:
        address, addr_truth = numeric_address(rng)
    time_fields, scts = random_time(rng)
    done_fields, dt = random_time(rng)
    status = rng.choice(STATUSES) if rng.random() < 0.7 else rng.randrange(256)
    pdu = smsc + bytes([first, rng.randrange(256)]) + address + scts + dt + bytes([status])
    if rng.random() < 0.3:
        pdu += b"\x00"  # parameter indicator: nothing follows
    return pdu, pdu, {"mti": 2, "first": first, "smsc": smsc_truth, "address": addr_truth,
                      "time": time_fields, "done": done_fields, "status": status}


# ---------------------------------------------------------------- comparison

GAMMU_TYPE_MTI = {"Deliver": 0, "Submit": 1, "Status_Report": 2}
GAMMU_CODING_ALPHABET = {"Default_No_Compression": 0, "8bit": 1, "Unicode_No_Compression": 2}
UNKNOWN_ENCODING_TEXT = "Unknown encoding scheme, 8bit?"


def time_text(f):
    return "20%02d-%02d-%02d %02d:%02d:%02d" % f


def strip_plus(number):
    return number[1:] if number.startswith("+") else number


def compare(ours, g, truth, checks):
    """Returns (field, ours, expected, source) for every disagreement; counts the checks."""
    def check(field, got, want, source="gammu"):
        checks[source] = checks.get(source, 0) + 1
        if got != want:
            diffs.append((field, got, want, source))

    diffs = []
    mti = truth["mti"]
    # A SUBMIT needs at least one octet after its length octet to be read at all.
    check("decoded", ours["decoded"], not truth.get("empty_ud"), "our rule")
    if not ours["decoded"] or truth.get("empty_ud"):
        return diffs
    f, fo = ours["firstOctet"], truth["first"]
    check("firstOctet.mti", f["mti"], GAMMU_TYPE_MTI.get(g["Type"]))
    check("firstOctet.bits",
          [f["replyPath"], f["udhi"], f["statusReport"], f["moreMessages"], f["vpf"]],
          [fo >> 7, fo >> 6 & 1, fo >> 5 & 1, 0 if fo & 4 else 1, fo >> 3 & 3], "generator")
    check("incoming", ours["incoming"], mti != 1, "generator")

    smsc = truth["smsc"]
    check("smsc.number", ours["smsc"]["number"], strip_plus(g["SMSC"]["Number"]))
    check("smsc.type", [ours["smsc"]["ton"], ours["smsc"]["npi"], ours["smsc"]["extBit"]],
          [smsc["ton"], smsc["npi"], True] if smsc else [0, 0, False], "generator")

    addr, a = truth["address"], ours["address"]
    if addr["kind"] != "empty":
        check("address.type", [a["ton"], a["npi"], a["extBit"]], [addr["ton"], addr["npi"], True],
              "generator")
    if addr["kind"] == "numeric":
        # Numbers are the raw digits; Gammu marks international ones with '+'.
        check("address.number", a["number"], strip_plus(g["Number"]))
    elif mti == 0:
        # Gammu hands a name over as raw septet values (up to the first septet 0), so the
        # characters come from the table above. Our name's spare bits may unpack as one more
        # septet, '@', which is dropped as in a text.
        name = gsm_text_of_septets([ord(ch) for ch in g["Number"]])
        want = narrow_of_gsm_text(name.rstrip("@"))
        check("address.number", narrow_of_displayed(a["number"]).rstrip(b"@"), want)
    else:
        # Only an originator's name is read; an empty destination reads "[ None ]".
        check("address.number", a["number"], "[ None ]" if mti == 1 else "", "our rule")

    if mti != 1:
        # Times are the digits as they stand; the zone is not read.
        t, gt = ours["timestamp"], g["DateTime"]
        check("timestamp.text", t["text"], time_text(truth["time"]), "generator")
        check("timestamp.fields", [2000 + t["year"], t["month"], t["day"], t["hour"], t["minute"],
                                   t["second"]],
              [gt.year, gt.month, gt.day, gt.hour, gt.minute, gt.second] if gt else None)
    else:
        check("timestamp.text", ours["timestamp"]["text"], "None", "our rule")

    if mti == 2:
        # The text of a report is our own Polish report and is not compared.
        check("status", ours["status"], g["DeliveryStatus"])
        d = g["SMSCDateTime"]
        check("doneTime", ours["doneTime"], "%04d-%02d-%02d %02d:%02d:%02d" % (
            d.year, d.month, d.day, d.hour, d.minute, d.second))
        check("sentTime", ours["sentTime"], ours["timestamp"]["text"], "our rule")
        return diffs

    check("alphabet", ours["alphabet"], GAMMU_CODING_ALPHABET.get(g["Coding"]))
    check("alphabet", ours["alphabet"], truth["alphabet"], "generator")
    # A padding septet decodes to '@', so every trailing '@' is dropped, real ones too.
    if truth["alphabet"] == 0:
        # Gammu counts an escape sequence as two characters and fills the text's end with
        # NUL and stray characters; the texts here hold no NUL of their own, so cut there.
        want = narrow_of_gsm_text(g["Text"].split("\x00")[0].rstrip("@"))
        check("textHex", ours["textHex"], want.hex().upper() if want is not None else None)
    elif truth["alphabet"] == 2:
        # Wide text becomes Windows-1250; characters it lacks become '?'.
        want = g["Text"].encode("cp1250", errors="replace").rstrip(b"@")
        check("textHex", ours["textHex"], want.hex().upper())
        check("text", ours["text"], want.decode("cp1250"))
    else:
        # 8-bit data is not shown; the record holds a fixed text instead.
        check("text", ours["text"], UNKNOWN_ENCODING_TEXT, "our rule")

    c = truth["concat"]
    got = [ours["concat"], ours["concatRef"], ours["concatTotal"], ours["concatSeq"]]
    want = [True, c["ref"], c["total"], c["seq"]] if c else [False, 0, 0, 0]
    if c and c["wide"]:
        # Our 16-bit reference is first octet + 65536 * second; the value is read big-endian.
        got[1] = ((got[1] & 0xFF) << 8) | (got[1] >> 16)
    check("concat", got, want, "generator")
    u = g["UDH"]
    if truth["gammu_knows_concat"]:
        gref = u["ID16bit"] if c["wide"] else u["ID8bit"]
        check("concat", got, [True, gref, u["AllParts"], u["PartNumber"]])
    return diffs


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("tool", help="path of the tarnik-pdu executable")
    parser.add_argument("--count", type=int, default=20000)
    parser.add_argument("--seed", type=int, default=20240115)
    args = parser.parse_args()

    rng = random.Random(args.seed)
    builders = [build_deliver] * 6 + [build_submit] * 3 + [build_status_report]
    cases = [rng.choice(builders)(rng) for _ in range(args.count)]
    hexes = [pdu.hex().upper() for pdu, _, _ in cases]

    run = subprocess.run([args.tool, "decode"], input="\n".join(hexes) + "\n",
                         capture_output=True, text=True, encoding="utf-8", check=False)
    lines = run.stdout.splitlines()
    if run.returncode != 0 or len(lines) != len(hexes):
        print("oracle: tarnik-pdu decode failed (exit %d, %d of %d lines)\n%s"
              % (run.returncode, len(lines), len(hexes), run.stderr))
        return 1

    failures = []
    kinds = {0: 0, 1: 0, 2: 0}
    checks = {}
    refused = []
    for (_, gammu_pdu, truth), hex_text, line in zip(cases, hexes, lines):
        kinds[truth["mti"]] += 1
        g = None
        if not truth.get("empty_ud"):  # Gammu refuses some of these; we do not read them
            try:
                g = gammu.DecodePDU(gammu_pdu, SMSC=True)
            except gammu.GSMError:
                # Gammu refuses a few very short valid PDUs; many refusals mean a generator fault.
                refused.append(hex_text)
                continue
        diffs = compare(json.loads(line), g, truth, checks)
        if diffs:
            failures.append((hex_text, diffs))

    print("oracle: %d PDUs compared (%d deliver, %d submit, %d status report), %d mismatches"
          % (len(cases) - len(refused), kinds[0], kinds[1], kinds[2], len(failures)))
    if refused:
        print("oracle: %d PDUs refused by gammu and not compared, e.g. %s"
              % (len(refused), refused[0]))
    print("oracle: field checks by reference: " +
          ", ".join("%s %d" % item for item in sorted(checks.items())))
    for hex_text, diffs in failures[:10]:
        print("PDU " + hex_text)
        for field, got, want, source in diffs:
            print("  %s: ours %r, expected %r (%s)" % (field, got, want, source))
    too_many_refused = len(refused) * 100 > len(cases)
    if too_many_refused:
        print("oracle: gammu refused more than 1% of the PDUs")
    return 1 if failures or too_many_refused else 0


if __name__ == "__main__":
    sys.exit(main())
