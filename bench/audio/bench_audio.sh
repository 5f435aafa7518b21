#!/usr/bin/env bash
# The audio works against the very same tool chains run by a plain shell script, on
# about a minute of real speech: speech to text (ffmpeg extraction, test.exe,
# opencc.exe) and silence removal (one ffmpeg run), each timed by bench_audio inside
# one host process. Then the recogniser alone: real-time factor and peak memory.
# usage: bench_audio.sh BUILD_DIR [RUNS]
set -euo pipefail
build=${1:?usage: bench_audio.sh BUILD_DIR [RUNS]}
runs=${2:-5}
tools=$(cd "$build/worktools" && pwd)
model=/usr/share/pocketsphinx/model/en-us
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Debian's goforward recording twenty times over with short pauses, under a small test
# picture (the works take video as hosts give it).
raw=$(dpkg -L pocketsphinx-testdata | grep '/goforward\.raw$' | head -n1)
ffmpeg -nostdin -v error -y -f s16le -ar 16000 -ac 1 -i "$raw" -af apad=pad_dur=0.3 "$work/one.wav"
for _ in $(seq 20); do echo "file '$work/one.wav'"; done > "$work/list.txt"
ffmpeg -nostdin -v error -y -f concat -safe 0 -i "$work/list.txt" -c copy "$work/speech.wav"
seconds=$(ffprobe -v error -show_entries format=duration -of default=noprint_wrappers=1:nokey=1 "$work/speech.wav")
ffmpeg -nostdin -v error -y -f lavfi -i "testsrc=size=160x120:rate=10:duration=$seconds" -i "$work/speech.wav" \
  -shortest -c:v libx264 -c:a aac "$work/talk.mp4"

# The library's command lines, with the same programs, folders and arguments.
out=$work/out
cat > "$work/text.sh" <<SCRIPT
mkdir -p '$out/tmp'
ffmpeg -y -i '$work/talk.mp4' -vn -acodec pcm_s16le -ac 1 -ar 16000 '$out/tmp/1.wav' >/dev/null 2>&1
cd '$tools/audiosrc'
./test.exe --language zh -m '$model' -otxt -nt -f '$out/tmp/1.wav' 2>/dev/null
./opencc.exe -i '$out/tmp/1.txt' -c tw2sp.json -o '$out/talk.txt'
rm -rf '$out/tmp'
SCRIPT
cat > "$work/unsilence.sh" <<SCRIPT
mkdir -p '$out'
ffmpeg -y -i '$work/talk.mp4' -af silenceremove=stop_periods=-1:stop_duration=1:stop_threshold=-30dB '$out/talk.mp3' >/dev/null 2>&1
SCRIPT

echo "media: ${seconds} s of speech under a 160x120 picture"
"$build/bin/bench_audio" 12 "$work/talk.mp4" "$out" "$work/text.sh" "$runs" "sWorkPath=$tools" "sWorkExc=$model"
"$build/bin/bench_audio" 9 "$work/talk.mp4" "$out" "$work/unsilence.sh" "$runs"

# The recogniser alone on the extracted sound.
mkdir -p "$work/rec"
cp "$work/speech.wav" "$work/rec/1.wav"
/usr/bin/time -f '%e %M' -o "$work/time.txt" "$tools/audiosrc/test.exe" -m "$model" -otxt -nt -f "$work/rec/1.wav"
read -r elapsed peak < "$work/time.txt"
echo "recogniser: ${elapsed} s for ${seconds} s of audio, real-time factor $(echo "scale=3; $elapsed / $seconds" | bc)," \
  "peak memory $((peak / 1024)) MiB, $(wc -l < "$work/rec/1.txt") lines of text"
