#!/usr/bin/env python3
"""Every text the user sees comes by its own number: the host's translation table marks
each text with the number it was asked for ("Tarnik.*=[%d]%s" gives "[1007]Błąd"), and one
host session under Wine sets a profile up in the settings dialog, sends through the phone
emulator with a retry and two delivery reports, and goes through the archive page, its
menu, its message boxes and the profile chooser. A text shown under a wrong number, or
translated where it must not be, reads differently.

usage: translation_numbers_test.py WINDOWS_BIN_DIR NATIVE_BUILD_DIR
"""
import os
import sys
import tempfile

from e2e_send import Outcome
from wine_phone import com_profile, lines_of, phone_on_com, windows_path

bin_dir, native_dir = sys.argv[1], sys.argv[2]

# The page and the chooser by the captions their templates give, marked as translated.
PAGE = "[1052]Komunikacja z telefonem GSM"
CHOOSER = "[1054]Ustawienia"
PHONE = "[submit]\noutcome = cms 42\n[report]\ndelay_ms = 2500\nstatus = 0, 70\n"
UNKNOWN_PORT = 255  # no COM port of that number is ever listed


def expect(condition, what):
    if not condition:
        raise AssertionError(what)


def script(*steps):
    return "; ".join(steps)


def marked(texts, number):
    """Whether every text that is not empty carries the window's number."""
    return all(t == "" or t.startswith("[%d]" % number) for t in texts)


def check_send(lines):
    # The time line after "dostarczona" is the one text shown without a number.
    expect(lines[:8] == [
        "[1004]Parametry... [1005]OK", "[1006]Lączenie... [1005]OK",
        "[1008]Inicjalizacja... [1005]OK", "[1009]Adresat: 48601234567",
        "[1010]Wiadomość 1 z 1 (1 z 2 ogółem)", "[1011]Wysyłam... [1007]Błąd",
        "[1012]Tymczasowy błąd, ponowienie za 5s...", "[1011]Wysyłam... [1005]OK"], lines)
    expect(lines[8] == "[1013]Oczekuję na raport... [1015]dostarczona"
           and lines[9].startswith(" Czas: 20"), lines[8:10])
    expect(lines[10:13] == ["[1009]Adresat: 600123456", "[1010]Wiadomość 1 z 1 (2 z 2 ogółem)",
                            "[1011]Wysyłam... [1005]OK"], lines[10:13])
    expect(lines[13] == "[1013]Oczekuję na raport... [1016]błąd SMSC"
           and lines[14].startswith("[1017] Czas: 20") and lines[15] == "[1018] Kod: 70"
           and lines[16:] == ["[1023]Rozłączenie... [1005]OK"], lines[13:])


def dumps(out):
    """Each dump of the output: (caption, {control id: fields})."""
    blocks = []
    for line in out.splitlines():
        if line.startswith("DIALOG "):
            blocks.append((lines_of(line, "DIALOG")[0]["caption"], {}))
        elif line.startswith("CONTROL ") and blocks:
            control = lines_of(line, "CONTROL")[0]
            blocks[-1][1][int(control["id"])] = control
    return blocks


def check_settings(dialog):
    caption, controls = dialog
    expect(caption.startswith("[1053]"), caption)
    ports = [c for c in controls.values() if c["class"] == "ComboBox" and "item0" in c]
    expect(any(c["item%d" % i] == "[1027]Nieznany (COM %d)/%d" % (UNKNOWN_PORT, UNKNOWN_PORT)
               for c in ports for i in range(int(c["items"]))), ports)
    labels = [c["text"] for c in controls.values() if c["class"] in ("Button", "Static")]
    expect(labels and marked(labels, 1053), labels)


def check_page(out, boxes):
    """The page (1052) with the download dialog (1056) inside, their menu and boxes."""
    windows = lines_of(out, "WINDOW")
    page_own = [w["text"] for w in windows if w["class"] == "Button"]
    expect(page_own and marked(page_own, 1052), page_own)
    # The download dialog: the page's only window of the dialog class, without a caption.
    inner = [w["text"] for w in windows if w["class"] == "#32770"]
    expect(inner == ["[1056]"], inner)
    headers = [w["text"] for w in windows if w["class"] == "Static" and w["text"]]
    expect("[1025]Wiadomości SMS" in headers
           and "[1026]Opcja umożliwia dokonanie archiwizacji wiadomości SMS." in headers, headers)
    columns = [c["title"] for c in lines_of(out, "COLUMN")][:4]
    expect(columns == ["[1039]Nazwa", "[1040]Numer telefonu", "[1041]Data", "[1042]Treść"],
           columns)
    menu = [m["text"] for m in lines_of(out, "MENU-ENTRY") if "text" in m][:3]
    expect(menu == ["[1043]Pobierz z telefonu...", "[1044]Zaznacz wszystko",
                    "[1045]Zapisz zaznaczone do archiwum"], menu)
    no_profile, saved, chooser = boxes
    expect(no_profile[0] == "[1049]Brak profilu" and any(
        c["text"] == "[1048]Aby uzyć tej funkcji musisz miec ustawiony przynajmniej jeden "
        "profil dla tego transportu GSM." for c in no_profile[1].values()), no_profile)
    expect(saved[0] == "[1047]Zapisano"
           and any(c["text"] == "[1046]Operacja ukończona" for c in saved[1].values()), saved)
    caption, controls = chooser
    texts = {c["text"] for c in controls.values()}
    expect(caption == CHOOSER and "[1037]Konfiguracja połaczenia" in texts
           and "[1038]Wybierz profil połączenia, którego chesz użyć." in texts, (caption, texts))
    buttons = [c["text"] for c in controls.values() if c["class"] == "Button"]
    expect(buttons and marked(buttons, 1054), buttons)


def main():
    with tempfile.TemporaryDirectory() as folder:
        table = os.path.join(folder, "marks.txt")
        with open(table, "w", encoding="utf-8") as f:
            f.write("Tarnik.*=[%d]%s\n")
        os.environ["HRX_TRANSLATIONS"] = windows_path(table)
        with phone_on_com(native_dir, PHONE) as phone:
            out, errors, _ = phone.host(bin_dir, "--no-sms", "load", "unload", "log")
            warning = [e["message"] for e in lines_of(out, "LOG-ENTRY")][1:]  # after the notice
            page_alone = ["row-rclick below", "menu-choose 1000", "expect [1049]Brak profilu",
                          "dump", "ok", "expect " + PAGE, "click 1"]
            page = ["layout", "rows", "row-rclick below", "menu-dump", "menu-choose 1002",
                    "expect [1047]Zapisano", "dump", "ok", "expect " + PAGE, "row-rclick below",
                    "menu-choose 1000", "expect " + CHOOSER, "dump", "select 2008 1",
                    "click 1", "wait-text 2009 [1036]Zakończono.", "select 2008 0", "click 1",
                    "expect " + PAGE, "click 1"]
            settings = script("dump", "select 2000 2", "select-data 2001 %d" % phone.port,
                              "check 2003 1", "ok")
            out, errors, _ = phone.host(
                bin_dir, "load", "transports", "menu", "archive-page", script(*page_alone),
                "add-profile", "Telefon", com_profile(UNKNOWN_PORT),
                "add-profile", "Zeta", com_profile(UNKNOWN_PORT, kind=3), "configure", "Telefon",
                settings, "send", "Telefon", "Raport prosze", "48601234567", "600123456",
                "archive-page", script(*page), "unload")
            phone_log = phone.log()
    try:
        expect(out.count("ARCHIVE-PAGE script=done") == 2, "both scripts ran to the end")
        expect(warning == ["[1000]Usiłujesz używać transportu sms (Tarnik), jednak wyłączyłeś "
                           "obsługę SMSów w programie. Wiesz, że to bezsens?"], warning)
        transports = [t["name"] for t in lines_of(out, "TRANSPORT")]
        expect(transports == ["[1001]Transport GSM (BT/Ir/COM)"], transports)
        captions = [m["caption"] for m in lines_of(out, "MENU-ITEM")]
        expect(captions == ["[1002]Archiwizacja SMS-ów"], captions)
        shown = dumps(out)
        check_settings(shown[1])
        check_send(Outcome(out, errors, phone_log, [], 0).lines)
        check_page(out, [shown[0], shown[2], shown[3]])
    except AssertionError as e:
        print("FAIL: %s" % e)
        print(out)
        print("stderr:", errors[-2000:])
        return 1
    print("ok   every text carries its number")
    return 0


sys.exit(main())
