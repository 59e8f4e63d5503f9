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


def windows_path(path):
    """Wine's Z: drive is the Unix root."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def line_regex(pattern, paths, bound):
    """A whole-line regex: {PLUGIN}/{WORK} as printed, {ADDR} any 0xHEX, another {NAME} the
    0xHEX it stood for first (bound here on the first match)."""
    out, fresh = "", set()
    pieces = re.split(r"\{([A-Z]+)\}", pattern) + [""]
    for literal, name in zip(pieces[::2], pieces[1::2]):
        out += re.escape(literal)
        if name in paths or name in bound:
            out += re.escape(paths.get(name) or bound[name])
        elif name == "ADDR":
            out += "0x[0-9a-f]+"
        elif name:
            out += f"(?P={name})" if name in fresh else f"(?P<{name}>0x[0-9a-f]+)"
            fresh.add(name)
    return out


def run_case(case, wine, host, paths, work):
    """Returns the failures of one run."""
    printed = {k: v.replace("\\", "\\\\") for k, v in paths.items()}
    expand = lambda text: re.sub(r"\{([A-Z]+)\}", lambda m: paths.get(m[1], m[0]), text)
    env, args, files, bound, failures = dict(os.environ), [], {}, {}, []
    expected = {"exit": "0", ">": [], "err": [], "has": []}
    for key, value in case["lines"]:
        if key == "write":
            name, text = value.split(" ", 1)
            with open(os.path.join(work, name), "w", encoding="utf-8") as f:
                f.write(text + "\n")
        elif key == "env":
            env.update([expand(value).split("=", 1)])
        elif key == "args":
            args = [expand(a) for a in value.split()]
        elif key == "file":
            name, _, line = value.partition(" ")
            files.setdefault(name, []).extend([line] if line else [])
        elif key == "exit":
            expected["exit"] = value
        else:
            expected[key].append(value)
    result = subprocess.run([wine, host] + args, capture_output=True, env=env, timeout=60)
    out, err = result.stdout.decode("utf-8"), result.stderr.decode("utf-8", "replace")
    if str(result.returncode) != expected["exit"]:
        failures.append(f"exit status {result.returncode}, stderr: {err}")
    failures += [f"stderr lacks {t!r}: {err!r}" for t in expected["err"] if t not in err]
    failures += [f"stdout lacks {t!r}" for t in expected["has"] if t not in out]
    lines = out.splitlines()
    if not expected["has"]:
        for index, pattern in enumerate(expected[">"]):
            match = index < len(lines) and re.fullmatch(line_regex(pattern, printed, bound),
                                                        lines[index])
            if not match:
                failures.append(f"line {index + 1}: {lines[index:index + 1]} is not: {pattern}")
                break
            bound.update(match.groupdict())
        else:
            failures += [f"line {len(expected['>']) + 1} more than expected: {l}"
                         for l in lines[len(expected[">"]):][:1]]
    for name, want in files.items():
        path = os.path.join(work, name)
        got = open(path, encoding="utf-8").read().splitlines() if os.path.isfile(path) else None
        if got != want:
            failures.append(f"{name} holds {got}, expected {want}")
    return failures


def main():
    wine, host, plugin, work, runs = sys.argv[1:6]
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    paths = {"PLUGIN": windows_path(plugin), "WORK": windows_path(work)}
    cases = []
    for raw in open(runs, encoding="utf-8").read().splitlines():
        if raw.startswith("== ") and (not cases or cases[-1]["lines"]):
            cases.append({"name": raw[3:], "lines": []})
        elif raw.startswith("== "):
            cases[-1]["name"] += " " + raw[3:]
        elif raw and not raw.startswith("#"):
            key, _, value = raw.partition(" ")
            cases[-1]["lines"].append((key, value))
    failed = 0
    for case in cases:
        failures = run_case(case, wine, host, paths, work)
        print(("FAIL " if failures else "ok   ") + case["name"])
        for failure in failures:
            print("    " + failure)
        failed += bool(failures)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
