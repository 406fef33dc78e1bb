#!/usr/bin/env bash
# Builds the release library for Linux and for Windows x64 and installs both, with the public
# headers and the CMake package config, into one SDK folder (default: <repo>/sdk); makes the
# packages (a .deb and a tarball for Linux, a zip for Windows) in one folder (default:
# <repo>/packages); then runs the demo program installed beside the libraries (bin/TarnDemo), on
# Linux and, with Wine, on Windows.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
prefix="${1:-$root/sdk}"
packages="${2:-$root/packages}"
cd "$root"

scripts/install-deps.sh
jobs="$(nproc)"

for preset in linux-release windows-release; do
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" -j "$jobs"
    cmake --install "build/$preset" --prefix "$prefix" --component sdk >/dev/null
    cmake --install "build/$preset" --prefix "$prefix" --component demo >/dev/null
    cpack --config "build/$preset/CPackConfig.cmake" -B "$packages" >/dev/null
done
rm -rf "$packages/_CPack_Packages"
echo "SDK installed in $prefix"
echo "Packages:"
for package in "$packages"/*.deb "$packages"/*.tar.gz "$packages"/*.zip; do
    echo "  $package"
done

echo
echo "== TarnDemo on Linux: $prefix/bin/TarnDemo --loglevel=info"
"$prefix/bin/TarnDemo" --loglevel=info
if command -v wine >/dev/null; then
    echo
    echo "== TarnDemo.exe on Windows (Wine): $prefix/bin/TarnDemo.exe --loglevel=info"
    WINEPREFIX="$root/build/windows-release/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" \
        wine "$prefix/bin/TarnDemo.exe" --loglevel=info
fi
