"""Sending through the plug-in as the host runs it: tarnik-host loads the plug-in under Wine
and sends through a stored COM profile whose port is a dosdevices link to tarnik-phone's pty,
so the real linkcom.mdl carries the bytes. Shared by the end-to-end tests and the send
measurements."""
import json
import os
import subprocess

from wine_phone import com_profile, lines_of, phone_on_com


class Outcome:
    """What the user saw, what the phone got, and how long the send callback took."""

    def __init__(self, out, errors, phone_log, decoded, elapsed):
        self.out, self.errors, self.phone_log, self.decoded = out, errors, phone_log, decoded
        self.lines = [line["text"] for line in lines_of(out, "SEND-LINE")]
        self.states = [int(line["state"]) for line in lines_of(out, "SEND-RECIPIENT")]
        self.result = next((line for line in out.splitlines() if line.startswith("SEND ->")), "")
        self.send_ms = next((int(t["ms"]) for t in lines_of(out, "SEND-TIME")), None)
        self.elapsed = elapsed


def send(bin_dir, native_dir, config, recipients, text, report, configure=None):
    """Starts a phone with `config`, sends `text` and returns the Outcome. With
    `configure`, the profile starts empty and that settings script (PORT stands for the
    phone's COM port number) sets it up in the dialog first, as a user would."""
    with phone_on_com(native_dir, config) as phone:
        steps = ["add-profile", "Telefon", com_profile(phone.port, report)]
        if configure is not None:
            steps = ["add-profile", "Telefon", "00" * 13, "configure", "Telefon",
                     configure.replace("PORT", str(phone.port))]
        out, errors, elapsed = phone.host(bin_dir, "load", *steps, "send", "Telefon", text,
                                          *recipients, "unload")
        phone_log = phone.log()
    pdus = [line.split(" ", 1)[1] for line in phone_log if line.startswith("PDU ")]
    decoded = [json.loads(line) for line in subprocess.run(
        [os.path.join(native_dir, "tools", "tarnik-pdu"), "decode", *pdus],
        capture_output=True, text=True).stdout.splitlines()] if pdus else []
    return Outcome(out, errors, phone_log, decoded, elapsed)
