#!/usr/bin/env bash
# Installs and builds, makes a sample recording with pauses, and runs voice detection
# on it through the command-line host. The segments land in demo-out/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh" "$root/build"
out=$root/demo-out
rm -rf "$out"
mkdir -p "$out"
bash "$root/scripts/make-sample.sh" "$out/sample talk.mp4"
"$root/build/bin/zrwork" voice "$out/sample talk.mp4" --save-dir "$out" --decibel 30 --min-sec 0.5
echo
echo "segments found (from $out/sample talk/sample talk.csv):"
cat "$out/sample talk/sample talk.csv"
ls -l "$out/sample talk"
