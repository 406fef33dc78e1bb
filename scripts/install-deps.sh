#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need. Idempotent: installs
# only what is missing, so a machine that has everything does no network work.
set -euo pipefail

packages=(
    cmake ninja-build g++ pkg-config clang libclang-rt-14-dev valgrind
    g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev wine64 wine xvfb xauth xserver-xephyr x11-xserver-utils xdotool
    libx11-dev libxi-dev libxrandr-dev
    libglm-dev libgtest-dev libgmock-dev googletest libbenchmark-dev
    libspdlog-dev libxxhash-dev libzmq3-dev libboost-dev libproj-dev
    libdw-dev dpkg-dev lintian doxygen
)

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    echo "install-deps: missing packages: ${missing[*]} (run as root to install them)" >&2
    exit 1
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
