#!/usr/bin/env bash
# Makes COUNT small MP3 files in FOLDER for the import benchmark: one second of a tone encoded
# once by lame, copied under numbered names, each with an ID3v1 tag of its own title.
#   bench/make-import-files.sh FOLDER [COUNT]
set -euo pipefail
folder=$1
count=${2:-10000}
mkdir -p "$folder"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A 440 Hz tone, one second, 16-bit stereo at 44.1 kHz, as raw samples for lame.
LC_ALL=C awk 'BEGIN { for (i = 0; i < 44100; i++) { v = int(8000 * sin(2 * 3.14159265 * 440 * i / 44100));
     if (v < 0) v += 65536; lo = v % 256; hi = int(v / 256);
     printf "%c%c%c%c", lo, hi, lo, hi } }' > "$work/tone.raw"
lame --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian -b 128 "$work/tone.raw" "$work/tone.mp3" 2> /dev/null
for ((i = 1; i <= count; i++)); do
    name=$(printf 'track%05d.mp3' "$i")
    {
        cat "$work/tone.mp3"
        printf 'TAG%-30.30s%-30.30s%-30.30s%-4.4s%-30.30s\377' "Track $i" "Import Band" \
            "Import Album" "2026" ""
    } > "$folder/$name"
done
echo "$count files in $folder"
