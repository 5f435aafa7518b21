#!/usr/bin/env bash
# Installs and builds, then tours every available work through the command-line host
# on samples made here: voice detection, speech to text, the picture and video filters,
# the preview player, motion, faces, colour, the document converters and picture text. Everything lands in demo-out/.
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
echo
echo "silence removal of the same recording (the .mp3 is in the finished map's user_data):"
"$root/build/bin/zrwork" unsilence "$out/sample talk.mp4" --save-dir "$out/unsilence" >/dev/null
ls -l "$out/unsilence"

# Speech to text: a real recording from Debian's pocketsphinx test data (headerless
# 16 kHz 16-bit mono), wrapped as WAV, through the shipped recogniser.
raw=$(dpkg -L pocketsphinx-testdata | grep '/goforward\.raw$' | head -n1)
ffmpeg -nostdin -v error -y -f s16le -ar 16000 -ac 1 -i "$raw" "$out/goforward.wav"
echo
echo "speech to text of $raw (the finished map, then the recognised text):"
"$root/build/bin/zrwork" text "$out/goforward.wav" --save-dir "$out/text"
echo "(kept in $out/text/goforward.txt)"

# Picture and video filters: a short generated clip beautified, stylised with each
# shipped network and upscaled (the upscaler takes about a second a frame: a few frames).
echo
echo "== filters =="
filt=$out/filters
mkdir -p "$filt"
ffmpeg -v error -y -f lavfi -i testsrc2=size=320x240:rate=15:duration=2 -f lavfi -i sine=duration=2 \
  -pix_fmt yuv420p -c:v libx264 -c:a aac "$filt/clip.mp4"
ffmpeg -v error -y -f lavfi -i testsrc2=size=160x120:rate=15:duration=0.2 -f lavfi -i sine=duration=0.2 \
  -pix_fmt yuv420p -c:v libx264 -c:a aac "$filt/tiny.mp4"
"$root/build/bin/zrwork" styles
"$root/build/bin/zrwork" beautify "$filt/clip.mp4" --save-dir "$filt/beautify" --degree 4 --white 3 >/dev/null 2>&1
for net in sepia sketch cartoon; do
  "$root/build/bin/zrwork" style "$filt/clip.mp4" --save-dir "$filt/$net" --model "$net" >/dev/null 2>&1
done
"$root/build/bin/zrwork" upscale "$filt/tiny.mp4" --save-dir "$filt/upscale" >/dev/null 2>&1
"$root/build/bin/zrwork" reencode "$filt/clip.mp4" --save-dir "$filt/reencode" >/dev/null 2>&1
echo "filtered videos:"
find "$filt" -mindepth 2 -name '*.mp4' | sort

# Preview player: the frames at 0.5 s and 1.5 s of the clip as the player shows them
# through the sepia network (with a display, `zrwork play FILE` opens its window).
echo
echo "preview frames of $filt/clip.mp4 (picture, time in ms, frame number):"
"$root/build/bin/zrwork" play "$filt/clip.mp4" --filter sepia --frames "$out/preview" --at 0.5,1.5 2>/dev/null | tail -n 2

# Motion: a still picture with a square that moves from 3 s to 5 s and from 8 s to 9 s.
# The analysis is kept in demo-out/store; the plot shows the measure, level and events.
ffmpeg -v error -y -f lavfi -i "color=c=0x406080:s=320x240:r=25:d=10" -f lavfi -i "color=c=white:s=80x80:r=25:d=10" \
  -filter_complex "[0][1]overlay=x='if(lt(t,3),0,if(lt(t,5),(t-3)*120,if(lt(t,8),240,if(lt(t,9),240-(t-8)*240,0))))':y=80:eval=frame" \
  -c:v libx264 -pix_fmt yuv420p "$out/moving square.mp4"
echo
echo "motion events (seconds) of $out/moving square.mp4:"
"$root/build/bin/zrwork" motion "$out/moving square.mp4" --store "$out/store" --step 1 --plot "$out/motion.png" 2>/dev/null \
  | python3 -c 'import json,sys; [print("  %.2f - %.2f" % (e["startTs"], e["endTs"])) for e in json.load(sys.stdin)["res_data"]["lstEvents"]]'
echo "plot of the change measure: $out/motion.png"
"$root/build/bin/zrwork" split "$out/moving square.mp4" --save-dir "$out" --store "$out/store" --step 1 --merge >/dev/null
echo "moving stretches cut to $out/moving square/:"
ls "$out/moving square"

# Colour: a photograph from Debian's OpenCV examples given a blue cast, measured and
# white-balanced by the colour work; compare.png shows original, tinted and fixed side by side.
col=$out/colour
mkdir -p "$col"
fruits=$(dpkg -L opencv-doc | grep '/data/fruits\.jpg$' | head -n1)
ffmpeg -v error -y -i "$fruits" -vf "colorchannelmixer=rr=0.55:gg=0.8:bb=0.9:br=0.1:bg=0.3" "$col/tinted fruits.jpg"
echo
echo "colour of the tinted picture, then of the fixed one:"
"$root/build/bin/zrwork" colour "$col/tinted fruits.jpg" --save-dir "$col/fixed" --fix 2>&1 >/dev/null | grep '^cast'
"$root/build/bin/zrwork" colour "$col/fixed/tinted fruits.jpg" 2>&1 >/dev/null | grep '^cast'
ffmpeg -v error -y -i "$fruits" -i "$col/tinted fruits.jpg" -i "$col/fixed/tinted fruits.jpg" \
  -filter_complex "[0][1][2]hstack=inputs=3,scale=iw/2:-1" "$col/compare.png"
echo "original | tinted | white-balanced: $col/compare.png; per-second table: $col/fixed/tinted fruits-colour.csv"

# Faces: two known people pasted into a generated clip (Grace Hopper from 2 s to 4 s,
# Messi from 5 s to 6 s), named from a people folder of mirrored, resized pictures of
# them; "who" then looks for Grace Hopper's picture in every analysed file of the store.
faces=$out/faces
grace=/usr/share/doc/facedetect/examples/grace_hopper_512x512.jpg
mkdir -p "$faces/people/Grace Hopper" "$faces/people/Messi"
ffmpeg -v error -y -i /usr/share/doc/opencv-doc/examples/data/messi5.jpg -vf crop=75:75:210:75,scale=160:160 "$faces/messi.png"
ffmpeg -v error -y -i "$grace" -vf hflip,scale=300:300 "$faces/people/Grace Hopper/grace.jpg"
ffmpeg -v error -y -i "$faces/messi.png" -vf hflip,scale=240:240 "$faces/people/Messi/messi.png"
ffmpeg -v error -y -f lavfi -i color=c=0x406080:s=320x240:r=5:d=7 -i "$grace" -i "$faces/messi.png" -filter_complex \
  "[1]scale=160:160[g];[0][g]overlay=20:40:enable='between(t,2,3.9)'[a];[a][2]overlay=140:40:enable='between(t,5,5.9)'" \
  -c:v libx264 -pix_fmt yuv420p "$faces/two people.mp4"
echo
echo "people in $faces/two people.mp4 (their pictures in $faces/pictures):"
"$root/build/bin/zrwork" faces "$faces/two people.mp4" --store "$out/store" --people "$faces/people" \
  --save-dir "$faces/pictures" --min-face 50 2>/dev/null | sed '1,/^}/d'
echo "files of the store that show $grace:"
"$root/build/bin/zrwork" who "$grace" --store "$out/store" 2>&1 >/dev/null
"$root/build/bin/zrwork" list --store "$out/store" --model face | grep '"sPath"'

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

# Documents: a .docx written by LibreOffice from a few lines of text, turned into a
# PDF and back into a .docx through the command-line host.
docs=$out/documents
mkdir -p "$docs"
printf 'zrworklib demo letter\nThe converters run LibreOffice headless.\n' > "$docs/demo letter.txt"
profile=$(mktemp -d)
soffice "-env:UserInstallation=file://$profile" --headless --convert-to "docx:MS Word 2007 XML" \
  --outdir "$docs" "$docs/demo letter.txt" >/dev/null 2>&1
rm -rf "$profile"
"$root/build/bin/zrwork" pdf "$docs/demo letter.docx" --save-dir "$docs/pdf"
"$root/build/bin/zrwork" docx "$docs/pdf/demo letter.pdf" --save-dir "$docs/back"
echo
echo "text of the PDF ($docs/pdf/demo letter.pdf):"
pdftotext "$docs/pdf/demo letter.pdf" -
echo "text of the .docx made from it ($docs/back/demo letter.docx):"
/usr/bin/python3 -c "import re, sys, zipfile
xml = zipfile.ZipFile(sys.argv[1]).read('word/document.xml').decode()
xml = re.sub(r'<mc:Fallback>.*?</mc:Fallback>', '', xml, flags=re.S)  # text boxes come twice
print(' '.join(re.findall(r'<w:t[^>]*>([^<]*)</w:t>', xml)))" "$docs/back/demo letter.docx"
