#!/usr/bin/env python3
"""The profile settings dialog through the real window messages: tarnik-host opens it with
the plug-in's configure callback and a script plays the user (see `tarnik-host --help`).
The link libraries are test builds that report the devices and ports each case needs. The
cases are tests/data/settings_dialog_cases.json.

usage: settings_dialog_test.py WINDOWS_BIN_DIR FAKE_LINKS_DIR
"""
import os
import shutil
import sys
import tempfile

from dialog_templates import differences

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "integration"))
from wine_phone import blocks, data_file, dumps, lines_of, run_host  # noqa: E402

bin_dir, fakes_dir = sys.argv[1], sys.argv[2]


def run(case, common):
    """One configure of a profile: the first dump {id: fields}, the CONFIGURE and PROFILE
    lines' fields, and the first layout's LAYOUT fields with its WINDOW lines' fields."""
    with tempfile.TemporaryDirectory() as folder:
        for name in os.listdir(bin_dir):
            fake = name in ("linkbt.mdl", "linkcom.mdl")
            if name.endswith((".exe", ".dll", ".mdl")) and not fake:
                shutil.copy(os.path.join(bin_dir, name), folder)
            if fake and case.get("links") != "none":
                shutil.copy(os.path.join(fakes_dir, name), folder)
        env = dict(os.environ)
        for key, variable in (("ports", "TARNIK_FAKE_COM_PORTS"),
                              ("devices", "TARNIK_FAKE_BT_DEVICES")):
            if key in case:
                env[variable] = common[key] if case[key] is True else case[key]
        out, errors, _ = run_host(folder, os.path.join(folder, "data"), "load", "add-profile", "P",
                                  case["before"], "configure", "P", case["script"], "profiles",
                                  "unload", timeout=120, env=env)
    configure, profile = lines_of(out, "CONFIGURE"), lines_of(out, "PROFILE")
    if not configure:
        raise AssertionError("no CONFIGURE line:\n" + out + errors)
    first = next(iter(dumps(out)), (None, {}))[1]
    layout, windows = next(iter(blocks(out, "LAYOUT", "WINDOW")), (None, []))
    return ({str(id): control for id, control in first.items()}, configure[-1], profile[-1],
            layout, windows)


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
    assert got == (case["written"], case["record"], case["record"]), \
        "written, record, stored: %s" % (got,)
    assert configure["after"] == "eeeeee", \
        "the dialog wrote past the 13 bytes: " + configure["after"]


common = data_file("settings_dialog_cases.json")
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
