#!/usr/bin/env bash
# The frame format between builds: a Linux build and a Windows build (under Wine) of the library
# exchange connection-hub frames on loopback, each way round (Linux serving, Windows connecting,
# and the reverse); every frame is checked byte for byte on arrival (Tests/Network/WirePeer).
#
#   scripts/wire-test.sh     builds WirePeer in linux-debug and windows-debug, runs both pairings
#
# Prints "wire: N passed, M failed" last; exits non-zero when a pairing failed.
set -uo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root" || exit 1

mkdir -p build
for preset in linux-debug windows-debug; do
    if ! { cmake --preset "$preset" && cmake --build --preset "$preset" --target WirePeer -j "$(nproc)"; } \
        >"build/wire-$preset.log" 2>&1; then
        grep -E 'error|FAILED' -A5 "build/wire-$preset.log" | head -40
        echo "wire: 0 passed, 2 failed"
        exit 1
    fi
done

prefix="$root/build/windows-debug/wineprefix"
if [ ! -d "$prefix" ]; then
    env "WINEPREFIX=$prefix" WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml=" sh -c "wineboot --init >/dev/null 2>&1; wineserver -w"
fi

linux=(build/linux-debug/bin/WirePeer)
windows=(env "WINEPREFIX=$prefix" WINEDEBUG=-all "WINEDLLOVERRIDES=mscoree,mshtml="
    "$(sed -n 's/^TARN_WINE:FILEPATH=//p' build/windows-debug/CMakeCache.txt)" build/windows-debug/bin/WirePeer.exe)

work="$(mktemp -d)"
server_pid=
trap '[ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null; rm -rf "$work"' EXIT

# run_pair <name> <server command...> -- <client command...>
passed=0
failed=0
run_pair() {
    local name="$1"; shift
    local server=() client=()
    while [ "$1" != "--" ]; do server+=("$1"); shift; done
    shift
    client=("$@")
    "${server[@]}" serve >"$work/$name.server" 2>&1 &
    server_pid=$!
    local port="" waited=0
    # Wine starts in a few seconds; a server that prints no port within a minute has failed.
    while [ -z "$port" ] && [ "$waited" -lt 600 ] && kill -0 "$server_pid" 2>/dev/null; do
        port="$(sed -n 's/^port \([0-9]*\).*/\1/p' "$work/$name.server" | tr -d '\r')"
        [ -n "$port" ] || { sleep 0.1; waited=$((waited + 1)); }
    done
    local client_status=1 server_status=1
    if [ -n "$port" ]; then
        timeout 120 "${client[@]}" connect "$port" >"$work/$name.client" 2>&1
        client_status=$?
    fi
    timeout 120 tail --pid="$server_pid" -f /dev/null
    wait "$server_pid"
    server_status=$?
    server_pid=
    if [ "$client_status" -eq 0 ] && [ "$server_status" -eq 0 ]; then
        passed=$((passed + 1)); echo "PASS $name"
    else
        failed=$((failed + 1)); echo "FAIL $name (server $server_status, client $client_status)"
        sed 's/^/  server: /' "$work/$name.server"; sed 's/^/  client: /' "$work/$name.client" 2>/dev/null
    fi
}

run_pair linux-serves-windows "${linux[@]}" -- "${windows[@]}"
run_pair windows-serves-linux "${windows[@]}" -- "${linux[@]}"
echo "wire: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
