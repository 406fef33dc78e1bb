#!/usr/bin/env bash
# Builds the release library for Linux and for Windows x64 and installs both, with the public
# headers and the CMake package config, into one SDK folder (default: <repo>/sdk).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
prefix="${1:-$root/sdk}"
cd "$root"

scripts/install-deps.sh
jobs="$(nproc)"

for preset in linux-release windows-release; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    cmake --install "build/$preset" --prefix "$prefix" --component sdk >/dev/null
done
echo "SDK installed in $prefix"
