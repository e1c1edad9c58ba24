#!/bin/sh
# Runs a test program on a display of its own: a fresh Xvfb (a free display
# number), a session bus of its own and an empty home, so the desktop programs
# the test starts (PCManFM, xdg-open) see nothing of the user's.
set -eu
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home" XDG_CONFIG_HOME="$home/.config" XDG_DATA_HOME="$home/.local/share" \
       XDG_CACHE_HOME="$home/.cache" QT_QPA_PLATFORM=xcb
unset XDG_CURRENT_DESKTOP DESKTOP_SESSION KDE_FULL_SESSION GNOME_DESKTOP_SESSION_ID
xvfb-run -a -s "-screen 0 1280x800x24 -nolisten tcp" dbus-run-session -- "$@"
