#!/usr/bin/env python3
"""Counts non-blank, non-comment lines of the tracked sources: files under tests/ and fuzz/
are tests (seed corpora left out), everything else is code. Prints both per top folder and
the ratio of tests to code; the last line is the overall ratio.

usage: scripts/code-size.py [--verbose]
"""
import os
import subprocess
import sys

SOURCE_SUFFIXES = (".cpp", ".h", ".py", ".sh", ".cmake", ".rc", "CMakeLists.txt")
HASH_COMMENTS = (".py", ".sh", ".cmake", "CMakeLists.txt")


def counted_lines(path):
    """Lines that are neither blank nor wholly a comment."""
    hash_style = path.endswith(HASH_COMMENTS)
    count = 0
    in_block = False
    with open(path, encoding="utf-8", errors="replace") as f:
        for raw in f:
            line = raw.strip()
            if not line:
                continue
            if hash_style:
                if line.startswith("#") and not line.startswith("#!"):
                    continue
            else:
                if in_block:
                    in_block = "*/" not in line
                    continue
                if line.startswith("//"):
                    continue
                if line.startswith("/*"):
                    in_block = "*/" not in line
                    continue
            count += 1
    return count


def main():
    root = subprocess.run(["git", "rev-parse", "--show-toplevel"], capture_output=True, text=True,
                          check=True).stdout.strip()
    files = subprocess.run(["git", "ls-files"], cwd=root, capture_output=True, text=True,
                           check=True).stdout.split()
    per_folder = {}
    for name in files:
        if not name.endswith(SOURCE_SUFFIXES) or "/corpus/" in name:
            continue
        top = name.split("/")[0] if "/" in name else "."
        is_test = top in ("tests", "fuzz")
        n = counted_lines(os.path.join(root, name))
        code, test = per_folder.get(top, (0, 0))
        per_folder[top] = (code, test + n) if is_test else (code + n, test)
    total_code = sum(c for c, _ in per_folder.values())
    total_test = sum(t for _, t in per_folder.values())
    print("%-20s %8s %8s" % ("folder", "code", "tests"))
    for top in sorted(per_folder):
        code, test = per_folder[top]
        print("%-20s %8d %8d" % (top, code, test))
    print("tests %d, code %d, ratio %.2f" % (total_test, total_code, total_test / max(total_code, 1)))


if __name__ == "__main__":
    sys.exit(main())
