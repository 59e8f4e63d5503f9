#!/usr/bin/env bash
# The house's rules: every tracked C++ file as .clang-format has it, every shell script
# clean under shellcheck, every Python file clean under flake8 (.flake8). Prints each
# finding and fails on any.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1

status=0
mapfile -t cpp < <(git ls-files '*.cpp' '*.h')
mapfile -t shell < <(git ls-files '*.sh' .ci/run)
mapfile -t python < <(git ls-files '*.py')

clang-format --dry-run --Werror "${cpp[@]}" || status=1
shellcheck "${shell[@]}" || status=1
flake8 "${python[@]}" || status=1
exit "$status"
