#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; a run that touched the user's trash fails.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
# What the tests run (tw_tests): the benchmarks are left to whoever runs them, and to CI.
TW_BUILD_TARGETS=tw_tests scripts/build.sh build -DCMAKE_BUILD_TYPE=RelWithDebInfo
export QT_QPA_PLATFORM=offscreen TARNWAVE_AUDIO=null
scripts/trash-guard.sh run ctest --test-dir build -j"$(scripts/test-jobs.sh)" --output-on-failure \
    --timeout 600
