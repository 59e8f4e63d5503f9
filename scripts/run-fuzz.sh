#!/usr/bin/env bash
# Builds the fuzz preset and runs every libFuzzer target for a while, each from a fresh
# copy of its seed corpus. Fails when any target reports a crash, a sanitizer error, a
# broken invariant, a timeout or running out of memory.
#
#   scripts/run-fuzz.sh [SECONDS_PER_TARGET]      (default 30)
#
# Work corpora and crash inputs are kept under build/fuzz/run/, never committed.
set -euo pipefail

seconds="${1:-30}"
if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -eq 0 ]; then
    echo "usage: $0 [SECONDS_PER_TARGET]" >&2
    exit 2
fi

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

bin_dir="$root/build/fuzz/fuzz"
run_dir="$root/build/fuzz/run"

# Listings may be long: the parser stops looking at 64 KiB and after 2048 headers, and
# both limits must be reachable. PDUs and record lists are short in real life.
declare -A max_len=(
    [fuzz_decode_pdu]=4096
    [fuzz_cmgl_listing]=70000
    [fuzz_join]=4096
)

failed=()
for target in fuzz_decode_pdu fuzz_cmgl_listing fuzz_join; do
    work="$run_dir/$target/corpus"
    artifacts="$run_dir/$target/artifacts"
    rm -rf "${run_dir:?}/$target"
    mkdir -p "$work" "$artifacts"
    cp "$root/fuzz/corpus/$target/"* "$work/"

    extra=()
    dict="$root/fuzz/$target.dict"
    [ -f "$dict" ] && extra+=("-dict=$dict")

    echo "== $target: ${seconds}s, -max_len=${max_len[$target]}"
    status=0
    "$bin_dir/$target" "$work" \
        -max_total_time="$seconds" \
        -max_len="${max_len[$target]}" \
        -timeout=10 \
        -artifact_prefix="$artifacts/" \
        -print_final_stats=1 \
        "${extra[@]}" \
        >"$run_dir/$target/log" 2>&1 || status=$?
    grep -E '^(stat::number_of_executed_units|stat::average_exec_per_sec|#[0-9]+ +DONE)' \
        "$run_dir/$target/log" || true

    if [ "$status" -ne 0 ] || [ -n "$(ls -A "$artifacts")" ]; then
        echo "!! $target failed (exit $status); log: $run_dir/$target/log" >&2
        ls -1 "$artifacts" >&2 || true
        grep -E 'ERROR|runtime error|invariant failed' -A 20 "$run_dir/$target/log" | head -60 >&2 || true
        failed+=("$target")
    fi
done

if [ "${#failed[@]}" -ne 0 ]; then
    echo "fuzzing found problems in: ${failed[*]}" >&2
    exit 1
fi
echo "fuzzing found nothing"
