#!/usr/bin/env python3
"""The read-only commands of two builds of wendle side by side on the same saved records.

    commands_compare.py check WENDLE_A WENDLE_B HOME...   outputs byte-identical, or the first difference
    commands_compare.py time WENDLE [WENDLE...] -- HOME... [--runs 7]
                                                       summary --from "30 days ago", wall and CPU, best of N

A HOME is a folder bench_years left behind with --keep (years-10, say): its data/, config/ and
run/ folders are the command's XDG folders. `check` runs `summary` over eight ranges (a day, a
month, a year, beyond the record, before it, open-ended, the whole record, the record's first
day), `export -o` of a day, a month, a year and beyond the record, and `status`, and compares
what each writes (standard output, the exported file, the exit status).
"""

import datetime
import os
import re
import resource
import subprocess
import sys
import tempfile
import time


def environment(home):
    env = dict(os.environ)
    env.update(
        HOME=home,
        XDG_DATA_HOME=os.path.join(home, "data"),
        XDG_CONFIG_HOME=os.path.join(home, "config"),
        XDG_RUNTIME_DIR=os.path.join(home, "run"),
        DBUS_SYSTEM_BUS_ADDRESS="unix:path=" + os.path.join(home, "no-system-bus"),
        QT_QPA_PLATFORM="offscreen",
    )
    return env


def run(wendle, arguments, home):
    done = subprocess.run([wendle] + arguments, env=environment(home), capture_output=True)
    return done.returncode, done.stdout, done.stderr


def record_bounds(wendle, home):
    """The record's first and last moments, from the whole summary's heading."""
    _, out, _ = run(wendle, ["summary"], home)
    found = re.search(rb"From (\d{4}-\d{2}-\d{2} \d{2}:\d{2}):\d{2} to (\d{4}-\d{2}-\d{2} \d{2}:\d{2})", out)
    if not found:
        return None
    return tuple(datetime.datetime.strptime(text.decode(), "%Y-%m-%d %H:%M") for text in found.groups())


def ranges(wendle, home):
    """Fixed times (not "N days ago"), so that both builds are asked the same."""
    bounds = record_bounds(wendle, home)
    if not bounds:
        return [("whole", [])]
    first, last = bounds
    day = datetime.timedelta(days=1)
    moment = lambda when: when.strftime("%Y-%m-%d %H:%M")
    date = lambda when: when.strftime("%Y-%m-%d")
    return [
        ("a day", ["--from", date(last - 3 * day), "--to", date(last - 3 * day)]),
        ("a month", ["--from", moment(last - 30 * day)]),
        ("a year", ["--from", moment(last - 365 * day), "--to", moment(last - 30 * day)]),
        ("beyond the record", ["--from", date(last + 40 * day)]),
        ("before the record", ["--to", date(first - 400 * day)]),
        ("open-ended", ["--to", moment(last - 1000 * day)]),
        ("whole", []),
        ("the record's first day", ["--from", moment(first), "--to", moment(first + day)]),
    ]


# The whole record's export is gigabytes; these ranges cover a part, a long part and nothing.
EXPORTED_RANGES = ("a day", "a month", "a year", "beyond the record")


def check(first, second, homes):
    differences = 0
    for home in homes:
        cases = [("summary, " + name, ["summary"] + arguments) for name, arguments in ranges(first, home)]
        cases.append(("status", ["status"]))
        for name, arguments in cases:
            a = run(first, arguments, home)
            b = run(second, arguments, home)
            same = a == b
            print(f"{'same' if same else 'DIFFERENT'}  {os.path.basename(home)}  {name}"
                  f"  ({len(a[1])} bytes, exit {a[0]})")
            differences += not same
        for name, arguments in ranges(first, home):
            if name not in EXPORTED_RANGES:
                continue
            with tempfile.TemporaryDirectory() as folder:
                files = []
                results = []
                for index, wendle in enumerate((first, second)):
                    path = os.path.join(folder, f"{index}.csv")
                    results.append(run(wendle, ["export"] + arguments + ["-o", path], home))
                    with open(path, "rb") as exported:
                        files.append(exported.read())
                same = results[0] == results[1] and files[0] == files[1]
                print(f"{'same' if same else 'DIFFERENT'}  {os.path.basename(home)}  export -o, {name}"
                      f"  ({len(files[0])} bytes, exit {results[0][0]})")
                differences += not same
    print("all the same" if differences == 0 else f"{differences} different")
    return 1 if differences else 0


def timed(wendle, arguments, home):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    began = time.perf_counter()
    subprocess.run([wendle] + arguments, env=environment(home), stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, check=True)
    wall = time.perf_counter() - began
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    cpu = (after.ru_utime - before.ru_utime) + (after.ru_stime - before.ru_stime)
    return wall * 1000.0, cpu * 1000.0


def time_them(wendles, homes, runs):
    arguments = ["summary", "--from", "30 days ago"]
    print(f"load average {' '.join(f'{value:.2f}' for value in os.getloadavg())}")
    for home in homes:
        # Rounds interleaved, so that a busy spell of the machine falls on every build alike.
        samples = {wendle: [] for wendle in wendles}
        for _ in range(runs):
            for wendle in wendles:
                samples[wendle].append(timed(wendle, arguments, home))
        for wendle in wendles:
            print(f"{os.path.basename(home):10} {wendle}: wall {min(s[0] for s in samples[wendle]):7.1f} ms"
                  f"  CPU {min(s[1] for s in samples[wendle]):7.1f} ms  (best of {runs})")
    print(f"load average {' '.join(f'{value:.2f}' for value in os.getloadavg())}")


def main(arguments):
    if len(arguments) >= 4 and arguments[0] == "check":
        return check(arguments[1], arguments[2], arguments[3:])
    if len(arguments) >= 4 and arguments[0] == "time" and "--" in arguments:
        runs = 7
        if "--runs" in arguments:
            at = arguments.index("--runs")
            runs = int(arguments[at + 1])
            del arguments[at:at + 2]
        split = arguments.index("--")
        time_them(arguments[1:split], arguments[split + 1:], runs)
        return 0
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
