#!/usr/bin/env bash
# Configures and builds Korvan into build/ (extra arguments go to cmake).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build build -j2
