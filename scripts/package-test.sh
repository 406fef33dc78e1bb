#!/usr/bin/env bash
# Builds and runs the client project of Tests/Package/Client from a copy outside the library's tree,
# the way a user receives the library:
#
#   package-test.sh --packages <dir>       the packages build-sdk.sh made: the .deb unpacked into a
#                                          scratch root (CMake and pkg-config), checked by lintian;
#                                          the Linux tarball (CMake); the Windows zip (CMake, Wine)
#   package-test.sh --sdk <dir> [on|off]   an installed SDK folder, Linux and Windows; the second
#                                          argument is whether it was built with assertions
#
# The client prints "client: ok (assertions on|off)". TARN_CLIENT_LINUX_FLAGS adds compiler flags to
# the Linux client, for an SDK built with sanitizers.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
mode="${1:?usage: package-test.sh --packages <dir> | --sdk <dir> [on|off]}"
source_dir="$(cd "${2:?missing folder}" && pwd)"
expected="client: ok (assertions ${3:-off})"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cp -r "$root/Tests/Package/Client" "$work/client"
flags="${TARN_CLIENT_LINUX_FLAGS:-}"

expect_ok() { # <label> <output>
    echo "$1: $2"
    [ "$2" = "$expected" ] || { echo "package test failed: $1 printed '$2', expected '$expected'"; exit 1; }
}

linux_cmake() { # <label> <prefix> <library folder>
    cmake -S "$work/client" -B "$work/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$2" \
        -DCMAKE_CXX_FLAGS="$flags" >/dev/null
    cmake --build "$work/$1" >/dev/null
    expect_ok "$1" "$(LD_LIBRARY_PATH="$3" "$work/$1/SdkClient")"
}

linux_pkg_config() { # <label> <pkgconfig folder> <library folder>
    mkdir -p "$work/$1"
    # shellcheck disable=SC2046 # the flags are meant to split
    c++ -std=c++20 $flags "$work/client/main.cpp" -o "$work/$1/SdkClient" \
        $(PKG_CONFIG_PATH="$2" pkg-config --cflags --libs tarn-foundation)
    expect_ok "$1" "$(LD_LIBRARY_PATH="$3" "$work/$1/SdkClient")"
}

windows_cmake() { # <label> <prefix>
    local cmake_dir="$2/share/cmake/TarnFoundation"
    cmake -S "$work/client" -B "$work/$1" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$cmake_dir/mingw-w64-x86_64.toolchain.cmake" \
        -DTarnFoundation_DIR="$cmake_dir" >/dev/null
    cmake --build "$work/$1" >/dev/null
    [ -f "$work/$1/Tarn.Foundation.dll" ]
    expect_ok "$1" "$(WINEPREFIX="$work/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" \
        wine "$work/$1/SdkClient.exe" 2>/dev/null | tr -d '\r')"
}

case "$mode" in
--sdk)
    linux_cmake linux-sdk "$source_dir" ""
    windows_cmake windows-sdk "$source_dir"
    ;;
--packages)
    shopt -s nullglob
    debs=("$source_dir"/*.deb) tarballs=("$source_dir"/*-Linux.tar.gz) zips=("$source_dir"/*-win64.zip)
    [ ${#debs[@]} -eq 1 ] && [ ${#tarballs[@]} -eq 1 ] && [ ${#zips[@]} -eq 1 ] ||
        { echo "package test: expected one .deb, one -Linux.tar.gz and one -win64.zip in $source_dir"; exit 1; }

    echo "-- lintian ${debs[0]##*/}"
    lintian_status=0
    lintian_output="$(lintian --fail-on error "${debs[0]}" 2>&1)" || lintian_status=$?
    grep -v 'running with root privileges' <<<"$lintian_output" || true
    [ "$lintian_status" -eq 0 ] || { echo "package test failed: lintian reports errors"; exit 1; }
    dpkg -x "${debs[0]}" "$work/deb"
    linux_cmake deb-cmake "$work/deb/usr" "$work/deb/usr/lib"
    linux_pkg_config deb-pkg-config "$work/deb/usr/lib/pkgconfig" "$work/deb/usr/lib"

    mkdir -p "$work/tarball" "$work/zip"
    tar -xzf "${tarballs[0]}" -C "$work/tarball"
    linux_cmake tarball-cmake "$(echo "$work"/tarball/*)" ""
    (cd "$work/zip" && cmake -E tar xf "${zips[0]}")
    windows_cmake zip-cmake "$(echo "$work"/zip/*)"
    ;;
*)
    echo "package-test.sh: unknown mode $mode"; exit 1
    ;;
esac
echo "packaging test passed"
