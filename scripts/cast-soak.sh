#!/usr/bin/env bash
# The cast's fault soak: the demo station on the air to a real Icecast in virtual time while the
# server is killed and started again twenty times and the encoder program killed five times.
# Prints the slowest return, the memory before and after, and whether the mix ever fell silent.
#   scripts/cast-soak.sh    (needs a build in build/)
set -euo pipefail
cd "$(dirname "$0")/.."
TW_CAST_SOAK=1 TARNWAVE_AUDIO=null build/tests/test_env.sh build/tests/app/tests_app \
    --gtest_filter='CastScenario.Soak*' 2>&1 | grep -E "SOAK|OK|FAILED|Failure|Expected|Which"
