#!/usr/bin/env bash
# Download of a 200 MiB file from a local web server: the library's download service
# (bench_download, a process linking only the service) against curl -o of the same file,
# alternating, in one run; zrwork fetch is timed too, with its start-up (it loads the
# whole library and OpenCV) measured apart.
# usage: bench/download/bench_download.sh [BUILD_DIR] [RUNS]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
runs=${2:-5}
zrwork=$build/bin/zrwork
bench=$build/bin/bench_download
for b in "$zrwork" "$bench"; do [ -x "$b" ] || { echo "no $b: build zrwork and bench_download first" >&2; exit 1; }; done

work=$(mktemp -d)
server_pid=
cleanup() { [ -n "$server_pid" ] && kill "$server_pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT

head -c 200M /dev/urandom > "$work/big.bin"
python3 "$root/tests/base/http_server.py" "$work" > "$work/port" &
server_pid=$!
for _ in $(seq 50); do [ -s "$work/port" ] && break; sleep 0.1; done
url="http://127.0.0.1:$(head -1 "$work/port")/static/big.bin"
want=$(md5sum < "$work/big.bin")

now() { date +%s.%N; }
ours=() theirs=() fetch=() start=()
for i in $(seq "$runs"); do
  rm -rf "$work/a" "$work/b" "$work/c"
  t0=$(now); curl -s -o "$work/b/big.bin" --create-dirs "$url"; t1=$(now)
  "$bench" "$url" "$work/a/big.bin" > /dev/null; t2=$(now)
  "$zrwork" fetch "$url" --save-dir "$work/c" > /dev/null 2>&1; t3=$(now)
  "$zrwork" help > /dev/null; t4=$(now)
  for f in a b c; do
    [ "$(md5sum < "$work/$f/big.bin")" = "$want" ] || { echo "run $i: $f/big.bin has other bytes" >&2; exit 1; }
  done
  theirs+=("$(echo "$t1 - $t0" | bc -l)")
  ours+=("$(echo "$t2 - $t1" | bc -l)")
  fetch+=("$(echo "$t3 - $t2" | bc -l)")
  start+=("$(echo "$t4 - $t3" | bc -l)")
  printf 'run %d: service %.3f s, curl -o %.3f s, zrwork fetch %.3f s (zrwork start-up %.3f s)\n' \
    "$i" "${ours[-1]}" "${theirs[-1]}" "${fetch[-1]}" "${start[-1]}"
done

median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2}'; }
m_ours=$(median "${ours[@]}")
m_theirs=$(median "${theirs[@]}")
m_fetch=$(median "${fetch[@]}")
m_start=$(median "${start[@]}")
printf 'median of %d: service %.3f s (%.0f MiB/s), curl -o %.3f s (%.0f MiB/s): ratio %.3f (goal <= 1.1)\n' \
  "$runs" "$m_ours" "$(echo "200 / $m_ours" | bc -l)" "$m_theirs" "$(echo "200 / $m_theirs" | bc -l)" \
  "$(echo "$m_ours / $m_theirs" | bc -l)"
printf 'zrwork fetch %.3f s, of which start-up %.3f s: ratio to curl -o %.3f, %.3f without the start-up\n' \
  "$m_fetch" "$m_start" "$(echo "$m_fetch / $m_theirs" | bc -l)" "$(echo "($m_fetch - $m_start) / $m_theirs" | bc -l)"
