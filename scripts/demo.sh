#!/usr/bin/env bash
# Installs what is missing, builds, and starts the console on the demo station (demo-station/,
# made on first run). Without a display the console runs headless and says where to look.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh build
mkdir -p demo-station
TARNWAVE_HOME="$PWD/demo-station" exec build/app/tarnwave "$@"
