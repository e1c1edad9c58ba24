#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build, run and test Korvan.
# Idempotent: installs only missing packages, starts no service system-wide (the
# tests start their own servers on loopback).
set -euo pipefail

need_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

packages=(
    build-essential cmake ccache pkg-config
    qt6-base-dev qt6-base-dev-tools
    adwaita-icon-theme shared-mime-info fonts-dejavu-core qt6-wayland
    python3-pyftpdlib pure-ftpd
    curl lftp openssl
    clang libclang-rt-14-dev
    xvfb xauth
    libxcb1-dev
    xdotool pcmanfm dbus-daemon dbus-bin xdg-utils
)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    need_root apt-get update -q
    need_root apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

# Debian's FTP server packages conflict with each other, so the ones that
# cannot be installed beside pure-ftpd are unpacked privately.
"$(dirname "$0")/setup-servers.sh"
