#!/usr/bin/env bash
# Installs every Debian package that building, testing and the demo need.
# Idempotent: packages already present are left alone, and the package index
# is refreshed only when something is missing.
set -euo pipefail

packages=(
  # build
  g++ cmake ninja-build pkg-config clang libclang-rt-14-dev
  # application framework and libraries
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev
  libplist-dev libpugixml-dev
  # unit tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  # real clients the tests use
  trash-cli attr e2fsprogs sudo dbus dbus-x11 xvfb xauth poppler-utils
  util-linux procps python3 time
  # certificates for the keychain tests
  openssl
  # the window's icon theme (built-in icons stand in for missing ones) and the
  # SVG image and icon-engine plug-ins that let Qt load its SVG icons
  adwaita-icon-theme libqt6svg6
  # the privileged helper is started through pkexec by default
  pkexec
  # fonts for readable screenshots and printed lists
  fonts-dejavu-core
  # checks of the Debian package and its desktop entry, and the desktop's
  # type and entry databases the package registers with
  lintian desktop-file-utils xdg-utils shared-mime-info
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "setup: installing ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "setup: all packages present"
fi
