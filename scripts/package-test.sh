#!/usr/bin/env bash
# Configures, builds and runs the client project of Tests/Package/Client against an installed SDK,
# from a copy outside the library's tree, for Linux and for Windows (run under Wine).
# Usage: package-test.sh [sdk] [on|off]   the second argument is whether that SDK was built with
# assertions (default off, as build-sdk.sh makes it). TARN_CLIENT_LINUX_FLAGS adds compiler flags
# to the Linux client, for an SDK built with sanitizers.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
sdk="$(cd "${1:-$root/sdk}" && pwd)"
expected="client: ok (assertions ${2:-off})"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp -r "$root/Tests/Package/Client" "$work/client"
cmake_dir="$sdk/share/cmake/TarnFoundation"

echo "-- Linux client"
cmake -S "$work/client" -B "$work/linux" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$sdk" \
    -DCMAKE_CXX_FLAGS="${TARN_CLIENT_LINUX_FLAGS:-}" >/dev/null
cmake --build "$work/linux" >/dev/null
out="$("$work/linux/SdkClient")"
echo "$out"
[ "$out" = "$expected" ]

echo "-- Windows client (Wine)"
cmake -S "$work/client" -B "$work/windows" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$cmake_dir/mingw-w64-x86_64.toolchain.cmake" \
    -DTarnFoundation_DIR="$cmake_dir" >/dev/null
cmake --build "$work/windows" >/dev/null
[ -f "$work/windows/Tarn.Foundation.dll" ]
out="$(WINEPREFIX="$work/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" wine "$work/windows/SdkClient.exe" 2>/dev/null | tr -d '\r')"
echo "$out"
[ "$out" = "$expected" ]
echo "packaging test passed"
