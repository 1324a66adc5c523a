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
TARNWAVE_HOME="$PWD/demo-station" exec build/app/tarnwave "$@"
