#!/usr/bin/env python3
"""What a host that stays up for days keeps of each operation: one tarnik-host process
under Wine repeats an operation N times against tarnik-phone and reports its resources
(the host's `resources` step) before the first and after every operation.

Operations:
  send       one-part SMS with a delivery report (phone's report delay 2500 ms)
  configure  the settings dialog of a COM profile, opened and confirmed with "ok"
  download   the archive page's download of a phone with 100 stored messages (one
             download before the first figures, since the first fills an empty list)

Prints, per operation, a row every EVERY operations and the growth per operation after
the first WARMUP operations (least squares over the rest), for each figure.

usage: soak.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [--count N] [--every N] [--warmup N]
               [--only OPERATION] [--store N] [--raw FILE]
"""
import argparse
import os
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "integration"))
from wine_phone import WINE_RUN, com_profile, fields, phone_on_com, windows_path  # noqa: E402

PAGE = "Komunikacja z telefonem GSM"
FIGURES = ["workingSet", "committed", "heap", "probedHandles", "windows", "private", "handles",
           "user", "gdi"]
BYTES = {"private", "workingSet", "committed", "heap"}
# The phone's report must come after the plug-in has asked for it (the report wait starts
# half a second after the part's "OK"): from 1.8 s on it does, 2.5 s leaves room for a
# loaded machine.
REPORT_DELAY_MS = 2500


def phone_config(name, store):
    """The phone's configuration text for the operation."""
    if name == "send":
        return "[report]\ndelay_ms = %d\n" % REPORT_DELAY_MS
    return phone_store(store) if name == "download" else ""


def operation_steps(name, port):
    """The tarnik-host steps before the loop and the steps of one operation."""
    profile = ["add-profile", "Telefon", com_profile(port, report=name == "send")]
    if name == "send":
        return profile, ["send", "Telefon", "Test trwalosci", "48601234567"]
    if name == "configure":
        return profile, ["configure", "Telefon", "ok"]
    # The context menu of the empty list below the rows once, before the figures start;
    # then, with the list full, that of the first row.
    rest = ["menu-choose 1000", "expect Ustawienia", "click 1", "expect " + PAGE, "rows"]
    first = ["archive-page", "; ".join(["row-rclick below"] + rest)]
    return profile + first, ["archive-page", "; ".join(["row-rclick 0"] + rest)]


def phone_store(count):
    """A phone configuration with `count` stored messages, its line not paced."""
    with tempfile.TemporaryDirectory() as work:
        out = os.path.join(work, "store.conf")
        subprocess.run([sys.executable, os.path.join(HERE, "make_phone_store.py"), out,
                        "--count", str(count), "--byte-delay-us", "0"],
                       check=True, capture_output=True)
        with open(out) as f:
            return f.read()


def slope(points):
    """Least squares growth per operation of [(operation, value)]."""
    n = len(points)
    if n < 2:
        return 0.0
    mx = sum(x for x, _ in points) / n
    my = sum(y for _, y in points) / n
    sxx = sum((x - mx) ** 2 for x, _ in points)
    return sum((x - mx) * (y - my) for x, y in points) / sxx if sxx else 0.0


def show(figure, value):
    if value is None:
        return "-"
    return "%.1f" % (value / 1024) if figure in BYTES else "%d" % value


def run(name, args):
    """Runs one soak; returns the rows [(operation, {figure: int or None})] and seconds."""
    with phone_on_com(args.native_dir, phone_config(name, args.store)) as phone:
        before, each = operation_steps(name, phone.port)
        data = windows_path(os.path.join(phone.work, "hostdata"))
        command = [WINE_RUN, os.path.join(args.bin_dir, "tarnik-host.exe"), "--data", data,
                   "load", *before, "resources", "repeat", str(args.count), "{", *each,
                   "resources", "}", "unload"]
        started = time.monotonic()
        stderr = open(os.path.join(phone.work, "host.err"), "w+b")
        process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=stderr)
        rows, raw, failures = [], [], []
        for line in process.stdout:
            text = line.decode("utf-8", "replace").rstrip("\r\n")
            raw.append(text)
            if text.startswith("RESOURCES "):
                f = fields(text)
                rows.append((len(rows), {k: int(f[k]) if f.get(k, "").isdigit() else None
                                         for k in FIGURES}))
                if len(rows) % args.every == 1 or args.every == 1:
                    print("  %s %d done" % (name, len(rows) - 1), file=sys.stderr, flush=True)
            elif text.startswith("SEND -> ") and text != "SEND -> 0":
                failures.append(text)
            elif text.startswith("SEND-LINE ") and "raport" in text and "dostarczona" not in text:
                failures.append(text)
            elif text.startswith("ARCHIVE-PAGE ") and not text.endswith("done"):
                failures.append(text)
        process.wait()
        stderr.seek(0)
        errors = stderr.read().decode("utf-8", "replace")
        stderr.close()
    if args.raw:
        with open("%s.%s" % (args.raw, name), "w") as f:
            f.write("\n".join(raw) + "\n" + errors)
    if process.returncode != 0 or len(rows) != args.count + 1:
        sys.exit("%s: tarnik-host ended with %d after %d operations:\n%s" %
                 (name, process.returncode, len(rows) - 1, errors[-2000:]))
    if failures:
        print("%s: %d operations did not succeed, e.g. %s" %
              (name, len(failures), failures[0]))
    return rows, time.monotonic() - started


def report(name, rows, seconds, args):
    print("\n%s: %d operations in %.0f s (%.2f s each); bytes in KB" %
          (name, len(rows) - 1, seconds, seconds / max(1, len(rows) - 1)))
    print("%6s " % "op" + " ".join("%11s" % f[:11] for f in FIGURES))
    for op, values in rows:
        if op % args.every == 0 or op == len(rows) - 1 or op in (1, 2, 5):
            print("%6d " % op + " ".join("%11s" % show(f, values[f]) for f in FIGURES))
    tail = [r for r in rows if r[0] >= args.warmup]
    growth = []
    for f in FIGURES:
        points = [(op, v[f]) for op, v in tail if v[f] is not None]
        if not points:
            growth.append("-")
            continue
        per = slope(points)
        total = points[-1][1] - points[0][1]
        growth.append("%.0f B" % per if f in BYTES else "%.3f" % per)
        growth[-1] += " (%+d%s)" % (total if f not in BYTES else total // 1024,
                                    " KB" if f in BYTES else "")
    print("growth per operation from operation %d on (total change in brackets):" %
          args.warmup)
    for f, g in zip(FIGURES, growth):
        print("  %-10s %s" % (f, g))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("bin_dir")
    parser.add_argument("native_dir")
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--every", type=int, default=20)
    parser.add_argument("--warmup", type=int, default=10)
    parser.add_argument("--store", type=int, default=100, help="messages in the phone")
    parser.add_argument("--only", choices=["send", "configure", "download"], action="append")
    parser.add_argument("--raw", help="keep each run's output as RAW.OPERATION")
    args = parser.parse_args()
    if args.count < 1 or args.every < 1 or args.warmup < 0:
        parser.error("--count and --every must be positive")
    for name in args.only or ["send", "configure", "download"]:
        rows, seconds = run(name, args)
        report(name, rows, seconds, args)


if __name__ == "__main__":
    main()
