#!/usr/bin/env bash
# Builds the tests of the threaded parts with ThreadSanitizer and runs them: the audio engine, and
# the console's workers (the worker itself, the import and recount, the statistics report, the
# loudness measurement, the web status service and its feed). The rest of the console is single-threaded by design.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=build-tsan
# The tests of a folder are one program (tests_<folder>); the regex below picks the threaded ones.
TW_BUILD_TARGETS="tests_audio audio_realtime_test tests_core tests_autodj tests_reporting tests_media tests_web" \
    scripts/build.sh "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTW_TSAN=ON -DTW_BUILD_VIEW=OFF \
    -DTW_BUILD_BENCH=OFF
export TARNWAVE_AUDIO=null
export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
# As many at a time as the release suite (scripts/test-jobs.sh): most of these tests wait on real
# time too (servers, devices, ten seconds of a silent stream). One by one they took 149 s here,
# three at a time on two cores 52 s.
ctest --test-dir "$dir" -j"$(scripts/test-jobs.sh)" -R 'Audio(Decode|Mix|Handle|Stream|Device|Realtime|Ring)|RingStore|DecodeAhead|OfflineRender|Cast|CommandLine|Waveform|Effects|Record(Device)?Test|Studio(Output|Ring)|WorkerTest|LibraryJobsTest|TagFillTest|StatisticsTest|LoudnessLibraryTest|LoudnessMeterTest|StatusServiceTest|StatusFeedTest|NowPlayingCommandTest|ClockTest' --output-on-failure --timeout 900
