#!/usr/bin/env bash
# Runs a command on a private virtual X display of two 1920 x 1080 screens side by side, joined by
# Xinerama: Xephyr nested in Xvfb. Xvfb alone stacks its screens at the same origin, so Wine would
# see one monitor; Xephyr places the second screen with -origin. RandR is off so that Wine reads
# the monitor layout from Xinerama.
#
# Two keys of the main block get non-ASCII letters (the grave key: adiaeresis, the backslash key:
# Cyrillic_zhe), so that xdotool types them with keycodes that stay mapped: its own temporary
# remapping is undone before Wine reads the key events, and Wine gives the spare keycodes it would
# use no virtual keys.
#
# With --randr the same two monitors are RandR 1.5 monitors ("DP-1", "DP-2") on one Xvfb screen of
# 3840 x 1080, for X11 clients, which read the layout from RandR: Xinerama is not used there, and
# Xvfb cannot place two screens of its own side by side.
#
# Usage: scripts/with-display.sh [--randr] command [arguments...]; exits with the command's status.
set -uo pipefail

randr=0
if [ "${1:-}" = "--randr" ]; then
    randr=1
    shift
fi
[ $# -ge 1 ] || { echo "usage: $0 [--randr] command [arguments...]" >&2; exit 2; }

work="$(mktemp -d)"
host_pid=""
nested_pid=""
cleanup() {
    [ -n "$nested_pid" ] && kill "$nested_pid" 2>/dev/null && wait "$nested_pid" 2>/dev/null
    [ -n "$host_pid" ] && kill "$host_pid" 2>/dev/null && wait "$host_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

# Starts an X server that writes its display number to a file (-displayfd), and waits at most 10 s
# for it. Sets server_pid and server_display; the server is a child of this shell, so the exit trap
# can stop and reap it.
start_server() {
    local name="$1"; shift
    local number="$work/$name.number"
    : >"$number"
    "$@" -displayfd 3 3>"$number" >"$work/$name.log" 2>&1 &
    server_pid=$!
    local waited=0
    until grep -q '^[0-9]' "$number"; do
        if ! kill -0 "$server_pid" 2>/dev/null || [ $waited -ge 100 ]; then
            echo "with-display: $1 did not start:" >&2; cat "$work/$name.log" >&2; return 1
        fi
        sleep 0.1; waited=$((waited + 1))
    done
    server_display="$(head -n 1 "$number")"
}

if [ $randr -eq 1 ]; then
    # -noreset keeps the monitors: the server would forget them when xrandr disconnects.
    start_server host Xvfb -screen 0 3840x1080x24 +extension RANDR -nolisten tcp -noreset || exit 1
    host_pid=$server_pid
    export DISPLAY=":$server_display"
    xrandr --setmonitor DP-1 1920/508x1080/286+0+0 screen >/dev/null || exit 1
    xrandr --setmonitor DP-2 1920/508x1080/286+1920+0 none >/dev/null || exit 1
else
    start_server host Xvfb -screen 0 3840x1080x24 -nolisten tcp -noreset || exit 1
    host_pid=$server_pid
    DISPLAY=":$server_display" start_server nested Xephyr -nolisten tcp -noreset -extension RANDR +xinerama \
        -screen 1920x1080 -origin 1920,0 -screen 1920x1080 || exit 1
    nested_pid=$server_pid
    export DISPLAY=":$server_display"
fi
xmodmap -e "keycode 49 = adiaeresis" -e "keycode 51 = Cyrillic_zhe" || exit 1
"$@"
