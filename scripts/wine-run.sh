#!/usr/bin/env bash
# Runs one Windows program under Wine as the tests need it: our prefix and server, the
# Polish ANSI code page (1250) of our users, and an X display (a shared virtual one when
# there is none) for programs that create windows. The Windows build's tests run through this.
#   wine-run.sh PROGRAM.exe [ARGS...]
set -u
# shellcheck source=scripts/wine-env.sh
source "$(dirname "${BASH_SOURCE[0]}")/wine-env.sh"
export LC_ALL=pl_PL.UTF-8
exec wine "$@"
