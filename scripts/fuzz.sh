#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for SECONDS (default 60).
# A crashing input is left in fuzz/corpus-work/<target>/ as crash-*: keep it as a
# regression case in the target's unit test.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
CXX=clang++ cmake -S . -B fuzz-build -DKORVAN_FUZZ=ON >/dev/null
cmake --build fuzz-build -j2 >/dev/null
status=0
for fuzzer in fuzz-build/fuzz/fuzz_*; do
    [ -f "$fuzzer" ] && [ -x "$fuzzer" ] || continue  # not the automoc folders
    name=$(basename "$fuzzer")
    work=fuzz/corpus-work/$name
    mkdir -p "$work/corpus"
    seeds=()
    [ -d "fuzz/seeds/$name" ] && seeds=("fuzz/seeds/$name")
    echo "== $name for ${seconds}s"
    if ! (cd "$work" && "$OLDPWD/$fuzzer" -max_total_time="$seconds" -timeout=5 -rss_limit_mb=2048 \
            -print_final_stats=1 corpus "${seeds[@]/#/$OLDPWD/}" 2>"log.txt"); then
        echo "!! $name found a problem: see $work/log.txt"
        status=1
    fi
    grep -E '^(stat::number_of_executed_units|Done)' "$work/log.txt" | tail -1 || true
done
exit $status
