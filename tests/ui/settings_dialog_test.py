#!/usr/bin/env python3
"""The profile settings dialog through the real window messages: tarnik-host opens it with
the plug-in's configure callback and a script plays the user (see `tarnik-host --help`).
The link libraries are test builds that report the devices and ports each case needs.

usage: settings_dialog_test.py WINDOWS_BIN_DIR FAKE_LINKS_DIR
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile


def windows_path(path):
    """The path as Wine's Z: drive shows the root, without starting a Wine program."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


HERE = os.path.dirname(os.path.abspath(__file__))
WINE_RUN = os.path.join(HERE, "..", "..", "scripts", "wine-run.sh")
bin_dir, fakes_dir = sys.argv[1], sys.argv[2]

FIELD = re.compile(r'(\w+)=("(?:[^"\\]|\\.)*"\S*|\S+)')


def parse_dump(lines):
    """The last DIALOG dump before each CONFIGURE: {id: {field: value}} per dump."""
    dumps, current = [], None
    for line in lines:
        if line.startswith("DIALOG "):
            current = {}
            dumps.append(current)
        elif line.startswith("CONTROL ") and current is not None:
            fields = {k: v.strip('"') if v.startswith('"') else v for k, v in FIELD.findall(line)}
            current[int(fields["id"])] = fields
    return dumps


def items(control):
    n = int(control.get("items", 0))
    return [(control["item%d" % i].rsplit("/", 1)[0].strip('"'), int(control["item%d" % i].rsplit("/", 1)[1]))
            for i in range(n)]


def run(record, script, links="fake", env=None):
    """Runs one configure of a profile with `record` (hex); returns (dumps, written, bytes)."""
    with tempfile.TemporaryDirectory() as folder:
        for name in os.listdir(bin_dir):
            if name.endswith((".exe", ".dll", ".mdl")):
                shutil.copy(os.path.join(bin_dir, name), folder)
        for lib in ("linkbt.mdl", "linkcom.mdl"):
            os.remove(os.path.join(folder, lib))
            if links == "fake":
                shutil.copy(os.path.join(fakes_dir, lib), folder)
        environment = dict(os.environ, **(env or {}))
        data = windows_path(os.path.join(folder, "data"))
        out = subprocess.run(
            [WINE_RUN, os.path.join(folder, "tarnik-host.exe"), "--data", data, "load",
             "add-profile", "P", record, "configure", "P", script, "profiles", "unload"],
            capture_output=True, env=environment, timeout=120)
    lines = out.stdout.decode("utf-8", "replace").splitlines()
    configure = [l for l in lines if l.startswith("CONFIGURE")]
    if not configure:
        raise AssertionError("no CONFIGURE line:\n" + "\n".join(lines) + out.stderr.decode())
    written = configure[0].split("written=")[1].split()[0]
    record_after = configure[0].split("bytes=")[1].split()[0]
    after = configure[0].split("after=")[1].split()[0]
    assert after == "eeeeee", "the dialog wrote past the 13 bytes: " + after
    stored = [l for l in lines if l.startswith("PROFILE ")][0].split("bytes=")[1].split()[0]
    return parse_dump(lines), written, record_after, stored


def enabled(dump, *ids):
    return tuple(dump[i]["enabled"] == "1" for i in ids)


PORTS_1_3 = {"TARNIK_FAKE_COM_PORTS": "1=COM1;3=COM3"}
DEVICES = {"TARNIK_FAKE_BT_DEVICES": "0011223344556677=Telefon A;8877665544332211=Telefon B"}
ZERO = "00" * 13


def case_all_zero():
    dumps, written, record, stored = run(ZERO, "dump; ok", env=PORTS_1_3)
    d = dumps[0]
    assert d[2000]["selected"] == "0" and d[2000]["text"] == "Bluetooth", d[2000]
    assert enabled(d, 2002, 2001, 2012) == (True, False, False), enabled(d, 2002, 2001, 2012)
    assert d[2001]["selected"] == "-1" and d[2002]["selected"] == "-1"
    assert d[2003]["checked"] == "0" and d[2004]["checked"] == "0"
    assert [i[0] for i in items(d[2000])] == ["Bluetooth", "IrDA", "Port COM"]
    assert written == "13" and record == ZERO and stored == ZERO, (written, record, stored)


def case_unknown_stored_port():
    dumps, written, record, _ = run("0205" + "00" * 11, "dump; ok", env=PORTS_1_3)
    d = dumps[0]
    assert items(d[2001]) == [("COM1 (COM 1)", 1), ("COM3 (COM 3)", 3), ("Nieznany (COM 5)", 5)], items(d[2001])
    assert d[2001]["selected"] == "2"
    assert enabled(d, 2002, 2001, 2012) == (False, True, True)
    assert record == "0205" + "00" * 11


def case_port_range():
    dumps, _, record, _ = run("0205" + "00" * 11, "select 2001 0; click 2012; dump; ok", env=PORTS_1_3)
    d = dumps[0]
    assert items(d[2001]) == [("COM (COM %d)" % n, n) for n in range(1, 17)], items(d[2001])
    assert d[2001]["selected"] == "4", "the stored port, not the user's earlier choice"
    assert record[:4] == "0205"


def case_port_range_above_16():
    dumps, _, record, _ = run("0214" + "00" * 11, "click 2012; dump; ok", env=PORTS_1_3)
    d = dumps[0]
    assert len(items(d[2001])) == 17 and items(d[2001])[16] == ("Nieznany (COM 20)", 20)
    assert d[2001]["selected"] == "16" and record[:4] == "0214"


def case_irda_keeps_device_and_port():
    script = "select 2002 1; select 2001 1; select 2000 1; dump; ok"
    dumps, _, record, _ = run("0201" + "00" * 11, script, env=dict(PORTS_1_3, **DEVICES))
    assert enabled(dumps[0], 2002, 2001, 2012) == (False, False, False)
    # IrDA, port 3, the second device's address, little-endian.
    assert record == "0103" + "1122334455667788" + "000000", record


def case_stored_kind_3():
    dumps, _, record, _ = run("0300" + "00" * 11, "dump; ok", env=PORTS_1_3)
    d = dumps[0]
    assert d[2000]["selected"] == "-1" and enabled(d, 2002, 2001, 2012) == (False, False, False)
    assert record[:2] == "ff", "no kind selected stores 255"


def case_cancel_esc_close():
    for step in ("cancel", "esc", "close"):
        _, written, record, stored = run("0201" + "00" * 10 + "a5", "select 2000 2; check 2003 1; " + step,
                                         env=PORTS_1_3)
        assert written == "untouched" and record == "0201" + "00" * 10 + "a5", (step, written, record)
        assert stored == record, step


def case_reserved_and_checks():
    _, written, record, _ = run("0201" + "00" * 10 + "a5", "check 2003 1; check 2004 1; ok", env=PORTS_1_3)
    assert written == "13" and record == "0201" + "00" * 8 + "0101a5", record


def case_libraries_missing():
    dumps, _, record, _ = run("0205" + "00" * 11, "dump; ok", links="none")
    d = dumps[0]
    assert items(d[2001]) == [("Nieznany (COM 5)", 5)] and d[2001]["selected"] == "0"
    assert items(d[2002]) == [] and record[:4] == "0205"


def case_bluetooth_device():
    found, _, record, _ = run("00" * 2 + "1122334455667788" + "000000", "dump; ok", env=DEVICES)
    assert found[0][2002]["selected"] == "1", found[0][2002]
    assert [i[0] for i in items(found[0][2002])] == ["Telefon A", "Telefon B"]
    missing, _, record2, _ = run("00" * 2 + "0102030405060708" + "000000", "dump; ok", env=DEVICES)
    assert missing[0][2002]["selected"] == "-1"
    assert record2 == "00" * 2 + "0102030405060708" + "000000", "OK keeps the stored address"


def case_bad_input():
    dumps, written, record, _ = run("ff" * 13, "dump; ok", env=PORTS_1_3)
    assert dumps[0][2000]["selected"] == "-1" and items(dumps[0][2001])[-1] == ("Nieznany (COM 255)", 255)
    # Unusable kind, unknown port and device are kept; the options become 0 or 1.
    assert written == "13" and record == "ff" * 10 + "0101ff", record
    many = {"TARNIK_FAKE_COM_PORTS": "many:300:1000"}
    dumps, _, record, _ = run("0200" + "00" * 11, "select-data 2001 255; dump; ok", env=many)
    assert int(dumps[0][2001]["items"]) == 255, "a port the record's byte cannot hold is left out"
    assert record[:4] == "02ff", record


cases = [v for k, v in sorted(globals().items()) if k.startswith("case_")]
failed = 0
for case in cases:
    try:
        case()
        print("ok   " + case.__name__)
    except AssertionError as e:
        failed += 1
        print("FAIL %s: %s" % (case.__name__, e))
print("%d passed, %d failed" % (len(cases) - failed, failed))
sys.exit(1 if failed else 0)
