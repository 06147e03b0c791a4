#!/usr/bin/env bash
# Screenshots of the main window on the demo sandbox, under Xvfb, into
# docs/screenshots/: the expanded tree, a search, the progress sheet, alert
# sheets, the Audio Unit validation window and the installer builder; then the
# template installer's window (installer-screenshot.sh). The program takes
# them itself (TESSARY_SCREENSHOTS=DIR, see
# src/window/VTWindowApplication.cpp). Usage: scripts/screenshots.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)
build="${1:-$repo/build}"

if [ ! -x "$build/bin/tessary" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
  cmake --build "$build" --target Tessary tessary-sandbox
fi

demo=$(mktemp -d)
trap 'rm -rf "$demo"' EXIT
eval "$("$build/bin/tessary-sandbox" demo "$demo/system")"
export TESSARY_SYSTEM_ROOT HOME
mkdir -p docs/screenshots
unset QT_QPA_PLATFORM WAYLAND_DISPLAY
TESSARY_SCREENSHOTS="$repo/docs/screenshots" \
  timeout 120 xvfb-run -a -s "-screen 0 1280x800x24" "$build/bin/tessary"
scripts/installer-screenshot.sh "$build"
ls -l docs/screenshots
