#!/usr/bin/env bash
# Configures and builds one build folder; run.sh and test.sh both come here so
# that they share the plain build/ with the same flags and the second of them
# rebuilds nothing.
#   scripts/build.sh                                plain build in build/
#   TESSARY_SANITIZE=thread|address scripts/build.sh   build-tsan/ or build-asan/
# Prints the build folder on its last line.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=build
flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSARY_WERROR=ON)
case "${TESSARY_SANITIZE:-}" in
  "") ;;
  thread) build_dir=build-tsan; flags+=(-DTESSARY_TSAN=ON -DTESSARY_BENCHMARKS=OFF) ;;
  address) build_dir=build-asan; flags+=(-DTESSARY_ASAN=ON -DTESSARY_BENCHMARKS=OFF) ;;
  *) echo "TESSARY_SANITIZE must be thread or address" >&2; exit 2 ;;
esac

cmake -S . -B "$build_dir" -G Ninja "${flags[@]}" >&2
cmake --build "$build_dir" >&2
echo "$build_dir"
