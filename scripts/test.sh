#!/usr/bin/env bash
# Set-up, build and the whole test suite. Exits non-zero when any test fails.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
ctest --test-dir build --output-on-failure -j2
