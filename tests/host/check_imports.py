#!/usr/bin/env python3
"""Checks the import and export tables of the host modules, the host and a plug-in against
the facts listed in FACTS (its header tells the format).

usage: check_imports.py OBJDUMP FACTS MODULE...
"""
import os
import re
import subprocess
import sys


def tables(objdump, path):
    """Returns ({dll: {imported names}}, {exported names}) from objdump -p."""
    text = subprocess.run([objdump, "-p", path], check=True, capture_output=True,
                          text=True).stdout
    imports, exports, into = {}, set(), None
    for line in text.splitlines():
        dll = re.match(r"\s*DLL Name: (\S+)", line)
        row = re.match(r"\s*(?:[0-9a-f]+\s+\d+|\[\s*\d+\])\s+(\S+)\s*$", line)
        if dll or line.startswith("[Ordinal/Name Pointer] Table"):
            into = imports.setdefault(dll[1].lower(), set()) if dll else exports
        elif not line.strip():
            into = None
        elif into is not None and row:
            into.add(row[1])
    return imports, exports


def main():
    objdump, facts = sys.argv[1:3]
    modules = {os.path.basename(p): tables(objdump, p) for p in sys.argv[3:]}
    failed = 0
    for fact in open(facts, encoding="utf-8").read().splitlines():
        if not fact.strip() or fact.startswith("#"):
            continue
        module, kind, *names = fact.split()
        imports, exports = modules[module]
        if kind == "imports":
            dll, names = names[0], names[1:]
            ok = dll in imports and all(any(n in s for s in imports[dll]) for n in names)
        elif kind == "exports":
            ok = all(any(n in s for s in exports) for n in names)
        else:
            ok = not any(s.startswith(tuple(names)) for s in exports)
        print(("ok   " if ok else "FAIL ") + fact)
        failed += not ok
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
