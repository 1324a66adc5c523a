#!/usr/bin/env bash
# The demo library's first run interrupted as Ctrl-C does (SIGINT to the script's process group)
# while it makes the tracks, then run again: the interrupted run leaves nothing in Music, the next
# one removes what it left and makes the whole library, and a run after that makes nothing, nor
# does the second of two runs at once. The tracks are a few seconds long, so that the test is
# quick; their number (64) and the way in are the demo's own. The settings file, one that others
# could read beforehand, ends the owner's alone.
#   tests/scripts/demo_library_interrupt_test.sh    (needs tarnwave-tag in $TW_BUILD_DIR)
set -uo pipefail
repo=$(cd "$(dirname "$0")/../.." && pwd)
script=$repo/scripts/make-demo-station.sh
export TW_BUILD_DIR=${TW_BUILD_DIR:-$repo/build}
export TW_DEMO_JOBS=2

work=$(mktemp -d "${TMPDIR:-/tmp}/tw-demo-interrupt-XXXXXX")
pid=
cleanup() {
    [[ -n $pid ]] && kill -KILL -- "-$pid" 2> /dev/null
    rm -rf "$work"
}
trap cleanup EXIT
station=$work/station
staging=$station/.demo-library.partial
args=(4 16 2 4 24)  # 4 categories of 16 tracks, 2 to 4 s long, 24 artists

for tool in mpg123 sox lame flock; do
    command -v "$tool" > /dev/null || {
        echo "demo_library_interrupt_test.sh: $tool is missing (scripts/install-deps.sh)" >&2
        exit 1
    }
done

failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}
# How many tracks the run's progress line says are made.
progress_of() {
    grep -o '[0-9]* of [0-9]* tracks' "$1" 2> /dev/null | tail -n 1 | cut -d' ' -f1
}
tracks_in() {
    find "$1" -name '*.mp3' 2> /dev/null | wc -l
}
categories_in() {
    find "$1" -mindepth 1 -maxdepth 1 -type d 2> /dev/null | wc -l
}
# Every track with its inode and modification time: a track made again differs.
stamps() {
    find "$station/Music" -name '*.mp3' -printf '%p %i %T@\n' | sort
}

# A settings file that an editor or a backup left readable by everyone.
mkdir -p "$station"
printf '[Crossfade]\r\ntime=2\r\n' > "$station/appSettings.ini"
chmod 644 "$station/appSettings.ini"

# 1. Interrupted while it makes the library. Job control gives the script a process group of its
# own, as a terminal does, and leaves SIGINT to it (a background job of a script ignores it).
start=$(date +%s.%N)
set -m
"$script" "$station" "${args[@]}" > "$work/first.log" 2>&1 &
pid=$!
set +m
interrupted=no
for ((i = 0; i < 1200; i++)); do
    if ! kill -0 "$pid" 2> /dev/null; then
        break
    fi
    made=$(progress_of "$work/first.log")
    if ((${made:-0} >= 10)); then
        kill -INT -- "-$pid"
        interrupted=yes
        break
    fi
    sleep 0.05
done
wait "$pid"
status=$?
pid=
[[ $interrupted == yes ]] || fail "the first run ended before it could be interrupted: $(cat "$work/first.log")"
((status != 0)) || fail "the interrupted run exited with 0"
left=$(tracks_in "$staging")
echo "interrupted run: exit status $status after $(progress_of "$work/first.log") of 64 tracks," \
    "$left tracks left in $staging"
((left > 0 && left < 64)) || fail "the interrupted run left $left tracks in the hidden folder"
(($(categories_in "$station/Music") == 0)) || fail "the interrupted run put categories in Music"
(($(tracks_in "$station/Music") == 0)) || fail "the interrupted run put tracks in Music"

# 2. Run again: the leftover goes, the whole library is made and put in place.
t0=$(date +%s.%N)
if ! "$script" "$station" "${args[@]}" > "$work/second.log" 2>&1; then
    fail "the second run failed: $(cat "$work/second.log")"
fi
t1=$(date +%s.%N)
(($(tracks_in "$station/Music") == 64)) || fail "$(tracks_in "$station/Music") tracks in Music, not 64"
(($(categories_in "$station/Music") == 4)) || fail "$(categories_in "$station/Music") categories, not 4"
for category in "$station/Music"/*/; do
    n=$(tracks_in "$category")
    ((n == 16)) || fail "$category holds $n tracks, not 16"
done
# Every track whole: it decodes (mono 16-bit at 22050 Hz) to its 2 to 4 seconds.
while IFS= read -r track; do
    bytes=$(mpg123 -q -s "$track" 2> /dev/null | wc -c)
    awk -v b="$bytes" 'BEGIN { exit !(b >= 1.9 * 44100 && b <= 4.2 * 44100) }' ||
        fail "$track decodes to $bytes bytes"
done < <(find "$station/Music" -name '*.mp3')
[[ $(stat -c %s "$station/Rotations/Demo.rot") == 1200 ]] || fail "Demo.rot is not 4 rows of 300 bytes"
[[ ! -e $staging ]] || fail "the hidden folder is still there after a whole run"
[[ $(stat -c %a "$station/appSettings.ini") == 600 ]] ||
    fail "appSettings.ini is $(stat -c %a "$station/appSettings.ini"), not 600"
grep -q '^\[Crossfade\]' "$station/appSettings.ini" || fail "appSettings.ini lost what it held"
grep -q '^\[ArtistSeperation\]' "$station/appSettings.ini" || fail "no artist separation"
before=$(stamps)

# 3. A run on the whole library makes nothing.
t2=$(date +%s.%N)
if ! "$script" "$station" "${args[@]}" > "$work/third.log" 2>&1; then
    fail "the third run failed: $(cat "$work/third.log")"
fi
t3=$(date +%s.%N)
grep -q 'nothing to do' "$work/third.log" || fail "the third run did not say it had nothing to do"
[[ $(stamps) == "$before" ]] || fail "the third run made tracks again"
[[ ! -e $staging ]] || fail "the third run left a hidden folder"

# 4. Two runs at once on a fresh station: one makes the library, the other waits and makes
# nothing.
other=$work/other
"$script" "$other" "${args[@]}" > "$work/a.log" 2>&1 &
a=$!
"$script" "$other" "${args[@]}" > "$work/b.log" 2>&1 &
b=$!
wait "$a" || fail "one of two runs at once failed: $(cat "$work/a.log")"
wait "$b" || fail "one of two runs at once failed: $(cat "$work/b.log")"
(($(tracks_in "$other/Music") == 64)) || fail "two runs at once made $(tracks_in "$other/Music") tracks"
(($(cat "$work/a.log" "$work/b.log" | grep -c 'nothing to do') == 1)) ||
    fail "not exactly one of two runs at once had nothing to do"

awk -v a="$start" -v b="$t0" -v c="$t1" -v d="$t2" -v e="$t3" 'BEGIN {
    printf "FIGURES interrupted run %.1f s, whole run %.1f s, run with nothing to do %.2f s\n",
        b - a, c - b, e - d
}'
if ((failures > 0)); then
    echo "$failures checks failed"
    exit 1
fi
echo "demo library: interrupted, resumed whole (64 tracks), not made twice"
