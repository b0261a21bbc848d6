#!/usr/bin/env bash
# Fails when a C++ source of the repository is not formatted as .clang-format says.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
git ls-files -z '*.cpp' '*.h' | xargs -0 -r clang-format --dry-run -Werror
