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
