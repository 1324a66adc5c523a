#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for SECONDS (default 30) on its seed corpus.
# The tag readers and writer, which face the most varied files, get at least 60 s.
#   scripts/fuzz.sh [SECONDS] [TARGET...]
# With TW_FUZZ_CHANGED_SINCE=REV the time goes where the parsers changed: a target whose sources
# (or a header it reads, or that header's own .cpp) changed between REV and HEAD runs as above;
# every other target replays its seed corpus and fuzzes for TW_FUZZ_BRIEF seconds (default 5).
set -euo pipefail
cd "$(dirname "$0")/.."
secs=${1:-30}
shift || true
scripts/build.sh build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTW_FUZZ=ON -DTW_BUILD_VIEW=OFF \
    -DTW_BUILD_TESTS=OFF -DTW_BUILD_BENCH=OFF -DCMAKE_CXX_COMPILER=clang++-14
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
    mapfile -t targets < <(find build-fuzz/fuzz -maxdepth 1 -type f -name 'fuzz_*' -perm -u+x -printf '%f\n' | sort)
fi
# The files of the checkout a target is built from: its objects' sources and headers, and the .cpp
# beside each header (where the parser behind it lives when it comes in from tw_logic).
sources_of() {
    local t=$1 objects
    mapfile -t objects < <(cd build-fuzz && find "fuzz/CMakeFiles/$t.dir" -name '*.o')
    ninja -C build-fuzz -t deps "${objects[@]}" | sed -n 's/^    //p' |
        sed 's|^\([^/]\)|build-fuzz/\1|' | xargs realpath -m --relative-to=. |
        grep -v -e '^\.\./' -e '^/' -e '^build' |
        while read -r f; do
            echo "$f"
            [[ "$f" == *.h ]] && echo "${f%.h}.cpp"
        done | sort -u
}
declare -A brief=()
if [ -n "${TW_FUZZ_CHANGED_SINCE:-}" ]; then
    changed=$(git diff --name-only "$TW_FUZZ_CHANGED_SINCE" HEAD | sort -u)
    for t in "${targets[@]}"; do
        if [ -z "$(comm -12 <(sources_of "$t") <(echo "$changed"))" ]; then
            brief[$t]=1
        fi
    done
    echo "Parsers changed since $TW_FUZZ_CHANGED_SINCE: the full time for" \
        "$(for t in "${targets[@]}"; do [ -z "${brief[$t]:-}" ] && printf '%s ' "$t"; done)"
fi
# One fuzzer per core at a time; each prints its summary, or its whole report when it failed.
run_one() {
    local t=$1 work seeds run
    work=$(mktemp -d)
    seeds=fuzz/corpus/${t#fuzz_}
    run=$secs
    case "$t" in fuzz_tag_light | fuzz_tag_full | fuzz_tag_writer) [ "$run" -lt 60 ] && run=60 ;; esac
    if [ -n "${brief[$t]:-}" ] && [ "${TW_FUZZ_BRIEF:-5}" -lt "$run" ]; then run=${TW_FUZZ_BRIEF:-5}; fi
    if "build-fuzz/fuzz/$t" -max_total_time="$run" -timeout=10 -rss_limit_mb=2048 \
        -artifact_prefix="build-fuzz/$t-" "$work" "$seeds" > "$work.log" 2>&1; then
        echo "== $t for ${run}s (seeds: $seeds)"
        tail -n 3 "$work.log"
        rm -rf "$work" "$work.log"
        return 0
    fi
    # The whole report (the stack and the input's bytes) is what the next person needs.
    echo "== $t FAILED (seeds: $seeds)"
    grep -v '^#[0-9]' "$work.log" | tail -n 80
    rm -rf "$work" "$work.log"
    return 1
}
failed=0
for t in "${targets[@]}"; do
    while [ "$(jobs -rp | wc -l)" -ge "$(nproc)" ]; do wait -n || failed=1; done
    run_one "$t" > "build-fuzz/$t.out" 2>&1 &
done
while [ "$(jobs -rp | wc -l)" -gt 0 ]; do wait -n || failed=1; done
for t in "${targets[@]}"; do cat "build-fuzz/$t.out"; done
exit "$failed"
