#!/usr/bin/env python3
"""Runs tarnik-host under Wine against the fake plug-in, one run per block of RUNS (its
header tells the format), and checks exit status, stdout, stderr and the files left.

usage: test_host_cli.py WINE TARNIK-HOST FAKE-PLUGIN WORK-DIR RUNS
"""
import os
import re
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "integration"))
from wine_phone import windows_path  # noqa: E402


def normalized(out, paths):
    """The output with the paths as {PLUGIN} and {WORK}, and each pointer as {A1}, {A2}, ...
    in the order of its first appearance."""
    for key, value in paths.items():
        out = out.replace(value.replace("\\", "\\\\"), "{" + key + "}")
    names = {}
    return re.sub(r"0x[0-9a-f]{5,}", lambda m: names.setdefault(m[0], f"{{A{len(names) + 1}}}"),
                  out).splitlines()


def run_case(lines, wine, host, paths, work):
    """Returns the failures of one run."""
    def expand(text):
        return re.sub(r"\{([A-Z]+)\}", lambda m: paths.get(m[1], m[0]), text)
    env, files = dict(os.environ), {}
    want = {"args": [""], "exit": ["0"], ">": [], "err": [], "has": []}
    for key, value in lines:
        if key == "write":
            name, text = value.split(" ", 1)
            with open(os.path.join(work, name), "w", encoding="utf-8") as f:
                f.write(text + "\n")
        elif key == "env":
            env.update([expand(value).split("=", 1)])
        elif key == "file":
            name, _, line = value.partition(" ")
            files.setdefault(name, []).extend([line] if line else [])
        else:
            want[key].append(value)
    args = [expand(a) for a in want["args"][-1].split()]
    result = subprocess.run([wine, host] + args, capture_output=True, env=env, timeout=60)
    out, err = result.stdout.decode("utf-8"), result.stderr.decode("utf-8", "replace")
    failures = [f"exit status {result.returncode}, stderr: {err}"
                for code in want["exit"][-1:] if str(result.returncode) != code]
    failures += [f"stderr lacks {t!r}: {err!r}" for t in want["err"] if t not in err]
    failures += [f"stdout lacks {t!r}" for t in want["has"] if t not in out]
    lines = normalized(out, paths)
    if not want["has"] and lines != want[">"]:
        i = next(i for i, pair in enumerate(zip(lines + [None], want[">"] + [None]))
                 if pair[0] != pair[1])
        failures.append(f"line {i + 1}: {lines[i:i + 1]}, expected {want['>'][i:i + 1]}")
    for name, expected in files.items():
        path = os.path.join(work, name)
        got = open(path, encoding="utf-8").read().splitlines() if os.path.isfile(path) else None
        if got != expected:
            failures.append(f"{name} holds {got}, expected {expected}")
    return failures


def main():
    wine, host, plugin, work, runs = sys.argv[1:6]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    paths = {"PLUGIN": windows_path(plugin), "WORK": windows_path(work)}
    cases = []  # [name, [(key, value)...]]
    for raw in open(runs, encoding="utf-8").read().splitlines():
        if raw.startswith("== ") and cases and not cases[-1][1]:
            cases[-1][0] += " " + raw[3:]
        elif raw.startswith("== "):
            cases.append([raw[3:], []])
        elif raw and not raw.startswith("#"):
            cases[-1][1].append(tuple(raw.partition(" ")[::2]))
    failed = 0
    for name, lines in cases:
        failures = run_case(lines, wine, host, paths, work)
        print(("FAIL " if failures else "ok   ") + name)
        for failure in failures:
            print("    " + failure)
        failed += bool(failures)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
