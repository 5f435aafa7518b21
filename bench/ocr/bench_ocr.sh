#!/usr/bin/env bash
# Picture text: the shipped recogniser against Debian's tesseract on the same rendered pages
# (clean, small and noisy, tilted, upside down, a full 2000x1600 page), alternating engines
# in one run. Prints each engine's character error rate (whitespace ignored) and total time.
# usage: bench_ocr.sh BUILD_DIR [RUNS]
set -euo pipefail
build=${1:?usage: bench_ocr.sh BUILD_DIR [RUNS]}
runs=${2:-3}
here=$(cd "$(dirname "$0")" && pwd)
tools=$(cd "$build/worktools/ocr" && pwd)
font=/usr/share/fonts/opentype/noto/NotoSansCJK-Regular.ttc
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# render NAME WIDTH HEIGHT FONTSIZE FIRST COUNT [EXTRA FILTERS]: lines FIRST.. of lines.txt,
# one drawtext each (read from files, so no text needs escaping), and their truth.
render() {
  local name=$1 w=$2 h=$3 size=$4 first=$5 count=$6 extra=${7:-} filters="" y=$(( $4 ))
  : > "$work/$name.truth"
  for i in $(seq "$first" $(( first + count - 1 ))); do
    sed -n "${i}p" "$here/lines.txt" > "$work/$name.$i.line"
    cat "$work/$name.$i.line" >> "$work/$name.truth"
    filters+="${filters:+,}drawtext=fontfile=$font:textfile=$work/$name.$i.line:fontsize=$size:fontcolor=black:x=$size:y=$y"
    y=$(( y + size * 2 ))
  done
  ffmpeg -v error -y -f lavfi -i "color=white:s=${w}x${h}" -frames:v 1 -vf "$filters${extra:+,$extra}" "$work/$name.png"
}
render clean 1100 420 36 1 4
render small-noisy 700 220 18 5 4 "noise=alls=24:allf=u"
render tilted 1100 460 36 9 4 "rotate=3*PI/180:fillcolor=white"
render upside-down 1100 420 36 13 4 "hflip,vflip"
render page 2000 1600 40 1 20
pages=(clean small-noisy tilted upside-down page)

# Wall and CPU (user + system) seconds of every run, one line each, per engine.
: > "$work/zr.times"; : > "$work/ts.times"
TIMEFORMAT='%R %U %S'
for _ in $(seq "$runs"); do
  for p in "${pages[@]}"; do
    { time (cd "$tools" && ./zrocr --models models --det dbnet.onnx --cls angle_net.onnx --rec crnn_lite_lstm.onnx \
      --keys keys.txt --image "$work/$p.png"); } 2>> "$work/zr.times"
    tail -n +2 "$work/$p.png-result.txt" > "$work/$p.zrocr"
    { time tesseract "$work/$p.png" - -l chi_sim+eng --psm 6 > "$work/$p.tess" 2>/dev/null; } 2>> "$work/ts.times"
  done
done
sum() { awk -v col="$2" '{ if (col == 1) s += $1; else s += $2 + $3 } END { printf "%.2f", s }' "$1"; }

pairs_zr=(); pairs_ts=()
for p in "${pages[@]}"; do
  read -r e c r < <(/usr/bin/python3 "$here/cer.py" "$work/$p.truth" "$work/$p.zrocr")
  read -r te tc tr < <(/usr/bin/python3 "$here/cer.py" "$work/$p.truth" "$work/$p.tess")
  printf '%-12s zrocr CER %6s%% (%d/%d)   tesseract CER %6s%% (%d/%d)\n' "$p" "$r" "$e" "$c" "$tr" "$te" "$tc"
  pairs_zr+=("$work/$p.truth" "$work/$p.zrocr"); pairs_ts+=("$work/$p.truth" "$work/$p.tess")
done
read -r e c r < <(/usr/bin/python3 "$here/cer.py" "${pairs_zr[@]}")
read -r te tc tr < <(/usr/bin/python3 "$here/cer.py" "${pairs_ts[@]}")
echo "all pages    zrocr CER $r% ($e/$c)   tesseract CER $tr% ($te/$tc)"
for col in 1 2; do
  zr=$(sum "$work/zr.times" $col); ts=$(sum "$work/ts.times" $col)
  printf '%s over %d runs of %d pages: zrocr %s s, tesseract %s s, ratio zrocr/tesseract %.2f\n' \
    "$([ $col = 1 ] && echo 'wall time' || echo 'CPU time ')" "$runs" "${#pages[@]}" "$zr" "$ts" "$(echo "$zr / $ts" | bc -l)"
done
if [ -n "${KEEP:-}" ]; then cp -r "$work" "$KEEP"; fi
