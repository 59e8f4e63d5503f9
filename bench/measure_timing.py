#!/usr/bin/env python3
"""Where the time of a download and of a send goes, against the waits the AT exchange is
bound to keep, and the same work done by gammu against the same phone, in one run.

Every round runs, one after the other on the same machine: the plug-in under Wine
downloading the 1000-message phone (bench/make_phone_store.py) and gammu's getallsms
against a fresh emulator with the same store; then the plug-in and gammu's sendsms each
sending a one-part and a three-part text. The emulator sends at the pace of a 115200-baud
line (87 us a byte) and counts the bytes both ways.

The download is broken down with the emulator's log lines, time-stamped as they appear,
on the clock Wine's GetTickCount64 follows (CLOCK_MONOTONIC_RAW):
  open     "Pobierz" to the first command at the phone: thread, link library, port
  polls    command to the next command, less the answer's time on the line: the 100 ms
           polls of a silent line
  listing  the answer to AT+CMGL=4 at the line's pace
  after    the listing's last byte to the port's close: the poll that finds the final
           "OK" (up to 100 ms), the prescribed second after it, parsing, joining and
           filling the list
  end      the port's close to the chooser seen closed by the test host (polled every
           100 ms)
Prescribed: the line, 1 s after the listing's "OK" and 100 ms of polling per answer
awaited (a silent line is looked at every 100 ms; the answer comes inside one poll).

usage: measure_timing.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [ROUNDS]
Run it in a Wine prefix whose windows are not managed (see docs/performance.md): without
a window manager, Wine waits 2 s for one whenever a dialog closes.
"""
import os
import re
import statistics
import subprocess
import sys
import tempfile
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "integration"))
from e2e_send import send  # noqa: E402
from wine_phone import com_profile, lines_of, phone_on_com, started_phone  # noqa: E402

BYTE_S = 87e-6  # the emulator's pace: 115200 baud, 8N1
POLL_MS = 100
SETTLE_MS = 1000  # after the token when the reply is kept
PDU_PAUSE_MS = 500  # after every PDU
PAGE = "Komunikacja z telefonem GSM"
PACED = "[phone]\nbyte_delay_us = 87\n"
NUMBER = "48601234567"
SHORT = "Krotka wiadomosc"
LONG = ("Ala ma kota, a kot ma Ale. " * 16)[:400]  # three parts


def now_ms():
    return time.clock_gettime(time.CLOCK_MONOTONIC_RAW) * 1000


class LogWatch:
    """The phone's log lines with the time each appeared."""

    def __init__(self, path):
        self.path, self.lines, self.stop = path, [], False
        self.thread = threading.Thread(target=self.run)
        self.thread.start()

    def run(self):
        while not os.path.exists(self.path) and not self.stop:
            time.sleep(0.001)
        with open(self.path, errors="replace") as f:
            rest = ""
            while True:
                data = f.read()
                if data:
                    t = now_ms()
                    rest += data
                    while "\n" in rest:
                        line, rest = rest.split("\n", 1)
                        self.lines.append((t, line))
                elif self.stop:
                    return
                else:
                    time.sleep(0.0005)

    def finish(self):
        self.stop = True
        self.thread.join()
        return self.lines


def line_bytes(log):
    """Bytes to and from the phone over every client session in the log."""
    into = out = 0
    for line in log:
        m = re.match(r"LINK client closed after (\d+) bytes in, (\d+) out", line)
        if m:
            into, out = into + int(m.group(1)), out + int(m.group(2))
    return into, out


def plugin_download(bin_dir, native_dir, store):
    steps = ["row-rclick below", "menu-choose 1000", "expect Ustawienia", "time", "click 1",
             "expect " + PAGE, "time", "rows", "click 1"]
    with phone_on_com(native_dir, store) as phone:
        watch = LogWatch(phone.log_path)
        out, errors, _ = phone.host(bin_dir, "load", "add-profile", "Telefon",
                                    com_profile(phone.port), "archive-page", "; ".join(steps),
                                    "unload", timeout=900)
        time.sleep(0.1)
        stamped = watch.finish()
    times = [int(t["ms"]) for t in lines_of(out, "TIME")]
    rows = lines_of(out, "LIST")
    if len(times) != 2 or not rows or rows[0]["rows"] != "831":
        sys.exit("the download did not finish:\n" + out[-1500:] + errors[-1500:])
    click, shown = times
    commands = [(t, l) for t, l in stamped if l.startswith("RX ")]
    closed = [t for t, l in stamped if l.startswith("LINK client closed")][0]
    into, out_bytes = line_bytes([l for _, l in stamped])
    # Answers before the listing are a few dozen bytes; each command's own answer lies
    # between it and the next command.
    listing_bytes = out_bytes
    polls = 0.0
    for (t, l), (t_next, _) in zip(commands, commands[1:]):
        answer = sum(len(x) - 3 + 4 for tt, x in stamped
                     if x.startswith("TX ") and t <= tt < t_next) + len(l) - 3 + 1
        listing_bytes -= answer
        polls += t_next - t - answer * BYTE_S * 1000
    listing_ms = listing_bytes * BYTE_S * 1000
    listing_end = commands[-1][0] + listing_ms
    return {"wall": shown - click, "open": commands[0][0] - click, "polls": polls,
            "listing": listing_ms, "after": closed - listing_end, "end": shown - closed,
            "line": out_bytes * BYTE_S * 1000, "in": into, "out": out_bytes,
            "awaited": len(commands) + 1}


def gammu(native_dir, config, *args):
    """Runs gammu with `args` against a fresh emulator; (wall ms, bytes in, bytes out)."""
    with started_phone(os.path.join(native_dir, "phone", "tarnik-phone"), config) as phone:
        rc = os.path.join(phone.work, "gammurc")
        with open(rc, "w") as f:
            f.write("[gammu]\nport = %s\nconnection = at115200\n" % phone.link)
        started = now_ms()
        run = subprocess.run(["gammu", "-c", rc, *args], capture_output=True, text=True,
                             timeout=900)
        wall = now_ms() - started
        time.sleep(0.2)
        phone.stop()
        into, out = line_bytes(phone.log())
    if run.returncode != 0:
        sys.exit("gammu %s failed:\n%s" % (" ".join(args), run.stderr[-1500:]))
    return wall, into, out, run.stdout


def plugin_send(bin_dir, native_dir, text):
    o = send(bin_dir, native_dir, PACED, [NUMBER], text, False)
    if o.send_ms is None or not o.result.endswith("0"):
        sys.exit("send failed:\n%s\n%s" % (o.out, o.errors))
    into, out = line_bytes(o.phone_log)
    awaited = sum(1 for line in o.phone_log if line.startswith("RX ") or line.startswith("PDU "))
    parts = sum(1 for line in o.phone_log if line.startswith("PDU "))
    prescribed = parts * (SETTLE_MS + PDU_PAUSE_MS) + awaited * POLL_MS + out * BYTE_S * 1000
    return {"wall": o.send_ms, "prescribed": prescribed, "in": into, "out": out,
            "awaited": awaited, "parts": parts}


def spread(values):
    return "%.0f (%.0f to %.0f)" % (statistics.median(values), min(values), max(values))


def main():
    bin_dir, native_dir = sys.argv[1], sys.argv[2]
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
    with tempfile.TemporaryDirectory() as work:
        store_file = os.path.join(work, "store.conf")
        subprocess.run([sys.executable, os.path.join(HERE, "make_phone_store.py"), store_file],
                       check=True, capture_output=True)
        with open(store_file) as f:
            store = f.read()
    runs = {k: [] for k in ("dl", "gdl", "s1", "g1", "s3", "g3")}
    for r in range(rounds):
        runs["dl"].append(plugin_download(bin_dir, native_dir, store))
        wall, into, out, listed = gammu(native_dir, store, "getallsms")
        if "1000 SMS parts in 1000 SMS sequences" not in listed:
            sys.exit("gammu did not list the 1000 messages")
        runs["gdl"].append({"wall": wall, "in": into, "out": out})
        for key, gkey, text, gargs in (("s1", "g1", SHORT, ["-text", SHORT]),
                                       ("s3", "g3", LONG, ["-len", "400", "-text", LONG])):
            runs[key].append(plugin_send(bin_dir, native_dir, text))
            wall, into, out, _ = gammu(native_dir, PACED, "sendsms", "TEXT", NUMBER, *gargs)
            runs[gkey].append({"wall": wall, "in": into, "out": out})
        print("round %d of %d done" % (r + 1, rounds), file=sys.stderr)

    def col(key, field):
        return [x[field] for x in runs[key]]

    print("Download of 1000 messages, %d rounds, ms: median (min to max)" % rounds)
    dl = runs["dl"]
    for field in ("open", "polls", "listing", "after", "end", "wall"):
        print("  %-8s %s" % (field, spread(col("dl", field))))
    prescribed = [d["line"] + SETTLE_MS + d["awaited"] * POLL_MS for d in dl]
    ratios = [d["wall"] / p for d, p in zip(dl, prescribed)]
    print("  line %.0f ms (%d bytes from the phone, %d to it); prescribed waits %d ms; "
          "wall / (line + prescribed) %.3f (%.3f to %.3f)" %
          (dl[0]["line"], dl[0]["out"], dl[0]["in"], SETTLE_MS + dl[0]["awaited"] * POLL_MS,
           statistics.median(ratios), min(ratios), max(ratios)))
    print("  gammu getallsms: wall %s ms, %d bytes from the phone, %d to it" %
          (spread(col("gdl", "wall")), runs["gdl"][0]["out"], runs["gdl"][0]["in"]))
    print("  plug-in / gammu: wall %.3f, bytes %.3f" %
          (statistics.median(col("dl", "wall")) / statistics.median(col("gdl", "wall")),
           (dl[0]["in"] + dl[0]["out"]) / (runs["gdl"][0]["in"] + runs["gdl"][0]["out"])))
    for key, gkey, name in (("s1", "g1", "one part"), ("s3", "g3", "three parts")):
        s = runs[key]
        ratios = [x["wall"] / x["prescribed"] for x in s]
        print("Send, %s: wall %s ms; prescribed %.0f ms (%d parts, %d answers awaited, line "
              "%d bytes from the phone, %d to it); wall / prescribed %.3f (%.3f to %.3f)" %
              (name, spread(col(key, "wall")), s[0]["prescribed"], s[0]["parts"],
               s[0]["awaited"], s[0]["out"], s[0]["in"], statistics.median(ratios),
               min(ratios), max(ratios)))
        g = runs[gkey]
        print("  gammu sendsms: wall %s ms, %d bytes from the phone, %d to it; plug-in / "
              "gammu: wall %.3f, bytes %.3f" %
              (spread(col(gkey, "wall")), g[0]["out"], g[0]["in"],
               statistics.median(col(key, "wall")) / statistics.median(col(gkey, "wall")),
               (s[0]["in"] + s[0]["out"]) / (g[0]["in"] + g[0]["out"])))


if __name__ == "__main__":
    main()
