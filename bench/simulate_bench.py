#!/usr/bin/env python3
"""Times `wendle simulate` on a heavy year made by heavy_year_scenario.py.

    python3 bench/simulate_bench.py --wendle build/app/wendle --work /tmp/wendle-year

1. The year: 365 days of scenario (working days, nights and weekends asleep) from 2026-01-01;
   wall and processor time, peak memory, wall time per working day, size of the record.
   The record (year.plist) stays in the work folder for other benchmarks.
2. One working day (08:00-16:00, 57,600 ticks at 0.5 s) on top of that year's record, and the
   same day on an empty record, in the same run: the first is the figure that counts (target:
   under 10 s of wall time); the second is the reference it is compared with.
"""

import argparse
import json
import os
import plistlib
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
GENERATOR = os.path.join(HERE, "heavy_year_scenario.py")


def run(command):
    """Runs a command; answers (wall seconds, processor seconds, peak KiB or None)."""
    # GNU time measures the peak of the program itself: a child forked from this (large) Python
    # process would count the pages it shared with it before exec.
    peak_file = os.path.join(os.environ.get("TMPDIR", "/tmp"), "wendle-bench-peak.%d" % os.getpid())
    timed = ["/usr/bin/time", "-f", "%M", "-o", peak_file] + command if os.path.exists("/usr/bin/time") else command
    began = time.perf_counter()
    process = subprocess.Popen(timed, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - began
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit("%s failed with status %d" % (" ".join(command), process.returncode))
    peak = None
    if timed is not command:
        with open(peak_file) as f:
            peak = int(f.read().split()[-1])
        os.remove(peak_file)
    return wall, usage.ru_utime + usage.ru_stime, peak


def mib(kib):
    return "%.0f MiB" % (kib / 1024) if kib else "unknown (no /usr/bin/time)"


def generate(path, *arguments):
    if not os.path.exists(path):
        subprocess.run([sys.executable, GENERATOR, "-o", path, *arguments], check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--wendle", required=True, help="the built program")
    parser.add_argument("--work", default="/tmp/wendle-heavy-year", help="folder for scenarios and records")
    parser.add_argument("--days", type=int, default=365)
    parser.add_argument("--repeat", type=int, default=3, help="runs of the single day (best is kept)")
    parser.add_argument("--skip-year", action="store_true", help="reuse year.plist from an earlier run")
    args = parser.parse_args()
    os.makedirs(args.work, exist_ok=True)

    year_json = os.path.join(args.work, "year.json")
    year_plist = os.path.join(args.work, "year.plist")
    generate(year_json, "--days", str(args.days))
    with open(year_json) as f:
        scenario = json.load(f)
    working_days = sum(1 for e in scenario["events"] if e["type"] == "sleep")
    if not (args.skip_year and os.path.exists(year_plist)):
        wall, cpu, peak = run([args.wendle, "simulate", year_json, "-o", year_plist])
        print("year: %d days (%d working), %d desktop states, %d events" %
              (args.days, working_days, len(scenario["desktop"]), len(scenario["events"])))
        print("  wall %.1f s, processor %.1f s, peak %s; %.2f s wall, %.2f s processor per working day" %
              (wall, cpu, mib(peak), wall / max(working_days, 1), cpu / max(working_days, 1)))
    del scenario
    with open(year_plist, "rb") as f:
        record = plistlib.load(f)
    numbers = 0
    stack = [record]
    while stack:
        value = stack.pop()
        if isinstance(value, dict):
            for key, item in value.items():
                if key.endswith("Log") and isinstance(item, list):
                    numbers += len(item)
                else:
                    stack.append(item)
        elif isinstance(value, list):
            stack.extend(value)
    print("  record: %.1f MB, %d applications, %d windows, %d pools, %d event-log numbers" %
          (os.path.getsize(year_plist) / 1e6, len(record.get("Applications", {})),
           sum(len(a.get("Windows By Name", {})) for a in record.get("Applications", {}).values()),
           len(record.get("Pools", [])), numbers))

    # The next working day, on the year's record and on an empty one.
    heavy_configuration = os.path.join(args.work, "year-configuration.json")
    with open(heavy_configuration, "w") as f:
        json.dump(record, f)
    del record
    day_heavy = os.path.join(args.work, "day-on-year.json")
    day_empty = os.path.join(args.work, "day-on-empty.json")
    for path, extra in ((day_heavy, ["--configuration", heavy_configuration]), (day_empty, ["--no-pools"])):
        if os.path.exists(path):
            os.remove(path)
        # 2027-01-04 is a Monday: one working day, quitting at 16:00 when the lid closes.
        subprocess.run([sys.executable, GENERATOR, "-o", path, "--start", "2027-01-04", "--days", "1",
                        "--seed", "7", *extra], check=True)
        with open(path) as f:
            day = json.load(f)
        day["end"] = 8 * 3600
        with open(path, "w") as f:
            json.dump(day, f)
    results = {}
    for name, path in (("on the year's record", day_heavy), ("on an empty record", day_empty)):
        best = None
        for _ in range(args.repeat):
            measured = run([args.wendle, "simulate", path, "-o", os.path.join(args.work, "day.plist")])
            best = measured if best is None or measured[0] < best[0] else best
        results[name] = best
        print("one working day (57,600 ticks) %s: wall %.2f s, processor %.2f s, peak %s" %
              (name, best[0], best[1], mib(best[2])))
    heavy, empty = results["on the year's record"], results["on an empty record"]
    print("  ratio heavy/empty: wall %.2fx, processor %.2fx; target 10 s wall: %s (%.2fx of the budget)" %
          (heavy[0] / empty[0], heavy[1] / empty[1], "met" if heavy[0] < 10 else "missed", heavy[0] / 10))


if __name__ == "__main__":
    main()
