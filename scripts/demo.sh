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

# Motion: a still picture with a square that moves from 3 s to 5 s and from 8 s to 9 s.
# The analysis is kept in demo-out/store; the plot shows the measure, level and events.
ffmpeg -v error -y -f lavfi -i "color=c=0x406080:s=320x240:r=25:d=10" -f lavfi -i "color=c=white:s=80x80:r=25:d=10" \
  -filter_complex "[0][1]overlay=x='if(lt(t,3),0,if(lt(t,5),(t-3)*120,if(lt(t,8),240,if(lt(t,9),240-(t-8)*240,0))))':y=80:eval=frame" \
  -c:v libx264 -pix_fmt yuv420p "$out/moving square.mp4"
echo
echo "motion events (seconds) of $out/moving square.mp4:"
"$root/build/bin/zrwork" motion "$out/moving square.mp4" --store "$out/store" --step 1 --plot "$out/motion.png" \
  | python3 -c 'import json,sys; [print("  %.2f - %.2f" % (e["startTs"], e["endTs"])) for e in json.load(sys.stdin)["res_data"]["lstEvents"]]'
echo "plot of the change measure: $out/motion.png"
"$root/build/bin/zrwork" split "$out/moving square.mp4" --save-dir "$out" --store "$out/store" --step 1 --merge >/dev/null
echo "moving stretches cut to $out/moving square/:"
ls "$out/moving square"
