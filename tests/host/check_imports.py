#!/usr/bin/env python3
"""Checks the import and export tables of the host modules, the host and a plug-in.

usage: check_imports.py OBJDUMP FAKE-PLUGIN HRXCORE HRXUTIL TARNIK-HOST HRXUI

The plug-in must import the host's functions from the .mdl files by those names, and every
module must take the C++ runtime from the one shared libstdc++-6.dll: a module with its own
static runtime has its own heap, and the plug-in's delete[] of a utility buffer breaks.
The UI library exports its dialog bases and none of the dialog framework, whose code each
module keeps a copy of.
"""
import os
import re
import subprocess
import sys

RUNTIME = "libstdc++-6.dll"


def tables(objdump, path):
    """Returns ({dll: {imported names}}, {exported names}) from objdump -p."""
    text = subprocess.run([objdump, "-p", path], check=True, capture_output=True,
                          text=True).stdout
    imports, exports = {}, set()
    current = None
    in_exports = False
    for line in text.splitlines():
        m = re.match(r"\s*DLL Name: (\S+)", line)
        if m:
            current = imports.setdefault(m.group(1).lower(), set())
            continue
        if current is not None:
            m = re.match(r"\s*[0-9a-f]+\s+\d+\s+(\S+)\s*$", line)
            if m:
                current.add(m.group(1))
            elif not line.strip():
                current = None
        if line.startswith("[Ordinal/Name Pointer] Table"):
            in_exports = True
            continue
        if in_exports:
            m = re.match(r"\s*\[\s*\d+\]\s+(\S+)", line)
            if m:
                exports.add(m.group(1))
            elif not line.strip():
                in_exports = False
    return imports, exports


def matches(symbol, wanted):
    """The plain name, or a C++ function of that name (mangled _Z<length><name>...)."""
    return symbol == wanted or symbol.startswith(f"_Z{len(wanted)}{wanted}")


def main():
    objdump, plugin, hrxcore, hrxutil, host, hrxui = sys.argv[1:7]
    failures = []

    def expect(condition, message):
        print(("ok   " if condition else "FAIL ") + message)
        if not condition:
            failures.append(message)

    def imports_from(path, dll, names=()):
        imports, _ = tables(objdump, path)
        name = os.path.basename(path)
        expect(dll in imports, f"{name} imports from {dll}")
        for wanted in names:
            found = any(matches(n, wanted) for n in imports.get(dll, set()))
            expect(found, f"{name} imports {wanted} from {dll}")

    imports_from(plugin, "hrxcore.mdl", ["libHrxInit", "libHrxTerminate"])
    imports_from(plugin, "hrxutil.mdl", ["wtou", "lutBase64Decode"])
    imports_from(plugin, RUNTIME)
    imports_from(hrxcore, RUNTIME)
    imports_from(hrxutil, RUNTIME, ["_Znay"])  # operator new[]: the buffers handed out
    imports_from(host, RUNTIME)
    imports_from(host, "hrxcore.mdl")
    imports_from(host, "hrxutil.mdl")
    imports_from(hrxui, RUNTIME)

    _, core_exports = tables(objdump, hrxcore)
    for wanted in ["libHrxInit", "libHrxTerminate", "_ZN3hrx4g_pFE", "_ZN3hrx8g_pTransE"]:
        expect(wanted in core_exports, f"hrxcore.mdl exports {wanted}")
    for member in ["CTranslation3msg", "CTranslation13translateHwnd"]:
        expect(any(member in e for e in core_exports), f"hrxcore.mdl exports {member}")
    _, util_exports = tables(objdump, hrxutil)
    for wanted in ["wtom", "wtou", "lutBase64Decode"]:
        expect(any(matches(e, wanted) for e in util_exports),
               f"hrxutil.mdl exports {wanted}")
    _, ui_exports = tables(objdump, hrxui)
    for member in ["CUIWin7Dialog10SetHeaders", "CVistaListControl10InsertItem",
                   "CVistaListControl10SelectItem", "CUIScalableDialogC"]:
        expect(any(member in e for e in ui_exports), f"hrxui.mdl exports {member}")
    expect(not any(e.startswith("_ZN3dlg") or e.startswith("_ZNK3dlg") for e in ui_exports),
           "hrxui.mdl exports nothing of the dialog framework")

    if failures:
        print(f"{len(failures)} check(s) failed")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
