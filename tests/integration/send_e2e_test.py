#!/usr/bin/env python3
"""Sending end to end, as the host runs it: tarnik-host loads the plug-in under Wine and
sends through a stored COM profile; the COM port is a dosdevices link to tarnik-phone's
pty, so the real linkcom.mdl carries the bytes. Real time, so few cases.

usage: send_e2e_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import json
import os
import random
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
WINE_RUN = os.path.join(ROOT, "scripts", "wine-run.sh")

bin_dir, native_dir = sys.argv[1], sys.argv[2]
phone_bin = os.path.join(native_dir, "phone", "tarnik-phone")
pdu_tool = os.path.join(native_dir, "tools", "tarnik-pdu")
prefix = os.environ.get("WINEPREFIX") or os.path.expanduser("~/.wine-tarnik")

LONG = ("Ala ma kota, a kot ma Ale. " * 12).strip()  # 323 characters: three parts


def profile(port, report):
    return "02%02X0000000000000000%02X%02X00" % (port, 0, 1 if report else 0)


def run_case(name, config, recipients, text, report, check):
    with tempfile.TemporaryDirectory() as work:
        conf = os.path.join(work, "phone.conf")
        with open(conf, "w") as f:
            f.write(config)
        link = os.path.join(work, "phone")
        log = os.path.join(work, "phone.log")
        phone = subprocess.Popen([phone_bin, "--link", link, "--config", conf, "--log", log])
        port = random.randint(60, 250)
        comlink = os.path.join(prefix, "dosdevices", "com%d" % port)
        try:
            for _ in range(50):
                if os.path.exists(link):
                    break
                time.sleep(0.1)
            os.makedirs(os.path.dirname(comlink), exist_ok=True)
            if os.path.lexists(comlink):
                os.unlink(comlink)
            os.symlink(link, comlink)
            data = subprocess.run(["winepath", "-w", os.path.join(work, "hostdata")],
                                  capture_output=True, text=True).stdout.strip()
            started = time.monotonic()
            run = subprocess.run(
                [WINE_RUN, os.path.join(bin_dir, "tarnik-host.exe"), "--data", data, "load",
                 "add-profile", "Telefon", profile(port, report), "send", "Telefon", text,
                 *recipients, "unload"],
                capture_output=True, timeout=300)
            out = run.stdout.decode("utf-8", "replace")
            errors = run.stderr.decode("utf-8", "replace")
            elapsed = time.monotonic() - started
        finally:
            phone.terminate()
            phone.wait()
            if os.path.lexists(comlink):
                os.unlink(comlink)
        lines = [l.split("text=", 1)[1].strip().strip('"') for l in out.splitlines()
                 if l.startswith("SEND-LINE")]
        states = [int(l.rsplit("state=", 1)[1]) for l in out.splitlines()
                  if l.startswith("SEND-RECIPIENT")]
        result = [l for l in out.splitlines() if l.startswith("SEND ->")]
        with open(log, encoding="utf-8", errors="replace") as f:
            phone_log = f.read().splitlines()
        pdus = [l.split(" ", 1)[1] for l in phone_log if l.startswith("PDU ")]
        decoded = []
        if pdus:
            decoded = [json.loads(l) for l in subprocess.run(
                [pdu_tool, "decode", *pdus], capture_output=True, text=True).stdout.splitlines()]
        try:
            check(lines=lines, states=states, result=result[0] if result else "",
                  decoded=decoded, phone_log=phone_log)
        except AssertionError as e:
            print("FAIL %s: %s" % (name, e))
            print("\n".join(out.splitlines()[-30:]))
            print("stderr:", errors[-2000:])
            print("phone:", "\n".join(phone_log[-15:]))
            return False
        print("ok   %s (%.1f s)" % (name, elapsed))
        return True


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def one_part(lines, states, result, decoded, **_):
    expect(lines == ["Parametry... OK", "Lączenie... OK", "Inicjalizacja... OK",
                     "Adresat: +48601234567", "Wiadomość 1 z 1 (1 z 1 ogółem)",
                     "Wysyłam... OK", "Rozłączenie... OK"], lines)
    expect(states == [0] and result == "SEND -> 0", (states, result))
    expect(len(decoded) == 1 and decoded[0]["address"]["number"] == "48601234567"
           and decoded[0]["text"] == "Krotka wiadomosc" and not decoded[0]["concat"], decoded)


def many_parts(lines, states, result, decoded, **_):
    expect(states == [0, 0] and result == "SEND -> 0", (states, result))
    expect([(d["address"]["number"], d["concatSeq"], d["concatTotal"]) for d in decoded] ==
           [("48601234567", 1, 3), ("48601234567", 2, 3), ("48601234567", 3, 3),
            ("600123456", 1, 3), ("600123456", 2, 3), ("600123456", 3, 3)], decoded)
    expect(len({d["concatRef"] for d in decoded[:3]}) == 1
           and len({d["concatRef"] for d in decoded[3:]}) == 1, "one reference per recipient")
    expect("".join(d["text"] for d in decoded[:3]) == LONG, "the parts join to the text")
    expect("Wiadomość 3 z 3 (6 z 6 ogółem)" in lines, lines)


def retried(lines, states, result, decoded, **_):
    expect(lines[5:8] == ["Wysyłam... Błąd", "Tymczasowy błąd, ponowienie za 5s...",
                          "Wysyłam... OK"], lines)
    expect(states == [0] and result == "SEND -> 0", (states, result))
    expect(len(decoded) == 2 and decoded[0] == decoded[1], "the same PDU twice")


def reports(lines, states, result, **_):
    expect("Oczekuję na raport... dostarczona" in lines, lines)
    i = lines.index("Oczekuję na raport... błąd SMSC")
    expect(lines[i + 1].startswith(" Czas: 20") and lines[i + 2] == " Kod: 70", lines)
    expect(states == [0, 0] and result == "SEND -> 0", (states, result))


def stored_report(lines, phone_log, **_):
    expect("Oczekuję na raport... dostarczona" in lines, lines)
    expect('RX AT+CPMS="SR"' in phone_log and any(l.startswith("RX AT+CMGR=") for l in phone_log),
           "the report was fetched from SR")


def silent_phone(lines, states, result, **_):
    expect(lines == ["Parametry... OK", "Lączenie... OK", "Inicjalizacja... Błąd"], lines)
    expect(states == [1] and result == "SEND -> 1", (states, result))


cases = [
    ("one part", "", ["+48601234567"], "Krotka wiadomosc", False, one_part),
    ("three parts to two recipients", "", ["48601234567", "600123456"], LONG, False, many_parts),
    ("temporary error, one retry", "[submit]\noutcome = cms 42\n", ["48601234567"], "Hej", False,
     retried),
    ("direct reports, delivered and failed", "[report]\ndelay_ms = 2500\nstatus = 0, 70\n",
     ["48601234567", "600123456"], "Raport prosze", True, reports),
    ("stored report", "cnmi = 1,0,0,2,1\n[report]\ndelay_ms = 2500\n", ["48601234567"],
     "Raport prosze", True, stored_report),
    ("phone that does not answer AT", "[fault]\nsilence = AT\n", ["48601234567"], "Hej", False,
     silent_phone),
]
failures = sum(not run_case(*c) for c in cases)
print("%d passed, %d failed" % (len(cases) - failures, failures))
sys.exit(1 if failures else 0)
