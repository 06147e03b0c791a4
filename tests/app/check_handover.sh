#!/bin/sh
# Run inside its own session bus (dbus-run-session): a window is started,
# then a second start with a file must hand the file to it and end, making
# no window and no log of its own.
set -eu
build=$1
scratch=$(mktemp -d)
first=
trap '[ -n "$first" ] && kill "$first" 2>/dev/null; rm -rf "$scratch"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

eval "$("$build/bin/tessary-sandbox" demo "$scratch/system" 2>/dev/null)"
export TESSARY_SYSTEM_ROOT HOME QT_QPA_PLATFORM=offscreen
"$build/bin/tessary" >/dev/null 2>&1 &
first=$!
owned=no
for _ in $(seq 1 300); do
  if dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
       string:com.vantorel.Tessary 2>/dev/null | grep -q true; then owned=yes; break; fi
  kill -0 "$first" 2>/dev/null || fail "the first window ended"
  sleep 0.2
done
[ "$owned" = yes ] || fail "the first window never took the bus name"

mkdir -p "$scratch/Glow.fxplug/Contents"
timeout 60 "$build/bin/tessary" "$scratch/Glow.fxplug" >/dev/null 2>&1 || fail "the second start did not end at once"
kill -0 "$first" 2>/dev/null || fail "the first window ended"
logs=$(find "$TESSARY_SYSTEM_ROOT" "$HOME" -name 'Tessary.*.log')
[ "$(echo "$logs" | wc -l)" -eq 1 ] || fail "the second start made a log: $logs"
for _ in $(seq 1 300); do
  grep -q "Another start handed over 1 file(s)." $logs && { echo "hand-over passed"; exit 0; }
  sleep 0.2
done
fail "the first window did not receive the file"
