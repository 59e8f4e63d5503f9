#!/usr/bin/env python3
"""How much time the send job adds beyond what it must wait for.

Runs real sends through the plug-in under Wine against the phone emulator and compares the
send callback's wall time with the time the job is bound to spend: its prescribed pauses
(1 s for the text after the PDU's "OK", 0.5 s after each PDU; after a report 0.5 s between
lines and 4 s at the end) and the phone's own report delay, counted from the last part's
"+CMGS:". What remains is the job's own cost: link set-up, polling granularity (reads are
polled every 100 ms while the line is silent), Wine's serial layer and the pty.

usage: measure_send.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [ROUNDS]
"""
import os
import statistics
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests",
                                "integration"))
from e2e_send import send  # noqa: E402

PART_MS = 1000 + 500   # text after the PDU's OK, then the pause after the PDU
REPORT_DELAY_MS = 4000  # the emulator's, from "+CMGS:" to the report
# After the last part's OK: the report comes REPORT_DELAY_MS after "+CMGS:", of which the
# part's own PART_MS have passed; then 1 s for the text after it, 0.5 s and 4 s of pauses.
REPORT_MS = (REPORT_DELAY_MS - PART_MS) + 1000 + 500 + 4000

bin_dir, native_dir = sys.argv[1], sys.argv[2]
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
long_text = ("Ala ma kota, a kot ma Ale. " * 12).strip()
scenarios = [
    ("1 recipient, 1 part", ["48601234567"], "Krotka wiadomosc", False, PART_MS),
    ("1 recipient, 3 parts", ["48601234567"], long_text, False, 3 * PART_MS),
    ("2 recipients, 3 parts each", ["48601234567", "600123456"], long_text, False, 6 * PART_MS),
    ("2 recipients, 2 parts, reports", ["48601234567", "600123456"], long_text[:300], True,
     2 * (2 * PART_MS + REPORT_MS)),
]
config = "[report]\ndelay_ms = %d\n" % REPORT_DELAY_MS
print("%-34s %10s %10s %10s %10s"
      % ("scenario", "bound ms", "median ms", "added ms", "exchanges"))
for name, recipients, text, report, bound in scenarios:
    times = []
    exchanges = 0
    for _ in range(rounds):
        o = send(bin_dir, native_dir, config, recipients, text, report)
        if o.send_ms is None or not o.result.endswith("0"):
            sys.exit("send failed in %s:\n%s\n%s" % (name, o.out, o.errors))
        times.append(o.send_ms)
        exchanges = sum(1 for line in o.phone_log if line.startswith(("RX ", "PDU ")))
    median = statistics.median(times)
    print("%-34s %10d %10d %10d %10d" % (name, bound, median, median - bound, exchanges))
