#!/usr/bin/env python3
"""Walks a file of PDU cases (hex, a tab, the JSON fields tarnik-pdu decode must print for
it) and decodes them in one run of the tool per time zone ("TZ=ZONE" lines; UTC first).

usage: pdu_cases.py TARNIK_PDU CASES_FILE
"""
import json
import os
import subprocess
import sys
import time


def mismatch(got, want, path):
    """The first field of `want` that `got` does not match, or None."""
    if isinstance(want, dict):
        for key, value in want.items():
            if not isinstance(got, dict) or key not in got:
                return path + key + " missing"
            problem = mismatch(got[key], value, path + key + ".")
            if problem:
                return problem
        return None
    if want == "now":
        ok = abs(got - time.time()) < 60
    elif isinstance(want, float):
        ok = abs(got - want) < 1e-4
    else:
        ok = got == want and type(got) is type(want)
    return None if ok else "%s %r, expected %r" % (path.rstrip("."), got, want)


tool, cases_file = sys.argv[1], sys.argv[2]
cases, out, zone, start = [], [], "UTC", 0
with open(cases_file, encoding="utf-8") as f:
    kept = [line.rstrip("\n") for line in f if line.strip() and not line.startswith("#")]
    for line in kept + ["TZ="]:
        if not line.startswith("TZ="):
            cases.append(line.split("\t", 1))
        elif start < len(cases):  # the cases above, in the zone they were given
            out += subprocess.run([tool, "decode", *[hex_ for hex_, _ in cases[start:]]],
                                  capture_output=True, text=True, check=True,
                                  env=dict(os.environ, TZ=zone)).stdout.splitlines()
        if line.startswith("TZ="):
            zone, start = line[3:], len(cases)
failures = [(hex_, mismatch(json.loads(line), json.loads(want), ""))
            for (hex_, want), line in zip(cases, out)]
failures = [(h, p) for h, p in failures if p] + [("?", "no output")] * (len(cases) - len(out))
for hex_, problem in failures:
    print("FAIL %s: %s" % (hex_, problem))
print("%d PDU cases, %d failed" % (len(cases), len(failures)))
sys.exit(1 if failures else 0)
