#!/usr/bin/env python3
"""Runs tarnik-host under Wine against the fake plug-in and checks its output and trace.

usage: test_host_cli.py WINE TARNIK-HOST FAKE-PLUGIN WORK-DIR

Four Wine starts: a full session (load, services, menu callback, unload, free), a second
session on the same data folder without the SMS plug-in, a bad command line, and --help.
"""
import os
import re
import shutil
import subprocess
import sys

TRANSPORT = "FAKE-0000-TRANSPORT"
DEFAULT_TRANSPORT = "3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35"
ALFA = "0003112233445566778801007f"
BETA = "0203112233445566778801017e"
SMS_TEXT = r'"Zażółć gęślą jaźń\n\"cytat\" \\ koniec"'
SMS_META = r'"smsc=\"48601000310\",report=\"0\",mti=\"0x0000\""'

failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL " + message)


def windows_path(path):
    """Wine's Z: drive is the Unix root."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def run(wine, host, args, env_extra=None):
    env = dict(os.environ)
    env.update(env_extra or {})
    result = subprocess.run([wine, host] + args, capture_output=True, env=env, timeout=60)
    return (result.returncode, result.stdout.decode("utf-8"),
            result.stderr.decode("utf-8", "replace"))


def expect_in_order(output, expected, what, values=None):
    """Each expected line must match a whole output line, after the previous match.

    {ADDR} stands for any 0x address, {NAME} for a value given in `values`."""
    lines = output.splitlines()
    position = 0
    for pattern in expected:
        regex = re.escape(pattern).replace(re.escape("{ADDR}"), "0x[0-9a-f]+")
        for name, value in (values or {}).items():
            regex = regex.replace(re.escape("{" + name + "}"), re.escape(value))
        for index in range(position, len(lines)):
            if re.fullmatch(regex, lines[index]):
                position = index + 1
                break
        else:
            check(False, f"{what}: no line (in order) matching: {pattern}")
            return


def session(wine, host, plugin, work):
    data = os.path.join(work, "data")
    translations = os.path.join(work, "translations.txt")
    with open(translations, "w", encoding="utf-8") as out:
        out.write("Tarnik.1001=Transport X\n")
    code, out, err = run(wine, host, [
        "--plugin", windows_path(plugin), "--data", windows_path(data), "--trace",
        "info", "info",
        "add-profile", "Alfa", ALFA,
        "add-profile", "Obcy", "0102", "OTHER",
        "load",
        "add-profile", "Beta", BETA,
        "transports", "menu", "profiles",
        "menu-invoke", "Fake/Menu",
        "archive", "log",
        "unload", "transports", "menu", "free", "menu",
    ], {"HRX_TRANSLATIONS": windows_path(translations)})
    check(code == 0, f"session exit code {code}, stderr: {err}")

    module = re.search(r"^PLUGIN path=\"(.*)\" module=(0x[0-9a-f]+)@fakeplugin\.dll$", out, re.M)
    check(module is not None, "PLUGIN line with the module handle")
    if module is None:
        print(out)
        return
    check(module.group(1) == windows_path(plugin).replace("\\", "\\\\"), "plug-in path")
    values = {"MODULE": module.group(2) + "@fakeplugin.dll",
              "SETTINGS": windows_path(os.path.join(data, "settings", "fakeplugin.ini"))
              .replace("\\", "\\\\")}
    check(out.count("\nPLUGIN ") + out.startswith("PLUGIN ") == 1, "the plug-in is loaded once")
    addresses = re.findall(r"^INFO address=(\S+)$", out, re.M)
    check(len(addresses) == 2 and addresses[0] == addresses[1] and
          addresses[0].endswith("@fakeplugin.dll"), f"INFO address twice the same: {addresses}")

    expect_in_order(out, [
        "INFO size=128",
        "INFO reserved4=0",
        'INFO shortName="Fake"',
        r'INFO description="Wtyczka \"próbna\"\nz dwoma wierszami"',
        'INFO updateManifest="http://example.invalid/update/Fake.xml"',
        "INFO version=1.2.3.4",
        "INFO moduleVersion=5.6.7.8",
        "INFO three=3",
        "INFO reserved88=null",
        'INFO pluginId="{00000000-1111-2222-3333-444444444444}"',
        "INFO reserved104=null,null,null",
        # Before load nothing is registered: the default transport id.
        f'ADD-PROFILE index=0 name="Alfa" transportId="{DEFAULT_TRANSPORT}" '
        'base64="AAMRIjNEVWZ3iAEAfw=="',
        'ADD-PROFILE index=1 name="Obcy" transportId="OTHER" base64="AQI="',
        # pluginLoad
        'CALL HRX/Log size=40 kind=1 source="SMSX" message="Wtyczka próbna startuje" '
        "second=0 -> 0",
        'CALL HRX/Log size=32 second=0 -> -1 error="size 32, expected 40"',
        "MISSING HRX/NoSuchService first=0x1 second=0x2 -> 0",
        "CALL HRX/Settings/GetMyConfigFile size=32 buffer=present capacity=261 "
        'instance={MODULE} -> 0 path="{SETTINGS}"',
        'CALL HRX/Settings/Init path="{SETTINGS}" instance={MODULE} -> 1',
        "CALL HRX/Settings/Read handle=1 second=0 -> 0 file=absent",
        "EXISTS SMST/Register -> 1",
        f'CALL SMST/Register size=80 transportId="{TRANSPORT}" displayName="Transport X" '
        "number10=10 maxSingleText=160 number50=50 send={ADDR}@fakeplugin.dll "
        "configure={ADDR}@fakeplugin.dll second=0 -> 0",
        'CALL HRX/Menu/Add size=96 itemId="Fake/Menu" parent="HRX/Menu/Main/Opt" '
        'caption="Archiwum próbne" position=-20000000 callback={ADDR}@fakeplugin.dll '
        "instance={MODULE} second=0 -> 0",
        "REGISTER Fake/Echo handler={ADDR}@fakeplugin.dll -> 0",
        "LOAD -> 0 bound=yes",
        # After load the registered transport is the default.
        f'ADD-PROFILE index=2 name="Beta" transportId="{TRANSPORT}" '
        'base64="AgMRIjNEVWZ3iAEBfg=="',
        "TRANSPORTS count=1",
        f'TRANSPORT id="{TRANSPORT}" name="Transport X" number10=10 maxSingleText=160 '
        "number50=50 send={ADDR}@fakeplugin.dll configure={ADDR}@fakeplugin.dll",
        "MENU count=1",
        'MENU-ITEM id="Fake/Menu" parent="HRX/Menu/Main/Opt" caption="Archiwum próbne" '
        "position=-20000000 callback={ADDR}@fakeplugin.dll instance={MODULE}",
        "PROFILES count=3",
        f'PROFILE index=0 name="Alfa" transportId="{DEFAULT_TRANSPORT}" bytes={ALFA} '
        'base64="AAMRIjNEVWZ3iAEAfw=="',
        'PROFILE index=1 name="Obcy" transportId="OTHER" bytes=0102 base64="AQI="',
        f'PROFILE index=2 name="Beta" transportId="{TRANSPORT}" bytes={BETA} '
        'base64="AgMRIjNEVWZ3iAEBfg=="',
        # The menu callback: both enumeration calls, only the profile of its transport.
        # A 32-bit count: the upper half of the result is left undefined, as a host's may be.
        f"CALL SMST/Enumerate entries=null second=0 -> {0xCCCCCCCC00000003 - 2**64}",
        "CALL SMST/Enumerate entries=present count=3 -> 3 filled=3",
        'CALL HRX/Log size=40 kind=3 source="FAKE" message="sizes kept, guard untouched" '
        "second=0 -> 0",
        f'CALL HRX/Log size=40 kind=3 source="FAKE" message="profile Beta {BETA}" '
        "second=0 -> 0",
        f'CALL Ar/WriteSMS size=56 text={SMS_TEXT} meta={SMS_META} number="Beta" '
        "direction=1 time=1700000000 second=0 -> 0 index=0",
        "CALL SMST/Enumerate entries=present count=1 -> 1 filled=1",
        'CALL HRX/Log size=40 kind=3 source="FAKE" message="short enumeration stayed '
        'within count" second=0 -> 0',
        'CALL SMST/Enumerate entries=present count=1 -> 0 filled=0 '
        'error="entries 0 do not carry size 32"',
        "CALL Fake/Echo first=0x2 second=0x3 -> 5",
        'MENU-INVOKE id="Fake/Menu" -> 42',
        "ARCHIVE count=1",
        f"ARCHIVE-RECORD index=0 size=56 reserved4=0 text={SMS_TEXT} meta={SMS_META} "
        'number="Beta" direction=1 reserved36=0 time=1700000000 reserved=0 '
        'utc="2023-11-14 22:13:20"',
        "LOG count=4",
        'LOG-ENTRY index=0 kind=1 source="SMSX" message="Wtyczka próbna startuje"',
        # pluginUnload
        "CALL HRX/Settings/Write handle=1 second=0 -> 0 bytes=0",
        "CALL HRX/Settings/Destroy handle=1 instance={MODULE} -> 0",
        f'CALL SMST/Unregister transportId="{TRANSPORT}" second=0 -> 0',
        "UNLOAD -> 0 bound=no windows=0",
        "TRANSPORTS count=0",
        "MENU count=1",
        "FREE module={MODULE} droppedMenuItems=1 droppedTransports=0",
        "MENU count=0",
    ], "session", values)

    check(os.path.isfile(os.path.join(data, "settings", "fakeplugin.ini")),
          "the settings file was written at unload")
    with open(os.path.join(data, "profiles.txt"), encoding="utf-8") as f:
        check(f.read().splitlines() == [
            f"Alfa\t{DEFAULT_TRANSPORT}\tAAMRIjNEVWZ3iAEAfw==",
            "Obcy\tOTHER\tAQI=",
            f"Beta\t{TRANSPORT}\tAgMRIjNEVWZ3iAEBfg==",
        ], "profiles.txt holds name<TAB>transport-id<TAB>base64 lines")
    return out


def session_without_sms(wine, host, plugin, work, first_output):
    """Same data folder: the stores come back from their files; SMST/* are absent."""
    data = os.path.join(work, "data")
    code, out, err = run(wine, host, [
        "--plugin", windows_path(plugin), "--data", windows_path(data), "--trace", "--no-sms",
        "load", "archive", "log", "profiles", "unload", "menu-invoke", "Nope",
    ])
    check(code == 1, f"a failing command ends the run with 1, got {code}")
    check("no menu item Nope" in err, f"the failure is told on stderr: {err!r}")
    expect_in_order(out, [
        "CALL HRX/Settings/Read handle=1 second=0 -> 0 file=present bytes=0",
        "EXISTS SMST/Register -> 0",
        'CALL HRX/Log size=40 kind=-2 source=null message="Brak obsługi SMS" second=0 -> 0',
        "MISSING SMST/Register first={ADDR} second=0x0 -> 0",
        'CALL HRX/Menu/Add size=96 itemId="Fake/Menu" parent="HRX/Menu/Main/Opt" '
        'caption="Archiwum próbne" position=-20000000 callback={ADDR}@fakeplugin.dll '
        "instance={ADDR}@fakeplugin.dll second=0 -> 0",
        "LOAD -> 0 bound=yes",
        "ARCHIVE count=1",
        "LOG count=6",
        "PROFILES count=3",
        "MISSING SMST/Unregister first={ADDR} second=0x0 -> 0",
        "UNLOAD -> 0 bound=no windows=0",
    ], "no-sms session")
    # What was written in the first run reads back the same.
    for prefix in ("ARCHIVE-RECORD ", "PROFILE ", "LOG-ENTRY index=0 ", "LOG-ENTRY index=3 "):
        before = [l for l in first_output.splitlines() if l.startswith(prefix)]
        after = [l for l in out.splitlines() if l.startswith(prefix)]
        check(before and after[:len(before)] == before, f"{prefix.strip()} lines survive")
    check("MENU-INVOKE" not in out, "the failing command printed nothing")


def bad_command_line(wine, host, work):
    code, out, err = run(wine, host, ["--data", windows_path(os.path.join(work, "bad")),
                                      "profiles", "bogus"])
    check(code == 2, f"an unknown command exits with 2, got {code}")
    check(out == "", f"nothing runs before the command line is checked: {out!r}")
    check("unknown command bogus" in err, f"stderr names the command: {err!r}")


def help_text(wine, host):
    code, out, _ = run(wine, host, ["--help"])
    check(code == 0, "--help exits with 0")
    for word in ["info", "load", "unload", "transports", "menu", "menu-invoke ITEM-ID",
                 "profiles", "add-profile NAME HEX [TRANSPORT-ID]", "archive", "log", "free",
                 "--plugin PATH", "--data DIR", "--trace", "--no-sms", "Data folder",
                 "profiles.txt", "archive.txt", "log.txt", "settings\\MODULE.ini", "Trace",
                 "CALL SERVICE", "MISSING SERVICE", "EXISTS SERVICE", "SMST/Enumerate",
                 "Ar/WriteSMS", "HRX/Settings/GetMyConfigFile"]:
        check(word in out, f"--help mentions {word}")


def main():
    wine, host, plugin, work = sys.argv[1:5]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    first = session(wine, host, plugin, work)
    if first is not None:
        session_without_sms(wine, host, plugin, work, first)
    bad_command_line(wine, host, work)
    help_text(wine, host)
    if failures:
        print(f"{len(failures)} check(s) failed")
        return 1
    print("all checks passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
