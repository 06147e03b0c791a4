#!/bin/sh
# Installs the build into a scratch prefix and checks that the pieces find
# each other there: the command reaches the program, the helper lies where the
# polkit action says, the desktop entry and the type definitions are valid.
set -eu
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

cmake --install "$build" --prefix "$prefix" >/dev/null
[ "$(readlink -f "$prefix/bin/tessary")" = "$(readlink -f "$prefix/lib/tessary/Tessary")" ] ||
  fail "bin/tessary does not lead to the program"
[ -x "$prefix/lib/tessary/tessary-helper" ] || fail "no helper beside the program"
named=$(sed -n 's|.*exec.path">\(.*\)</annotate>.*|\1|p' "$prefix/share/polkit-1/actions/com.vantorel.tessary.helper.policy")
[ "$named" = "$prefix/lib/tessary/tessary-helper" ] || fail "polkit action names '$named'"
# The template installer the builder copies lies beside the program, with its
# own helper; without settings (the bare template) it refuses with 2.
installer="$prefix/lib/tessary/Plugin Installer.app/Contents"
[ -x "$installer/MacOS/Plugin Installer" ] && [ -x "$installer/MacOS/tessary-helper" ] && [ -s "$installer/Info.plist" ] ||
  fail "no template installer beside the program"
status=0
"$installer/MacOS/Plugin Installer" --list 2>"$prefix/installer.err" || status=$?
[ "$status" -eq 2 ] && grep -q 'InstallerSettings.plist is missing' "$prefix/installer.err" ||
  fail "the bare template installer answers $status: $(cat "$prefix/installer.err")"
desktop-file-validate "$prefix/share/applications/com.vantorel.Tessary.desktop" || fail "desktop entry"
grep -q '^application/x-fxplug' "$prefix/share/mime/globs" || fail "no fxplug type in the type database"
for size in 16 32 48 128 256; do
  [ -s "$prefix/share/icons/hicolor/${size}x${size}/apps/tessary.png" ] || fail "no ${size}px icon"
done
# The installed program finds its helper and runs a command word on an empty system.
mkdir "$prefix/system"
TESSARY_SYSTEM_ROOT="$prefix/system" HOME="$prefix/system" "$prefix/bin/tessary" -allplugins ||
  fail "installed program fails -allplugins"
echo "install checks passed"
