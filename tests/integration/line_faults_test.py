#!/usr/bin/env python3
"""Lines that would hold the plug-in, under Wine: the send and the download against each of
the emulator's line faults. Every run must end on its own with what the user is shown of a
failure (a progress line, the status line, the chooser given back), keep every message
whose listing arrived, and leave the host able to unload the plug-in.

A flood lasts until the port is closed, so each fault hits the last exchange of the run
it spoils (or the first, "AT"): every later exchange would only wait out the same flood.

usage: line_faults_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [CASE-NAME-PART]
Prints one line per case with the time the user waited and the bytes the phone flooded.
"""
import os
import subprocess
import sys
import time

from e2e_send import Outcome
from wine_phone import com_profile, lines_of, phone_on_com

bin_dir, native_dir = sys.argv[1], sys.argv[2]
only = sys.argv[3] if len(sys.argv) > 3 else ""
HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = "Komunikacja z telefonem GSM"
HANG = 120  # seconds after which a run counts as held by the line
CAP = 1 << 20  # bytes the plug-in takes in one exchange before it lets go of a flood

# Each fault as the emulator's [fault] key; garbage carries NUL bytes in its noise, so
# the text it leaves grows far slower than the bytes come.
FAULTS = {
    "endless NUL": "endless_nul = %s",
    "endless garbage": "garbage_bytes = FF7E003F0D\nendless_garbage = %s",
    "endless RING": "endless_ring = %s",
    "dead mid-reply": "dead = %s",
    "slow line": "slow = %s",
}

# "Hej" to 48601234567 is a TPDU of 17 octets.
CMGS = "AT+CMGS=17"
OPENING = ["Parametry... OK", "Lączenie... OK"]
REFUSED = OPENING + ["Inicjalizacja... OK", "Adresat: 48601234567",
                     "Wiadomość 1 z 1 (1 z 1 ogółem)", "Wysyłam... Błąd", "Rozłączenie... OK"]
SENT = REFUSED[:5] + ["Wysyłam... OK", "Rozłączenie... OK"]
# fault, command it hits, the list box's lines, recipient states, result, commands the
# phone received
SEND_CASES = [
    ("endless NUL", "AT", OPENING + ["Inicjalizacja... Błąd"], [1], 1, ["AT"]),
    ("endless garbage", 'AT+CPMS="SM"', REFUSED, [1], 1, ["AT", "ATE1", 'AT+CPMS="SM"']),
    ("endless RING", CMGS, REFUSED, [1], 1, ["AT", "ATE1", 'AT+CPMS="SM"', CMGS]),
    ("dead mid-reply", CMGS, REFUSED, [1], 1, ["AT", "ATE1", 'AT+CPMS="SM"', CMGS]),
    ("slow line", "AT", SENT, [0], 0, ["AT", "ATE1", 'AT+CPMS="SM"', CMGS]),
]

ME_ROWS = [("+48601234567", "Pierwsza w telefonie"), ("600123456", "Druga w telefonie")]
SM_ROWS = [("+48691112233", "Na karcie SIM")]
MT, ME, SM, CMGL = 'AT+CPMS="MT"', 'AT+CPMS="ME"', 'AT+CPMS="SM"', "AT+CMGL=4"
# fault, command it hits, MT refused, rows shown (None: the download failed and the
# chooser stays), commands the phone received
DOWNLOAD_CASES = [
    ("endless NUL", SM, True, ME_ROWS, ["AT", MT, ME, CMGL, SM]),
    ("endless garbage", "AT", False, None, ["AT"]),
    ("endless RING", CMGL, False, [], ["AT", MT, CMGL]),
    ("dead mid-reply", SM, True, ME_ROWS, ["AT", MT, ME, CMGL, SM]),
    ("slow line", MT, False, ME_ROWS + SM_ROWS, ["AT", MT, CMGL]),
]


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def phone_config(fault, command, refuse_mt=False):
    with open(os.path.join(HERE, "phone-line-faults.conf")) as f:
        text = f.read()
    if refuse_mt:
        text += "[phone]\nrefuse_storage = MT\n"
    return text + "[fault]\n" + FAULTS[fault] % command + "\n"


def received(phone_log):
    """The command lines the phone received, and the bytes it flooded the line with."""
    commands = [l.split(" ", 1)[1] for l in phone_log if l.startswith("RX ")]
    flooded = sum(int(l.rsplit(", ", 1)[1].split()[0]) for l in phone_log
                  if l.startswith("LINK client closed") and l.endswith(" endless bytes sent"))
    return commands, flooded


def settled_log(phone):
    """The phone's log once it has seen the client go (the count of flooded bytes)."""
    for _ in range(30):
        log = phone.log()
        if any(l.startswith("LINK client closed") for l in log):
            return log
        time.sleep(0.1)
    return phone.log()


def send_case(fault, command, lines, states, result, commands):
    with phone_on_com(native_dir, phone_config(fault, command)) as phone:
        out, errors, elapsed = phone.host(bin_dir, "load", "add-profile", "Telefon",
                                          com_profile(phone.port), "send", "Telefon", "Hej",
                                          "48601234567", "unload", timeout=HANG)
        o = Outcome(out, errors, settled_log(phone), [], elapsed)
    expect("UNLOAD -> 0" in o.out, "no unload: " + o.errors[-1500:])
    expect(o.lines == lines, o.lines)
    expect((o.states, o.result) == (states, "SEND -> %d" % result), (o.states, o.result))
    got, flooded = received(o.phone_log)
    expect(got == commands, got)
    submitted = [l for l in o.phone_log if l.startswith("SUBMIT to=")]
    expect(len(submitted) == (1 if result == 0 else 0), submitted)
    return o.send_ms / 1000.0, flooded


def download_case(fault, command, refuse_mt, rows, commands):
    with phone_on_com(native_dir, phone_config(fault, command, refuse_mt)) as phone:
        steps = ["row-rclick below", "menu-choose 1000", "expect Ustawienia", "time", "click 1"]
        if rows is None:
            steps += ["wait-text 2009 Zakończono.", "time", "wait 500", "dump", "cancel"]
        else:
            steps += ["expect " + PAGE, "time"]
        steps += ["expect " + PAGE, "rows", "click 1"]
        out, errors, _ = phone.host(bin_dir, "load", "add-profile", "Alfa",
                                    com_profile(phone.port), "archive-page", "; ".join(steps),
                                    "unload", timeout=HANG)
        log = settled_log(phone)
    expect("ARCHIVE-PAGE script=done" in out and "UNLOAD -> 0" in out, errors[-1500:])
    shown = [(r["number"], r["text"]) for r in lines_of(out, "ROW")]
    expect(shown == (rows or []), shown)
    if rows is None:  # the chooser given back: its status line and its controls enabled
        controls = {c["id"]: c for c in lines_of(out, "CONTROL")}
        expect(controls["2009"]["text"] == "Zakończono.", controls["2009"])
        expect([controls[i]["enabled"] for i in ("1", "2", "2008")] == ["1", "1", "1"], controls)
    got, flooded = received(log)
    expect(got == commands, got)
    start, end = (int(t["ms"]) for t in lines_of(out, "TIME"))
    return (end - start) / 1000.0, flooded


failed = 0
for kind, run, cases in (("send", send_case, SEND_CASES),
                         ("download", download_case, DOWNLOAD_CASES)):
    for case in cases:
        name = "%s, %s on %s" % (kind, case[0], case[1])
        if only not in name:
            continue
        try:
            seconds, flooded = run(*case)
            # The phone gets ahead of the reader by what the line buffers, not by more.
            expect((flooded > 0) == case[0].startswith("endless") and flooded < 2 * CAP,
                   "%d bytes flooded" % flooded)
            print("ok   %s: %.1f s, %d bytes flooded" % (name, seconds, flooded))
        except AssertionError as e:
            failed += 1
            print("FAIL %s: %s" % (name, e))
        except subprocess.TimeoutExpired:
            failed += 1
            print("FAIL %s: no end within %d s" % (name, HANG))
        sys.stdout.flush()
sys.exit(1 if failed else 0)
