#!/usr/bin/env python3
"""Sending end to end under Wine against the phone emulator. Real time, so few cases, and
only what crosses the processes: the PDUs and commands the phone received and the lines
the list box shows. The job's dialogue with a refusing phone is its unit tests'.

usage: send_e2e_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import sys

from e2e_send import send

bin_dir, native_dir = sys.argv[1], sys.argv[2]
LONG = ("Ala ma kota, a kot ma Ale. " * 12).strip()  # 323 characters: three parts


def run_case(name, config, recipients, text, report, check, configure=None):
    o = send(bin_dir, native_dir, config, recipients, text, report, configure)
    try:
        check(lines=o.lines, states=o.states, result=o.result, decoded=o.decoded,
              phone_log=o.phone_log)
    except AssertionError as e:
        print("FAIL %s: %s" % (name, e))
        print("\n".join(o.out.splitlines()[-30:]))
        print("stderr:", o.errors[-2000:])
        print("phone:", "\n".join(o.phone_log[-15:]))
        return False
    print("ok   %s (%.1f s)" % (name, o.elapsed))
    return True


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def many_parts(lines, states, result, decoded, **_):
    expect(states == [0, 0] and result == "SEND -> 0", (states, result))
    expect([(d["address"]["number"], d["concatSeq"], d["concatTotal"]) for d in decoded] ==
           [("48601234567", 1, 3), ("48601234567", 2, 3), ("48601234567", 3, 3),
            ("600123456", 1, 3), ("600123456", 2, 3), ("600123456", 3, 3)], decoded)
    expect(len({d["concatRef"] for d in decoded[:3]}) == 1
           and len({d["concatRef"] for d in decoded[3:]}) == 1, "one reference per recipient")
    expect("".join(d["text"] for d in decoded[:3]) == LONG, "the parts join to the text")
    expect("Wiadomość 3 z 3 (6 z 6 ogółem)" in lines, lines)


def reports(lines, states, result, **_):
    expect("Oczekuję na raport... dostarczona" in lines, lines)
    i = lines.index("Oczekuję na raport... błąd SMSC")
    expect(lines[i + 1].startswith(" Czas: 20") and lines[i + 2] == " Kod: 70", lines)
    expect(states == [0, 0] and result == "SEND -> 0", (states, result))


def stored_report(lines, phone_log, **_):
    expect("Oczekuję na raport... dostarczona" in lines, lines)
    expect('RX AT+CPMS="SR"' in phone_log and any(l.startswith("RX AT+CMGR=") for l in phone_log),
           "the report was fetched from SR")


def configured_then_sent(lines, states, result, decoded, **_):
    expect(states == [0] and result == "SEND -> 0", (lines, states, result))
    expect(len(decoded) == 1 and decoded[0]["firstOctet"]["statusReport"] == 1, decoded)


cases = [
    ("profile set up in the dialog, then sent", "", ["48601234567"], "Hej", False,
     configured_then_sent, "select 2000 2; select-data 2001 PORT; check 2003 1; ok"),
    ("three parts to two recipients", "", ["48601234567", "600123456"], LONG, False, many_parts),
    ("direct reports, delivered and failed", "[report]\ndelay_ms = 2500\nstatus = 0, 70\n",
     ["48601234567", "600123456"], "Raport prosze", True, reports),
    ("stored report", "cnmi = 1,0,0,2,1\n[report]\ndelay_ms = 2500\n", ["48601234567"],
     "Raport prosze", True, stored_report),
]
failures = sum(not run_case(*c) for c in cases)
print("%d passed, %d failed" % (len(cases) - failures, failures))
sys.exit(1 if failures else 0)
