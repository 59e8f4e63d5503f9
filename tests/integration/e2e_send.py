"""Sending through the plug-in as the host runs it: tarnik-host loads the plug-in under Wine
and sends through a stored COM profile whose port is a dosdevices link to tarnik-phone's pty,
so the real linkcom.mdl carries the bytes. Shared by the end-to-end test and the send
measurement."""
import json
import os
import random
import subprocess
import tempfile
import time


def windows_path(path):
    """The path as Wine's Z: drive shows the root, without starting a Wine program."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run.sh")
PREFIX = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine-tarnik")


class Outcome:
    """What the user saw, what the phone got, and how long the send callback took."""

    def __init__(self, out, errors, phone_log, decoded, elapsed):
        self.out, self.errors, self.phone_log, self.decoded = out, errors, phone_log, decoded
        lines = out.splitlines()
        self.lines = [l.split("text=", 1)[1].strip().strip('"') for l in lines
                      if l.startswith("SEND-LINE")]
        self.states = [int(l.rsplit("state=", 1)[1]) for l in lines
                       if l.startswith("SEND-RECIPIENT")]
        results = [l for l in lines if l.startswith("SEND ->")]
        self.result = results[0] if results else ""
        times = [int(l.split("ms=", 1)[1]) for l in lines if l.startswith("SEND-TIME")]
        self.send_ms = times[0] if times else None
        self.elapsed = elapsed


def profile(port, report):
    """A COM profile record: kind 2, the port, no address, no flash, the report option."""
    return "02%02X0000000000000000%02X%02X00" % (port, 0, 1 if report else 0)


def send(bin_dir, native_dir, config, recipients, text, report, configure=None):
    """Starts a phone with `config`, sends `text` and returns the Outcome. With
    `configure`, the profile starts empty and that settings script (PORT stands for the
    phone's COM port number) sets it up in the dialog first, as a user would."""
    phone_bin = os.path.join(native_dir, "phone", "tarnik-phone")
    pdu_tool = os.path.join(native_dir, "tools", "tarnik-pdu")
    with tempfile.TemporaryDirectory() as work:
        conf = os.path.join(work, "phone.conf")
        with open(conf, "w") as f:
            f.write(config)
        link = os.path.join(work, "phone")
        log = os.path.join(work, "phone.log")
        phone = subprocess.Popen([phone_bin, "--link", link, "--config", conf, "--log", log])
        port = random.randint(60, 250)
        comlink = os.path.join(PREFIX, "dosdevices", "com%d" % port)
        try:
            for _ in range(50):
                if os.path.exists(link):
                    break
                time.sleep(0.1)
            os.makedirs(os.path.dirname(comlink), exist_ok=True)
            if os.path.lexists(comlink):
                os.unlink(comlink)
            os.symlink(link, comlink)
            data = windows_path(os.path.join(work, "hostdata"))
            started = time.monotonic()
            steps = ["add-profile", "Telefon", profile(port, report)]
            if configure is not None:
                steps = ["add-profile", "Telefon", "00" * 13, "configure", "Telefon",
                         configure.replace("PORT", str(port))]
            run = subprocess.run(
                [WINE_RUN, os.path.join(bin_dir, "tarnik-host.exe"), "--data", data, "load",
                 *steps, "send", "Telefon", text, *recipients, "unload"],
                capture_output=True, timeout=300)
            elapsed = time.monotonic() - started
        finally:
            phone.terminate()
            phone.wait()
            if os.path.lexists(comlink):
                os.unlink(comlink)
        with open(log, encoding="utf-8", errors="replace") as f:
            phone_log = f.read().splitlines()
        pdus = [l.split(" ", 1)[1] for l in phone_log if l.startswith("PDU ")]
        decoded = []
        if pdus:
            decoded = [json.loads(l) for l in subprocess.run(
                [pdu_tool, "decode", *pdus], capture_output=True, text=True).stdout.splitlines()]
        return Outcome(run.stdout.decode("utf-8", "replace"), run.stderr.decode("utf-8", "replace"),
                       phone_log, decoded, elapsed)
