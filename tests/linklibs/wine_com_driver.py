#!/usr/bin/env python3
"""Plays the phone for linkcom.mdl under Wine.

Makes a pseudo-terminal, links it into the Wine prefix as COM<n> (Wine opens
$WINEPREFIX/dosdevices/comN as the serial port COMN), runs the test program with the port
numbers in its environment, answers each expected line with the phone's reply, and checks
that the bytes arrived unchanged and that nothing of the phone's own text was echoed back.

usage: wine_com_driver.py WINE PROGRAM [PROGRAM ARGUMENTS...]
"""
import os
import pty
import random
import select
import subprocess
import sys
import time

# Must match ComLink.ConversationWithThePhone in link_libraries_wine_test.cpp.
EXCHANGES = [
    (b"AT\r", b"\r\nOK\r\n"),
    (b"0011\n00\x1a", b"\r\n> "),
]
TIME_LIMIT_S = 25

# Wine's server opens the device itself, without O_NOCTTY, and is a session leader with no
# terminal: left alone, it would take the pseudo-terminal as its controlling terminal and
# be hung up (and quit, taking every Wine program of the prefix with it) when the driver
# closes the phone's end. A holder process in a session of its own claims it first.
HOLDER = """
import os, sys
os.open(sys.argv[1], os.O_RDWR)  # a session leader without a terminal acquires this one
print("ready", flush=True)
sys.stdin.read()  # until the driver closes the pipe or ends this process
"""


def dosdevices():
    # The prefix scripts/wine-env.sh uses, which runs every Windows program of the tests.
    prefix = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine-tarnik")
    folder = os.path.join(prefix, "dosdevices")
    if not os.path.isdir(folder):
        subprocess.run(["wineboot", "--init"], check=False, capture_output=True)
        subprocess.run(["wineserver", "-w"], check=False)
    return folder


def link_free_port(folder, target):
    """Links target as a free COM number high enough to stay clear of real ports."""
    numbers = list(range(200, 256))
    random.shuffle(numbers)
    for n in numbers:
        try:
            os.symlink(target, os.path.join(folder, f"com{n}"))
            return n
        except FileExistsError:
            continue
    raise SystemExit("no free COM number in the Wine prefix")


def free_port(folder, taken):
    for n in range(255, 199, -1):
        if n != taken and not os.path.lexists(os.path.join(folder, f"com{n}")):
            return n
    raise SystemExit("no unused COM number in the Wine prefix")


def read_for(fd, seconds):
    data = b""
    end = time.monotonic() + seconds
    while (left := end - time.monotonic()) > 0:
        ready, _, _ = select.select([fd], [], [], left)
        if not ready:
            break
        try:
            chunk = os.read(fd, 256)
        except OSError:  # the other end went away
            break
        if not chunk:
            break
        data += chunk
    return data


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    command = sys.argv[1:]
    folder = dosdevices()
    phone, line = pty.openpty()
    holder = subprocess.Popen([sys.executable, "-c", HOLDER, os.ttyname(line)],
                              stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              start_new_session=True)
    link = None
    failures = []
    try:
        if holder.stdout.readline().strip() != b"ready":
            raise SystemExit("the terminal holder did not start")
        port = link_free_port(folder, os.ttyname(line))
        link = os.path.join(folder, f"com{port}")
        missing = free_port(folder, port)
        env = dict(os.environ, TARNIK_TEST_COM_PORT=str(port), TARNIK_TEST_COM_MISSING=str(missing))
        program = subprocess.Popen(command, env=env)
        deadline = time.monotonic() + TIME_LIMIT_S
        for expected, answer in EXCHANGES:
            got = b""
            while len(got) < len(expected) and time.monotonic() < deadline:
                got += read_for(phone, 0.2)
                if program.poll() is not None and not got:
                    break
            if got != expected:
                failures.append(f"phone expected {expected!r}, got {got!r}")
                break
            os.write(phone, answer)
        try:
            status = program.wait(timeout=max(1, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            program.kill()
            program.wait()
            failures.append("test program did not finish in time")
            status = -1
        echoed = read_for(phone, 0.2)
        if echoed:
            failures.append(f"the port sent back {echoed!r}")
        if status != 0:
            failures.append(f"test program exited with {status}")
    finally:
        if link is not None:
            os.unlink(link)
        holder.kill()
        holder.wait()
        os.close(phone)
        os.close(line)
    for failure in failures:
        print("wine_com_driver:", failure, file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
