#!/usr/bin/env bash
# Runs one Windows program under Wine as the tests need it: our prefix and server, the
# Polish ANSI code page (1250) of our users, and an X display (a virtual one when there is
# none) for programs that create windows. The Windows build's tests run through this.
#   wine-run.sh PROGRAM.exe [ARGS...]
set -u
# shellcheck source=scripts/wine-env.sh
source "$(dirname "${BASH_SOURCE[0]}")/wine-env.sh"
export LC_ALL=pl_PL.UTF-8
if [ -z "${DISPLAY:-}" ] && command -v xvfb-run >/dev/null; then
    # A display number of its own: Wine's desktop process of the last run may still be
    # leaving the previous one.
    exec xvfb-run -a -n $((100 + RANDOM % 800)) -s "-screen 0 1024x768x24" wine "$@"
fi
exec wine "$@"
