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

# Picture text: a picture with one Chinese and one English line (Noto Sans CJK), read by
# the shipped recogniser through the picture text work.
echo
font=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc
printf '%s' '图像文字识别' > "$out/line1.txt"
printf '%s' 'Picture text recognition' > "$out/line2.txt"
ffmpeg -v error -y -f lavfi -i color=white:s=720x200 -frames:v 1 -vf \
  "drawtext=fontfile=$font:textfile=$out/line1.txt:fontsize=40:fontcolor=black:x=40:y=40,drawtext=fontfile=$font:textfile=$out/line2.txt:fontsize=40:fontcolor=black:x=40:y=120" \
  "$out/picture text.png"
rm -f "$out/line1.txt" "$out/line2.txt"
"$root/build/bin/zrwork" ocr "$out/picture text.png" --save-dir "$out"
