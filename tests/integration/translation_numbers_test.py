#!/usr/bin/env python3
"""Every text the user sees comes by its own number: the host's translation table marks
each text with the number it was asked for ("Tarnik.*=[%d]%s" gives "[1007]Błąd"), and
host sessions under Wine load the plug-in with SMS off, then set a profile up in the
settings dialog, send through the phone emulator with a retry and two delivery reports,
and go through the archive page, its menu, its message boxes and the profile chooser. A
text shown under a wrong number, or translated where it must not be, reads differently
from tests/data/translation_numbers.txt, or breaks the rule that the texts a window takes
from its template carry the window's number.

usage: translation_numbers_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import os
import sys
import tempfile

from wine_phone import (ROOT, com_profile, dumps, expect, fields, like, lines_of,
                        missing_in_order, phone_on_com, windows_path)

bin_dir, native_dir = sys.argv[1], sys.argv[2]
PAGE = "expect [1052]Komunikacja z telefonem GSM"
CHOOSER = "[1054]Ustawienia"
PHONE = "[submit]\noutcome = cms 42\n[report]\ndelay_ms = 2500\nstatus = 0, 70\n"
UNKNOWN_PORT = 255  # no COM port of that number is ever listed


def check(out):
    lines = [(line.split(" ", 1)[0], fields(line)) for line in out.splitlines()]
    with open(os.path.join(ROOT, "tests", "data", "translation_numbers.txt")) as f:
        wanted = [(line.split(" ", 1)[0], fields(line)) for line in f if line[0] not in "#\n"]
    expect(all(want for _, want in wanted), "a line of the data without fields")
    for word in dict.fromkeys(w for w, _ in wanted):
        missing = missing_in_order([f for w, f in lines if w == word],
                                   [f for w, f in wanted if w == word], lambda got, want: all(
                                       any(like(k, key) and like(v, value) for k, v in got.items())
                                       for key, value in want.items()))
        expect(missing is None, "no %s %s in its place" % (word, missing))
    for caption, classes in (("[1053]", ("Button", "Static")), (CHOOSER, ("Button",))):
        controls = next(d for d in dumps(out) if d[0].startswith(caption))[1].values()
        texts = [c["text"] for c in controls if c["class"] in classes and c["text"]]
        expect(texts and all(t.startswith(caption[:6]) for t in texts), texts)
    page = [w["text"] for w in lines_of(out, "WINDOW") if w["class"] == "Button" and w["text"]]
    expect(page and all(t.startswith("[1052]") for t in page), page)


with tempfile.TemporaryDirectory() as folder:
    with open(os.path.join(folder, "marks.txt"), "w", encoding="utf-8") as f:
        f.write("Tarnik.*=[%d]%s\n")
    os.environ["HRX_TRANSLATIONS"] = windows_path(os.path.join(folder, "marks.txt"))
    with phone_on_com(native_dir, PHONE) as phone:
        off, errors, _ = phone.host(bin_dir, "--no-sms", "load", "unload", "log")
        alone = ["row-rclick below", "menu-choose 1000", "expect [1049]Brak profilu", "dump",
                 "ok", PAGE, "click 1"]
        page = ["layout", "rows", "row-rclick below", "menu-dump", "menu-choose 1002",
                "expect [1047]Zapisano", "dump", "ok", PAGE, "row-rclick below",
                "menu-choose 1000", "expect " + CHOOSER, "dump", "select 2008 1", "click 1",
                "wait-text 2009 [1036]Zakończono.", "select 2008 0", "click 1", PAGE, "click 1"]
        settings = ["dump", "select 2000 2", "select-data 2001 %d" % phone.port, "check 2003 1",
                    "ok"]
        out, errors, _ = phone.host(
            bin_dir, "load", "transports", "menu", "archive-page", "; ".join(alone),
            "add-profile", "Telefon", com_profile(UNKNOWN_PORT),
            "add-profile", "Zeta", com_profile(UNKNOWN_PORT, kind=3), "configure", "Telefon",
            "; ".join(settings), "send", "Telefon", "Raport prosze", "48601234567", "600123456",
            "archive-page", "; ".join(page), "unload")
try:
    check(off + out)
except AssertionError as e:
    print("FAIL: %s" % e)
    print(out, "\nstderr:", errors[-2000:])
    sys.exit(1)
print("ok   every text carries its number")
