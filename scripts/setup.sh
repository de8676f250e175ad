#!/usr/bin/env bash
# Installs the Debian packages the build needs. Idempotent: asks apt only for what is missing,
# and runs `apt-get update` once, before the first install.
set -euo pipefail
packages=(
  cmake make g++ clang libclang-rt-14-dev clang-format clang-tidy pkg-config git
  libaravis-dev libusb-1.0-0-dev libglib2.0-dev libxml2-dev zlib1g-dev
  libsimpleini-dev libcli11-dev libtiff-dev libpng-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  dpkg-dev file libxml2-utils
  python3 python3-numpy python3-pytest
  zenity xvfb openbox xdotool imagemagick
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-x
)
# `setup.sh windows`: also the cross tools for the Windows build (scripts/windows-engine.sh, the win64 preset).
if [ "${1:-}" = windows ]; then
  packages+=(
    mingw-w64 meson ninja-build wine64 libz-mingw-w64-dev
    autoconf automake libtool libltdl-dev texinfo xz-utils
  )
fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  echo "setup: installing ${missing[*]}"
  $sudo apt-get update
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi
