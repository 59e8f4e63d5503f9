#!/usr/bin/env python3
"""Puts the emulated phone (tarnik-phone) behind a COM port of the Wine prefix and runs the
link library test program against it with the port numbers in its environment: one port
that answers, one that does not exist. The program checks the phone's answers byte for
byte; this driver checks that the phone heard each command line once, so nothing of the
phone's own text came back to it through the port.

usage: wine_com_driver.py NATIVE_BUILD_DIR WINE PROGRAM [PROGRAM ARGUMENTS...]
"""
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "integration"))
from wine_phone import PREFIX, phone_on_com  # noqa: E402

# The command lines of ComLink.ConversationWithThePhone, as the phone logs them.
HEARD = ["RX AT", "RX AT+CMGS=18"]


def main():
    if len(sys.argv) < 4:
        raise SystemExit(__doc__)
    native_dir, command = sys.argv[1], sys.argv[2:]
    with phone_on_com(native_dir, "") as phone:
        missing = next(n for n in range(255, 59, -1) if n != phone.port and not os.path.lexists(
            os.path.join(PREFIX, "dosdevices", "com%d" % n)))
        env = dict(os.environ, TARNIK_TEST_COM_PORT=str(phone.port),
                   TARNIK_TEST_COM_MISSING=str(missing))
        status = subprocess.run(command, env=env, timeout=60).returncode
        heard = [l for l in phone.log() if l.startswith("RX ")]
    if heard != HEARD:
        print("wine_com_driver: the phone heard", heard, "instead of", HEARD, file=sys.stderr)
        return 1
    return status


if __name__ == "__main__":
    sys.exit(main())
