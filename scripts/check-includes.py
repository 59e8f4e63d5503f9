#!/usr/bin/env python3
"""Fails when a folder of the plug-in includes a header of a folder above it.

The plug-in is built in layers, top to bottom: plugin/ (the exports and the host
binding), ui/, send/ and download/, link/, pdu/ and text/. A layer includes its own
folder, the layers below it, and the dialog framework and resources. The only headers
that may be included from below are those that the host and the plug-in share by design:
the host's records, the profile record and the host's service wrappers, all in plugin/.
The host stand-in includes nothing of the plug-in but the records.
"""
import pathlib
import re
import sys

LEVELS = {"plugin": 5, "ui": 4, "send": 3, "download": 3, "link": 2, "pdu": 1, "text": 1}
# Below every layer: what the platform gives the Windows layers.
PLATFORM = {"dialog_framework", "res"}
SHARED_FROM_ABOVE = {"plugin/host_records.h", "plugin/gsm_profile.h", "plugin/host_services.h"}
HOST_MAY_INCLUDE = {"plugin/host_records.h"}

INCLUDE = re.compile(r'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)
SOURCES = {".h", ".cpp", ".rc"}


def folder_of(path):
    first = path.split("/", 1)[0]
    return first if "/" in path else None


def problems(root):
    found = []
    for path in sorted(root.rglob("*")):
        if path.suffix not in SOURCES or not path.is_file():
            continue
        relative = path.relative_to(root).as_posix()
        source = relative.split("/", 1)[0]
        if source not in LEVELS and source not in PLATFORM and source != "host":
            continue
        for included in INCLUDE.findall(path.read_text(encoding="utf-8", errors="replace")):
            target = folder_of(included)
            if target not in LEVELS and target not in PLATFORM:
                continue  # the folder's own short names, the host's libraries (hrx/...)
            if source == "host":
                ok = target not in LEVELS or included in HOST_MAY_INCLUDE
            elif source in PLATFORM:
                ok = target in PLATFORM
            elif target in PLATFORM:
                ok = True
            else:
                ok = LEVELS[target] <= LEVELS[source] or included in SHARED_FROM_ABOVE
            if not ok:
                where = "outside the records" if source == "host" else "from a layer above"
                found.append(f"{relative}: includes {included} {where}")
    return found


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parents[1])
    found = problems(root)
    for line in found:
        print(line)
    print(f"{len(found)} upward include(s)")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
