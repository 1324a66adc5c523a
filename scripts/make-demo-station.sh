#!/usr/bin/env bash
# Builds a demo library for the console in a station folder.
#   scripts/make-demo-station.sh STATION [CATEGORIES] [TRACKS_PER_CATEGORY] [MIN_S] [MAX_S] [ARTISTS]
# Defaults: 4 categories of 16 tracks each, 2 to 4 minutes long, by 24 artists: each category has
# artists of its own, so that the rotation never puts one artist after himself, and the half hour
# of artist separation can always be kept (a category comes round every 12 minutes or so).
#
# What it makes:
#   STATION/Music/<category>/*.mp3   chords of a pitch of their own per track, faded in and out,
#                                    mono 22050 Hz 48 kbit/s, tagged (Artist, title) by tarnwave-tag
#   STATION/Rotations/Demo.rot       one row per category, no sweeper, in the rotation file's
#                                    300-byte records
#   STATION/Sweepers/                empty
#   STATION/appSettings.ini          artist separation of half an hour, when the file has none;
#                                    readable by its owner only (it holds the servers' passwords)
# A station whose Music folder already holds a category is left as it is.
#
# The library and its rotation are made in a hidden folder in the station (.demo-library.partial)
# and put in place when every track is made, the library by one rename: a run that is
# interrupted (Ctrl-C) leaves no half library that later runs would take for a whole one, and the
# next run removes what it left and starts again. Two runs on one station take turns.
#
# Environment: TW_BUILD_DIR (default build/ of this checkout) is where tarnwave-tag is found or
# built; TW_DEMO_JOBS (default: the number of cores) how many tracks are encoded at once.
set -euo pipefail

usage() {
    echo "usage: make-demo-station.sh STATION [CATEGORIES] [TRACKS_PER_CATEGORY] [MIN_S] [MAX_S] [ARTISTS]" >&2
    exit 2
}

[[ $# -ge 1 && $# -le 6 ]] || usage
station=$1
categories=${2:-4}
tracks=${3:-16}
min_s=${4:-120}
max_s=${5:-240}
artists=${6:-24}
for n in "$categories" "$tracks" "$min_s" "$max_s" "$artists"; do
    [[ $n =~ ^[0-9]+$ && $n -gt 0 ]] || usage
done
((max_s >= min_s)) || usage
((categories <= 16 && artists <= 400)) || {
    echo "make-demo-station.sh: at most 16 categories and 400 artists" >&2
    exit 2
}

repo=$(cd "$(dirname "$0")/.." && pwd)
build=${TW_BUILD_DIR:-$repo/build}
jobs=${TW_DEMO_JOBS:-$(nproc)}

has_categories() {
    [[ -d $station/Music ]] && find "$station/Music" -mindepth 1 -maxdepth 1 -type d | grep . > /dev/null
}

if has_categories; then
    echo "make-demo-station.sh: $station/Music already has categories; nothing to do"
    exit 0
fi
mkdir -p "$station"
# A second run on this station waits for the first, then finds its library made.
exec 9< "$station"
flock 9
if has_categories; then
    echo "make-demo-station.sh: $station/Music already has categories; nothing to do"
    exit 0
fi
staging=$station/.demo-library.partial
rm -rf "$staging"

for tool in sox lame; do
    command -v "$tool" > /dev/null || {
        echo "make-demo-station.sh: $tool is missing (scripts/install-deps.sh installs it)" >&2
        exit 1
    }
done
tagger=$build/app/tarnwave-tag
if [[ ! -x $tagger ]]; then
    cmake --build "$build" --target tarnwave-tag > /dev/null
fi

category_names=(Rock Pop Jazz Dance Oldies Country Blues Soul Folk Reggae Swing Latin Funk Disco Gospel Ambient)
first_words=(Amber Silver Velvet Crimson Hollow Midnight Golden Quiet Electric Northern Wild Paper Broken Distant Lucky Frozen Iron Gentle Scarlet Neon)
second_words=(Harbor Foxes Lanterns Rivers Pilots Comets Orchard Engines Sparrows Giants Tides Wolves Ravens Atlas Meadow Circuit Rovers Canyon Echoes Vesper)
title_first=(Blue Summer Falling Open Burning Slow Lonely Bright Last Hidden Morning Restless Silent Endless Little Sudden)
title_second=(Road Light Heart Window Train Rain Garden Signal Mirror Shore Letter Fire Bridge Dream Season Wheel)

# Artist number i gets a pair of words that no other number below 400 gets.
artist_name() {
    local i=$1
    echo "${first_words[i % 20]} ${second_words[(i / 20 + i) % 20]}"
}

# Title number t: a pair of words that no other number below 256 gets, then a count.
track_title() {
    local t=$1 title
    title="${title_first[t % 16]} ${title_second[(t / 16 + t) % 16]}"
    if ((t >= 256)); then
        title+=" $((t / 256 + 1))"
    fi
    echo "$title"
}

# One track: a major chord on its own root, faded in and out, encoded and tagged.
make_track() {
    local file=$1 seconds=$2 root=$3 artist=$4 title=$5
    local wav=${file%.mp3}.wav
    # Three sine channels mixed down to one: the chord, faded in and out. Its tones are whole
    # numbers of hertz, so one second of it is a whole number of periods of each: sox makes that
    # second and repeats it, which gives the same samples as making every second (sox's synthesis
    # costs about 140 ns a sample and tone, half of what a whole track took to make that way).
    sox -q -r 22050 -c 3 -n -b 16 -c 1 "$wav" \
        synth 1 sine "$root" sine "$((root * 5 / 4))" sine "$((root * 3 / 2))" \
        remix - vol 0.7 repeat "$((seconds - 1))" fade t 0.3 "$seconds" 0.5
    lame --quiet -q 7 -m m -b 48 "$wav" "$file"
    rm -f "$wav"
    "$tagger" --set "Artist=$artist" --set "title=$title" "$file" > /dev/null
}

mkdir -p "$staging/Music" "$station/Rotations" "$station/Sweepers"
total=$((categories * tracks))
made=0
# One line, rewritten as the tracks are made.
progress() {
    made=$((made + 1))
    printf '\rmake-demo-station.sh: making the demo library, %d of %d tracks' "$made" "$total"
}
rotation=$staging/Demo.rot
: > "$rotation"
span=$((max_s - min_s + 1))
running=0
for ((ci = 0; ci < categories; ci++)); do
    category=${category_names[ci]}
    mkdir -p "$staging/Music/$category"
    printf '%-100s%-100s%-100s' "$category" "False" "saved" >> "$rotation"
    for ((ti = 0; ti < tracks; ti++)); do
        g=$((ci * tracks + ti))
        if ((artists >= categories)); then
            per=$((artists / categories))
            artist=$(artist_name $((ci * per + ti % per)))
        else
            artist=$(artist_name $((g % artists)))
        fi
        title=$(track_title "$g")
        seconds=$((min_s + (g * 37) % span))
        # Roots 8 Hz apart from 112 Hz: every track sounds a pitch of its own.
        root=$((112 + 8 * g))
        file=$(printf '%s/Music/%s/%s_%03d_%s.mp3' "$staging" "$category" "$category" "$ti" \
            "${artist// /_}")
        make_track "$file" "$seconds" "$root" "$artist" "$title" &
        running=$((running + 1))
        if ((running >= jobs)); then
            wait -n
            running=$((running - 1))
            progress
        fi
    done
done
while ((running > 0)); do
    wait -n
    running=$((running - 1))
    progress
done
echo

# Into place: the rotation first, then the library by one rename, so that a Music folder with a
# category always holds the whole library. An empty Music folder (a console started on the
# station before makes one) is replaced by the rename; one that holds files but no category gets
# the categories one by one, with Ctrl-C held off meanwhile.
mv -f "$rotation" "$station/Rotations/Demo.rot"
if [[ ! -d $station/Music ]] || [[ -z $(ls -A "$station/Music") ]]; then
    mv -T "$staging/Music" "$station/Music"
else
    trap '' INT TERM
    mv "$staging/Music"/* "$station/Music/"
    trap - INT TERM
fi
rm -rf "$staging"

# The settings file holds the servers' passwords once the operator gives them: it is the
# owner's alone from the start, and so is one that was there before.
if ! grep -qs '^\[ArtistSeperation\]' "$station/appSettings.ini"; then
    (umask 077 && printf '[ArtistSeperation]\r\nHours=0.5\r\n' >> "$station/appSettings.ini")
fi
chmod 600 "$station/appSettings.ini"
echo "make-demo-station.sh: $((categories * tracks)) tracks in $categories categories under $station/Music"
