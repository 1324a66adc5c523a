#!/usr/bin/env bash
# Seven simulated days of the demo station with the operator at the console every hour, and the
# figures that judge them, day by day. Each hour the operator opens and closes the microphone,
# records and saves a voice track, fires a sample, and the rotation schedule switches between the
# demo rotation, a second rotation and a playlist whose first row is a stream address that cannot
# be reached (nothing listens on the loopback address's port 9), so the next row must take its
# place. Per day: the simulator's memory (VmRSS) and the engine's live handles (the "resources"
# command), starts (Played.log lines), the PlayCount sum, failure lines in app.log apart from
# those the address gives, and the longest stretch of digital silence in ten minutes of the mix
# recorded each day (at 12:30, the microphone, voice track and sample of the hour included).
#   scripts/week-with-operator.sh [DAYS]    (default 7; needs a build in build/)
# Environment: TW_WEEK_KEEP=DIR keeps the station, the scenario and the simulator's output in DIR.
set -euo pipefail
cd "$(dirname "$0")/.."
days=${1:-7}
[[ $days =~ ^[0-9]+$ && $days -gt 0 ]] || {
    echo "usage: week-with-operator.sh [DAYS]" >&2
    exit 2
}
if [[ -n ${TW_WEEK_KEEP:-} ]]; then
    work=$TW_WEEK_KEEP
    # A station that ran before has its schedule switched on already: the operator's press
    # would switch it off.
    [[ ! -e $work/station ]] || {
        echo "week-with-operator.sh: $work/station exists; give a new folder" >&2
        exit 2
    }
    mkdir -p "$work"
else
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
fi
station=$work/station
scripts/make-demo-station.sh "$station" > /dev/null

# The microphone: a voice-like tone, four seconds, that the simulated microphone loops.
sox -q -n -r 44100 -c 2 -b 16 "$work/voice.wav" synth 4 sine 220 sine 330 tremolo 3 80 vol 0.4
# A two-second sample for the sampler's first button.
sox -q -n -r 44100 -c 2 -b 16 "$work/sample.wav" synth 2 sine 880 vol 0.5
lame --quiet -b 128 "$work/sample.wav" "$work/sample.mp3"

# The playlist: an address that cannot be reached, then three tracks of the library. The count is
# one short of the rows, as the console writes it.
mkdir -p "$station/Playlist"
mapfile -t tracks < <(find "$station/Music" -name '*.mp3' | sort | head -n 3)
{
    echo "[playlist]"
    echo "File1=http://127.0.0.1:9/live"
    for i in 0 1 2; do echo "File$((i + 2))=${tracks[i]}"; done
    echo "NumberOfEntries=3"
    echo "Version=2"
} > "$station/Playlist/Stream.pls"

# The schedule, the same every day: the second rotation at 02, 08, 14 and 20, the playlist at
# 05, 11, 17 and 23, the demo rotation in the other hours that start a block.
{
    for day in 1 2 3 4 5 6 7; do
        echo "[$day]"
        for hour in 0 3 6 9 12 15 18 21; do echo "$hour=Demo.rot"; done
        for hour in 2 8 14 20; do echo "$hour=Alt.rot"; done
        for hour in 5 11 17 23; do echo "$hour=Stream.pls"; done
    done
} > "$station/rotationSchedule.ini"

# The scenario: an hour is 3600 s of virtual time with the operator's work at fixed minutes.
{
    echo load
    echo "rotation Alt Pop Rock Dance"
    echo "press chkEnableSchedule"
    echo "drop cmdSampler(1) $work/sample.mp3"
    echo resources
    for ((d = 0; d < days; d++)); do
        for ((h = 0; h < 24; h++)); do
            echo "advance 600"
            echo "press cmdMic left"
            echo "advance 20"
            echo "press cmdMic left"
            echo "advance 580"
            echo "press cmdRecord"
            echo "advance 8"
            echo "answer Link $d $h"
            echo "press cmdRecord"
            echo "advance 592"
            echo "press cmdSampler(1)"
            if ((h == 12)); then
                echo "record $work/day$d.wav 600"
                echo "advance 1200"
            else
                echo "advance 1800"
            fi
        done
        echo resources
    done
    echo unload
} > "$work/scenario"

start=$(date +%s.%N)
status=0
build/app/tarnwave-sim --start "2026-11-23 00:00:00" --mic "$work/voice.wav" "$station" \
    "$work/scenario" \
    > "$work/sim.out" 2> "$work/sim.err" || status=$?
end=$(date +%s.%N)
if ((status != 0)); then
    cat "$work/sim.err" >&2
    exit "$status"
fi
python3 - "$work" "$days" "$(echo "$end - $start" | bc)" << 'PY'
import glob, os, re, sys
work, days, wall = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
station = work + "/station"
res = [dict(zip(l.split()[1::2], l.split()[2::2])) for l in open(work + "/sim.out") if l.startswith("resources")]
played = [l for l in open(station + "/Played.log", encoding="latin-1") if l.strip()]
# Starts per day by the date of each Played.log line ("name,MM/DD/YYYY hh:mm:ss AM").
day_of = {}
for l in played:
    date = l.rsplit(",", 1)[1].split()[0]
    day_of[date] = day_of.get(date, 0) + 1
per_day = [day_of[k] for k in sorted(day_of, key=lambda d: (d[6:10], d[0:2], d[3:5]))]
counts = sum(int(x) for x in re.findall(r"(?im)^PlayCount=(\d+)", open(station + "/played.ini", encoding="latin-1").read()))
quiet = ("Starting", "Started", "minbuf", "Unloaded")
address = "127.0.0.1:9"
lines = [l.strip() for l in open(station + "/app.log", encoding="latin-1") if l.strip()]
failures = [l for l in lines if not any(q in l for q in quiet)]
from_address = [l for l in failures if address in l]
other = [l for l in failures if address not in l]

def longest_silence(path):
    # Runs of zero bytes: a frame is four of them (16-bit stereo).
    data = open(path, "rb").read()[44:]
    longest = max((len(m.group(0)) for m in re.finditer(rb"\x00{4,}", data)), default=0)
    return longest / 4 / 44100.0

print(f"days {days}  wall {wall:.0f} s  starts {len(played)}  PlayCount sum {counts}")
print(f"failure lines in app.log: {len(other)} besides {len(from_address)} about the address")
for l in other[:20]:
    print("  " + l)
print("day  rss kB  growth kB  handles  channels  syncs  starts  longest silence (hour 12)")
for d in range(days):
    r, prev = res[d + 1], res[d]
    wav = f"{work}/day{d}.wav"
    silence = longest_silence(wav) if glob.glob(wav) else float("nan")
    if glob.glob(wav):
        os.remove(wav)
    day_starts = per_day[d] if d < len(per_day) else 0
    print(f"{d + 1:3}  {r['rss']:>6}  {int(r['rss']) - int(prev['rss']):>9}  {r['handles']:>7}  "
          f"{r['channels']:>8}  {r['syncs']:>5}  {day_starts:>6}  {silence:.2f} s")
if days > 1:
    growth = (int(res[days]["rss"]) - int(res[1]["rss"])) / (days - 1)
    print(f"VmRSS growth after the first day: {growth:.0f} kB per day")
PY
