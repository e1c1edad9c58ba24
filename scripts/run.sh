#!/usr/bin/env bash
# Set-up, build, and run the main job. Until the explorer window exists this is
# the command-line program reading a sample server listing.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
build/app/korvan parse-listing --folder /pub/ < app/samples/listing-unix.txt
