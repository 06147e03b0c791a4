#!/usr/bin/env bash
# Installs what is needed, builds, and runs the whole test suite.
#   scripts/test.sh                 plain build in build/
#   TESSARY_SANITIZE=thread scripts/test.sh    ThreadSanitizer build in build-tsan/
#   TESSARY_SANITIZE=address scripts/test.sh   AddressSanitizer+UBSan build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

sanitize="${TESSARY_SANITIZE:-}"
build_dir=build
flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTESSARY_WERROR=ON)
case "$sanitize" in
  "") ;;
  thread) build_dir=build-tsan; flags+=(-DTESSARY_TSAN=ON -DTESSARY_BENCHMARKS=OFF) ;;
  address) build_dir=build-asan; flags+=(-DTESSARY_ASAN=ON -DTESSARY_BENCHMARKS=OFF) ;;
  *) echo "TESSARY_SANITIZE must be thread or address" >&2; exit 2 ;;
esac

cmake -S . -B "$build_dir" -G Ninja "${flags[@]}"
cmake --build "$build_dir"

export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
export ASAN_OPTIONS="detect_leaks=0 ${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1 halt_on_error=1 ${UBSAN_OPTIONS:-}"
ctest --test-dir "$build_dir" --output-on-failure -j2 "$@"
