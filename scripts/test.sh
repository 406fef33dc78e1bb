#!/usr/bin/env bash
# Builds everything and runs every test: Linux under AddressSanitizer+UBSan, Linux under
# ThreadSanitizer, Linux under valgrind's memcheck, Windows x64 under Wine, the frame format between
# a Linux and a Windows build, a short run of every fuzz program, the packaging test of the
# installed SDK on both, and the API reference, which fails on any Doxygen warning.
# Exits non-zero when anything fails.
set -uo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

scripts/install-deps.sh || exit 1
jobs="$(nproc)"
failed=()
passed_count=0
failed_count=0

stage() { echo; echo "===== $*"; }

run_preset() {
    local preset="$1"
    stage "$preset: configure and build"
    if ! cmake --preset "$preset" >"build/$preset.log" 2>&1; then
        cat "build/$preset.log"; failed+=("$preset configure"); return
    fi
    if ! cmake --build --preset "$preset" -j "$jobs" >>"build/$preset.log" 2>&1; then
        grep -E 'error|FAILED' -A5 "build/$preset.log" | head -80; failed+=("$preset build"); return
    fi
    stage "$preset: tests"
    ctest --preset "$preset" -j "$jobs" 2>&1 | tee "build/$preset.ctest.log"
    [ "${PIPESTATUS[0]}" -eq 0 ] || failed+=("$preset tests")
    # Summed over every preset for the closing line.
    local line total bad
    line="$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "build/$preset.ctest.log" | tail -n 1)"
    total="$(sed -E 's/.* out of ([0-9]+).*/\1/' <<<"$line")"
    bad="$(sed -E 's/.*passed, ([0-9]+) tests? failed.*/\1/' <<<"$line")"
    if [ -n "$line" ]; then
        passed_count=$((passed_count + total - bad)); failed_count=$((failed_count + bad))
    else
        failed_count=$((failed_count + 1))
    fi
}

# Adds a stage's summary line ("<stage>: N ... passed, M failed") to the tally; a stage that printed
# none (it did not get that far) counts as one failure.
add_counts() {
    if [ -n "$1" ]; then
        passed_count=$((passed_count + $(sed -E 's/^[a-z]+: ([0-9]+) .*/\1/' <<<"$1")))
        failed_count=$((failed_count + $(sed -E 's/.* ([0-9]+) failed$/\1/' <<<"$1")))
    else
        failed_count=$((failed_count + 1))
    fi
}

# A few seconds of every fuzz program (scripts/fuzz.sh) on its seed corpus: each program is one
# test in the tally.
run_fuzz() {
    stage "linux-fuzz: fuzz programs, 5 s each"
    TARN_FUZZ_SEED=1 scripts/fuzz.sh 5 2>&1 | tee build/fuzz.log
    [ "${PIPESTATUS[0]}" -eq 0 ] || failed+=("linux-fuzz")
    add_counts "$(grep -E '^fuzz: [0-9]+ passed, [0-9]+ failed$' build/fuzz.log | tail -n 1)"
}

# Memcheck over the Linux debug test programs (scripts/valgrind.sh); each suite counts as one test.
run_valgrind() {
    stage "valgrind: memcheck over every Linux test suite"
    scripts/valgrind.sh 2>&1 | tee build/valgrind.log
    [ "${PIPESTATUS[0]}" -eq 0 ] || failed+=("valgrind")
    add_counts "$(grep -E '^valgrind: [0-9]+ suites passed, [0-9]+ failed$' build/valgrind.log | tail -n 1)"
}

# A Linux build and a Windows build exchanging connection-hub frames (scripts/wire-test.sh); each
# pairing counts as one test.
run_wire() {
    stage "wire: Linux and Windows (Wine) builds exchange frames on loopback"
    scripts/wire-test.sh 2>&1 | tee build/wire.log
    [ "${PIPESTATUS[0]}" -eq 0 ] || failed+=("wire")
    add_counts "$(grep -E '^wire: [0-9]+ passed, [0-9]+ failed$' build/wire.log | tail -n 1)"
}

# The API reference (the docs target) from the configured linux-asan tree: any Doxygen warning, an
# undocumented public member among them, fails the stage.
run_docs() {
    stage "docs: API reference"
    if cmake --build --preset linux-asan --target docs >build/docs.log 2>&1; then
        passed_count=$((passed_count + 1))
    else
        grep -E 'warning|error' build/docs.log | head -60; failed+=("docs"); failed_count=$((failed_count + 1))
    fi
}

mkdir -p build
run_preset linux-asan
run_docs
run_preset linux-tsan
run_valgrind
run_preset windows-debug
run_wire
run_fuzz

stage "packaging: the packages and the SDK, each used by a client project outside the tree"
# The release packages, then the assertion-enabled builds of the stages above installed as an SDK: a
# client must see the library's own assertion setting either way.
rm -rf build/packages-test
if scripts/build-sdk.sh "$root/build/sdk-test" "$root/build/packages-test" >build/sdk.log 2>&1; then
    rm -rf build/sdk-assert-test
    for preset in linux-asan windows-debug; do
        cmake --install "build/$preset" --prefix build/sdk-assert-test --component sdk >/dev/null
    done
    if scripts/package-test.sh --packages "$root/build/packages-test" &&
        TARN_CLIENT_LINUX_FLAGS="-fsanitize=address,undefined" \
            scripts/package-test.sh --sdk "$root/build/sdk-assert-test" on; then
        passed_count=$((passed_count + 1))
    else
        failed+=("packaging"); failed_count=$((failed_count + 1))
    fi
else
    tail -60 build/sdk.log; failed+=("sdk build")
fi

echo
if [ ${#failed[@]} -ne 0 ] && [ "$failed_count" -eq 0 ]; then
    failed_count=${#failed[@]}
fi
echo "tests: $passed_count passed, $failed_count failed"
if [ ${#failed[@]} -eq 0 ]; then
    echo "ALL STAGES PASSED"
    exit 0
fi
echo "FAILED STAGES: ${failed[*]}"
exit 1
