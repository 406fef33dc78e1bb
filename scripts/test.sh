#!/usr/bin/env bash
# Builds everything and runs every test: Linux under AddressSanitizer+UBSan, Linux under
# ThreadSanitizer, Windows x64 under Wine, and the packaging test of the installed SDK on both.
# Exits non-zero when anything fails.
set -uo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"

scripts/install-deps.sh || exit 1
jobs="$(nproc)"
failed=()

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
    ctest --preset "$preset" -j "$jobs" || failed+=("$preset tests")
}

mkdir -p build
run_preset linux-asan
run_preset linux-tsan
run_preset windows-debug

stage "packaging: SDK and a client project outside the tree"
if scripts/build-sdk.sh "$root/build/sdk-test" >build/sdk.log 2>&1; then
    scripts/package-test.sh "$root/build/sdk-test" || failed+=("packaging")
else
    tail -60 build/sdk.log; failed+=("sdk build")
fi

echo
if [ ${#failed[@]} -eq 0 ]; then
    echo "ALL STAGES PASSED"
    exit 0
fi
echo "FAILED STAGES: ${failed[*]}"
exit 1
