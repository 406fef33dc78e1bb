#!/usr/bin/env bash
# Builds the libFuzzer programs (preset linux-fuzz: clang, ASan+UBSan) and runs each one for the
# given number of seconds (default 60) on a copy of its seed corpus from Fuzz/Corpus/<program>/.
# New corpus entries go to a temporary folder, never into the tree. A crash, a leak, a timeout or a
# failed property stops that program; its input is kept in build/linux-fuzz/findings/. Exits
# non-zero when any program failed. Prints "fuzz: N passed, M failed" last.
#
#   scripts/fuzz.sh [seconds-per-program] [program ...]
#   TARN_FUZZ_TIMEOUT  seconds one input may take before it counts as a hang (default 10)
#   TARN_FUZZ_SEED     libFuzzer's random seed (default: a new one each run); CI fixes it so that
#                      a run explores the same inputs every time and a red run can be replayed
set -uo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

seconds="${1:-60}"
shift || true
scripts/install-deps.sh || exit 1
mkdir -p build
log=build/linux-fuzz.log
if ! cmake --preset linux-fuzz >"$log" 2>&1; then
    cat "$log"; echo "fuzz: 0 passed, 1 failed"; exit 1
fi
if ! cmake --build --preset linux-fuzz --target Fuzzers -j "$(nproc)" >>"$log" 2>&1; then
    grep -E 'error|FAILED' -A5 "$log" | head -80; echo "fuzz: 0 passed, 1 failed"; exit 1
fi

findings="$root/build/linux-fuzz/findings"
mkdir -p "$findings"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

programs=("$@")
if [ ${#programs[@]} -eq 0 ]; then
    for path in build/linux-fuzz/bin/Fuzz*; do programs+=("$(basename "$path")"); done
fi

passed=0
failed=0
for name in "${programs[@]}"; do
    corpus="$work/$name"
    mkdir -p "$corpus"
    if [ -d "Fuzz/Corpus/$name" ]; then
        cp -R "Fuzz/Corpus/$name/." "$corpus/"
    fi
    output="$work/$name.log"
    started=$SECONDS
    # halt_on_error and abort make a sanitizer report end the run like a crash does.
    ASAN_OPTIONS="detect_leaks=1:abort_on_error=1" \
    UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
        "build/linux-fuzz/bin/$name" -max_total_time="$seconds" -timeout="${TARN_FUZZ_TIMEOUT:-10}" \
        -rss_limit_mb=2048 -print_final_stats=1 -seed="${TARN_FUZZ_SEED:-0}" \
        -artifact_prefix="$findings/$name-" "$corpus" \
        >"$output" 2>&1
    status=$?
    runs="$(sed -nE 's/^stat::number_of_executed_units: *([0-9]+)/\1/p' "$output" | tail -n 1)"
    if [ "$status" -eq 0 ]; then
        passed=$((passed + 1))
        echo "PASS $name: ${runs:-?} inputs in $((SECONDS - started)) s"
    else
        failed=$((failed + 1))
        echo "FAIL $name (exit $status); the input is in $findings/"
        grep -vE '^#[0-9]+|^\s+NEW_FUNC' "$output" | tail -n 40
    fi
done

echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
