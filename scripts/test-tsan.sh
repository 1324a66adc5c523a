#!/usr/bin/env bash
# Builds the audio engine's tests with ThreadSanitizer and runs them.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh build-tsan -DTW_TSAN=ON -DTW_BUILD_VIEW=OFF -DTW_BUILD_BENCH=OFF
export TARNWAVE_AUDIO=null
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
ctest --test-dir build-tsan -R 'Audio(Decode|Mix|Handle|Stream|Device|Realtime|Ring)' --output-on-failure --timeout 900
