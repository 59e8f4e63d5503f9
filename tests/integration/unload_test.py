#!/usr/bin/env python3
"""The host unloads the plug-in while the profile chooser is open, under Wine against a
paced phone: the cases of tests/data/unload_states.json. Each unload must answer 0 and
leave none of our windows or threads, close the port while the host still runs, corrupt
no heap (WINEDEBUG=warn+heap names what it finds; the host checks every heap at the end)
and let the host run on to a normal exit.

usage: unload_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [CASE-NAME-PART]
"""
import os
import re
import signal
import subprocess
import sys
import threading
import time

from wine_phone import (HERE, WINE_RUN, com_profile, data_file, fields, lines_of,
                        phone_on_com, windows_path)

bin_dir, native_dir = sys.argv[1], sys.argv[2]
only = sys.argv[3] if len(sys.argv) > 3 else ""
HOLD_MS = 5000  # the host lives on this long after the script, the port's close seen within
HANG = 120  # seconds after which the host counts as held by what the unload left behind


def run(case):
    with open(HERE + "/phone-line-faults.conf") as f:
        config = f.read() + "\n" + case.get("phone", "") + "\n"
    with phone_on_com(native_dir, config) as phone:
        data = windows_path(os.path.join(phone.work, "hostdata"))
        # A file, not a pipe: the heap checks may say much while stdout is being read.
        stderr = open(os.path.join(phone.work, "stderr.txt"), "w+b")
        host = subprocess.Popen(
            [WINE_RUN, os.path.join(bin_dir, "tarnik-host.exe"), "--data", data, "load",
             "add-profile", "Alfa", com_profile(phone.port), "archive-page", case["script"],
             "hold", str(HOLD_MS), "heaps"],
            stdout=subprocess.PIPE, stderr=stderr, start_new_session=True,
            env=dict(os.environ, WINEDEBUG="warn+heap"))
        # A loop nobody ends holds the host, and with it its output, for good.
        watchdog = threading.Timer(HANG, os.killpg, (host.pid, signal.SIGKILL))
        watchdog.start()
        out, closed_while_running = [], None
        for raw in host.stdout:
            line = raw.decode("utf-8", "replace").rstrip("\r\n")
            out.append(line)
            if line.startswith("UNLOAD "):
                closed_while_running = port_closed(phone) and host.poll() is None
        code = host.wait()
        watchdog.cancel()
        stderr.seek(0)
        errors = stderr.read().decode("utf-8", "replace")
        stderr.close()
        log = phone.log()
    unload = [fields(line) for line in out if line.startswith("UNLOAD -> 0 ")]
    expect(len(unload) == 1, "no UNLOAD -> 0: %s" % errors[-1500:])
    expect((unload[0]["windows"], unload[0]["threads"]) == ("0", "0"),
           "left behind: windows=%s threads=%s" % (unload[0]["windows"], unload[0]["threads"]))
    expect("ARCHIVE-PAGE script=done" in out and "HOLD %d" % HOLD_MS in out, "the run stopped")
    heaps = lines_of("\n".join(out), "HEAPS")
    complaints = [line for line in errors.splitlines() if ":heap:" in line]
    expect(heaps and int(heaps[0]["count"]) > 0 and heaps[0]["valid"] == heaps[0]["count"]
           and not complaints,
           "heap: %r %s" % (heaps, "\n".join(complaints[:5])))
    expect(code == 0, "exit status %d" % code)
    heard = [line[3:] for line in log if line.startswith("RX ")]
    expect(heard == case["heard"], "heard %r" % heard)
    if "cut" in case:
        expect(closed_while_running, "the port was not closed by the unload")
        closed = [line for line in log if line.startswith("LINK client closed")]
        expect(closed, "the phone never saw the port closed")
        # Cut short: most of the listing was still to come, not just its last bytes.
        sent = int(re.search(r" (\d+) out", closed[0]).group(1))
        unsent = re.search(r" (\d+) bytes unsent", closed[0])
        expect((unsent is not None and int(unsent.group(1)) > sent) == case["cut"],
               "closed: %r" % closed)


def port_closed(phone):
    """Whether the phone sees the port closed, given the moment it takes to notice."""
    for _ in range(20):
        if any(line.startswith("LINK client closed") for line in phone.log()):
            return True
        time.sleep(0.1)
    return False


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


failed = 0
for case in data_file("unload_states.json"):
    if only not in case["name"]:
        continue
    try:
        run(case)
        print("ok   %s" % case["name"])
    except AssertionError as e:
        failed += 1
        print("FAIL %s: %s" % (case["name"], e))
sys.exit(1 if failed else 0)
