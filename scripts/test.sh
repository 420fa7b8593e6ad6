#!/bin/bash
# Installs what is missing, builds everything in build/ and runs all tests.
set -euo pipefail
repo=$(cd "$(dirname "$0")/.." && pwd)

"$repo/scripts/setup.sh"
"$repo/scripts/build.sh" build
ctest --test-dir "$repo/build" --output-on-failure -j2
