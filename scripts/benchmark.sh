#!/usr/bin/env bash
# Times the catalogue scan on a large system. Not part of the test suite.
#
#   scripts/benchmark.sh [--count N] [--seed S] [--runs R] [--dir DIR]
#
# Builds tessary, tessary-floor-walk and tessary-benchmark (optimised, in
# build-bench/ or $TESSARY_BENCH_BUILD_DIR), makes a sandbox of N plug-ins
# (default 10000: every kind, a fifth disabled, groups up to three deep,
# bundles with Info.plist and Mach-O executables) and runs, alternately in
# R rounds (default 3):
#   - the floor: one thread that lists every folder, lstats every entry,
#     parses each Info.plist with libplist and reads 4 KB of each executable;
#   - tessary -allplugins;
#   - tessary -allplugins -data.
# Warm first, then (as root) cold, with the caches dropped before each run.
# Prints the medians, the ratios to the floor per round (aims: warm
# -allplugins at most 1.5, -data at most 2.5, cold -allplugins at most a
# third), the system calls of each (strace -f -c; aim: at most 1.3 times the
# floor's) and the peak memory (aim: under 150 MB).
# With --dir, an existing DIR/root is reused instead of being built again.
# On a busy machine the wall times vary; compare the rounds.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${TESSARY_BENCH_BUILD_DIR:-build-bench}"
bash scripts/setup.sh > /dev/null
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARY_BENCHMARKS=ON > /dev/null
cmake --build "$build_dir" --target tessary-benchmark tessary-floor-walk Tessary -- -j2 > /dev/null
exec "$build_dir/bin/tessary-benchmark" "$@"
