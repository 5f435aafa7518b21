#!/usr/bin/env bash
# The frame pipeline through the library (zrwork run 6 beautify, 7 style with the
# shipped sepia network, 10 re-encoding) against a plain shell script running the very
# same ffmpeg command lines plus, for 6 and 7, the same per-frame filter in a plain
# program (bench_frames). Alternating runs on one 10 s 640x480 clip; median wall times
# and their ratio (library / script).
# usage: bench_filterworks.sh BUILD_DIR [RUNS]
set -euo pipefail
build=${1:?usage: bench_filterworks.sh BUILD_DIR [RUNS]}
runs=${2:-3}
zrwork=$build/bin/zrwork
frames=$build/bin/bench_frames
sepia=$build/worktools/styles/sepia.onnx
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ffmpeg -v error -y -f lavfi -i testsrc2=size=640x480:rate=25:duration=10 -f lavfi -i sine=duration=10 \
  -pix_fmt yuv420p -c:v libx264 -c:a aac "$work/clip.mp4"

now() { date +%s.%N; }
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

bench() { # TYPE LABEL FRAME-STEP-COMMAND(or empty) EXTRA-PARAMS...
  local type=$1 label=$2 step=$3; shift 3
  run_lib() {
    rm -rf "$work/out"
    "$zrwork" run "$type" --verbose --param "sFile=$work/clip.mp4" --param "sSaveDir=$work/out" "$@" \
      >/dev/null 2>"$work/lib.log"
  }
  # The script replays the argument lists the library logged ("exec ..."); the paths
  # hold no blanks, so splitting on blanks gives back the same arguments.
  run_lib "$@"
  grep -o 'CProcessWork::StartTask Info exec .*' "$work/lib.log" | sed 's/^CProcessWork::StartTask Info exec //' \
    > "$work/commands.txt"
  local pics
  # The pictures' folder: where the extraction (the line ending in "%8d.png") writes.
  pics=$(grep -m 1 '%8d\.png$' "$work/commands.txt" | awk '{print $NF}')
  pics=${pics%/*}
  {
    echo '#!/usr/bin/env bash'
    echo "rm -rf '$work/out'; mkdir -p '$pics'"
    while IFS= read -r line; do
      # Each word quoted: the filter argument holds parentheses and a '*'.
      printf 'ffmpeg'; (set -f; printf " '%s'" $line); echo ' >/dev/null 2>&1'
      case "$line" in *'%8d.png') if [ -n "$step" ]; then echo "$step '$pics'"; fi ;; esac
    done < "$work/commands.txt"
  } > "$work/plain.sh"
  local lib_times=() sh_times=() t0 t1 t2
  for _ in $(seq "$runs"); do
    t0=$(now); run_lib "$@"; t1=$(now)
    bash "$work/plain.sh"; t2=$(now)
    lib_times+=("$(echo "$t1 - $t0" | bc)"); sh_times+=("$(echo "$t2 - $t1" | bc)")
  done
  local lib sh
  lib=$(median "${lib_times[@]}"); sh=$(median "${sh_times[@]}")
  printf '%-12s library %7.2f s  script %7.2f s  ratio %s\n' "$label" "$lib" "$sh" "$(echo "scale=3; $lib / $sh" | bc)"
}

echo "clip: 10 s 640x480 (150 frames at the pipeline's 15 pictures a second), passes: $runs"
bench 6 beautify "'$frames' beautify" --param nDegree=3 --param nDetails=2 --param nOpacity=5 --param nWhite=2
bench 7 style-sepia "'$frames' style '$sepia'" --param "mapStyle={\"sModel\":\"$sepia\"}"
bench 10 reencode ""

# The upscaler's frame step alone (too slow for a whole 640x480 clip on a CPU).
ffmpeg -v error -y -i "$work/clip.mp4" -frames:v 2 "$work/w%d.png"
t0=$(now)
for f in "$work"/w1.png "$work"/w2.png; do "$build/worktools/upscale/waifu2x" -i "$f" -o "$f"; done
t1=$(now)
echo "upscale frame step: $(echo "scale=3; 2 / ($t1 - $t0)" | bc) frames/s (640x480 to 1280x960, CPU)"
