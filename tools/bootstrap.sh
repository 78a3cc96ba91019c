# Sourced by run.sh and test.sh: installs the Debian packages the station needs (only those
# missing, quietly) and configures + builds the tree in build/ (or $ZOBREL_BUILD_DIR).
set -euo pipefail

ZOBREL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
ZOBREL_BUILD_DIR=${ZOBREL_BUILD_DIR:-$ZOBREL_ROOT/build}

zobrel_packages=(
    cmake ninja-build g++ pkg-config
    qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql libqt6opengl6-dev libgl-dev
    qt6-multimedia-dev
    qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools
    qt6-httpserver-dev
    fonts-wqy-microhei
    clang-format
    libsqlite3-dev
    libssl-dev openssl
    xz-utils
    postgresql
)

zobrel_install_packages() {
    local missing=()
    local pkg
    for pkg in "${zobrel_packages[@]}"; do
        if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
            missing+=("$pkg")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=""
    if [ "$(id -u)" -ne 0 ]; then
        sudo="sudo"
    fi
    export DEBIAN_FRONTEND=noninteractive
    $sudo apt-get update -qq
    $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

zobrel_build() {
    local extra=("$@")
    cmake -S "$ZOBREL_ROOT" -B "$ZOBREL_BUILD_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "${extra[@]}" >/dev/null
    cmake --build "$ZOBREL_BUILD_DIR" --parallel "$(nproc)"
}
