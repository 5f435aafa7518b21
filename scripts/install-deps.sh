#!/usr/bin/env bash
# Installs everything zrworklib needs to build, test and run its demo, from Debian 12's packages only.
set -euo pipefail

pkgs=(
  build-essential cmake ninja-build pkg-config clang
  qtbase5-dev libqt5sql5-sqlite
  libopencv-dev libcurl4-openssl-dev
  ffmpeg espeak-ng sox bc
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ "${#missing[@]}" -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
