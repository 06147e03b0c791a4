#!/usr/bin/env bash
# Times the main window on a large system (offscreen). Not part of the test suite.
#
#   scripts/benchmark-window.sh [--count N] [--seed S] [--runs R] [--dir DIR]
#
# Builds tessary-window-benchmark (optimised, in build-bench/ or
# $TESSARY_BENCH_BUILD_DIR), makes a sandbox of N plug-ins (default 10000) and
# prints, as medians over R rounds (default 3): the reload and the longest
# stall of the window's event loop during it, the time from the reload's end
# until the tree has painted, search latencies and the page times of
# scrolling the whole expanded tree.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir="${TESSARY_BENCH_BUILD_DIR:-build-bench}"
bash scripts/setup.sh > /dev/null
cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARY_BENCHMARKS=ON > /dev/null
cmake --build "$build_dir" --target tessary-window-benchmark -- -j2 > /dev/null
exec "$build_dir/bin/tessary-window-benchmark" "$@"
