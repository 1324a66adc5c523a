#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; a run that touched the user's trash fails.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
# What the tests run (tw_tests): the benchmarks are left to whoever runs them, and to CI.
# TW_TEST_PCH=OFF leaves out the tests' precompiled header (tests/CMakeLists.txt), for a build
# whose objects come from a warm compiler cache. The short tests of a program run 25 to a process
# (TW_TEST_SHARDS in tests/CMakeLists.txt: the suite's processor time 718 -> 616 s here);
# TW_TEST_SHARDS=OFF gives every test a ctest name and a process of its own.
TW_BUILD_TARGETS=tw_tests scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DTW_TEST_PCH="${TW_TEST_PCH:-ON}" -DTW_TEST_SHARDS="${TW_TEST_SHARDS:-ON}"
export QT_QPA_PLATFORM=offscreen TARNWAVE_AUDIO=null
# Every test but the critical path's runs niced (tests/CMakeLists.txt, CRITICAL): the longest
# test then has a processor to itself and ends with the rest rather than a minute or two after.
export TW_TEST_NICE=${TW_TEST_NICE:-5}
scripts/trash-guard.sh run ctest --test-dir build -j"$(scripts/test-jobs.sh)" --output-on-failure \
    --timeout 600
