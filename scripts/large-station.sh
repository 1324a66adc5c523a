#!/usr/bin/env bash
# A station of one category of TRACKS tagged MP3s, each with a play history (and its artist's),
# run in the simulator: the figures of a large library. Prints, for a start without the saved tag
# cache and one with it, the wall time of the start (the console loaded, its lists built, the
# first track picked and on the air) and the simulator's peak memory; then the wall time of an
# hour on the air (with the saved cache, from the start on).
#   scripts/large-station.sh [TRACKS] [SECONDS]   (default 50000 tracks of 90 s; needs a build
#                                                  in build/, sox and lame)
# The tracks are one tone, encoded once (mono, 8 kHz, 8 kbit/s: 1 kB a second) and written behind
# a tag of its own for each track, so TRACKS * SECONDS kB of disk. TW_LARGE_KEEP=DIR keeps the
# station in DIR (and uses it again when it is there) instead of a temporary folder.
set -euo pipefail
cd "$(dirname "$0")/.."
tracks=${1:-50000}
seconds=${2:-90}
[[ $tracks =~ ^[0-9]+$ && $seconds =~ ^[0-9]+$ && $tracks -gt 0 && $seconds -gt 1 ]] || {
    echo "usage: large-station.sh [TRACKS] [SECONDS]" >&2
    exit 2
}
if [[ -n ${TW_LARGE_KEEP:-} ]]; then
    work=$TW_LARGE_KEEP
    mkdir -p "$work"
else
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
fi
station=$work/station
if [[ ! -d $station/Music/Rock ]]; then
    # The demo station's folders, rotation (its first category, Rock) and settings, with one
    # track that the large category then replaces.
    scripts/make-demo-station.sh "$station" 1 1 "$seconds" "$seconds" 1 > /dev/null
    rm -f "$station"/Music/Rock/*.mp3
    sox -q -n -r 8000 -c 1 -b 16 "$work/tone.wav" synth "$seconds" sine 440 vol 0.5
    lame --quiet -m m -b 8 "$work/tone.wav" "$work/tone.mp3"
    python3 - "$station" "$tracks" "$work/tone.mp3" << 'PY'
import os, sys
station, tracks, tone = sys.argv[1], int(sys.argv[2]), sys.argv[3]
audio = open(tone, "rb").read()
if audio[:3] == b"ID3":  # lame's own tag, if it wrote one
    size = (audio[6] << 21) | (audio[7] << 14) | (audio[8] << 7) | audio[9]
    audio = audio[10 + size:]
def frame(fid, text):
    body = b"\0" + text.encode("latin-1")
    return fid + len(body).to_bytes(4, "big") + b"\0\0" + body
def syncsafe(n):
    return bytes(((n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F))
artists = max(1, tracks // 25)
folder = os.path.join(station, "Music", "Rock")
history = []
for i in range(tracks):
    artist, title = f"Large Artist {i % artists}", f"Large Song {i}"
    body = frame(b"TIT2", title) + frame(b"TPE1", artist)
    with open(os.path.join(folder, f"track{100000 + i}.mp3"), "wb") as f:
        f.write(b"ID3\3\0\0" + syncsafe(len(body)) + body + audio)
    history.append(f"[{artist} - {title}]\r\nLastPlayed=11/{1 + i % 20}/2026 {1 + i % 12}:{10 + i % 50}:00 PM\r\n"
                   f"Pending=no\r\nPlayCount={1 + i % 40}\r\nTunedOut={i % 3}\r\n")
for a in range(artists):
    history.append(f"[large artist {a}]\r\nLastPlayed=11/21/2026 {1 + a % 12}:00:00 AM\r\nPending=no\r\n")
with open(os.path.join(station, "played.ini"), "w", encoding="latin-1", newline="") as f:
    f.write("".join(history))
PY
    rm -f "$work/tone.wav" "$work/tone.mp3"
    # The tag cache trusts only stamps older than a few seconds.
    sleep 4
fi
# Runs a scenario on the station; prints "wall peakRSS". "cold" takes the saved tag cache away
# first. The history the runs add is a few sections among the station's thousands.
run() {
    local scenario=$1 cold=${2:-}
    if [[ -n $cold ]]; then
        rm -f "$station/tags.cache"
    fi
    printf '%b' "$scenario" > "$work/scenario"
    /usr/bin/time -f "%e %M" -o "$work/time" build/app/tarnwave-sim --start "2026-11-23 08:00:00" \
        "$station" "$work/scenario" > /dev/null
    cat "$work/time"
}
lines() { grep -c . "$station/Played.log" 2> /dev/null || true; }
# The start: load, then one second on the air (the first track is picked and playing by then).
before=$(lines)
read -r cold cold_kb < <(run 'load\nadvance 1\nunload\n' cold)
(($(lines) > before)) || { echo "large-station.sh: no track went on the air" >&2; exit 1; }
[[ -s $station/tags.cache ]] || { echo "large-station.sh: no tag cache was saved" >&2; exit 1; }
read -r warm warm_kb < <(run 'load\nadvance 1\nunload\n')
before=$(lines)
read -r hour hour_kb < <(run 'load\nadvance 3600\nunload\n')
starts=$(($(lines) - before))
echo "tracks $tracks of $seconds s"
echo "start without the saved tag cache $cold s (peak $((cold_kb / 1024)) MB), with it $warm s (peak $((warm_kb / 1024)) MB)"
echo "an hour on the air $hour s (peak $((hour_kb / 1024)) MB), $starts tracks started"
