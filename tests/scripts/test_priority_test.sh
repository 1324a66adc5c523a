#!/usr/bin/env bash
# The test launcher runs a test at the niceness TW_TEST_NICE asks for, and the suite's critical
# path is marked to run at the ordinary one: scripts/test.sh nices every other test.
#   test_priority_test.sh BUILD_DIR
set -euo pipefail
build=$1
launcher=$build/tests/test_env.sh
base=$(nice)

want=$((base + 5 > 19 ? 19 : base + 5))
got=$(TW_TEST_NICE=5 "$launcher" nice)
[ "$got" -eq "$want" ] || { echo "TW_TEST_NICE=5 ran at $got, not $want"; exit 1; }
got=$(env -u TW_TEST_NICE "$launcher" nice)
[ "$got" -eq "$base" ] || { echo "without TW_TEST_NICE the test ran at $got, not $base"; exit 1; }

# What ctest runs: the day on the air with TW_TEST_NICE=0, another test of its suite without it.
tests=$(mktemp "${TMPDIR:-/tmp}/tarnwave-tests-XXXXXX")
trap 'rm -f "$tests"' EXIT
ctest --test-dir "$build" -N --show-only=json-v1 > "$tests"
python3 - "$tests" << 'PY'
import json, sys
tests = {t["name"]: t for t in json.load(open(sys.argv[1]))["tests"]}
def environment(name):
    for p in tests[name].get("properties", []):
        if p["name"] == "ENVIRONMENT":
            return p["value"]
    return []
day = "StationScenario.ADayOnTheAirStartsLogsAndPlansEveryTrackWithoutSilence"
other = "StationScenario.ADeletedCategoryLeavesTheRotationAndTheStationOnTheAir"
if environment(day) != ["TW_TEST_NICE=0"]:
    sys.exit(f"{day}: environment {environment(day)}, not TW_TEST_NICE=0")
if any(e.startswith("TW_TEST_NICE") for e in environment(other)):
    sys.exit(f"{other}: environment {environment(other)} changes the niceness")
print("critical path:", day)
PY
