#!/usr/bin/env bash
# Makes the four FTP servers of the test fixtures available.
#
# pyftpdlib and pure-ftpd come from apt (scripts/setup.sh). vsftpd and proftpd
# conflict with pure-ftpd as packages (all provide ftp-server), so they are
# unpacked privately into $KORVAN_FTPD_DIR (default /opt/korvan-ftpd) and only
# the shared libraries they need are installed with apt. No service is started;
# the tests start their own servers on loopback.
# Idempotent and quick when everything is present. Needs root.
set -euo pipefail

FTPD_DIR="${KORVAN_FTPD_DIR:-/opt/korvan-ftpd}"
# proftpd-mod-crypto holds mod_tls, for the FTPS tests.
PRIVATE_PACKAGES=(vsftpd proftpd-core proftpd-mod-crypto)

log() { echo "setup-servers: $*"; }

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

is_installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "ok installed"
}

# The library packages among a package's Depends (first choice of each
# alternative, version constraints dropped). Tools like adduser or ucf are
# only used by the package's maintainer scripts, which we never run.
library_depends() {
    apt-cache depends --no-recommends --no-suggests --no-conflicts --no-breaks \
        --no-replaces --no-enhances "$1" 2>/dev/null |
        awk '/^  Depends: / || /^ \|Depends: / { print $2 }' |
        grep -E '^lib' | grep -v '^<' | sort -u
}

unpacked_marker() { echo "$FTPD_DIR/.unpacked-$1"; }

unpack_private() {
    local package="$1" workdir
    [ -f "$(unpacked_marker "$package")" ] && return 0
    log "unpacking $package into $FTPD_DIR"
    workdir="$(mktemp -d)"
    # apt-get download drops privileges to _apt, which must be able to write here.
    chmod 777 "$workdir"
    # Package lists may be missing or stale on a fresh machine: refresh once and retry.
    if ! (cd "$workdir" && apt-get download -q "$package"); then
        as_root apt-get update -q
        (cd "$workdir" && apt-get download -q "$package")
    fi
    as_root mkdir -p "$FTPD_DIR"
    as_root dpkg-deb -x "$workdir"/"${package}"_*.deb "$FTPD_DIR"
    rm -rf "$workdir"
    as_root touch "$(unpacked_marker "$package")"
}

install_missing_libraries() {
    local missing=() lib package
    for package in "${PRIVATE_PACKAGES[@]}"; do
        for lib in $(library_depends "$package"); do
            is_installed "$lib" || missing+=("$lib")
        done
    done
    if [ ${#missing[@]} -gt 0 ]; then
        log "installing libraries ${missing[*]}"
        export DEBIAN_FRONTEND=noninteractive
        as_root apt-get install -y -q --no-install-recommends "${missing[@]}"
    fi
}

unresolved_libraries() {
    ldd "$FTPD_DIR/usr/sbin/vsftpd" "$FTPD_DIR/usr/sbin/proftpd" "$FTPD_DIR/usr/lib/proftpd/mod_tls.so" | grep 'not found' || true
}

check_binaries_load() {
    local unresolved
    unresolved="$(unresolved_libraries)"
    if [ -n "$unresolved" ]; then
        log "ERROR: the unpacked servers lack libraries:"
        echo "$unresolved" >&2
        exit 1
    fi
}

# vsftpd authenticates local users through PAM service "vsftpd".
install_vsftpd_pam_file() {
    if [ ! -f /etc/pam.d/vsftpd ]; then
        log "installing /etc/pam.d/vsftpd"
        as_root cp "$FTPD_DIR/etc/pam.d/vsftpd" /etc/pam.d/vsftpd
    fi
}

# Debian starts pure-ftpd on port 21 when the package is installed; the tests
# never use that instance, so stop it and keep it from starting at boot.
stop_system_pure_ftpd() {
    is_installed pure-ftpd || return 0
    if command -v systemctl >/dev/null && [ -d /run/systemd/system ]; then
        if systemctl is-active --quiet pure-ftpd 2>/dev/null || systemctl is-enabled --quiet pure-ftpd 2>/dev/null; then
            log "stopping and disabling the system pure-ftpd service"
            as_root systemctl disable --now pure-ftpd >/dev/null 2>&1 || true
        fi
    elif [ -x /etc/init.d/pure-ftpd ] && /etc/init.d/pure-ftpd status >/dev/null 2>&1; then
        log "stopping the system pure-ftpd service"
        as_root /etc/init.d/pure-ftpd stop >/dev/null 2>&1 || true
    fi
}

for package in "${PRIVATE_PACKAGES[@]}"; do
    unpack_private "$package"
done
# Asking apt about Depends is slow: only when a library is missing or on the first run.
libraries_stamp="$FTPD_DIR/.libraries-installed"
if [ ! -f "$libraries_stamp" ] || [ -n "$(unresolved_libraries)" ]; then
    install_missing_libraries
    as_root touch "$libraries_stamp"
fi
check_binaries_load
install_vsftpd_pam_file
stop_system_pure_ftpd
log "servers ready (vsftpd and proftpd in $FTPD_DIR/usr/sbin)"
