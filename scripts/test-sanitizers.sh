#!/usr/bin/env bash
# Builds the tests with AddressSanitizer and UndefinedBehaviorSanitizer and runs them; a run that
# touched the user's trash fails.
set -euo pipefail
cd "$(dirname "$0")/.."
# -O1, as the sanitizers' own documentation advises: every access is still checked, and the
# scenarios' mixing runs several times as fast as unoptimised.
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
    -DTW_SANITIZE=ON -DTW_BUILD_BENCH=OFF
export QT_QPA_PLATFORM=offscreen TARNWAVE_AUDIO=null
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
scripts/trash-guard.sh run ctest --test-dir build-asan -j"$(nproc)" --output-on-failure --timeout 900
