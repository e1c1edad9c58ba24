#!/usr/bin/env bash
# Set-up, build, and the main job: the korvan program against a local demo FTP
# server (scripts/demo-server.sh): list it, download a folder tree from it and
# show what arrived. The server and the downloaded files are gone afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh

korvan=build/app/korvan
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
