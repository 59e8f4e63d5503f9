#!/usr/bin/env python3
"""The profile settings dialog through the real window messages: tarnik-host opens it with
the plug-in's configure callback and a script plays the user (see `tarnik-host --help`).
The link libraries are test builds that report the devices and ports each case needs. The
cases are tests/data/settings_dialog_cases.json.

usage: settings_dialog_test.py WINDOWS_BIN_DIR FAKE_LINKS_DIR
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

from dialog_templates import differences

HERE = os.path.dirname(os.path.abspath(__file__))
WINE_RUN = os.path.join(HERE, "..", "..", "scripts", "wine-run.sh")
FIELD = re.compile(r'(\w+)=(?:"((?:[^"\\]|\\.)*)"(\S*)|(\S+))')
bin_dir, fakes_dir = sys.argv[1], sys.argv[2]


def fields(line):
    """A line's key=value fields, a quoted text without its quotes ("Port COM"/2 is Port COM/2)."""
    return {k: quoted + after + plain for k, quoted, after, plain in FIELD.findall(line)}


def run(case, common):
    """One configure of a profile: the first dump {id: fields}, the CONFIGURE and PROFILE
    lines' fields, and the first layout's LAYOUT fields with its WINDOW lines' fields."""
    with tempfile.TemporaryDirectory() as folder:
        for name in os.listdir(bin_dir):
            if name.endswith((".exe", ".dll", ".mdl")) and name not in ("linkbt.mdl", "linkcom.mdl"):
                shutil.copy(os.path.join(bin_dir, name), folder)
            if name in ("linkbt.mdl", "linkcom.mdl") and case.get("links") != "none":
                shutil.copy(os.path.join(fakes_dir, name), folder)
        env = dict(os.environ)
        for key, variable in (("ports", "TARNIK_FAKE_COM_PORTS"), ("devices", "TARNIK_FAKE_BT_DEVICES")):
            if key in case:
                env[variable] = common[key] if case[key] is True else case[key]
        data = "Z:" + os.path.join(folder, "data").replace("/", "\\")
        out = subprocess.run(
            [WINE_RUN, os.path.join(folder, "tarnik-host.exe"), "--data", data, "load", "add-profile",
             "P", case["before"], "configure", "P", case["script"], "profiles", "unload"],
            capture_output=True, env=env, timeout=120)
    lines = out.stdout.decode("utf-8", "replace").splitlines()
    dump, dumps, layouts, windows = {}, 0, [], []
    for line in lines:
        dumps += line.startswith("DIALOG ")
        if line.startswith("CONTROL ") and dumps == 1:
            control = fields(line)
            dump[control["id"]] = control
        if line.startswith("LAYOUT "):
            layouts.append(fields(line))
        if line.startswith("WINDOW ") and len(layouts) == 1:
            windows.append(fields(line))
    found = {kind: fields(l) for l in lines for kind in ("CONFIGURE", "PROFILE") if l.startswith(kind + " ")}
    if "CONFIGURE" not in found:
        raise AssertionError("no CONFIGURE line:\n" + "\n".join(lines) + out.stderr.decode())
    return dump, found["CONFIGURE"], found["PROFILE"], (layouts[:1] or [None])[0], windows


def check(case, common):
    dump, configure, profile, layout, windows = run(case, common)
    if "template" in case:
        wrong = differences(case["template"], layout, windows) if layout else ["no layout"]
        assert not wrong, "template %s: %s" % (case["template"], "; ".join(wrong))
    for id, want in case.get("dump", {}).items():
        control = dump.get(id, {})
        items = [control["item%d" % i] for i in range(int(control.get("items", 0)))]
        got = dict(control, items=items, count=len(items))
        wrong = {k: got.get(k) for k, v in want.items() if got.get(k) != v}
        assert not wrong, "control %s: %s, expected %s" % (id, wrong, want)
    got = (configure["written"], configure["bytes"], profile["bytes"])
    assert got == (case["written"], case["record"], case["record"]), "written, record, stored: %s" % (got,)
    assert configure["after"] == "eeeeee", "the dialog wrote past the 13 bytes: " + configure["after"]


common = json.load(open(os.path.join(HERE, "..", "data", "settings_dialog_cases.json"), encoding="utf-8"))
failed = 0
for case in common["cases"]:
    try:
        check(case, common)
        print("ok   " + case["name"])
    except AssertionError as e:
        failed += 1
        print("FAIL %s: %s" % (case["name"], e))
print("%d passed, %d failed" % (len(common["cases"]) - failed, failed))
sys.exit(1 if failed else 0)
