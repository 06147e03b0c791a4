#!/usr/bin/env bash
# The main job: set up, build, and show a plug-in system. Without
# TESSARY_SYSTEM_ROOT a demo sandbox with plug-ins of every kind (some
# disabled, some grouped) is made first, in the folder given as the first
# argument (default: sandbox-demo/ in the repository).
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)

bash scripts/setup.sh
build=$(TESSARY_SANITIZE= bash scripts/build.sh)

if [ -z "${TESSARY_SYSTEM_ROOT:-}" ]; then
  demo="${1:-$repo/sandbox-demo}"
  rm -rf "$demo"
  eval "$("$build/bin/tessary-sandbox" demo "$demo")"
  export TESSARY_SYSTEM_ROOT HOME
  echo "Demo sandbox: system root $TESSARY_SYSTEM_ROOT, home $HOME"
fi

echo "Plug-ins (enabled first, then those in the disabled tree):"
exec "$build/bin/tessary" -allplugins
