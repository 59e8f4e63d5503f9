#!/usr/bin/env python3
"""The download of a full phone end to end: 1000 stored messages (a quarter of them parts
of long ones) on a link paced like a 115200-baud serial line, through the plug-in under
Wine, against the bytes on the wire; then the processing after the answer (parsing,
decoding, joining, filling a real list view) measured alone on the same answer.

usage: measure_download.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [COUNT]
"""
import os
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "integration"))
from wine_phone import WINE_RUN, com_profile, lines_of, phone_on_com  # noqa: E402

BAUD_BYTES_PER_S = 115200 / 10  # 8N1: ten bits a byte
PAGE = "Komunikacja z telefonem GSM"

bin_dir, native_dir = sys.argv[1], sys.argv[2]
count = sys.argv[3] if len(sys.argv) > 3 else "1000"
with tempfile.TemporaryDirectory() as work:
    store = os.path.join(work, "store.conf")
    summary = subprocess.run([sys.executable, os.path.join(HERE, "make_phone_store.py"), store,
                              "--count", count], capture_output=True, text=True, check=True)
    print(summary.stdout.strip())
    with open(store) as f:
        config = f.read()
    steps = ["row-rclick below", "menu-choose 1000", "expect Ustawienia", "time", "click 1",
             "expect " + PAGE, "time", "rows", "click 1"]
    with phone_on_com(native_dir, config) as phone:
        out, errors, _ = phone.host(bin_dir, "load", "add-profile", "Telefon",
                                    com_profile(phone.port), "archive-page", "; ".join(steps),
                                    "unload", timeout=900)
        log = phone.log()
    times = [int(t["ms"]) for t in lines_of(out, "TIME")]
    rows = lines_of(out, "LIST")
    if len(times) != 2 or not rows:
        sys.exit("the download did not finish:\n" + out[-1500:] + errors[-1500:])

    # What crossed the line: the commands and every answer line with its CR LF.
    sent = sum(len(line) - 3 + 1 for line in log if line.startswith("RX "))
    received = sum(len(line) - 3 + 2 for line in log if line.startswith("TX "))
    listing, inside = [], False
    for line in log:
        if line == "RX AT+CMGL=4":
            inside = True
        elif inside and line.startswith("TX "):
            listing.append(line[3:])
            if line in ("TX OK", "TX ERROR"):
                inside = False
    reply = "".join(line + "\r\n" for line in listing)
    wall = (times[1] - times[0]) / 1000
    print("rows %s; wall time from \"Pobierz\" to the closed chooser %.2f s" %
          (rows[0]["rows"], wall))
    print("on the wire: %d bytes to the phone, %d from it; at 115200 baud %.2f s; "
          "wall time / line time %.3f" % (sent, received, (sent + received) / BAUD_BYTES_PER_S,
                                          wall / ((sent + received) / BAUD_BYTES_PER_S)))

    reply_file = os.path.join(work, "reply.txt")
    with open(reply_file, "w", newline="") as f:
        f.write(reply)
    fill = subprocess.run([WINE_RUN, os.path.join(bin_dir, "tarnik-list-fill-bench.exe"),
                           "Z:" + reply_file.replace("/", "\\"), "9"],
                          capture_output=True, text=True)
    print("after the answer, under Wine (median of 9):", fill.stdout.strip() or fill.stderr[-500:])
