#!/usr/bin/env bash
# Configures and builds Wendle in build/ (or the folder given as WENDLE_BUILD_DIR).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/bootstrap.sh"
dir=${WENDLE_BUILD_DIR:-$root/build}
# shellcheck disable=SC2086  # extra cmake arguments are words on purpose
cmake -S "$root" -B "$dir" -G Ninja ${WENDLE_CMAKE_ARGS:-} "$@" >/dev/null
cmake --build "$dir" --parallel "$(nproc)"
