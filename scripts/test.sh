#!/usr/bin/env bash
# Installs what is needed, builds, and runs the whole test suite.
#   scripts/test.sh                 plain build in build/
#   TESSARY_SANITIZE=thread scripts/test.sh    ThreadSanitizer build in build-tsan/
#   TESSARY_SANITIZE=address scripts/test.sh   AddressSanitizer+UBSan build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

build_dir=$(bash scripts/build.sh)

# The sanitizer judges only our instrumented code (tests/tsan.supp says why);
# Qt starts processes with a vfork-style clone that runs exec at once, which
# the sanitizer would otherwise take for a fork that keeps threads.
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 ignore_noninstrumented_modules=1 die_after_fork=0 suppressions=$PWD/tests/tsan.supp ${TSAN_OPTIONS:-}"
export ASAN_OPTIONS="detect_leaks=0 ${ASAN_OPTIONS:-}"
export UBSAN_OPTIONS="print_stacktrace=1 halt_on_error=1 ${UBSAN_OPTIONS:-}"
ctest --test-dir "$build_dir" --output-on-failure -j2 "$@"
