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

# Speech to text: a real recording from Debian's pocketsphinx test data (headerless
# 16 kHz 16-bit mono), wrapped as WAV, through the shipped recogniser.
raw=$(dpkg -L pocketsphinx-testdata | grep '/goforward\.raw$' | head -n1)
ffmpeg -nostdin -v error -y -f s16le -ar 16000 -ac 1 -i "$raw" "$out/goforward.wav"
echo
echo "speech to text of $raw (the finished map, then the recognised text):"
"$root/build/bin/zrwork" text "$out/goforward.wav" --save-dir "$out/text"
echo "(kept in $out/text/goforward.txt)"
