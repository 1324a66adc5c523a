#!/usr/bin/env bash
# The console killed with SIGKILL at random moments and started again, and the figures that judge
# it. Each round:
#   1. the console (build/app/tarnwave, headless, on the silent device) starts on a demo station of
#      short tracks: the time until Played.log gains its line is its time to air (at most 5 s);
#      it plays on, writing Played.log and played.ini at every start, and is killed at a random
#      moment;
#   2. the simulator (build/app/tarnwave-sim) runs the operator's writes on the same station, over
#      and over: a cue and artist tag written into a track, the crossfade setting, a voice take
#      (VoiceTrack1.wav, then lame into Music/VoiceTracks) and an import by drop; it is killed at
#      a random moment. The console itself takes no commands while it runs, so these writes are
#      made through the same console code in the simulator.
# After every kill: each INI file reads whole and keeps every section it had, every track decodes
# (mpg123) to the same audio as at the start (imports to their source's, voice tracks to the
# take's length), and the unfinished files the killed run left are listed. After every start the
# listed files must be gone. At the end the console unloads normally and nothing unfinished may be
# left anywhere.
#   scripts/kill-soak.sh [KILLS]    (default 50 rounds, each killing the console and the simulator
#                                    once; needs a build in build/ or $TW_BUILD_DIR)
# Exits 1 when any check failed.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)
build=${TW_BUILD_DIR:-$repo/build}
rounds=${1:-50}
[[ $rounds =~ ^[0-9]+$ && $rounds -gt 0 ]] || {
    echo "usage: kill-soak.sh [KILLS]" >&2
    exit 2
}
for tool in mpg123 sox lame python3; do
    command -v "$tool" > /dev/null || {
        echo "kill-soak.sh: $tool is missing" >&2
        exit 1
    }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/tw-kill-soak-XXXXXX")
pids=()
cleanup() {
    for p in "${pids[@]}"; do
        kill -KILL "$p" 2> /dev/null || true
    done
    rm -rf "$work"
}
trap cleanup EXIT
. scripts/isolated-home.sh "$work"
station=$work/station
export TARNWAVE_HOME=$station

# 4 categories of 5 tracks, 3 to 6 s long: a start every few seconds.
TW_BUILD_DIR=$build TW_DEMO_JOBS=2 scripts/make-demo-station.sh "$station" 4 5 3 6 12 > /dev/null
printf '[Crossfade]\r\ntime=1\r\n' >> "$station/appSettings.ini"
sox -q -n -r 44100 -c 1 -b 16 "$work/voice.wav" synth 3 sine 700 vol 0.5
mkdir -p "$work/imports"
for n in 1 2; do
    sox -q -n -r 22050 -c 1 -b 16 "$work/imports/i.wav" synth "$((2 + n))" sine "$((500 + 100 * n))" vol 0.5
    lame --quiet -b 48 "$work/imports/i.wav" "$work/imports/Import_$n.mp3"
done
rm -f "$work/imports/i.wav"

# The operator's writes, over and over: far more than a run lives to make.
awk -v imports="$work/imports" 'BEGIN {
    print "load"; print "select flRotations 0"; print "advance 0.5"; print "press cmdTrackList"
    for (r = 0; r < 3000; r++) {
        print "select lstPlaylists " r % 4
        print "select lstSongs " (r * 3) % 5
        print "type txtArtistName Artist Take " r
        print "press cmdUpdateTag"
        print "slide frmAppSettings.sldCrossfadeSeconds " 1 + r % 2
        if (r % 3 == 0) {
            print "press cmdRecord"; print "advance 0.7"
            print "answer Link " r % 4
            print "press cmdRecord"
            print "select lstPlaylists " r % 4
        }
        if (r % 3 == 1) print "drop lstSongs " imports "/Import_" 1 + r % 2 ".mp3"
        print "advance 0.3"
    }
}' > "$work/scenario"

checker=$work/check.py
cat > "$checker" << 'PY'
# check.py STATE STATION baseline|check LABEL
#   baseline: the decoded audio of every track, as it is now.
#   check:    the INI files whole, the tracks unchanged, the unfinished files listed in STATE/left.
import hashlib, json, os, re, subprocess, sys

state, station, mode = sys.argv[1], sys.argv[2], sys.argv[3]
label = sys.argv[4] if len(sys.argv) > 4 else ""

def decode(path):
    """The decoded audio's digest and length in bytes, or None when mpg123 finds fault."""
    run = subprocess.run(["mpg123", "-q", "-s", path], capture_output=True)
    if run.returncode != 0 or run.stderr.strip() or not run.stdout:
        return None
    return hashlib.md5(run.stdout).hexdigest(), len(run.stdout)

def tracks():
    for folder, _, files in os.walk(os.path.join(station, "Music")):
        for name in files:
            if name.lower().endswith(".mp3") and not name.startswith("."):
                yield os.path.join(folder, name)

if mode == "baseline":
    audio = {p: decode(p) for p in tracks()}
    imports = {os.path.basename(p): decode(p) for p in sys.argv[4:]}
    json.dump({"audio": audio, "imports": imports}, open(os.path.join(state, "baseline.json"), "w"))
    sys.exit(0)

base = json.load(open(os.path.join(state, "baseline.json")))
faults = []
# INI files: every line a section, a key=value or blank, the last one ended, and no section the
# file had at the last check gone.
sections_path = os.path.join(state, "sections.json")
known = json.load(open(sections_path)) if os.path.exists(sections_path) else {}
ini_count = 0
for name in sorted(os.listdir(station)):
    if not name.lower().endswith(".ini") or name.startswith("."):
        continue
    ini_count += 1
    data = open(os.path.join(station, name), "rb").read()
    text = data.decode("latin-1")
    lines = text.replace("\r\n", "\n").split("\n")
    if data and not data.endswith(b"\n"):
        faults.append(f"{name}: the last line is cut")
    sections = set()
    for line in lines[:-1]:
        s = line.strip()
        if s.startswith("[") and s.endswith("]"):
            sections.add(s[1:-1].lower())
        elif s and "=" not in s:
            faults.append(f"{name}: a line that is no setting: {line[:60]!r}")
            break
    lost = set(known.get(name, [])) - sections
    if lost:
        faults.append(f"{name}: {len(lost)} sections lost, e.g. {sorted(lost)[0]!r}")
    known[name] = sorted(sections)
json.dump(known, open(sections_path, "w"))
# Tracks.
track_count = 0
for path in tracks():
    track_count += 1
    got = decode(path)
    rel = os.path.relpath(path, station)
    name = os.path.basename(path)
    if got is None:
        faults.append(f"{rel}: does not decode")
    elif path in base["audio"]:
        if got[0] != base["audio"][path][0]:
            faults.append(f"{rel}: its audio changed")
    elif name in base["imports"]:
        if got[0] != base["imports"][name][0]:
            faults.append(f"{rel}: not the file imported")
    elif "/VoiceTracks/" in path:
        # The take is 0.7 s of the microphone: 44.1 kHz stereo 16-bit, with the encoder's padding.
        if not 0.5 <= got[1] / 176400 <= 1.2:
            faults.append(f"{rel}: {got[1] / 176400:.2f} s, not the take's length")
    else:
        faults.append(f"{rel}: a track that was never made")
for path in base["audio"]:
    if not os.path.exists(path):
        faults.append(f"{os.path.relpath(path, station)}: gone")
# Unfinished files: hidden files and part files anywhere in the station.
left = []
for folder, _, files in os.walk(station):
    for name in files:
        if name.startswith(".") or name.endswith(".part"):
            left.append(os.path.join(folder, name))
open(os.path.join(state, "left"), "w").write("".join(p + "\n" for p in left))
def kind(path):
    name = os.path.basename(path)
    for pattern, what in ((r"\.tw-\d+-\d+\.part$", "encoder part"), (r"\.tw-\d+\.tmp$", "replaced file"),
                          (r"\.tw-\d+\.copy$", "import copy"), (r"\.tw-\d+\.tag.{6}$", "tag write")):
        if re.search(pattern, name):
            return what
    return "other: " + name
with open(os.path.join(state, "kinds"), "a") as kinds:
    kinds.write("".join(kind(p) + "\n" for p in left))
with open(os.path.join(state, "counts"), "a") as counts:
    counts.write(f"{ini_count} {track_count} {len(left)}\n")
for f in faults:
    print(f"{label}: {f}")
sys.exit(1 if faults else 0)
PY

python3 "$checker" "$work" "$station" baseline "$work"/imports/*.mp3
failures=0
: > "$work/air"
: > "$work/left"
: > "$work/kinds"
: > "$work/stale"

# Waits until Played.log has more than $1 lines or 5 s have passed; prints the seconds taken.
time_to_air() {
    local before=$1 start=$2 now lines
    while :; do
        lines=$(grep -c . "$station/Played.log" 2> /dev/null || true)
        now=$(date +%s.%N)
        if ((${lines:-0} > before)); then
            echo "$now - $start" | bc
            return 0
        fi
        if (($(echo "$now - $start > 5" | bc))); then
            echo "-1"
            return 0
        fi
        sleep 0.02
    done
}

# Files listed after the last kill that are still there.
stale_count() {
    local n=0 f
    while IFS= read -r f; do
        [[ -e $f ]] && n=$((n + 1)) && echo "stale: ${f#"$station"/}" >&2
    done < "$work/left"
    echo "$n"
}

# A random number of milliseconds in [$1, $2].
random_ms() {
    echo $(($1 + (RANDOM * 32768 + RANDOM) % ($2 - $1 + 1)))
}

start_console() {
    "$build/app/tarnwave" > "$work/console.out" 2>&1 &
    console=$!
    pids+=("$console")
}

left_after_kills=0
console_kills=0
sim_kills=0
wall_start=$(date +%s)
for ((round = 1; round <= rounds; round++)); do
    before=$(grep -c . "$station/Played.log" 2> /dev/null || true)
    start=$(date +%s.%N)
    start_console
    air=$(time_to_air "${before:-0}" "$start")
    echo "$air" >> "$work/air"
    if [[ $air == -1 ]]; then
        echo "round $round: the console was not on the air within 5 s"
        failures=$((failures + 1))
    fi
    stale=$(stale_count)
    echo "$stale" >> "$work/stale"
    ((stale == 0)) || failures=$((failures + 1))
    sleep "$(echo "scale=3; $(random_ms 0 4000) / 1000" | bc)"
    kill -KILL "$console"
    wait "$console" 2> /dev/null || true
    console_kills=$((console_kills + 1))
    python3 "$checker" "$work" "$station" check "round $round, console killed" ||
        failures=$((failures + 1))
    left_after_kills=$((left_after_kills + $(grep -c . "$work/left" || true)))

    TARNWAVE_MIC=$work/voice.wav "$build/app/tarnwave-sim" --start "$(date '+%Y-%m-%d %H:%M:%S')" \
        "$station" "$work/scenario" > /dev/null 2> "$work/sim.err" &
    sim=$!
    pids+=("$sim")
    sleep "$(echo "scale=3; $(random_ms 200 3000) / 1000" | bc)"
    if kill -KILL "$sim" 2> /dev/null; then
        sim_kills=$((sim_kills + 1))
    else
        echo "round $round: the simulator ended before its kill: $(head -c 300 "$work/sim.err")"
        failures=$((failures + 1))
    fi
    wait "$sim" 2> /dev/null || true
    python3 "$checker" "$work" "$station" check "round $round, simulator killed" ||
        failures=$((failures + 1))
    left_after_kills=$((left_after_kills + $(grep -c . "$work/left" || true)))
done

# The last start: on the air, then unloaded normally; nothing unfinished may be left. An encoder
# the simulator started may still be finishing its take: it is given a moment first.
sleep 1
before=$(grep -c . "$station/Played.log" 2> /dev/null || true)
start=$(date +%s.%N)
start_console
air=$(time_to_air "${before:-0}" "$start")
echo "$air" >> "$work/air"
[[ $air != -1 ]] || {
    echo "last start: the console was not on the air within 5 s"
    failures=$((failures + 1))
}
stale=$(stale_count)
echo "$stale" >> "$work/stale"
((stale == 0)) || failures=$((failures + 1))
sleep 1
kill -TERM "$console"
wait "$console" || {
    echo "last start: the console did not end normally"
    failures=$((failures + 1))
}
python3 "$checker" "$work" "$station" check "at the end" || failures=$((failures + 1))
left_at_end=$(grep -c . "$work/left" || true)
if ((left_at_end > 0)); then
    echo "at the end: $left_at_end unfinished files left:"
    sed "s|^$station/|  |" "$work/left"
    failures=$((failures + 1))
fi
wall=$(($(date +%s) - wall_start))

read -r inis tracks_checked _ < <(tail -n 1 "$work/counts")
checks=$(grep -c . "$work/counts")
echo "kills: $console_kills of the console, $sim_kills of the simulator, in $rounds rounds; wall $wall s"
sort -n "$work/air" | awk '$1 >= 0 { v[n++] = $1 } $1 < 0 { late++ }
    END {
        if (n) printf "time to air after %d starts: min %.2f s, median %.2f s, max %.2f s; later than 5 s: %d\n",
            n + late, v[0], v[int(n / 2)], v[n - 1], late + 0
        else print "time to air: never on the air"
    }'
echo "checks: $checks, each of $inis INI files and $tracks_checked tracks (mpg123 decode and audio digest)"
kinds=$(sort "$work/kinds" | uniq -c | awk '{ n = $1; $1 = ""; printf "%s%s%s", sep, n, $0; sep = ", " }')
echo "unfinished files found right after a kill: $left_after_kills (${kinds:-none}); still there after the next start: $(paste -sd+ "$work/stale" | bc); at the end: $left_at_end"
echo "Played.log lines: $(grep -c . "$station/Played.log"); voice tracks: $(find "$station/Music/VoiceTracks" -name '*.mp3' 2> /dev/null | wc -l); failed checks: $failures"
((failures == 0))
