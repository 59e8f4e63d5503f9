#!/usr/bin/env python3
"""Downloading end to end under Wine against the phone emulator: the test host uses the
plug-in's menu entry, and a script plays the user on the archive page, its context menu,
the profile chooser and the message boxes. The archive's records are checked field by field.

usage: download_e2e_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR [CASE-NAME-PART]
"""
import os
import sys
import time

import stored_messages
from wine_phone import com_profile, lines_of, phone_on_com

bin_dir, native_dir = sys.argv[1], sys.argv[2]
only = sys.argv[3] if len(sys.argv) > 3 else ""
HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = "Komunikacja z telefonem GSM"
CHOOSER = "Ustawienia"
OTHER_TRANSPORT = "0F0E0D0C-0B0A-0908-0706-050403020100"
OUR_TRANSPORT = "3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35"
FIRST_TEXT = "Spotkanie jutro o 10:00 w biurze, sala 2."


def config(name):
    """A phone of the test: phone-stored.conf, or a variant's behaviour before its messages."""
    text = ""
    for part in [name, "phone-stored.conf"] if name != "phone-stored.conf" else [name]:
        with open(os.path.join(HERE, part)) as f:
            text += f.read() + "\n"
    return text


def script(*steps):
    return "; ".join(steps)


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def rows_of(out):
    """Each `rows` step of the output: its ROW lines."""
    blocks, current = [], None
    for line in out.splitlines():
        if line.startswith("LIST "):
            current = []
            blocks.append(current)
        elif line.startswith("ROW ") and current is not None:
            current.append(lines_of(line, "ROW")[0])
    return blocks


def windows_of(out):
    """Each `layout` step of the output: client size, dialog base units and
    {id: (rect, text)} of its windows."""
    blocks = []
    for line in out.splitlines():
        if line.startswith("LAYOUT "):
            layout = lines_of(line, "LAYOUT")[0]
            blocks.append(tuple(tuple(int(v) for v in layout[k].split(","))
                                for k in ("client", "units")) + ({},))
        elif line.startswith("WINDOW ") and blocks:
            w = lines_of(line, "WINDOW")[0]
            blocks[-1][2].setdefault(int(w["id"]), (tuple(int(v) for v in w["rect"].split(",")),
                                                    w["text"]))
    return blocks


def dialog_units(units, x, y):
    """Dialog units in pixels as Windows maps them (MulDiv rounds halves away from 0)."""
    return (x * units[0] * 2 + 4) // 8, (y * units[1] * 2 + 8) // 16


def check_rows(shown, expected):
    expect(len(shown) == len(expected), "rows %d, expected %d" % (len(shown), len(expected)))
    for i, (row, want) in enumerate(zip(shown, expected)):
        got = (row["name"], row["number"], row["date"], row["text"])
        expect(got == ("", want["number"], want["date"], want["text"]),
               "row %d: %r, expected %r" % (i, got, want))


def check_record(record, want, saved_between):
    expect(record["size"] == "56" and record["reserved4"] == "0" and record["reserved36"] == "0"
           and record["reserved"] == "0", record)
    for key in ("text", "meta", "number"):
        expect(record[key] == want[key], "%s %r, expected %r" % (key, record[key], want[key]))
    expect(int(record["direction"]) == want["direction"], record)
    if want["time"] is None:  # an outgoing message is filed when it is saved
        expect(saved_between[0] <= int(record["time"]) <= saved_between[1], record)
    else:
        expect(int(record["time"]) == want["time"], "time %s, expected %d" % (record["time"], want["time"]))


def download_steps():
    return ["row-rclick below", "menu-choose 1000", "expect " + CHOOSER, "click 1"]


def whole_download(phone):
    """Every user-interface case of the page on one phone, in one host session."""
    expected = stored_messages.expected_rows()
    steps = [
        # An empty list: the full menu; saving shows only "Zapisano".
        "layout", "row-rclick below", "menu-dump", "menu-choose 1002", "expect Zapisano", "dump",
        "ok", "expect " + PAGE,
        # The chooser: this transport's profiles only, sorted, the first selected; Zeta
        # (kind 3) fails at once and the chooser comes back; Alfa downloads.
        "row-rclick below", "menu-choose 1000", "expect " + CHOOSER, "dump", "select 2008 1",
        "click 1", "wait-text 2009 Zakończono.", "wait 500", "dump", "select 2008 0", "click 1",
        "expect " + PAGE, "rows",
        # The resize rules, 100 pixels taller; then room below the rows for a click there.
        "grow 0 100", "layout", "grow 300 200",
        # Only a click on a row shows its text.
        "row-click 0", "wait-text 2011 " + FIRST_TEXT, "row-click below", "wait 500",
        "key 2007 down", "wait 500", "layout",
        # Select everything and save; then row 0 alone once more.
        "row-rclick 0", "menu-choose 1001", "wait 300", "row-rclick 0", "menu-choose 1002",
        "expect Zapisano", "ok", "expect " + PAGE, "select-rows 0", "row-rclick 0",
        "menu-choose 1002", "expect Zapisano", "ok", "expect " + PAGE,
        # Esc hides the page and the menu entry shows it again, contents kept; so does the
        # entry used while it is shown. After "Zamknij" the entry gives a fresh page.
        "esc", "wait 500", "menu", "expect " + PAGE, "menu", "rows", "click 1", "wait 500", "menu",
        "expect " + PAGE, "rows", "click 1",
    ]
    profiles = ["add-profile", "Zeta", com_profile(phone.port, kind=3),
                "add-profile", "Obcy", com_profile(phone.port), OTHER_TRANSPORT,
                "add-profile", "Prawie", com_profile(phone.port), OUR_TRANSPORT.lower(),
                "add-profile", "Alfa", com_profile(phone.port)]
    started = int(time.time())
    out, errors, seconds = phone.host(bin_dir, "load", *profiles, "archive-page", script(*steps),
                                      "archive", "unload")
    ended = int(time.time()) + 1
    expect("ARCHIVE-PAGE script=done" in out, errors[-1500:])

    menu = lines_of(out, "MENU-ENTRY")
    expect([(m.get("id"), m.get("text"), m.get("separator")) for m in menu] ==
           [("1000", "Pobierz z telefonu...", None), (None, None, "1"),
            ("1001", "Zaznacz wszystko", None), (None, None, "1"),
            ("1002", "Zapisz zaznaczone do archiwum", None)], menu)
    expect(all(m.get("enabled", "1") == "1" for m in menu), "every item enabled")

    dialogs = lines_of(out, "DIALOG")
    controls = lines_of(out, "CONTROL")
    expect(dialogs[0]["caption"] == "Zapisano", dialogs)
    expect(any(c["text"] == "Operacja ukończona" for c in controls), "the saved box's text")
    chooser = [c for c in controls if c["id"] == "2008"]
    expect(chooser[0]["items"] == "2" and chooser[0]["selected"] == "0"
           and chooser[0]["item0"] == "Alfa/1" and chooser[0]["item1"] == "Zeta/0", chooser[0])
    after_failure = [c for c in controls[-9:] if c["id"] in ("1", "2", "2008", "2009")]
    expect([c["enabled"] for c in after_failure] == ["1", "1", "1", "1"]
           and any(c["text"] == "Zakończono." for c in after_failure), after_failure)

    shown = rows_of(out)
    expect(len(shown) == 3, "three row dumps")
    check_rows(shown[0], expected)
    check_rows(shown[1], expected)  # hidden and shown again, and the entry used twice
    expect(shown[2] == [], "a fresh page after Zamknij has an empty list")
    expect(len(lines_of(out, "MENU-INVOKE")) == 4, "four uses of the menu entry")

    # Pixels follow the fonts Wine finds: the page's first size is its template's 316 x 240
    # dialog units in this machine's base units, and the rules are stated as changes.
    layouts = windows_of(out)
    (w0, h0), units, before = layouts[0]
    (w1, h1), _, after = layouts[1]
    expect((w0, h0) == dialog_units(units, 316, 240), ((w0, h0), units))
    expect((w1, h1) == (w0, h0 + 100), ((w0, h0), (w1, h1)))
    list0, list1 = before[2007][0], after[2007][0]
    text0, text1 = before[2011][0], after[2011][0]
    expect(list1[3] == list0[3] + 100 and list1[:3] == list0[:3], (list0, list1))
    expect(text1[1] == text0[1] + 100 and text1[3] == text0[3] == 120 and text1[2] == list1[2],
           (text0, text1))
    expect(text1[1] - list1[1] == list1[3] + 10, "the text box 10 pixels below the list")
    close, page = after[1][0], after[0][0]  # id 0: the download page, the first child
    expect(close == (page[0], h1 - 39, 80, 26), (close, page))
    expect(layouts[2][2][2011][1] == FIRST_TEXT, "the text box keeps the clicked row's text")

    records = lines_of(out, "ARCHIVE-RECORD")
    wanted = [r["archive"] for r in expected] + [expected[0]["archive"]]
    expect(len(records) == len(wanted), "%d records, expected %d" % (len(records), len(wanted)))
    for record, want in zip(records, wanted):
        check_record(record, want, (started, ended))
    return seconds


def disconnect(phone):
    """The link drops halfway through the listing: the half that came gives no row."""
    steps = download_steps() + ["expect " + PAGE, "rows", "click 1"]
    out, errors, seconds = phone.host(bin_dir, "load", "add-profile", "Alfa",
                                      com_profile(phone.port), "archive-page", script(*steps),
                                      "unload")
    expect("ARCHIVE-PAGE script=done" in out, errors[-1500:])
    check_rows(rows_of(out)[-1], [])
    sent = [l.split(" ", 1)[1] for l in phone.log() if l.startswith("RX ")]
    expect([c for c in sent if c.startswith("AT+CPMS") or c == "AT+CMGL=4"] ==
           ['AT+CPMS="MT"', "AT+CMGL=4"], sent)
    return seconds


def no_profile(phone):
    """Only profiles of other transports (one differs from ours in letter case alone)."""
    steps = ["row-rclick below", "menu-choose 1000", "expect Brak profilu", "dump", "ok",
             "expect " + PAGE, "rows", "click 1"]
    out, errors, seconds = phone.host(
        bin_dir, "load", "add-profile", "Obcy", com_profile(phone.port), OTHER_TRANSPORT,
        "add-profile", "Prawie", com_profile(phone.port), OUR_TRANSPORT.lower(),
        "archive-page", script(*steps), "unload")
    expect("ARCHIVE-PAGE script=done" in out, errors[-1500:])
    texts = [c["text"] for c in lines_of(out, "CONTROL")]
    expect("Aby uzyć tej funkcji musisz miec ustawiony przynajmniej jeden profil dla tego "
           "transportu GSM." in texts, texts)
    expect(rows_of(out)[-1] == [] and not any(l.startswith("RX ") for l in phone.log()),
           "nothing downloaded")
    return seconds


def open_at_unload(phone):
    """The host unloads the plug-in while the page is open with a downloaded list: the
    page's window must be gone, since its code leaves with the module."""
    steps = download_steps() + ["expect " + PAGE, "rows"]
    out, errors, seconds = phone.host(bin_dir, "load", "add-profile", "Alfa",
                                      com_profile(phone.port), "archive-page", script(*steps),
                                      "unload", "free", "info")
    expect("UNLOAD -> 0 bound=no windows=0" in out and "FREE module=" in out,
           out[-800:] + errors[-800:])
    check_rows(rows_of(out)[-1], stored_messages.expected_rows())
    return seconds


# The worker's dialogues with phones that refuse or stay silent are its unit tests'; here
# only what the real port and the windows add.
CASES = [
    ("the whole page", "phone-stored.conf", whole_download),
    ("page open at unload", "phone-stored.conf", open_at_unload),
    ("no profile of this transport", "phone-stored.conf", no_profile),
    ("disconnect while listing", "phone-stored-disconnect.conf", disconnect),
]

failed = 0
for name, conf, case in CASES:
    if only not in name:
        continue
    with phone_on_com(native_dir, config(conf)) as phone:
        try:
            seconds = case(phone)
            print("ok   %s (%.1f s)" % (name, seconds))
        except AssertionError as e:
            failed += 1
            print("FAIL %s: %s" % (name, e))
            print("phone:", "\n".join(phone.log()[-12:]))
sys.exit(1 if failed else 0)
