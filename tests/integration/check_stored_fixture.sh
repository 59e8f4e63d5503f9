#!/usr/bin/env bash
# Checks the download fixture natively, with the tools the plug-in's own code is in:
# tarnik-phone serves each phone-stored*.conf, tarnik-at asks it through linkcom.mdl
# what the download worker asks, tarnik-pdu parses and joins the listing, and every
# row and archive record is compared with stored_messages.py, field by field. Every
# listed PDU is decoded by gammu too, when python3-gammu is there.
#   check_stored_fixture.sh [NATIVE_BUILD_DIR]     (default: build/native of this tree)
# Exit code 0 when all agrees, 1 on a mismatch, 2 when a tool is missing.
set -u
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-$here/../../build/native}
phone_bin=$build/phone/tarnik-phone
at_bin=$build/bin/tarnik-at
pdu_bin=$build/tools/tarnik-pdu
for tool in "$phone_bin" "$at_bin" "$pdu_bin"; do
    [ -x "$tool" ] || { echo "missing $tool (build the native preset first)" >&2; exit 2; }
done

work=$(mktemp -d)
phone_pid=
stop_phone() {
    if [ -n "$phone_pid" ]; then
        kill "$phone_pid" 2>/dev/null
        wait "$phone_pid" 2>/dev/null
        phone_pid=
    fi
}
trap 'stop_phone; rm -rf "$work"' EXIT

# ask CONF COMMAND...: one phone, one tarnik-at run; its output in $work/CONF.at and the
# phone's log in $work/CONF.log. Each command's result is judged later, not the exit code.
ask() {
    local conf=$1
    shift
    rm -f "$work/phone"
    "$phone_bin" --link "$work/phone" --config "$here/$conf" --log "$work/$conf.log" &
    phone_pid=$!
    for _ in $(seq 50); do [ -e "$work/phone" ] && break; sleep 0.1; done
    [ -e "$work/phone" ] || { echo "FAIL: tarnik-phone made no link for $conf"; exit 1; }
    TARNIK_COM7="$work/phone" timeout 120 "$at_bin" --com 7 --timeout 1500 "$@" >"$work/$conf.at"
    stop_phone
}

ask phone-stored.conf AT AT+CMGF=0 'AT+CPMS="MT"' AT+CMGL=4
ask phone-stored-no-mt.conf AT AT+CMGF=0 'AT+CPMS="MT"' 'AT+CPMS="ME"' AT+CMGL=4 \
    'AT+CPMS="SM"' AT+CMGL=4
ask phone-stored-refuse-all.conf AT 'AT+CPMS="MT"' 'AT+CPMS="ME"' 'AT+CPMS="SM"'
ask phone-stored-cmgl-error.conf AT 'AT+CPMS="MT"' AT+CMGL=4
ask phone-stored-disconnect.conf AT 'AT+CPMS="MT"' AT+CMGL=4
ask phone-stored-silent.conf AT

# gammu's Python module is Debian's, for Debian's interpreter.
python=python3
if /usr/bin/python3 -c 'import gammu' 2>/dev/null; then python=/usr/bin/python3; fi

"$python" - "$here" "$work" "$pdu_bin" <<'EOF'
import json
import re
import subprocess
import sys

here, work, pdu_tool = sys.argv[1:4]
sys.path.insert(0, here)
import stored_messages  # noqa: E402

try:
    import gammu
except ImportError:
    gammu = None
    print("python3-gammu not installed: the PDUs are not cross-checked")

failures = []


def check(ok, what):
    if not ok:
        failures.append(what)
    return ok


def unescape(text):
    return re.sub(r"\\(r|n|x[0-9A-F]{2})",
                  lambda m: {"r": "\r", "n": "\n"}.get(m.group(1)) or chr(int(m.group(1)[1:], 16)),
                  text)


def exchanges(conf):
    """tarnik-at's "> COMMAND", "result N", reply triples."""
    with open("%s/%s.at" % (work, conf), encoding="latin-1") as f:
        lines = f.read().split("\n")
    out = []
    for i in range(0, len(lines) - 2, 3):
        if lines[i].startswith("> ") and lines[i + 1].startswith("result "):
            out.append((lines[i][2:], int(lines[i + 1][7:]), unescape(lines[i + 2])))
    return out


def phone_log(conf):
    with open("%s/%s.log" % (work, conf), encoding="utf-8", errors="replace") as f:
        return f.read().splitlines()


def results(conf, expected):
    """The commands in order with their result and a text each reply must hold."""
    got = exchanges(conf)
    check([c for c, _, _ in got] == [c for c, _, _ in expected],
          "%s: commands %r" % (conf, [c for c, _, _ in got]))
    for (command, result, reply), (_, want, holds) in zip(got, expected):
        check(result == want and holds in reply,
              "%s: %s gave result %d, %r (wanted %d with %r)"
              % (conf, command, result, reply, want, holds))
    return got


def tool(args, text):
    out = subprocess.run([pdu_tool] + args, input=text, capture_output=True, text=True,
                         check=True).stdout
    return [json.loads(line) for line in out.splitlines()]


def list_number(number):  # ListRowOf
    return "+" + number if len(number) > 9 else number


def archive_number(number):  # ArchiveNumber
    if number.startswith("+"):
        return number
    return "+" + number if len(number) > 9 else "+48" + number if len(number) == 9 else number


def gammu_agrees(conf, pdu, r):
    d = gammu.DecodePDU(bytes.fromhex(pdu))
    what = "%s: gammu on %s: " % (conf, pdu)
    mti = {"Deliver": 0, "Submit": 1, "Status_Report": 2}[d["Type"]]
    check(mti == r["firstOctet"]["mti"], what + "type %s" % d["Type"])
    check(d["SMSC"]["Number"].lstrip("+") == r["smsc"]["number"], what + "centre")
    number = r["address"]["number"]
    check(d["Number"].lstrip("+") == ("" if number == "[ None ]" else number), what + "number")
    if mti != 2:
        check(d["Text"] == r["text"], what + "text %r" % d["Text"])
    else:
        check("(%d)" % d["MessageReference"] in r["text"] and d["DeliveryStatus"] == r["status"],
              what + "report")
    if d["DateTime"] is not None:
        t = r["timestamp"]
        check(d["DateTime"].timetuple()[:6] == (2000 + t["year"], t["month"], t["day"], t["hour"],
                                                 t["minute"], t["second"]), what + "time stamp")
    udh = d["UDH"]
    if r["concat"]:
        check((udh["PartNumber"], udh["AllParts"]) == (r["concatSeq"], r["concatTotal"]),
              what + "part")
        if udh["ID8bit"] >= 0:
            check(udh["ID8bit"] == r["concatRef"], what + "reference")
    else:
        check(udh["PartNumber"] == -1, what + "not a part")


def rows_of(conf, listings):
    """The download's rows and archive records from the listings of its storages, in order."""
    reply = "".join(listings)
    entries = re.findall(r"\+CMGL: (\d+),(\d),,(\d+)\r\n([0-9A-F]+)\r\n", reply)
    records = tool(["listing", "-"], reply)
    check(len(records) == len(entries), "%s: %d entries, %d decoded" % (conf, len(entries),
                                                                          len(records)))
    if gammu is not None:
        for (_, _, _, pdu), r in zip(entries, records):
            gammu_agrees(conf, pdu, r)
    groups = tool(["listing", "-", "--join"], reply)
    # Each row opens with a single message or a first part: that record gives the archive its
    # centre, number, direction and time.
    openers = [r for r in records if not r["concat"] or r["concatSeq"] == 1]
    check(len(openers) == len(groups), "%s: %d groups, %d opening records" % (conf, len(groups),
                                                                              len(openers)))
    rows = []
    for g, r in zip(groups, openers):
        incoming = r["incoming"]
        rows.append({
            "number": list_number(g["number"]),
            "date": g["date"],
            "text": g["text"],
            "archive": {
                "text": g["text"],
                "meta": 'smsc="%s",report="%d",mti="0x%04X"' % (
                    r["smsc"]["number"], r["firstOctet"]["statusReport"], r["firstOctet"]["mti"]),
                "number": archive_number(r["address"]["number"]),
                "direction": 1 if incoming else 2,
                "time": r["timestamp"]["time"] if incoming else None,
            },
        })
    return rows


def compare(conf, rows):
    expected = stored_messages.expected_rows(conf)
    check(len(rows) == len(expected), "%s: %d rows, expected %d" % (conf, len(rows),
                                                                    len(expected)))
    for n, (got, want) in enumerate(zip(rows, expected), 1):
        for key in ("number", "date", "text"):
            check(got[key] == want[key], "%s row %d %s: %r, expected %r"
                  % (conf, n, key, got[key], want[key]))
        for key in ("text", "meta", "number", "direction", "time"):
            check(got["archive"][key] == want["archive"][key],
                  "%s row %d archive %s: %r, expected %r"
                  % (conf, n, key, got["archive"][key], want["archive"][key]))


def storages(conf):
    with open("%s/%s" % (here, conf)) as f:
        text = f.read()
    return text[text.index("[storage "):]


# The variants keep the messages of the main phone, so that what they refuse is real.
for conf in stored_messages.CONFIGS:
    check(storages(conf) == storages("phone-stored.conf"),
          "%s: its storages differ from phone-stored.conf" % conf)

OK, CMS = 1, 0
conf = "phone-stored.conf"
got = results(conf, [("AT", OK, "OK"), ("AT+CMGF=0", OK, "OK"),
                     ('AT+CPMS="MT"', OK, "+CPMS: 16,70,"), ("AT+CMGL=4", OK, "+CMGL: 55,")])
compare(conf, rows_of(conf, [got[3][2]]))

conf = "phone-stored-no-mt.conf"
got = results(conf, [("AT", OK, "OK"), ("AT+CMGF=0", OK, "OK"),
                     ('AT+CPMS="MT"', CMS, "+CMS ERROR: 302"), ('AT+CPMS="ME"', OK, "+CPMS: 11,"),
                     ("AT+CMGL=4", OK, "+CMGL: 12,"), ('AT+CPMS="SM"', OK, "+CPMS: 5,"),
                     ("AT+CMGL=4", OK, "+CMGL: 5,")])
compare(conf, rows_of(conf, [got[4][2], got[6][2]]))

conf = "phone-stored-refuse-all.conf"
results(conf, [("AT", OK, "OK")] + [('AT+CPMS="%s"' % s, CMS, "+CMS ERROR: 302")
                                    for s in ("MT", "ME", "SM")])
check(stored_messages.expected_rows(conf) == [], conf + ": an empty list")

conf = "phone-stored-cmgl-error.conf"
got = results(conf, [("AT", OK, "OK"), ('AT+CPMS="MT"', OK, "OK"), ("AT+CMGL=4", 0, "ERROR")])
check("+CMGL:" not in got[2][2], conf + ": the listing was not carried out")
check(stored_messages.expected_rows(conf) == [], conf + ": an empty list")

conf = "phone-stored-disconnect.conf"
results(conf, [("AT", OK, "OK"), ('AT+CPMS="MT"', OK, "OK"), ("AT+CMGL=4", 0, "")])
check("FAULT disconnect in the answer to AT+CMGL=4" in phone_log(conf), conf + ": no disconnect")
check(stored_messages.expected_rows(conf) == [], conf + ": an empty list")

conf = "phone-stored-silent.conf"
results(conf, [("AT", 0, "")])
check("FAULT silence AT" in phone_log(conf), conf + ": AT was answered")
check(stored_messages.expected_rows(conf) is None, conf + ": a failed download")

for f in failures:
    print("FAIL:", f)
if failures:
    sys.exit(1)
print("stored-message fixture: %d rows of %s agree with the native download code%s"
      % (len(stored_messages.expected_rows()), ", ".join(stored_messages.CONFIGS),
         "" if gammu is None else " and gammu"))
EOF
