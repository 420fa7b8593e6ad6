#!/bin/bash
# Configures and builds brantix, its tests and the drive simulator.
#   scripts/build.sh [BUILD_DIR] [CMAKE_ARGS...]     (default build dir: build)
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)
build_dir=${1:-build}
shift || true
case "$build_dir" in
    /*) ;;
    *) build_dir="$repo/$build_dir" ;;
esac
cmake -S "$repo" -B "$build_dir" -G Ninja "$@"
cmake --build "$build_dir" -j "${BRANTIX_JOBS:-2}"
