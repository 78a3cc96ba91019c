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
    settings_args=()
    if [ -d "$ZOBREL_ROOT/../shared/testdata/sectors" ]; then
        # With the public sample files beside the repository, the pictures show supervision at work:
        # the Toronto sector file, the FIR boundaries and the network's airport list loaded, a
        # snapshot of the network traffic, and the map from Toronto to Philadelphia (the offline
        # base map when no tile service answers).
        sectors=$(cd "$ZOBREL_ROOT/../shared/testdata/sectors" && pwd)
        demo_ini="$ZOBREL_BUILD_DIR/screenshot-settings/Zobrel.ini"
        mkdir -p "$(dirname "$demo_ini")"
        cat >"$demo_ini" <<EOF
[General]
sectorFiles=$sectors/euroscope-CZYZ.sct, $sectors/vatspy-Boundaries.geojson, $sectors/vatspy-VATSpy.dat
trafficFeedUrl=file://$sectors/vatsim-data-feed-v3-2024-02-20.json
trafficFeedEnabled=true
mapCenterLat=42.0
mapCenterLon=-77.5
mapZoom=7
EOF
        settings_args=(--settings "$demo_ini")
        echo "Screenshots show the sample sector files and traffic snapshot (settings: $demo_ini)."
    fi
    QT_QPA_PLATFORM=offscreen "$bin/app/zobrel" --screenshot "${settings_args[@]}"
    echo "Screenshots: $ZOBREL_ROOT/screenshots/"
    ls -1 "$ZOBREL_ROOT/screenshots/"
    echo "Log: $ZOBREL_ROOT/logs/zobrel.log"
else
    "$bin/app/zobrel" "$@"
fi
