#!/usr/bin/env bash
# Checks the format and lint rules, then builds and runs every test: native unit and
# command-line tests, the same unit tests cross-compiled for Windows and run under Wine,
# the fuzz targets briefly under ASan and UBSan, and a short benchmark run. Installs what
# it needs on a fresh Debian machine.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
scripts/install-deps.sh || exit 1

passed=0
failed=0
stage() {  # name, command...
    local name=$1
    shift
    echo "=== $name"
    if "$@"; then
        passed=$((passed + 1))
    else
        echo "=== $name: FAILED"
        failed=$((failed + 1))
    fi
}

portable_core_has_no_windows_h() {  # but for each seam's Windows half, *_win32.*
    ! grep -rlE --exclude='*_win32.*' '#\s*include\s*[<"]windows\.h[>"]' pdu text link send download
}

native() {
    cmake --preset native >/dev/null && cmake --build --preset native &&
        ctest --preset native -j2
}

windows() {
    # Every Windows program of the run shares one virtual display (scripts/wine-env.sh).
    cmake --preset windows >/dev/null && cmake --build --preset windows &&
        ctest --preset windows
}

fuzz() {
    scripts/run-fuzz.sh "${TARNIK_FUZZ_SECONDS:-30}"
}

bench() {
    local b
    for b in build/native/bench/tarnik-codec-bench build/native/bench/tarnik-download-bench; do
        "$b" --benchmark_min_time=0.05 || return 1
    done
}

main_job() {
    # The README's first command must keep working: run it, show it only when it fails.
    local log
    log=$(mktemp)
    if scripts/main-job.sh >"$log" 2>&1 && grep -q '^SEND -> 0' "$log" &&
        grep -q '^ARCHIVE-RECORD' "$log"; then
        grep -E '^(SEND|ARCHIVE|== )' "$log"
        rm -f "$log"
    else
        cat "$log"
        rm -f "$log"
        return 1
    fi
}

stage "format and lint (clang-format, shellcheck, flake8)" scripts/lint.sh
stage "portable core free of windows.h" portable_core_has_no_windows_h
stage "includes run downward only" python3 scripts/check-includes.py
stage "native build and tests" native
stage "Windows build and tests under Wine" windows
stage "main job" main_job
stage "fuzz targets (ASan, UBSan)" fuzz
stage "benchmarks (smoke run)" bench

echo "=== size (non-blank, non-comment lines: what ships, what runs and tests it, the tests)"
python3 scripts/code-size.py | tail -n 1
echo "summary: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
