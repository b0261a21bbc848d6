#!/usr/bin/env bash
# Lines of tests against lines of the program they test: non-blank lines that are not only a comment,
# in C++ sources and headers (tests/ against core/, platform/, app/, reports/, shell/), per test
# folder and in total. Run from anywhere; an argument names another checkout to measure.
set -euo pipefail
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
python3 - "$root" <<'PY'
import os, re, sys
root = sys.argv[1]

def count(path):
    n, block = 0, False
    for line in open(path, encoding="utf-8", errors="replace"):
        s = line.strip()
        if block:
            if "*/" not in s:
                continue
            block, s = False, s.split("*/", 1)[1].strip()
        if s.startswith("/*"):
            rest = s[2:]
            if "*/" not in rest:
                block = True
                continue
            s = rest.split("*/", 1)[1].strip()
        if s and not s.startswith("//"):
            n += 1
    return n

def lines(folder):
    total = 0
    for dirpath, _, files in os.walk(os.path.join(root, folder)):
        total += sum(count(os.path.join(dirpath, f)) for f in files if re.search(r"\.(cpp|h)$", f))
    return total

program = {m: lines(m) for m in ("core", "platform", "app", "reports", "shell")}
code = sum(program.values())
tests = {d: lines(os.path.join("tests", d)) for d in sorted(os.listdir(os.path.join(root, "tests")))
         if os.path.isdir(os.path.join(root, "tests", d))}
print(f"program: {code} lines (" + ", ".join(f"{m} {n}" for m, n in program.items()) + ")")
print(f"{'tests/':16} {'lines':>7}")
for d, n in tests.items():
    print(f"{d:16} {n:7}")
total = sum(tests.values())
print(f"{'total':16} {total:7}   {100.0 * total / code:.1f} % of the program")
PY
