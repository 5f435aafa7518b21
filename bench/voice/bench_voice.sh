#!/usr/bin/env bash
# Voice detection through the library against the very same ffmpeg command lines run
# by a plain shell script, alternating runs on one file, in one go. Prints the median
# wall time of each and their ratio (library / script).
# usage: bench_voice.sh BUILD_DIR [RUNS]
set -euo pipefail
build=${1:?usage: bench_voice.sh BUILD_DIR [RUNS]}
runs=${2:-5}
here=$(cd "$(dirname "$0")" && pwd)
zrwork=$build/bin/zrwork
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A minute of speech with pauses: the sample recording, three times over.
bash "$here/../../scripts/make-sample.sh" "$work/one.mp4"
printf "file '%s'\n" "$work/one.mp4" "$work/one.mp4" "$work/one.mp4" > "$work/list.txt"
ffmpeg -v error -y -f concat -safe 0 -i "$work/list.txt" -c copy "$work/talk.mp4"
seconds=$(ffprobe -v error -show_entries format=duration -of default=noprint_wrappers=1:nokey=1 "$work/talk.mp4")
seconds=${seconds%.*}

run_lib() {
  rm -rf "$work/out"
  "$zrwork" run 5 --verbose --param "sFile=$work/talk.mp4" --param "sSaveDir=$work/out" \
    --param "nDuration=$seconds" --param nDecibel=30 --param dMinSec=0.5 >/dev/null 2>"$work/lib.log"
}

# The script replays the argument lists the library logged ("exec ..."); the paths
# hold no blanks, so splitting on blanks gives back the same arguments.
run_lib
grep -o 'CProcessWork::StartTask Info exec .*' "$work/lib.log" | sed 's/^CProcessWork::StartTask Info exec //' > "$work/commands.txt"
count=$(wc -l < "$work/commands.txt")
{
  echo '#!/usr/bin/env bash'
  echo "rm -rf '$work/out'; mkdir -p '$work/out/talk'"
  while IFS= read -r line; do echo "ffmpeg $line >/dev/null 2>&1"; done < "$work/commands.txt"
} > "$work/plain.sh"

now() { date +%s.%N; }
lib_times=(); sh_times=()
for _ in $(seq "$runs"); do
  t0=$(now); run_lib; t1=$(now)
  bash "$work/plain.sh"; t2=$(now)
  lib_times+=("$(echo "$t1 - $t0" | bc)"); sh_times+=("$(echo "$t2 - $t1" | bc)")
done
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
lib=$(median "${lib_times[@]}"); sh=$(median "${sh_times[@]}")
echo "media: ${seconds} s, ffmpeg runs per pass: $count, passes: $runs"
echo "library (zrwork run 5): median ${lib} s"
echo "plain script:           median ${sh} s"
echo "ratio library/script:   $(echo "scale=3; $lib / $sh" | bc)"
