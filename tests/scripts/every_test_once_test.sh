#!/usr/bin/env bash
# What ctest runs covers every test of every test program exactly once: one test of its own, or
# one place in one shard (TW_TEST_SHARDS, tests/shard_tests.cmake), in either way of running.
# A ctest test with the label "rerun" runs tests a second time on purpose and is not counted.
#   every_test_once_test.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
work=$(mktemp -d "${TMPDIR:-/tmp}/tarnwave-tests-XXXXXX")
trap 'rm -rf "$work"' EXIT
ctest --test-dir "$build" -N --show-only=json-v1 > "$work/ctest.json"
# Every test program the build has, and the tests each lists.
find "$build/tests" -maxdepth 2 -type f -perm -u+x \( -name 'tests_*' -o -name '*_test' \) |
    sort > "$work/programs"
while read -r program; do
    "$build/tests/test_env.sh" "$program" --gtest_list_tests > "$work/$(basename "$program").list"
done < "$work/programs"
python3 - "$work" << 'PY'
import json, os, sys
work = sys.argv[1]
programs = open(os.path.join(work, "programs")).read().split()
listed = {}
for program in programs:
    names, suite = [], None
    for line in open(os.path.join(work, os.path.basename(program) + ".list")):
        line = line.rstrip("\n").split("  #")[0]
        if line and not line.startswith(" ") and line.endswith("."):
            suite = line
        elif line.startswith("  ") and suite:
            names.append(suite + line.strip())
    listed[program] = names
runs = {program: {} for program in programs}
for test in json.load(open(os.path.join(work, "ctest.json")))["tests"]:
    command = test.get("command", [])
    filters = [a[len("--gtest_filter="):] for a in command if a.startswith("--gtest_filter=")]
    program = next((a for a in command if a in runs), None)
    labels = [p["value"] for p in test.get("properties", []) if p["name"] == "LABELS"]
    if program is None or not filters or any("rerun" in l for l in labels):
        continue
    for name in filters[0].split(":"):
        runs[program].setdefault(name, []).append(test["name"])
failures = []
for program, names in listed.items():
    if not names:
        failures.append(f"{program} lists no test")
    for name in names:
        by = runs[program].get(name, [])
        if len(by) != 1:
            failures.append(f"{name} ({os.path.basename(program)}) is run by {len(by)} ctest tests: {by}")
    for name in set(runs[program]) - set(names):
        failures.append(f"ctest runs {name}, which {os.path.basename(program)} does not have")
if failures:
    sys.exit("\n".join(failures[:40]))
print(f"{sum(len(n) for n in listed.values())} tests of {len(programs)} programs, each run once")
PY
