#!/usr/bin/env python3
"""Counts non-blank, non-comment lines of the tracked sources in three parts: the product
(what ships in tarnik.dll and the Windows link libraries), the apparatus that exists to
build, run and test it (host stand-in, emulator, native link libraries, benchmarks, tools,
scripts), and the tests (tests/ and fuzz/, seed corpora left out). Prints the three per top
folder; the last line gives the totals and the ratio of tests to the product and to the
product with its apparatus.

usage: scripts/code-size.py
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


PRODUCT_FOLDERS = ("plugin", "ui", "send", "download", "link", "pdu", "text",
                   "dialog_framework", "res")
TEST_FOLDERS = ("tests", "fuzz")
# Beside the codec, but built for the emulator, tools, benchmarks and tests: not in tarnik.dll.
NOT_SHIPPED = ("pdu/pdu_builder.", "pdu/hex_bytes.")


def part_of(name):
    """'product', 'apparatus' or 'tests' for a tracked path."""
    top = name.split("/")[0] if "/" in name else "."
    if top in TEST_FOLDERS:
        return "tests"
    if top in PRODUCT_FOLDERS and not name.startswith(NOT_SHIPPED):
        return "product"
    # The Windows link libraries ship beside the plug-in; their native twins serve the tests.
    if top == "linklibs" and ("_win32." in name or "/winsock_link." in name):
        return "product"
    return "apparatus"


def main():
    root = subprocess.run(["git", "rev-parse", "--show-toplevel"], capture_output=True, text=True,
                          check=True).stdout.strip()
    files = subprocess.run(["git", "ls-files"], cwd=root, capture_output=True, text=True,
                           check=True).stdout.split()
    parts = ("product", "apparatus", "tests")
    per_folder = {}
    for name in files:
        if not name.endswith(SOURCE_SUFFIXES) or "/corpus/" in name:
            continue
        top = name.split("/")[0] if "/" in name else "."
        counts = per_folder.setdefault(top, dict.fromkeys(parts, 0))
        counts[part_of(name)] += counted_lines(os.path.join(root, name))
    total = {p: sum(c[p] for c in per_folder.values()) for p in parts}
    print("%-20s %9s %9s %9s" % ("folder", *parts))
    for top in sorted(per_folder):
        print("%-20s %9d %9d %9d" % (top, *(per_folder[top][p] for p in parts)))
    product, apparatus, tests = (total[p] for p in parts)
    print("product %d, apparatus %d, tests %d; tests/product %.2f, tests/(product+apparatus) %.2f"
          % (product, apparatus, tests, tests / max(product, 1),
             tests / max(product + apparatus, 1)))


if __name__ == "__main__":
    sys.exit(main())
