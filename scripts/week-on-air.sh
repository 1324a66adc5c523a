#!/usr/bin/env bash
# Seven simulated days of the demo station in virtual time, and the figures that judge them: wall
# time, starts, Played.log lines against the PlayCount sum, failure lines in app.log, the longest
# stretch before a track comes back, an artist twice in a row, and the simulator's memory per day.
#   scripts/week-on-air.sh [DAYS]    (default 7; needs a build in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
days=${1:-7}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
scripts/make-demo-station.sh "$work/station" > /dev/null
{
    echo load
    for ((d = 0; d < days; d++)); do echo "advance 86400"; done
    echo unload
} > "$work/scenario"
start=$(date +%s.%N)
build/app/tarnwave-sim --start "2026-11-23 08:00:00" "$work/station" "$work/scenario" > /dev/null &
pid=$!
: > "$work/memory"
while kill -0 "$pid" 2> /dev/null; do
    rss=$(awk '/VmRSS/ {print $2}' "/proc/$pid/status" 2> /dev/null || true)
    starts=$(grep -c . "$work/station/Played.log" 2> /dev/null || true)
    [ -n "$rss" ] && echo "${starts:-0} $rss" >> "$work/memory"
    sleep 5
done
wait "$pid"
end=$(date +%s.%N)
python3 - "$work" "$days" "$(echo "$end - $start" | bc)" << 'PY'
import datetime, re, sys
work, days, wall = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
station = work + "/station"
events = []
for line in open(station + "/Played.log", encoding="latin-1"):
    line = line.strip()
    if not line:
        continue
    name, when = line.rsplit(",", 1)
    form = "%m/%d/%Y %I:%M:%S %p" if " " in when else "%m/%d/%Y"
    events.append((datetime.datetime.strptime(when, form), name))
counts = sum(int(x) for x in re.findall(r"(?im)^PlayCount=(\d+)", open(station + "/played.ini", encoding="latin-1").read()))
quiet = ("Starting", "Started", "minbuf", "Unloaded")
failures = [l for l in open(station + "/app.log", encoding="latin-1") if l.strip() and not any(q in l for q in quiet)]
last, back, repeats, previous = {}, None, 0, None
for when, name in events:
    if name in last:
        gap = (when - last[name]).total_seconds() / 60
        back = gap if back is None else min(back, gap)
    last[name] = when
    artist = name.split(" - ")[0]
    repeats += artist == previous
    previous = artist
# From the first start on: before it the program is still loading.
memory = [tuple(map(int, l.split())) for l in open(work + "/memory") if len(l.split()) == 2]
memory = [m for m in memory if m[0] > 0] or memory
first_kb, last_kb = memory[0][1], memory[-1][1]
print(f"days {days}  wall {wall:.0f} s  starts {len(events)}  PlayCount sum {counts}  tracks {len(last)}")
print(f"failure lines in app.log {len(failures)}  shortest return of a track {back if back is None else round(back, 1)} min  artist twice in a row {repeats}")
print(f"VmRSS {first_kb} kB after the first start, {last_kb} kB at the end: {(last_kb - first_kb) / days:.0f} kB per simulated day")
PY
