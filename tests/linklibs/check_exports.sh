#!/bin/sh
# Checks that a link library exports exactly the given names, nothing more, as its binary's
# own export table lists them (what dlsym or GetProcAddress cannot show: extra exports).
# usage: check_exports.sh elf|pe TOOL LIBRARY NAME...
#   elf: TOOL is nm, reading the dynamic symbol table of a Linux shared object
#   pe:  TOOL is objdump, reading the export name table of a Windows DLL
set -eu
kind=$1 tool=$2 library=$3
shift 3
case $kind in
elf) actual=$("$tool" -D --defined-only "$library" | awk '{print $NF}') ;;
pe)
    # The "[Ordinal/Name Pointer] Table" ends at a blank line; its rows read
    # "[   0] libPortClose" (the name is the last field in every binutils version).
    actual=$("$tool" -p "$library" | awk '
        /^\[Ordinal\/Name Pointer\] Table/ { table = 1; next }
        table && /^[[:space:]]*$/ { table = 0 }
        table && /^[[:space:]]*\[ *[0-9]+\]/ { print $NF }')
    ;;
*) echo "unknown kind $kind" >&2; exit 2 ;;
esac
actual=$(printf '%s\n' "$actual" | sort -u)
expected=$(printf '%s\n' "$@" | sort -u)
if [ "$actual" != "$expected" ]; then
    echo "$library exports:"; printf '%s\n' "$actual" | sed 's/^/  /'
    echo "expected:"; printf '%s\n' "$expected" | sed 's/^/  /'
    exit 1
fi
echo "$library exports exactly: $(printf '%s\n' "$expected" | tr '\n' ' ')"
