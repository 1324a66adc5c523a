#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh [BUILD_DIR] [extra cmake arguments...]
# TW_BUILD_TARGETS, when set, names the targets to build (all by default).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
# Compiles go through ccache when it is there: a second checkout, or a second flavour's shared
# objects, build in a fraction of the time. Paths are taken relative to the checkout, so that
# the cache serves every checkout of the project.
launcher=()
if command -v ccache > /dev/null; then
    export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B "$dir" -G Ninja "${launcher[@]}" "$@" > "$dir.configure.log" 2>&1 || { cat "$dir.configure.log"; exit 1; }
targets=()
for t in ${TW_BUILD_TARGETS:-}; do targets+=(--target "$t"); done
cmake --build "$dir" -j"$(nproc)" "${targets[@]}"
