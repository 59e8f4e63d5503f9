#!/usr/bin/env python3
"""Downloading end to end under Wine against the phone of phone-stored.conf, in one host
session: the test host uses the plug-in's menu entry, and scripts play the user on the
archive page, its context menu, the profile chooser and the message boxes, first with
profiles of other transports alone, then with two of ours; the host unloads the plug-in
with the page open. Checked is what the host gets: the menu, the boxes and their icons,
the chooser's profiles and its controls while it downloads, the templates' texts and
places (tests/data/dialog_templates.json), the page's layout, the list's columns, that
the list draws after it was filled, the rows and the archive's records field by field
(the rows and records expected in tests/data/stored_messages.json). The worker's dialogues with
phones that refuse, stay silent or drop the line are its unit tests' and line_faults'.

usage: download_e2e_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import os
import sys
import time

from wine_phone import HERE, blocks, com_profile, data_file, dumps, expect, lines_of, phone_on_com

sys.path.insert(0, os.path.join(HERE, "..", "ui"))
from dialog_templates import differences  # noqa: E402

bin_dir, native_dir = sys.argv[1], sys.argv[2]
PAGE = "expect Komunikacja z telefonem GSM"
OTHER_TRANSPORT = "0F0E0D0C-0B0A-0908-0706-050403020100"
OUR_TRANSPORT = "3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35"
FIRST_TEXT = "Spotkanie jutro o 10:00 w biurze, sala 2."
COLUMNS = [("Nazwa", "120"), ("Numer telefonu", "130"), ("Data", "140"), ("Treść", "190")]
# Each byte the phone sends waits so long, so that the chooser is seen while it downloads.
SLOW_PHONE = "byte_delay_us = 300\n"
LISTING = "Pobieram listę z urządzenia..."
# The page with no profile of this transport (one differs from ours in letter case alone):
# the full menu, the box instead of the chooser, saving an empty list shows only "Zapisano".
ALONE = ["row-rclick below", "menu-dump", "menu-choose 1000", "expect Brak profilu", "dump",
         "ok", PAGE, "rows", "row-rclick below", "menu-choose 1002", "expect Zapisano", "dump",
         "ok", PAGE, "click 1"]
# The chooser: this transport's profiles only, sorted, the first selected; Zeta (kind 3)
# fails at once and the chooser comes back; Alfa downloads, its controls locked meanwhile,
# and the list draws; a second download replaces the first one's rows. The resize rules, 100 pixels
# taller; then room below the rows, where a click shows no text. Everything saved, then row
# 0 alone. Esc hides the page and the menu entry shows it again, contents kept, as does
# the entry used while it is shown; after "Zamknij" the entry gives a fresh page, open
# when the host unloads the plug-in.
WHOLE = ["row-rclick below", "menu-choose 1000", "expect Ustawienia", "dump", "layout",
         "select 2008 1", "click 1", "wait-text 2009 Zakończono.", "wait 500", "dump",
         "select 2008 0", "click 1", "wait-text 2009 " + LISTING, "dump", PAGE, "rows",
         "paint 2007", "row-rclick 0",
         "menu-choose 1000", "expect Ustawienia", "click 1", PAGE, "rows", "paint 2007",
         "layout", "grow 0 100", "layout", "grow 300 200",
         "row-click 0", "wait-text 2011 " + FIRST_TEXT, "row-click below", "wait 500",
         "key 2007 down", "wait 500", "layout", "row-rclick 0", "menu-choose 1001", "wait 300",
         "row-rclick 0", "menu-choose 1002", "expect Zapisano", "ok", PAGE, "select-rows 0",
         "row-rclick 0", "menu-choose 1002", "expect Zapisano", "ok", PAGE, "esc", "wait 500",
         "menu", PAGE, "menu", "rows", "click 1", "wait 500", "menu", PAGE, "rows"]


def ints(text):
    return tuple(int(v) for v in text.split(","))


def local_epoch(stamp):
    """Seconds since 1970 of the time stamp's fields read as local time, as the plug-in's
    decoder reads them (the zone the centre wrote is not applied)."""
    return int(time.mktime(tuple(stamp) + (0, 0, -1)))


def check(out, started, ended):
    for _, columns in blocks(out, "LIST", "COLUMN"):
        got = [(c["title"], c["width"], c["format"]) for c in columns]
        expect(got == [c + ("0",) for c in COLUMNS], "columns %r" % got)
    expect(out.count("ARCHIVE-PAGE script=done") == 2, "both scripts ran to their end")
    expect("UNLOAD -> 0 bound=no windows=0" in out and "FREE module=" in out,
           "the page's window goes with the module")
    expect(len(lines_of(out, "MENU-INVOKE")) == 5, "five uses of the menu entry")
    menu = [(m.get("id"), m.get("text"), m.get("enabled", "1"))
            for m in lines_of(out, "MENU-ENTRY")]
    expect(menu == [("1000", "Pobierz z telefonu...", "1"), (None, None, "1"),
                    ("1001", "Zaznacz wszystko", "1"), (None, None, "1"),
                    ("1002", "Zapisz zaznaczone do archiwum", "1")], menu)

    no_profile, saved, chooser, failed, running = dumps(out)
    texts = lambda dump: [c["text"] for c in dump[1].values()]  # noqa: E731
    icons = lambda dump: [c["icon"] for c in dump[1].values() if "icon" in c]  # noqa: E731
    expect(no_profile[0] == "Brak profilu" and "Aby uzyć tej funkcji musisz miec ustawiony "
           "przynajmniej jeden profil dla tego transportu GSM." in texts(no_profile)
           and icons(no_profile) == ["error"], no_profile)
    expect(saved[0] == "Zapisano" and "Operacja ukończona" in texts(saved)
           and icons(saved) == ["information"], saved)
    profiles = chooser[1][2008]
    expect([profiles[k] for k in ("items", "selected", "item0", "item1")] ==
           ["2", "0", "Alfa/1", "Zeta/0"], profiles)
    expect([failed[1][i]["enabled"] for i in (1, 2, 2008, 2009)] == ["1"] * 4
           and failed[1][2009]["text"] == "Zakończono.", failed)
    expect([running[1][i]["enabled"] for i in (1, 2, 2008)] == ["0"] * 3
           and running[1][2009]["text"] == LISTING, "while it downloads: %r" % (running,))
    paints = [p["drawn"] for p in lines_of(out, "PAINT")]
    expect(paints == ["1", "1"], "the list draws after each fill: %r" % paints)

    expected = data_file("stored_messages.json")
    shown = [[(r["name"], r["number"], r["date"], r["text"]) for r in rows]
             for _, rows in blocks(out, "LIST", "ROW")]
    want = [("", r["number"], r["date"], r["text"]) for r in expected]
    expect(shown == [[], want, want, want, []], "rows: nothing before a profile, the phone's, "
           "the same after a second download and after the page was hidden and shown, none on "
           "a fresh page: %r" % shown)

    # Pixels follow the fonts Wine finds: the page's first size is its template's 316 x 240
    # dialog units in this machine's base units, and the rules are stated as changes.
    found = blocks(out, "LAYOUT", "WINDOW")
    chooser_layout, page_layout = found[0], found[1]
    for number, (layout, windows) in (("2004", chooser_layout), ("2002", page_layout),
                                      ("2003", page_layout)):
        wrong = differences(number, layout, windows)
        expect(not wrong, "template %s: %s" % (number, "; ".join(wrong)))
    layouts = [(ints(line["client"]), ints(line["units"]),
                {int(w["id"]): (ints(w["rect"]), w["text"]) for w in reversed(ws)})
               for line, ws in found[1:]]
    ((w0, h0), _, before), ((w1, h1), _, after) = layouts[:2]
    expect((w1, h1) == (w0, h0 + 100), ((w0, h0), (w1, h1)))
    (list0, _), (list1, _) = before[2007], after[2007]
    (text0, _), (text1, _) = before[2011], after[2011]
    expect(list1 == list0[:3] + (list0[3] + 100,), (list0, list1))
    expect(text1 == (text0[0], text0[1] + 100, list1[2], 120) and text0[3] == 120
           and text1[1] - list1[1] == list1[3] + 10, "the text box 10 pixels below the list")
    page, close = after[0][0], after[1][0]  # id 0: the download page, the first child
    expect(close == (page[0], h1 - 39, 80, 26), (close, page))
    expect(layouts[2][2][2011][1] == FIRST_TEXT, "the text box keeps the clicked row's text")

    records = lines_of(out, "ARCHIVE-RECORD")
    expect(len(records) == len(expected) + 1, "%d records" % len(records))
    for record, row in zip(records, expected + expected[:1]):
        a = row["archive"]
        got = [record[k] for k in ("size", "reserved4", "reserved36", "reserved", "text", "meta",
                                   "number", "direction")]
        expect(got == ["56", "0", "0", "0", row["text"], a["meta"], a["number"],
                       str(a["direction"])], (got, row))
        moment = int(record["time"])  # an outgoing message is filed when it is saved
        expect(started <= moment <= ended if a["stamp"] is None
               else moment == local_epoch(a["stamp"]), (record["time"], a["stamp"]))


with open(HERE + "/phone-stored.conf") as f:
    config = SLOW_PHONE + f.read()
with phone_on_com(native_dir, config) as phone:
    started = int(time.time())
    out, errors, seconds = phone.host(
        bin_dir, "load", "add-profile", "Obcy", com_profile(phone.port), OTHER_TRANSPORT,
        "add-profile", "Prawie", com_profile(phone.port), OUR_TRANSPORT.lower(),
        "archive-page", "; ".join(ALONE), "add-profile", "Zeta", com_profile(phone.port, kind=3),
        "add-profile", "Alfa", com_profile(phone.port), "archive-page", "; ".join(WHOLE),
        "archive", "unload", "free", "info")
    try:
        check(out, started, int(time.time()) + 1)
    except AssertionError as e:
        print("FAIL: %s" % e)
        print("\n".join(out.splitlines()[-40:]), "\nstderr:", errors[-1500:])
        print("phone:", "\n".join(phone.log()[-12:]))
        sys.exit(1)
print("ok   the archive page end to end (%.1f s)" % seconds)
