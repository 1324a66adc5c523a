#!/usr/bin/env bash
# The console (build/app/tarnwave, headless, on the silent device) with its station folder on a
# small file system that fills up while it is on the air, and the figures that judge it:
#   - on the air while full: the tracks the console opens, seen in /proc/PID/fd every half second
#     (Played.log cannot show them then);
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

export HOME=$work/home
export XDG_DATA_HOME=$HOME/.local/share XDG_CACHE_HOME=$HOME/.cache XDG_CONFIG_HOME=$HOME/.config
export XDG_RUNTIME_DIR=$HOME/run
mkdir -p "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_CONFIG_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
export TARNWAVE_AUDIO=null QT_QPA_PLATFORM=offscreen
station=$disk/station
export TARNWAVE_HOME=$station
# 4 categories of 6 tracks, 8 to 15 s: a start every ten seconds or so.
TW_BUILD_DIR=$build TW_DEMO_JOBS=2 scripts/make-demo-station.sh "$station" 4 6 8 15 12 > /dev/null

# The standard error, each line with the second it came.
"$build/app/tarnwave" 2> >(while IFS= read -r line; do echo "$(date +%s) $line"; done \
    > "$work/stderr") > /dev/null &
console=$!

# Samples the tracks the console has open until the file $work/stop appears.
watch_tracks() {
    while [[ ! -e $work/stop ]]; do
        for fd in /proc/"$console"/fd/*; do
            target=$(readlink "$fd" 2> /dev/null || true)
            [[ $target == "$station/Music/"* ]] && echo "$(date +%s) $target"
        done
        sleep 0.5
    done
}
watch_tracks > "$work/opened" &
watcher=$!

failures=0
sleep 60
history_lines=$(grep -c . "$station/Played.log")
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

opened_while_full=$(awk -v a="$full_from" -v b="$full_to" '$1 >= a && $1 < b { print $2 }' \
    "$work/opened" | uniq | wc -l)
lines_told=$(grep -c ' tarnwave: Cannot write ' "$work/stderr" || true)
max_per_minute=$(awk '/ tarnwave: Cannot write / { t[n++] = $1 }
    END { m = 0; for (i = 0; i < n; i++) { c = 0; for (j = i; j < n && t[j] < t[i] + 60; j++) c++; if (c > m) m = c } print m }' \
    "$work/stderr")
if cmp -s -n "$(stat -c %s "$work/history")" "$work/history" "$station/Played.log"; then
    kept=$history_lines
else
    kept="NOT KEPT"
    failures=$((failures + 1))
fi
total_lines=$(grep -c . "$station/Played.log")
half_lines=$(grep -cv ',[0-9]\{1,2\}/[0-9]\{1,2\}/[0-9]\{4\}' "$station/Played.log" || true)
recovered=$(grep -c 'Writing works again' "$station/app.log" || true)
new_lines=$((total_lines - history_lines))

echo "full for $minutes min: tracks taken on the air while full $opened_while_full"
echo "lines about failed writes: $lines_told in $minutes min, at most $max_per_minute in any minute" \
    "(on the standard error; app.log was full too)"
echo "history lines before the disk filled: $history_lines, kept byte for byte: $kept;" \
    "lines cut in half: $half_lines"
echo "after the room came back: $new_lines new history lines, \"Writing works again\" lines: $recovered"
sed -n 's/^[0-9]* tarnwave: //p' "$work/stderr" | head -n 2 | sed 's/^/  first told: /'
((opened_while_full >= minutes * 3)) || {
    echo "too few tracks on the air while full"
    failures=$((failures + 1))
}
((lines_told >= 1 && max_per_minute <= 1)) || failures=$((failures + 1))
((half_lines == 0 && new_lines >= 2 && recovered == 1)) || failures=$((failures + 1))
echo "failed checks: $failures"
((failures == 0))
