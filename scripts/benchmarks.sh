#!/usr/bin/env bash
# Runs every benchmark program of the linux-release build several times, each run with random
# interleaving, and prints each ours-to-peer ratio as min / median / max over the runs
# (scripts/benchmark-ratios.py). Run it on an idle machine: nothing else building or measuring.
#
# Usage: scripts/benchmarks.sh [runs] [program-name-filter]   (defaults: 5 runs, every program)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
runs="${1:-5}"
filter="${2:-}"
bin="$root/build/linux-release/bin"
out="$root/build/benchmarks"
mkdir -p "$out"
rm -f "$out"/*.json

programs=()
for program in "$bin"/*Benchmark*; do
    [[ -x "$program" && "$(basename "$program")" == *"$filter"* ]] && programs+=("$program")
done
[ ${#programs[@]} -gt 0 ] || { echo "no benchmark programs in $bin: build the linux-release preset" >&2; exit 1; }

for run in $(seq 1 "$runs"); do
    # The programs in a new order each round, so that no program always follows the same one.
    for program in $(printf '%s\n' "${programs[@]}" | shuf); do
        name="$(basename "$program")"
        echo "run $run/$runs: $name" >&2
        "$program" --benchmark_enable_random_interleaving=true --benchmark_repetitions=3 \
            --benchmark_report_aggregates_only=true --benchmark_format=json \
            --benchmark_out="$out/$name-$run.json" >/dev/null
    done
done
python3 "$root/scripts/benchmark-ratios.py" "$out"
