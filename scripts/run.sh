#!/usr/bin/env bash
# Set-up, build, and the main job: a local demo FTP server (scripts/demo-server.sh)
# and the demo host program opened onto it. Without a display ($DISPLAY and
# $WAYLAND_DISPLAY unset) the korvan command-line program lists the server,
# downloads a folder tree from it and shows what arrived, and the demo host,
# offscreen, saves screenshots of itself connected to the server. The server and
# the downloaded files are gone afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh

korvan=build/app/korvan
demo=build/app/demo/korvan-demo
work=$(mktemp -d "${TMPDIR:-/tmp}/korvan-run.XXXXXX")
server=""
cleanup() {
    if [ -n "$server" ]; then kill "$server" 2>/dev/null || true; wait "$server" 2>/dev/null || true; fi
    rm -rf "$work"
}
trap cleanup EXIT

scripts/demo-server.sh > "$work/url" &
server=$!
for _ in $(seq 100); do
    [ -s "$work/url" ] && break
    kill -0 "$server" 2>/dev/null || { echo "run: the demo server did not start" >&2; exit 1; }
    sleep 0.1
done
url=$(head -n 1 "$work/url")
[ -n "$url" ] || { echo "run: the demo server named no URL" >&2; exit 1; }

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "run: opening the demo host onto the demo server $url"
    echo "run: its FTP menu calls each method of the component; closing it stops the server"
    "$demo" "$url"
    exit 0
fi
echo "run: no display (\$DISPLAY and \$WAYLAND_DISPLAY are unset), so no window opens:"
echo "run: the command-line program on the demo server $url, then screenshots of the demo host"

show() {
    echo
    echo "\$ korvan $*"
    "$korvan" "$@"
}
show ls "$url"
show ls "${url}docs/"
show get "${url}docs" "${url}photos" "$work/fetched"
echo
echo "What arrived in $work/fetched:"
(cd "$work/fetched" && find . -mindepth 1 | sort | while read -r path; do
    if [ -d "$path" ]; then echo "  ${path#./}/"; else echo "  ${path#./} ($(stat -c %s "$path") bytes)"; fi
done)

shots="$PWD/build/screenshots"
mkdir -p "$shots"
echo
echo "Screenshots of the demo host connected to the demo server:"
screenshot() { # name address
    QT_QPA_PLATFORM=offscreen "$demo" --screenshot "$shots/$1" "$2" >/dev/null 2>"$work/demo.log" \
        || { cat "$work/demo.log" >&2; exit 1; }
    echo "  $shots/$1"
}
screenshot demo-host.png "$url"
screenshot demo-host-docs.png "${url}docs/guides/"
