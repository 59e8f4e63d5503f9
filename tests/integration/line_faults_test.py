#!/usr/bin/env python3
"""Lines that would hold the plug-in, under Wine: the send and the download against each of
the emulator's line faults, the cases in tests/data/line_faults.json. Every run must end on
its own with what the user is shown of a failure (a progress line, the status line, the
chooser given back), keep every message whose listing arrived, and leave the host able to
unload the plug-in; the phone gets ahead of the reader by what the line buffers, not by more
than the 1 MiB the plug-in takes of a flood.

usage: line_faults_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [CASE-NAME-PART]
Prints one line per case with the time the user waited and the bytes the phone flooded.
TARNIK_BYTE_DELAY_US paces the phone like a cable (87: about 115200 baud, 1042: about 9600);
without it the pty runs at full speed.
"""
import os
import subprocess
import sys
import time

from e2e_send import Outcome
from wine_phone import HERE, com_profile, data_file, expect, lines_of, phone_on_com

bin_dir, native_dir = sys.argv[1], sys.argv[2]
only = sys.argv[3] if len(sys.argv) > 3 else ""
CAP = 1 << 20
BYTE_DELAY_US = int(os.environ.get("TARNIK_BYTE_DELAY_US", "0"))
# Seconds after which a run counts as held by the line; a paced flood takes its time.
HANG = 120 + 2 * CAP * BYTE_DELAY_US // 1000000


def settled_log(phone):
    """The phone's log once it has seen the client go (the count of flooded bytes)."""
    for _ in range(30):
        if any(line.startswith("LINK client closed") for line in phone.log()):
            break
        time.sleep(0.1)
    return phone.log()


def run(case):
    kind = "send" if "send" in case else "download"
    with open(HERE + "/phone-line-faults.conf") as f:
        config = f.read() + case.get("phone", "") + "\n[fault]\n" + case[kind] + "\n"
    if BYTE_DELAY_US:
        config += "[phone]\nbyte_delay_us = %d\n" % BYTE_DELAY_US
    with phone_on_com(native_dir, config) as phone:
        steps = (["send", "Alfa", "Hej", "48601234567"] if kind == "send"
                 else ["archive-page", case["script"]])
        out, errors, _ = phone.host(bin_dir, "load", "add-profile", "Alfa",
                                    com_profile(phone.port), *steps, "unload", timeout=HANG)
        o = Outcome(out, errors, settled_log(phone), [], 0)
    expect("UNLOAD -> 0" in out and (kind == "send" or "ARCHIVE-PAGE script=done" in out),
           errors[-1500:])
    times = [int(t["ms"]) for t in lines_of(out, "TIME")]
    flooded = sum(int(line.rsplit(", ", 1)[1].split()[0]) for line in o.phone_log
                  if line.startswith("LINK client closed") and line.endswith(" endless bytes sent"))
    got = {"lines": o.lines, "states": o.states, "result": o.result,
           "submitted": sum(line.startswith("SUBMIT to=") for line in o.phone_log),
           "rows": [[r["number"], r["text"]] for r in lines_of(out, "ROW")],
           "enabled": {c["id"]: c["enabled"] for c in lines_of(out, "CONTROL")},
           "heard": [line[3:] for line in o.phone_log if line.startswith("RX ")]}
    for key in got.keys() & case.keys():
        want = case[key]
        value = {k: got[key].get(k) for k in want} if key == "enabled" else got[key]
        expect(value == want, "%s: %r, expected %r" % (key, value, want))
    expect((flooded > 0) == ("endless" in case[kind]) and flooded < 2 * CAP,
           "%d bytes flooded" % flooded)
    return (times[1] - times[0] if times else o.send_ms) / 1000.0, flooded


failed = 0
for case in data_file("line_faults.json"):
    kind = "send" if "send" in case else "download"
    name = "%s, %s" % (kind, case[kind].splitlines()[-1])
    if only not in name:
        continue
    try:
        print("ok   %s: %.1f s, %d bytes flooded" % ((name,) + run(case)))
    except AssertionError as e:
        failed += 1
        print("FAIL %s: %s" % (name, e))
    except subprocess.TimeoutExpired:
        failed += 1
        print("FAIL %s: no end within %d s" % (name, HANG))
    sys.stdout.flush()
sys.exit(1 if failed else 0)
