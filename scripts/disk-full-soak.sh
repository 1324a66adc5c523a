#!/usr/bin/env bash
# The console (build/app/tarnwave, headless, on the silent device) with its station folder on a
# small file system that fills up while it is on the air, and the figures that judge it:
#   - on the air while full: the tracks the console opens, seen in /proc/PID/fd every half second
#     (Played.log shows them only while its last page has room);
#   - the lines about failed writes per minute (on the standard error while app.log is full too);
#   - the history written before the disk filled, byte for byte;
#   - new history lines and "Writing works again" in app.log once there is room.
#   scripts/disk-full-soak.sh [MINUTES]    (default 3 minutes full, after one minute on the air and
#                                           before one minute with room; needs the superuser to
#                                           mount the file system, and a build in build/ or
#                                           $TW_BUILD_DIR)
# Exits 1 when a check failed.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)
build=${TW_BUILD_DIR:-$repo/build}
minutes=${1:-3}
[[ $minutes =~ ^[0-9]+$ && $minutes -gt 0 ]] || {
    echo "usage: disk-full-soak.sh [MINUTES]" >&2
    exit 2
}
if [[ $(id -u) -ne 0 ]]; then
    echo "disk-full-soak.sh: mounting a small file system needs the superuser; nothing was run"
    exit 0
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/tw-disk-full-XXXXXX")
disk=$work/disk
mkdir -p "$disk"
console=
cleanup() {
    [[ -z $console ]] || kill -KILL "$console" 2> /dev/null || true
    umount -l "$disk" 2> /dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
mount -t tmpfs -o size=16m,mode=0755 tw-disk-full-soak "$disk"

. scripts/isolated-home.sh "$work"
station=$disk/station
export TARNWAVE_HOME=$station
# 4 categories of 6 tracks, 8 to 15 s: a start every ten seconds or so.
TW_BUILD_DIR=$build TW_DEMO_JOBS=2 scripts/make-demo-station.sh "$station" 4 6 8 15 12 > /dev/null

# The standard error, each line with the second it came.
"$build/app/tarnwave" 2> >(while IFS= read -r line; do echo "$(date +%s) $line"; done \
    > "$work/stderr") > /dev/null &
console=$!

# Samples the tracks the console has open until the file $work/stop appears.
# One line a sample: the second, then the tracks open, separated by tabs.
watch_tracks() {
    local line fd target
    while [[ ! -e $work/stop ]]; do
        line=$(date +%s)
        for fd in /proc/"$console"/fd/*; do
            target=$(readlink "$fd" 2> /dev/null || true)
            [[ $target == "$station/Music/"* ]] && line+=$'\t'$target
        done
        echo "$line"
        sleep 0.5
    done
}
watch_tracks > "$work/opened" &
watcher=$!

failures=0
sleep 60
cp "$station/Played.log" "$work/history"
full_from=$(date +%s)
# Every byte the file system has left.
dd if=/dev/zero of="$disk/filler" bs=64k status=none 2> /dev/null || true
echo "disk filled: $(df --output=avail -B1 "$disk" | tail -n 1) bytes free"
sleep $((minutes * 60))
full_to=$(date +%s)
rm -f "$disk/filler"
sleep 60
kill -TERM "$console"
wait "$console" || {
    echo "the console did not end normally"
    failures=$((failures + 1))
}
console=
touch "$work/stop"
wait "$watcher" || true
sleep 0.2

status=0
python3 - "$work" "$station" "$full_from" "$full_to" "$minutes" << 'PY' || status=$?
import datetime, os, re, sys
work, station, full_from, full_to, minutes = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
failed = 0
def check(ok, what):
    global failed
    if not ok:
        failed += 1
        print("FAILED: " + what)
# Starts seen from outside: a track open in two samples running (a tag read is over sooner) that
# was not open in the sample before.
samples = []
for line in open(os.path.join(work, "opened")):
    parts = line.rstrip("\n").split("\t")
    samples.append((int(parts[0]), set(parts[1:])))
starts = []
for i in range(1, len(samples) - 1):
    new = (samples[i][1] - samples[i - 1][1]) & samples[i + 1][1]
    starts += [samples[i][0]] * len(new)
full_starts = sum(full_from <= t < full_to for t in starts)
# The lines about failed writes: app.log's carry their time, the standard error's got theirs.
told = []
stamp = re.compile(r"^#Time:(\d+/\d+/\d+ \d+:\d+:\d+ [AP]M)(.*)#$")
for line in open(os.path.join(station, "app.log"), encoding="latin-1"):
    m = stamp.match(line.rstrip("\n"))
    if m and (m.group(2).startswith("Cannot write ") or m.group(2).startswith("Writing works again")):
        when = datetime.datetime.strptime(m.group(1), "%m/%d/%Y %I:%M:%S %p").timestamp()
        told.append((when, "app.log", m.group(2)))
for line in open(os.path.join(work, "stderr"), encoding="latin-1"):
    t, _, text = line.rstrip("\n").partition(" ")
    if text.startswith("tarnwave: "):
        told.append((int(t), "stderr", text[len("tarnwave: "):]))
told.sort()
times = [t for t, _, _ in told]
most = max((sum(t <= u < t + 60 for u in times) for t in times), default=0)
in_log = sum(w == "app.log" for _, w, _ in told)
history = open(os.path.join(work, "history"), "rb").read()
played = open(os.path.join(station, "Played.log"), "rb").read()
whole = re.compile(rb"^.+,\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d{2}:\d{2} [AP]M$")
lines = played.split(b"\n")[:-1]
cut = sum(not whole.match(l) for l in lines)
stamps = [datetime.datetime.strptime(l.rsplit(b",", 1)[1].decode(), "%m/%d/%Y %I:%M:%S %p").timestamp()
          for l in lines if whole.match(l)]
written_full = sum(full_from <= t < full_to for t in stamps)
written_after = sum(t >= full_to for t in stamps)
slack = 4096 - len(history) % 4096 if len(history) % 4096 else 0
history_lines = history.count(b"\n")
print(f"full for {minutes} min: the console opened tracks {full_starts} times (a start opens its "
      f"track more than once: the scan for sound and the player); history lines written meanwhile: "
      f"{written_full} (Played.log's last page had {slack} bytes of room)")
print(f"lines about failed writes: {len(told)} ({in_log} in app.log, {len(told) - in_log} on the standard error), "
      f"at most {most} in any minute")
print(f"history before the disk filled: {history_lines} lines, kept byte for byte: "
      f"{'yes' if played.startswith(history) else 'NO'}; lines cut in half: {cut}")
recovered = [x for x in told if x[0] >= full_to and x[2].startswith("Writing works again")]
print(f"after the room came back: {written_after} new history lines; "
      f"\"Writing works again\" at +{recovered[0][0] - full_to:.0f} s" if recovered else
      f"after the room came back: {written_after} new history lines; no \"Writing works again\"")
for t, w, text in told[:3]:
    print(f"  {w}: {text}")
check(full_starts >= minutes * 3, "too few starts while full")
check(len(told) >= 1 and most <= 1, "lines about failed writes: none, or more than one a minute")
check(played.startswith(history) and cut == 0, "history lost or cut")
check(written_after >= 2 and recovered, "no recovery")
print(f"failed checks: {failed}")
sys.exit(1 if failed else 0)
PY
((failures == 0 && status == 0))
