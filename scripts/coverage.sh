#!/usr/bin/env bash
# Line and branch coverage of the program by the whole test suite (gcov through gcovr), per module.
# Builds in build-cov/ (or WENDLE_COVERAGE_DIR), runs every test, and writes
#   build-cov/coverage/summary.txt   the table per module, overall first
#   build-cov/coverage/index.html    the report per file, line by line
# Arguments go to ctest (for example -L unit, or -R 'test_plist|test_tracking').
# WENDLE_COVERAGE_TARGETS="test_plist test_tracking" builds the program and those targets alone, so
# that one module's suites can be measured on a shared machine without the whole tree.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${WENDLE_COVERAGE_DIR:-$root/build-cov}
bash "$root/scripts/bootstrap.sh"
command -v gcovr >/dev/null || { echo "coverage needs gcovr (apt-get install gcovr)" >&2; exit 1; }

cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DWENDLE_BUILD_TESTS=ON \
  -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_EXE_LINKER_FLAGS="--coverage" >/dev/null
if [[ -n ${WENDLE_COVERAGE_TARGETS:-} ]]; then
  # shellcheck disable=SC2086 # a list of target names
  nice cmake --build "$dir" --parallel "$(nproc)" --target wendle $WENDLE_COVERAGE_TARGETS
else
  nice cmake --build "$dir" --parallel "$(nproc)"
fi
find "$dir" -name '*.gcda' -delete
nice ctest --test-dir "$dir" --output-on-failure --parallel "$(nproc)" "$@" || echo "some tests failed: coverage is of what ran" >&2

out=$dir/coverage
mkdir -p "$out"
cd "$root"
gcovr --root "$root" --object-directory "$dir" \
  --filter 'core/' --filter 'platform/' --filter 'app/' --filter 'reports/' --filter 'shell/' \
  --exclude-unreachable-branches --exclude-throw-branches --gcov-ignore-parse-errors \
  --json-summary "$out/summary.json" --html-details "$out/index.html" >/dev/null
python3 - "$out/summary.json" <<'PY' | tee "$out/summary.txt"
import json, sys, collections
data = json.load(open(sys.argv[1]))
totals = collections.defaultdict(lambda: [0, 0, 0, 0])
for f in data["files"]:
    parts = f["filename"].split("/")
    module = "/".join(parts[:2]) if parts[0] in ("core", "platform") else parts[0]
    for key in (module, "all"):
        t = totals[key]
        t[0] += f["line_covered"]; t[1] += f["line_total"]
        t[2] += f["branch_covered"]; t[3] += f["branch_total"]
print(f"{'module':24} {'lines':>16} {'branches':>16}")
for module in ["all"] + sorted(k for k in totals if k != "all"):
    lc, lt, bc, bt = totals[module]
    pct = lambda a, b: f"{100.0 * a / b:5.1f}%" if b else "   - "
    print(f"{module:24} {pct(lc, lt)} {lc:5}/{lt:<5} {pct(bc, bt)} {bc:5}/{bt:<5}")
PY
