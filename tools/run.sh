#!/usr/bin/env bash
# Installs what is missing, builds, and runs the station. Without a simulator on this machine the
# demo simulator (zobrel-xpsim) is started for it; without a display the station runs offscreen
# and writes screenshots of every tab.
source "$(dirname "${BASH_SOURCE[0]}")/bootstrap.sh"

zobrel_install_packages
zobrel_build

bin=$ZOBREL_BUILD_DIR
demo_pid=""
cleanup() {
    if [ -n "$demo_pid" ]; then
        kill "$demo_pid" 2>/dev/null || true
        wait "$demo_pid" 2>/dev/null || true
    fi
}
trap cleanup EXIT

if pgrep -if 'x-plane|FlightSimulator|Prepar3D|fsx\.exe' >/dev/null; then
    echo "A simulator is already running; the station will connect to it."
else
    # Started under an X-Plane-like name, so the station finds it through its normal detection.
    (exec -a "X-Plane 11 (zobrel demo)" "$bin/tools/xpsim/zobrel-xpsim" --quiet) &
    demo_pid=$!
    echo "Started the demo simulator (zobrel-xpsim, pid $demo_pid) on 127.0.0.1:49000."
fi

cd "$ZOBREL_ROOT"
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    echo "No display: running the station offscreen and writing screenshots."
    QT_QPA_PLATFORM=offscreen "$bin/app/zobrel" --screenshot
    echo "Screenshots: $ZOBREL_ROOT/screenshots/"
    ls -1 "$ZOBREL_ROOT/screenshots/"
    echo "Log: $ZOBREL_ROOT/logs/zobrel.log"
else
    "$bin/app/zobrel" "$@"
fi
