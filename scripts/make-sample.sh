#!/usr/bin/env bash
# Makes a short recording with known pauses: three spoken sentences separated by
# silences of 2 and 3 seconds, muxed with a test picture into an mp4.
# usage: make-sample.sh OUT.mp4
set -euo pipefail
out=${1:?usage: make-sample.sh OUT.mp4}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

espeak-ng -w "$tmp/a.wav" "Hello. This is the first part of the sample recording."
espeak-ng -w "$tmp/b.wav" "After a short pause, here is the second part."
espeak-ng -w "$tmp/c.wav" "And finally, the third part ends the demo."
rate=$(soxi -r "$tmp/a.wav")
sox -n -r "$rate" -c 1 "$tmp/s2.wav" trim 0 2
sox -n -r "$rate" -c 1 "$tmp/s3.wav" trim 0 3
sox "$tmp/s2.wav" "$tmp/a.wav" "$tmp/s2.wav" "$tmp/b.wav" "$tmp/s3.wav" "$tmp/c.wav" "$tmp/s2.wav" "$tmp/speech.wav"

# The picture stops with the sound, so the file has no silent tail beyond the speech track.
ffmpeg -v error -y -f lavfi -i "testsrc=size=320x240:rate=25" -i "$tmp/speech.wav" \
  -t "$(soxi -D "$tmp/speech.wav")" -c:v libx264 -pix_fmt yuv420p -c:a aac "$out"
