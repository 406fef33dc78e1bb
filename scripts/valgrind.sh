#!/usr/bin/env bash
# Builds the Linux debug test programs and runs every test suite under valgrind's memcheck:
# uninitialised reads, invalid reads and writes, mismatched frees, and definite or indirect leaks
# at exit all fail the suite, as does any failing test.
#
#   scripts/valgrind.sh                 every suite
#   scripts/valgrind.sh Memory Network  only these suites (<Subsystem> or <Subsystem>Tests)
#
# The debug build (-O0, no sanitizers: valgrind cannot run sanitized programs) keeps every
# variable in memory, so memcheck's reports point at source lines. Logs go to
# build/linux-debug/valgrind/: <Suite>.log is the test program's output, <Suite>.<pid>.memcheck.log
# is memcheck's, one per process (the death tests fork). The last line is the tally that
# scripts/test.sh reads: "valgrind: N suites passed, M failed".
#
# Every suite runs in full; nothing is filtered out or scaled down, because the slowest (the
# message hub stress test) takes about 20 s under memcheck.
set -uo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root" || exit 1

preset=linux-debug
build="build/$preset"
logs="$build/valgrind"
# Memcheck serialises a program's threads onto one core, so suites run side by side instead.
jobs="${TARN_VALGRIND_JOBS:-$(nproc)}"
# Distinct from any exit status a test program gives, so the summary can tell the two apart.
memcheck_status=97
# A hang must not stall the pipeline; the slowest suite needs a tenth of this.
timeout_seconds=600

if ! command -v valgrind >/dev/null; then
    echo "valgrind: not installed (scripts/install-deps.sh installs it)" >&2
    echo "valgrind: 0 suites passed, 1 failed"
    exit 1
fi

mkdir -p build
if ! cmake --preset "$preset" >"build/$preset.log" 2>&1; then
    cat "build/$preset.log"
    echo "valgrind: 0 suites passed, 1 failed"
    exit 1
fi

# The suites are whatever the build registers with ctest, so a new subsystem is covered without
# editing this script.
mapfile -t all < <(ctest --test-dir "$build" -N | sed -nE 's/^ *Test +#[0-9]+: +([A-Za-z0-9_]+Tests)$/\1/p')
suites=()
if [ $# -eq 0 ]; then
    suites=("${all[@]}")
else
    for name in "$@"; do
        name="${name%Tests}Tests"
        if [[ " ${all[*]} " != *" $name "* ]]; then
            echo "valgrind: no test suite $name (have: ${all[*]})" >&2
            exit 2
        fi
        suites+=("$name")
    done
fi
if [ ${#suites[@]} -eq 0 ]; then
    echo "valgrind: no test suites found in $build" >&2
    echo "valgrind: 0 suites passed, 1 failed"
    exit 1
fi

if ! cmake --build --preset "$preset" --target "${suites[@]}" -j "$jobs" >>"build/$preset.log" 2>&1; then
    grep -E 'error|FAILED' -A5 "build/$preset.log" | head -80
    echo "valgrind: 0 suites passed, ${#suites[@]} failed"
    exit 1
fi

rm -rf "$logs"
mkdir -p "$logs"

memcheck() {
    local suite="$1"
    shift
    # The window suite needs a display; the others run as they are.
    local runner=()
    if [ "$suite" = WindowTests ]; then
        runner=("$root/scripts/with-display.sh" --randr)
    fi
    timeout --kill-after=10 "$timeout_seconds" "${runner[@]}" valgrind --tool=memcheck --error-exitcode="$memcheck_status" \
        --leak-check=full --errors-for-leak-kinds=definite,indirect \
        --num-callers=40 --suppressions="$root/scripts/valgrind.supp" \
        "$@" "$build/bin/$suite" --gtest_color=no
}

# Runs one suite; its exit status is the program's (memcheck's own status when it found errors).
run_suite() {
    local suite="$1" start status
    start=$SECONDS
    memcheck "$suite" --log-file="$logs/$suite.%p.memcheck.log" >"$logs/$suite.log" 2>&1
    status=$?
    echo "$status $((SECONDS - start))" >"$logs/$suite.status"
}

# Slowest first, by the last run's times (a suite never timed counts as slow), so that the short
# suites fill the gaps at the end instead of a long one starting last.
durations="$build/valgrind-durations"
touch "$durations"
mapfile -t order < <(for suite in "${suites[@]}"; do
    seconds="$(awk -v s="$suite" '$2 == s { print $1 }' "$durations")"
    echo "${seconds:-999999} $suite"
done | sort -rn | cut -d' ' -f2)

running=0
for suite in "${order[@]}"; do
    if [ "$running" -ge "$jobs" ]; then
        wait -n
        running=$((running - 1))
    fi
    run_suite "$suite" &
    running=$((running + 1))
done
wait

passed=0
failed=0
for suite in "${suites[@]}"; do
    read -r status seconds <"$logs/$suite.status"
    awk -v s="$suite" '$2 != s' "$durations" >"$durations.new"
    echo "$seconds $suite" >>"$durations.new"
    mv "$durations.new" "$durations"
    # A forked death-test child reports its own errors, and its exit status never reaches ours. A
    # fork that went on to exec (a test program re-running itself as a child, which then runs
    # natively) leaves a log with the header alone, and no summary.
    mapfile -t errors < <(for log in "$logs/$suite".*.memcheck.log; do
        if ! grep -qE 'ERROR SUMMARY: 0 errors' "$log" &&
            grep -qvE '^==[0-9]+== ((Memcheck|Copyright|Using Valgrind|Command|Parent PID).*)?$' "$log"; then
            echo "$log"
        fi
    done)
    if [ "$status" -eq 0 ] && [ ${#errors[@]} -eq 0 ]; then
        echo "valgrind: $suite passed ($seconds s)"
        passed=$((passed + 1))
        continue
    fi
    failed=$((failed + 1))
    if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
        echo "valgrind: $suite FAILED: still running after $timeout_seconds s"
        tail -20 "$logs/$suite.log"
        continue
    fi
    # Memcheck's status replaces the program's, so failed tests are found in the output too.
    if { [ "$status" -ne 0 ] && [ "$status" -ne "$memcheck_status" ]; } ||
        grep -q '^\[  FAILED  \]' "$logs/$suite.log"; then
        echo "valgrind: $suite FAILED: tests failed, exit status $status ($seconds s)"
        grep -E '^\[  FAILED  \]|Failure$|^Expected|^  Actual|Which is' "$logs/$suite.log" | head -60
    fi
    if [ ${#errors[@]} -ne 0 ] || [ "$status" -eq "$memcheck_status" ]; then
        echo "valgrind: $suite FAILED: memcheck errors ($seconds s)"
        for log in "${errors[@]}"; do
            echo "----- $log"
            grep -vE '^==[0-9]+== *$' "$log" | head -200
        done
        # Where an uninitialised value came from costs a second, slower run: only on failure.
        if grep -q 'uninitialised' "${errors[@]}" /dev/null; then
            echo "----- $suite again with --track-origins=yes: $logs/$suite.origins.*.memcheck.log"
            memcheck "$suite" --track-origins=yes --log-file="$logs/$suite.origins.%p.memcheck.log" \
                >"$logs/$suite.origins.log" 2>&1
            grep -hA6 'Uninitialised value was created' "$logs/$suite".origins.*.memcheck.log | head -60
        fi
    fi
done

echo "valgrind: $passed suites passed, $failed failed"
[ "$failed" -eq 0 ]
