#!/usr/bin/env bash
# Screenshots of the template installer's window, under Xvfb, into
# docs/screenshots/: plugin-installer.png before and plugin-installer-done.png
# after installing, for a copy of the built template laid out as the
# installer builder leaves it (three plug-ins, a licence, a background image)
# that installs into a temporary sandbox. The installer takes them itself
# (TESSARY_SCREENSHOTS=DIR, see src/installer/main.cpp).
# Usage: scripts/installer-screenshot.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)
build="${1:-$repo/build}"
template="$build/Tessary.app/Contents/MacOS/Plugin Installer.app"

if [ ! -x "$template/Contents/MacOS/Plugin Installer" ] || [ ! -s "$build/icons/256x256/tessary.png" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo > /dev/null
  cmake --build "$build" --target tessary_plugin_installer tessary-install-data
fi

work=$(mktemp -d /tmp/installer.XXXXXX)
trap 'rm -rf "$work"' EXIT
app="$work/Film Grain Installer.app"
cp -a "$template" "$app"
resources="$app/Contents/Resources"
structure="$resources/PluginStructure"
for plugin in "Library/Plug-Ins/FxPlug/Film Grain.fxplug" "Users/user/Library/Audio/Plug-Ins/Components/Film Grain.component" \
              "Library/Audio/Plug-Ins/VST/Film Grain.vst"; do
  mkdir -p "$structure/$plugin/Contents/MacOS"
  printf '<plist version="1.0"><dict/></plist>\n' > "$structure/$plugin/Contents/Info.plist"
done
cp "$build/icons/256x256/tessary.png" "$resources/Background.png"
cat > "$resources/License.txt" <<'TEXT'
FILM GRAIN SOFTWARE LICENCE AGREEMENT

Please read this licence carefully before installing the software. By installing it you agree to be bound by its terms.

1. Licence. You may install and use one copy of the software on each computer you own or control.
2. Restrictions. You may not rent, lease, lend or sublicense the software.
3. No warranty. The software is provided "as is", without warranty of any kind.
TEXT
cat > "$resources/InstallerSettings.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>VTPluginName</key><string>Film Grain</string>
	<key>VTPluginVersion</key><string>2.4</string>
	<key>VTPluginAuthor</key><string>Northlight Effects</string>
	<key>VTEULAPath</key><string>License.txt</string>
	<key>VTBgImagePath</key><string>Background.png</string>
</dict>
</plist>
PLIST

mkdir -p docs/screenshots
unset QT_QPA_PLATFORM WAYLAND_DISPLAY
TESSARY_SYSTEM_ROOT="$work/system" HOME="$work/home" TESSARY_SCREENSHOTS="$repo/docs/screenshots" \
  timeout 60 xvfb-run -a -s "-screen 0 1280x800x24" "$app/Contents/MacOS/Plugin Installer"
ls -l docs/screenshots/plugin-installer*.png
