#!/usr/bin/env bash
# Builds Wendle and starts it; arguments go to the program.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/build.sh"
exec "${WENDLE_BUILD_DIR:-$root/build}/app/wendle" "$@"
