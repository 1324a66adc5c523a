#!/usr/bin/env bash
# Configures and builds one flavour of the project.
#   scripts/build.sh [BUILD_DIR] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -G Ninja "$@" > "$dir.configure.log" 2>&1 || { cat "$dir.configure.log"; exit 1; }
cmake --build "$dir" -j"$(nproc)"
