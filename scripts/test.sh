#!/usr/bin/env bash
# Builds Wendle with its tests and runs every one of them. Arguments go to ctest
# (for example -L unit for the tests that need no display).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh" -DWENDLE_BUILD_TESTS=ON
ctest --test-dir "${WENDLE_BUILD_DIR:-$root/build}" --output-on-failure --parallel "$(nproc)" "$@"
