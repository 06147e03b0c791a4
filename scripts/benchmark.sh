#!/usr/bin/env bash
# Times the catalogue scan on a large system. Not part of the test suite.
#
#   scripts/benchmark.sh [--count N] [--seed S] [--runs R] [--dir DIR]
#
# Builds tessary-benchmark (optimised, in build-bench/ or
# $TESSARY_BENCH_BUILD_DIR), makes a sandbox of N plug-ins (default 10000:
# every kind, a fifth disabled, groups up to three deep, bundles with
# Info.plist and Mach-O executables) and runs R rounds (default 3) of
#   - a plain single-threaded walk of the same folders: list, stat every
#     entry, read every bundle's Info.plist, strings and Mach-O header;
#   - a full reload to a finished tree with every bundle read.
# It prints the median wall and processor times of both, their ratio
# (aim: at most 1.5), the peak resident memory (ru_maxrss; aim: under 150 MB)
# and the most threads seen during a reload (/proc/self/status, sampled).
# With --dir, an existing DIR/root is reused instead of being built again.
# On a busy machine the wall times vary; compare the rounds.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${TESSARY_BENCH_BUILD_DIR:-build-bench}"
bash scripts/setup.sh > /dev/null
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARY_BENCHMARKS=ON > /dev/null
cmake --build "$build_dir" --target tessary-benchmark -- -j2 > /dev/null
exec "$build_dir/bin/tessary-benchmark" "$@"
