#!/usr/bin/env bash
# Installs what is missing, builds, and starts the console on the demo station (demo-station/,
# made on first run). Without a display the console runs headless and says where to look.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
mkdir -p demo-station
# The demo library, rotation and sweepers, where the script that makes them is present (it
# leaves a station it has already made as it is).
if [[ -x scripts/make-demo-station.sh ]]; then
    scripts/make-demo-station.sh demo-station
elif [[ -f scripts/make-demo-station.sh ]]; then
    bash scripts/make-demo-station.sh demo-station
fi
# A machine without a sound card has no microphone either: the demo's microphone is then a voice
# that espeak-ng speaks once into a file, played as if it were said into the microphone.
if [[ -z "${TARNWAVE_MIC:-}" && ! -e /dev/snd ]]; then
    if [[ ! -f demo-station/demo-mic.wav ]]; then
        espeak-ng -w demo-station/demo-mic.wav \
            "This is the demo microphone of TarnWave. You are on the air." || true
    fi
    [[ -f demo-station/demo-mic.wav ]] && export TARNWAVE_MIC="$PWD/demo-station/demo-mic.wav"
fi
TARNWAVE_HOME="$PWD/demo-station" exec build/app/tarnwave "$@"
