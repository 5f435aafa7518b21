#!/usr/bin/env bash
# Voice detection over 16 one-minute recordings, three ways in one go: one zrwork batch
# (--jobs 2), a shell loop of single zrwork runs, and GNU parallel -j2 of single runs.
# The sides alternate over RUNS passes; prints the median wall time of each and the
# batch's ratio to the other two.
# usage: bench_batch.sh BUILD_DIR [RUNS] [FILES]
set -euo pipefail
build=${1:?usage: bench_batch.sh BUILD_DIR [RUNS] [FILES]}
runs=${2:-3}
files=${3:-16}
here=$(cd "$(dirname "$0")" && pwd)
zrwork=$(cd "$build/bin" && pwd)/zrwork
command -v parallel >/dev/null || { echo "GNU parallel is missing: bash scripts/install-deps.sh" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A minute of speech with pauses (the sample recording over and over, cut at 60 s),
# copied so that every input is a file of its own.
bash "$here/../../scripts/make-sample.sh" "$work/one.mp4"
printf "file '%s'\n" "$work/one.mp4" "$work/one.mp4" "$work/one.mp4" "$work/one.mp4" > "$work/list.txt"
mkdir -p "$work/in"
ffmpeg -v error -y -f concat -safe 0 -i "$work/list.txt" -t 60 -c copy "$work/in/talk01.mp4"
for i in $(seq -w 2 "$files"); do cp "$work/in/talk01.mp4" "$work/in/talk$i.mp4"; done
seconds=$(ffprobe -v error -show_entries format=duration -of default=noprint_wrappers=1:nokey=1 "$work/in/talk01.mp4")

run_batch() {
  rm -rf "$work/out"
  "$zrwork" voice "$work/in" --save-dir "$work/out" --jobs 2 --min-sec 0.5 >/dev/null 2>&1
}
run_loop() {
  rm -rf "$work/out"
  for f in "$work"/in/*.mp4; do "$zrwork" voice "$f" --save-dir "$work/out" --min-sec 0.5 >/dev/null 2>&1; done
}
run_parallel() {
  rm -rf "$work/out"
  parallel --will-cite -j2 "$zrwork" voice {} --save-dir "$work/out" --min-sec 0.5 '>/dev/null' '2>&1' ::: "$work"/in/*.mp4
}

now() { date +%s.%N; }
batch_t=(); loop_t=(); par_t=()
for r in $(seq "$runs"); do
  # Rotate who goes first, so a warm cache or a busy neighbour favours no side.
  order=(batch loop parallel)
  for _ in $(seq $(( (r - 1) % 3 ))); do order=("${order[@]:1}" "${order[0]}"); done
  for side in "${order[@]}"; do
    t0=$(now); "run_$side"; t1=$(now)
    case $side in
      batch) batch_t+=("$(echo "$t1 - $t0" | bc)") ;;
      loop) loop_t+=("$(echo "$t1 - $t0" | bc)") ;;
      parallel) par_t+=("$(echo "$t1 - $t0" | bc)") ;;
    esac
  done
  # Every side must have cut all its inputs, or its time means nothing.
  [ "$(find "$work/out" -name '*.csv' | wc -l)" -eq "$files" ] || { echo "a side left inputs uncut" >&2; exit 1; }
done
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
b=$(median "${batch_t[@]}"); l=$(median "${loop_t[@]}"); p=$(median "${par_t[@]}")
echo "inputs: $files x ${seconds%.*} s, passes: $runs, cores: $(nproc)"
echo "zrwork --jobs 2 (one batch): median ${b} s"
echo "shell loop of single runs:   median ${l} s"
echo "parallel -j2 of single runs: median ${p} s"
echo "ratio batch/loop:            $(echo "scale=3; $b / $l" | bc)"
echo "ratio batch/parallel:        $(echo "scale=3; $b / $p" | bc)"
