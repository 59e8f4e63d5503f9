#!/usr/bin/env python3
"""Sending end to end under Wine against the phone emulator, the cases in
tests/data/send_e2e.json. Real time, so few cases, and only what crosses the processes: the
PDUs and commands the phone received and the lines the list box shows. The job's dialogue
with a refusing phone is its unit tests'.

usage: send_e2e_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import sys

from e2e_send import send
from wine_phone import data_file, missing_in_order

bin_dir, native_dir = sys.argv[1], sys.argv[2]


def check(case, o):
    parts = [[d["address"]["number"], d["concatSeq"], d["concatTotal"],
              d["firstOctet"]["statusReport"]] for d in o.decoded]
    for key, got in (("states", o.states), ("result", o.result), ("pdus", parts)):
        if key in case and got != case[key]:
            raise AssertionError("%s: %r, expected %r" % (key, got, case[key]))
    for number in case["recipients"]:
        mine = [d for d in o.decoded if number.endswith(d["address"]["number"])]
        joined = "".join(d["text"] for d in mine)
        if len({d["concatRef"] for d in mine}) != 1 or joined != case["text"]:
            raise AssertionError("the parts to %s: %r" % (
                number, [(d["concatRef"], d["text"]) for d in mine]))
    heard = [line[3:] for line in o.phone_log if line.startswith("RX ")]
    for key, got in (("lines", o.lines), ("heard", heard)):
        missing = missing_in_order(got, case.get(key, []))
        if missing is not None:
            raise AssertionError("%s: no %r in its place in %r" % (key, missing, got))


failures = 0
for case in data_file("send_e2e.json"):
    o = send(bin_dir, native_dir, case.get("phone", ""), case["recipients"], case["text"],
             case.get("report", False), case.get("configure"))
    try:
        check(case, o)
        print("ok   %s (%.1f s)" % (case["name"], o.elapsed))
    except AssertionError as e:
        failures += 1
        print("FAIL %s: %s" % (case["name"], e))
        print("\n".join(o.out.splitlines()[-30:]), "\nstderr:", o.errors[-2000:])
        print("phone:", "\n".join(o.phone_log[-15:]))
sys.exit(1 if failures else 0)
