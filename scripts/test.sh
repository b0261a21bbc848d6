#!/usr/bin/env bash
# Builds Wendle with its tests and runs every one of them. Arguments go to ctest
# (for example -L unit for the tests that need no display).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh" -DWENDLE_BUILD_TESTS=ON
build="${WENDLE_BUILD_DIR:-$root/build}"
if [ $# -gt 0 ]; then
  exec ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" "$@"
fi
# The suites that start X servers, compositors or buses run one at a time: two of them side by
# side on a small machine miss the timings real servers need and fail for that alone. The rest
# run in parallel.
servers='x11|wayland|dbus'
status=0
ctest --test-dir "$build" --output-on-failure -L "$servers" || status=$?
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" -LE "$servers" || status=$?
exit "$status"
