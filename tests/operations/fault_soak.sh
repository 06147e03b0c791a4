#!/bin/sh
# A longer run of the kill test than the suite's: many more SIGKILLs at random
# moments of batch disables and enables, on one file system and across file
# systems. Run as root from the source folder:
#   tests/operations/fault_soak.sh BUILD_DIR [KILLS]
# Prints the figures of each case (kill points, kills inside a copy, plug-ins
# lost) and exits with the test's status.
set -u
build="${1:?usage: fault_soak.sh BUILD_DIR [KILLS]}"
kills="${2:-300}"
source_dir="$(cd "$(dirname "$0")/../.." && pwd)"
build="$(cd "$build" && pwd)"
output="$(mktemp)"
trap 'rm -f "$output"' EXIT
TESSARY_FAULT_KILLS="$kills" TESSARY_BINARY_DIR="$build" TESSARY_SOURCE_DIR="$source_dir" \
  "$build/tests/operations/tst_FaultInjection" > "$output" 2>&1
status=$?
grep -E "fault injection|OK \]|FAILED|Failure|lost:" "$output"
exit $status
