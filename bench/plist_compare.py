#!/usr/bin/env python3
"""Times Wendle's property-list codecs against Python's plistlib and libplist's plistutil.

Builds the heavy configuration with bench_plist_tool, then, in the same run, measures wall time
(best of N) and peak resident memory (the child's own rusage) of:

  round trip   binary read + binary write: bench_plist_tool roundtrip  vs  plistlib load + dump
  bin -> XML   bench_plist_tool convert ... xml                         vs  plistutil -f xml
  XML -> bin   bench_plist_tool convert ... binary                      vs  plistutil -f bin

and checks that Wendle's outputs read back, with plistlib, as the same value as the input.
Ratios are peer / Wendle, for wall time, CPU time (user + system) and peak memory. Targets: round trip >= 30x plistlib, each conversion >= 5x
plistutil. Exits 1 when an output disagrees or a target is missed.

  python3 bench/plist_compare.py --tool build-bench/bench/bench_plist_tool [--runs 3] [--scale 1] [--skip xml2bin]
"""

import argparse
import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import time

ROUND_TRIP_TARGET = 30.0
CONVERSION_TARGET = 5.0

PLISTLIB_ROUND_TRIP = (
    "import plistlib, sys\n"
    "with open(sys.argv[1], 'rb') as f: value = plistlib.load(f)\n"
    "with open(sys.argv[2], 'wb') as f: plistlib.dump(value, f, fmt=plistlib.FMT_BINARY, sort_keys=True)\n"
)


class Measurement:
    def __init__(self, seconds, cpu_seconds, peak_kib, phases):
        self.seconds = seconds            # best wall time
        self.cpu_seconds = cpu_seconds    # best user + system time
        self.peak_kib = peak_kib
        self.phases = phases


def run_once(command):
    """Runs the command; answers (wall seconds, CPU seconds, peak RSS in KiB, stderr text)."""
    with tempfile.TemporaryFile() as err:
        start = time.perf_counter()
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=err)
        # wait4 gives this child's own rusage, not the sum over every child so far.
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
        err.seek(0)
        text = err.read().decode('utf-8', 'replace')
    if process.returncode != 0:
        sys.exit(f"command failed ({process.returncode}): {' '.join(command)}\n{text}")
    return seconds, usage.ru_utime + usage.ru_stime, usage.ru_maxrss, text


def measure(command, runs, patience):
    """Best of `runs`; a command slower than `patience` seconds is run once (its ratio is not in
    doubt, and some peers take many minutes on the heavy file)."""
    best = None
    best_cpu = None
    peak = 0
    phases = ''
    for _ in range(runs):
        seconds, cpu, peak_kib, text = run_once(command)
        peak = max(peak, peak_kib)
        best_cpu = cpu if best_cpu is None else min(best_cpu, cpu)
        if best is None or seconds < best:
            best = seconds
            phases = ', '.join(line.strip() for line in text.splitlines() if line.strip().endswith(' ms)'))
        if seconds > patience:
            phases += ' (one run: slower than the patience)'
            break
    return Measurement(best, best_cpu, peak, phases)


def load(path):
    with open(path, 'rb') as f:
        return plistlib.load(f)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--tool', default=os.path.join(here, '..', 'build', 'bench', 'bench_plist_tool'),
                        help='path of bench_plist_tool (default: build/bench/bench_plist_tool)')
    parser.add_argument('--python', default='/usr/bin/python3' if os.path.exists('/usr/bin/python3') else sys.executable,
                        help='interpreter whose plistlib is timed')
    parser.add_argument('--plistutil', default=shutil.which('plistutil') or 'plistutil')
    parser.add_argument('--runs', type=int, default=3, help='runs per measurement; the best time counts (>= 3)')
    parser.add_argument('--scale', type=int, default=1, help='divide the heavy configuration by this')
    parser.add_argument('--patience', type=float, default=120.0,
                        help='a command whose run takes longer than this many seconds is not repeated')
    parser.add_argument('--judge', choices=('wall', 'cpu'), default='wall',
                        help='which time the targets are judged on (cpu is steadier on a shared machine)')
    parser.add_argument('--keep', help='keep the files in this folder instead of a temporary one')
    parser.add_argument('--skip', action='append', default=[], choices=('roundtrip', 'bin2xml', 'xml2bin'),
                        help='leave this operation out (repeatable); xml2bin is the slow one, since plistutil '
                             'takes many minutes on the heavy XML file')
    args = parser.parse_args()
    runs = max(args.runs, 3)
    tool = os.path.abspath(args.tool)
    if not os.access(tool, os.X_OK):
        sys.exit(f'no bench_plist_tool at {tool}: build it with -DWENDLE_BUILD_BENCH=ON, or pass --tool')
    if not shutil.which(args.plistutil):
        sys.exit('plistutil is missing (Debian package libplist-utils)')

    work = args.keep or tempfile.mkdtemp(prefix='plist_compare.')
    os.makedirs(work, exist_ok=True)
    path = lambda name: os.path.join(work, name)
    try:
        _, _, _, text = run_once([tool, 'generate', path('heavy.bplist'), str(args.scale)])
        print(text.strip().splitlines()[-1])
        reference = load(path('heavy.bplist'))
        # The XML input comes from an independent writer, so that the reader meets foreign XML.
        with open(path('heavy.xml'), 'wb') as f:
            plistlib.dump(reference, f, fmt=plistlib.FMT_XML, sort_keys=True)
        print(f"binary {os.path.getsize(path('heavy.bplist')):,} bytes, XML {os.path.getsize(path('heavy.xml')):,} bytes, "
              f"best of {runs} runs\n")

        rows = [
            ('roundtrip', 'round trip (bin -> bin)', ROUND_TRIP_TARGET,
             [tool, 'roundtrip', path('heavy.bplist'), path('wendle-roundtrip.bplist')],
             'plistlib', [args.python, '-c', PLISTLIB_ROUND_TRIP, path('heavy.bplist'), path('plistlib-roundtrip.bplist')]),
            ('bin2xml', 'bin -> XML', CONVERSION_TARGET,
             [tool, 'convert', path('heavy.bplist'), path('wendle.xml'), 'xml'],
             'plistutil', [args.plistutil, '-i', path('heavy.bplist'), '-o', path('plistutil.xml'), '-f', 'xml']),
            ('xml2bin', 'XML -> bin', CONVERSION_TARGET,
             [tool, 'convert', path('heavy.xml'), path('wendle.bplist'), 'binary'],
             'plistutil', [args.plistutil, '-i', path('heavy.xml'), '-o', path('plistutil.bplist'), '-f', 'bin']),
        ]
        rows = [row[1:] for row in rows if row[0] not in args.skip]
        written = {'roundtrip': 'wendle-roundtrip.bplist', 'bin2xml': 'wendle.xml', 'xml2bin': 'wendle.bplist'}
        outputs = [name for key, name in written.items() if key not in args.skip]
        failures = []
        header = (f"{'operation':<24} {'Wendle s':>9} {'cpu s':>7} {'MiB':>7} {'peer':<10} {'peer s':>9} {'cpu s':>7} "
                  f"{'MiB':>7} {'time x':>8} {'cpu x':>7} {'mem x':>7} {'target':>7}")
        print(header)
        print('-' * len(header))
        details = []
        for name, target, ours, peer_name, theirs in rows:
            wendle = measure(ours, runs, args.patience)
            peer = measure(theirs, runs, args.patience)
            ratio = peer.seconds / wendle.seconds
            cpu_ratio = peer.cpu_seconds / max(wendle.cpu_seconds, 1e-6)
            memory = peer.peak_kib / max(wendle.peak_kib, 1)
            judged = ratio if args.judge == 'wall' else cpu_ratio
            verdict = 'ok' if judged >= target else 'MISSED'
            if judged < target:
                failures.append(f'{name}: {judged:.1f}x ({args.judge}) against {peer_name}, target {target:.0f}x')
            print(f'{name:<24} {wendle.seconds:>9.3f} {wendle.cpu_seconds:>7.3f} {wendle.peak_kib / 1024:>7.1f} '
                  f'{peer_name:<10} {peer.seconds:>9.3f} {peer.cpu_seconds:>7.3f} {peer.peak_kib / 1024:>7.1f} '
                  f'{ratio:>7.1f}x {cpu_ratio:>6.1f}x {memory:>6.1f}x {target:>5.0f}x {verdict}')
            details.append(f'  {name}: Wendle {wendle.phases}')
        print('\nWendle phases (best run, file access included):')
        print('\n'.join(details))

        print('\nagreement with plistlib (value for value):')
        for output in outputs:
            same = load(path(output)) == reference
            print(f"  {output:<26} {'same value' if same else 'DIFFERENT'}")
            if not same:
                failures.append(f'{output} does not read back as the input')
        for ours, theirs in (('wendle-roundtrip.bplist', 'plistlib-roundtrip.bplist'), ('wendle.xml', 'heavy.xml')):
            if ours not in outputs:
                continue
            with open(path(ours), 'rb') as a, open(path(theirs), 'rb') as b:
                identical = a.read() == b.read()
            print(f"  {ours} and {theirs}: {'identical bytes' if identical else 'different bytes (same value)'}")

        if failures:
            print('\nFAILED:\n  ' + '\n  '.join(failures))
            return 1
        print('\nall targets met, all outputs agree')
        return 0
    finally:
        if not args.keep:
            shutil.rmtree(work, ignore_errors=True)


if __name__ == '__main__':
    sys.exit(main())
