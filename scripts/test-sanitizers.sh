#!/usr/bin/env bash
# Builds the tests with AddressSanitizer and UndefinedBehaviorSanitizer and runs them; a run that
# touched the user's trash fails.
set -euo pipefail
cd "$(dirname "$0")/.."
# Run once, in the release suite (scripts/test.sh), and not here: the Debian package's build
# (label package: cpack and strip; the install checks, which run the programs, stay), the kill
# soak (its processes die by SIGKILL, which no sanitizer reports on), and the long repeats of a
# scenario whose first run, or the unit tests of the same failure, take the same code through the
# sanitizers: the station run with a deleted or an emptied track (the picker's tests of a missing
# and an empty file), a hundred microphone openings (ResourceScenario's two thousand here), the
# stalled station with the dead-air watch off (the same station with it on), a sweeper that
# nothing holds (one that waits for the microphone) and loudness without a target (with one);
# and the demo library's interrupted run, a test of the script whose only program of ours,
# tarnwave-tag, its own tests and the station scenarios' library take through the sanitizers.
once='app_kill_soak|scripts_demo_library_interrupt'
once+='|StationScenario\.(ADeletedTrackFile|ATrackFileEmptiedMidRun)'
once+='|VoiceScenario\.AHundredMicrophoneOpenings|StreamScenario\..*WithTheDeadAirWatchOff'
once+='|CueScenario\.ASweeperFiresAtItsPointWhenNothingHoldsIt|LoudnessScenario\.WithoutATarget'
# -O1, as the sanitizers' own documentation advises: every access is still checked, and the
# scenarios' mixing runs several times as fast as unoptimised. The short tests of a program run
# together, 25 to a process (TW_TEST_SHARDS in tests/CMakeLists.txt): a sanitizer's start and
# leak check cost more than most of them; the tests above run alone, so that -E leaves them out.
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
    -DTW_SANITIZE=ON -DTW_BUILD_BENCH=OFF \
    -DTW_TEST_SHARDS=ON "-DTW_TEST_ALONE=$once"
export QT_QPA_PLATFORM=offscreen TARNWAVE_AUDIO=null
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
scripts/trash-guard.sh run ctest --test-dir build-asan -j"$(nproc)" --output-on-failure --timeout 900 \
    -LE package -E "$once"
