#!/usr/bin/env bash
# The operator's voice over a long session, through tarnwave-sim on the real engine: per round 100
# microphone openings, 20 previews of the take, 10 samples and 3 voice tracks (saved under 40
# names, so that most replace an older track), and the figures that judge it: the engine's live
# handles and the simulator's memory after every round past the warm-up, the starts, and the
# failure lines in app.log.
#   scripts/resource-soak.sh [ROUNDS]    (default 100: 10,000 openings; needs a build in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
rounds=${1:-100}
warmup=14
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
scripts/make-demo-station.sh "$work/station" 6 40 20 90 15 > /dev/null
sox -q -n -r 44100 -c 1 -b 16 "$work/voice.wav" synth 3 sine 700 vol 0.5
sox -q -n -r 44100 -c 2 -b 16 "$work/jingle.wav" synth 0.3 sine 1200 vol 0.4
awk -v rounds="$rounds" -v warmup="$warmup" -v jingle="$work/jingle.wav" 'BEGIN {
    print "load"; print "select flRotations 0"; print "advance 5"
    print "drop cmdSampler(1) " jingle
    print "press cmdRecord"; print "advance 0.3"; print "press cmdRecord"
    for (r = 0; r < rounds; r++) {
        for (i = 0; i < 100; i++) {
            button = i % 2 ? "right" : "left"
            print "press cmdMic " button; print "advance 0.06"
            print "press cmdMic " button; print "advance 0.06"
        }
        for (i = 0; i < 20; i++) {
            print "press optSamplerMode(1)"; print "press cmdVoiceTrack"
            if (i % 2 == 0) { print "advance 0.12"; print "press cmdVoiceTrack" }
            print "advance 0.48"
        }
        for (i = 0; i < 10; i++) {
            print (i % 2 ? "press optSamplerMode(1)" : "press optSamplerMode(0)")
            print "press cmdSampler(1)"; print "advance 0.42"
        }
        for (i = 0; i < 3; i++) {
            print "press cmdRecord"; print "advance 0.3"
            print "answer Link " (r * 3 + i) % 40
            print "press cmdRecord"; print "advance 0.12"
        }
        if (r >= warmup) print "resources"
    }
    print "advance 5"; print "resources"; print "unload"
}' > "$work/scenario"
start=$(date +%s.%N)
TARNWAVE_MIC="$work/voice.wav" build/app/tarnwave-sim --start "2026-03-02 10:00:00" \
    "$work/station" "$work/scenario" | grep '^resources' > "$work/resources"
end=$(date +%s.%N)
quiet="Starting|Started|minbuf|Unloaded"
failures=$(grep -Evc "$quiet" "$work/station/app.log" || true)
echo "rounds $rounds: $((rounds * 100)) microphone openings, $((rounds * 20)) previews," \
    "$((rounds * 10)) samples, $((rounds * 3)) voice tracks; wall $(echo "$end - $start" | bc) s"
echo "after round $((warmup + 1)): $(sed -n 1p "$work/resources")"
echo "at the end:     $(tail -n 1 "$work/resources")"
# The memory swings by a player's ring (1 MB) as tracks hand over: the lowest and highest of the
# first twenty rounds measured against those of the last twenty.
awk '{ h[NR] = $3; r[NR] = $13 }
     function span(from, to, what,   i, lo, hi) {
         lo = hi = what[from]
         for (i = from; i <= to; i++) { if (what[i] < lo) lo = what[i]; if (what[i] > hi) hi = what[i] }
         return lo " to " hi
     }
     END {
         w = NR < 20 ? NR : 20
         printf "first %d rounds measured: handles %s, VmRSS %s kB\n", w, span(1, w, h), span(1, w, r)
         printf "last %d rounds:           handles %s, VmRSS %s kB\n", w, span(NR - w + 1, NR, h), span(NR - w + 1, NR, r)
     }' "$work/resources"
echo "starts $(grep -c . "$work/station/Played.log")  failure lines in app.log $failures" \
    " voice tracks $(find "$work/station/Music/VoiceTracks" -name '*.mp3' | wc -l)" \
    " part files left $(find "$work/station/Music/VoiceTracks" -name '.*' | wc -l)"
