#!/usr/bin/env python3
"""Puts the emulated phone (tarnik-phone, phone-sim.conf) behind COM port 255, the last a
profile can name, and runs the link library test program and then tarnik-at against it:
natively, or under Wine with WINE-RUN. The program checks the phone's answers byte for
byte; this driver checks that the phone heard each command line once, so nothing of the
phone's own text came back to it through the port, and that tarnik-at, over the plug-in's
AT exchange, got the stored listing. Natively it also checks which Linux device each port
number reaches without a TARNIK_COM<n>: the phone's terminal is given one device name at a
time in a /dev of tarnik-at's own (a mount namespace; needs root, as the machines run).

usage: link_libraries_driver.py NATIVE_BUILD_DIR BIN_DIR [WINE-RUN]
"""
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "integration"))
from wine_phone import PREFIX, phone_on_com  # noqa: E402

PORT, MISSING, NOT_TERMINAL = 255, 253, 254
HEARD = ["AT", "AT+CMGS=18", "AT+CMGS=9", "AT", 'AT+CPMS="SM"', "AT+CMGL=4"]
# The phone's device name, the port that must reach it, and neighbours that must not.
DEVICES = [("ttyS0", 1, [65]), ("ttyS63", 64, [65]), ("ttyUSB0", 65, [64, 129]),
           ("ttyUSB63", 128, [127, 129, 192]), ("ttyACM0", 129, [128, 130, 193]),
           ("ttyACM63", 192, [191, 193])]


# A /dev of the command's own in a mount namespace of its own, holding the terminal under
# NAME: a terminal opens only through its devpts, so the one open on descriptor 3 is
# bind-mounted by its /proc link, and nothing is mounted outside /dev. In a chroot the
# root is no mount point and cannot be made private; /dev is one either way.
OWN_DEV = ("{{ mount --make-rprivate / 2>/dev/null || mount --make-rprivate /dev; }} && "
           "exec 3<>{pty} && mount -t tmpfs none /dev && touch /dev/{name} && "
           "mount --no-canonicalize --bind /proc/self/fd/3 /dev/{name} && exec 3<&- && ")


def in_own_dev(pty, name, command):
    return subprocess.run(["unshare", "--mount", "--propagation", "unchanged", "sh", "-c",
                           OWN_DEV.format(pty=pty, name=name) + command],
                          capture_output=True, text=True, timeout=30)


def port_devices(tarnik_at, link):
    """The ports that answered otherwise than DEVICES says, as texts; None where no mount
    namespace can be made (the check is then left out and says so)."""
    pty = os.path.realpath(link)
    probe = in_own_dev(pty, "ttyS0", "test -c /dev/ttyS0")
    if probe.returncode != 0:
        print("port numbers' devices not checked: no /dev of our own here: "
              + probe.stderr.strip())
        return None
    wrong = []
    for name, port, others in DEVICES:
        for number in [port] + others:
            run = in_own_dev(pty, name, "exec %s --com %d --timeout 1000 AT" % (tarnik_at, number))
            if (run.returncode == 0) != (number == port):
                wrong.append("/dev/%s, port %d: exit %d %s" % (
                    name, number, run.returncode, run.stderr.strip()))
    return wrong


def main():
    native_dir, bin_dir, wine = sys.argv[1], sys.argv[2], sys.argv[3:]
    exe = ".exe" if wine else ""
    with open(os.path.join(HERE, "..", "integration", "phone-sim.conf")) as f:
        config = f.read()
    with phone_on_com(native_dir, config, PORT, wine=bool(wine)) as phone:
        link = os.environ["TARNIK_COM%d" % PORT]
        terminal_less = os.path.join(PREFIX, "dosdevices", "com%d" % NOT_TERMINAL)
        if wine:
            os.symlink("/dev/null", terminal_less)
        env = dict(os.environ, TARNIK_COM254="/dev/null", TARNIK_TEST_COM_PORT=str(PORT),
                   TARNIK_TEST_COM_MISSING=str(MISSING),
                   TARNIK_TEST_COM_NOT_TERMINAL=str(NOT_TERMINAL),
                   TARNIK_TEST_COM_NAME="COM%d" % PORT if wine else "COM%d (%s)" % (PORT, link))
        try:
            tests = subprocess.run(wine + [os.path.join(bin_dir, "tarnik-linklibs-tests" + exe)],
                                   env=env, timeout=60).returncode
            at = subprocess.run(wine + [os.path.join(bin_dir, "tarnik-at" + exe), "--com",
                                        str(PORT), "AT", 'AT+CPMS="SM"', "AT+CMGL=4"],
                                env=env, timeout=60, capture_output=True, text=True).stdout
        finally:
            if wine:
                os.unlink(terminal_less)
        heard = [line[3:] for line in phone.log() if line.startswith("RX ")]
        devices = [] if wine else port_devices(os.path.join(bin_dir, "tarnik-at"), link) or []
    failures = ["the port numbers' devices: " + d for d in devices] + [what for what, bad in [
        ("the phone heard %s" % heard, heard != HEARD),
        ("tarnik-at said:\n" + at, at.count("result 1") != 3
         or "+CMGL: 1,1,,46\\r\\n07918406010013F0040B918406214365F7" not in at
         or "+CMGL: 2,0,,23\\r\\n" not in at)] if bad]
    print("\n".join("FAIL: " + f for f in failures))
    return 1 if tests or failures else 0


if __name__ == "__main__":
    sys.exit(main())
