"""Python's plistlib as an independent peer for Wendle's property-list tests.

  plist_peer.py write DIR      writes every case as DIR/<case>.binary.plist and DIR/<case>.xml.plist
  plist_peer.py check DIR      loads every DIR/<case>.wendle.<form>.plist and compares it with the case
  plist_peer.py check-file FILE CASE

The C++ tests build the same cases on their side; both sides must agree value for value, and
where plistlib's output is canonical, byte for byte.
"""
import datetime
import math
import plistlib
import sys
from pathlib import Path


def cases():
    shared_window = {"Name": "Inbox", "Path": "_Window", "Time": 12.5}
    return {
        "empty_dict": {},
        "empty_array": [],
        "scalars": {
            "int0": 0, "int255": 255, "int256": 256, "int65535": 65535, "int65536": 65536,
            "int2p32": 2**32, "neg1": -1, "min64": -2**63, "max64": 2**63 - 1, "umax64": 2**64 - 1,
            "real": 0.1, "negzero": -0.0, "big": 1e300, "tiny": 5e-324, "inf": math.inf,
            "neginf": -math.inf, "yes": True, "no": False,
            "date": datetime.datetime(2026, 11, 21, 10, 30, 15),
            "olddate": datetime.datetime(1970, 1, 1, 0, 0, 0),
            "data": bytes(range(256)), "emptydata": b"", "emptystring": "",
            "ascii": "Front Time", "bmp": "Gr\u00fc\u00dfe \u2013 \u2603 \u25b8",
            "astral": "\U0001F600 \U0001D11E", "long": "x" * 1000,
            "markup": "a < b & c > d \"quoted\" 'single'",
        },
        "shared": {
            "Windows By Name": {"Inbox": shared_window},
            "Children": [shared_window],
        },
        "dedup": ["a", "a", 1, 1, 1.0, True, "a", b"a", 1.0, False, 0, [], [], {}],
        "wide": list(range(70000)),
        "nested": [[[[[[[[[[{"deep": ["down"]}]]]]]]]]]],
    }


def same(a, b):
    if type(a) is not type(b):
        return False
    if isinstance(a, dict):
        return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list):
        return len(a) == len(b) and all(same(x, y) for x, y in zip(a, b))
    if isinstance(a, float):
        return (math.isnan(a) and math.isnan(b)) or (a == b and math.copysign(1, a) == math.copysign(1, b))
    return a == b


def main():
    command, target = sys.argv[1], Path(sys.argv[2])
    if command == "write":
        for name, value in cases().items():
            (target / f"{name}.binary.plist").write_bytes(plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
            (target / f"{name}.xml.plist").write_bytes(plistlib.dumps(value, fmt=plistlib.FMT_XML))
        return 0
    if command == "check":
        failures = 0
        checked = 0
        for path in sorted(target.glob("*.wendle.*.plist")):
            name = path.name.split(".")[0]
            try:
                loaded = plistlib.loads(path.read_bytes())
            except Exception as error:  # report every kind of refusal the same way
                print(f"{path.name}: plistlib cannot read it: {error}")
                failures += 1
                continue
            checked += 1
            if not same(loaded, cases()[name]):
                print(f"{path.name}: differs from the case")
                failures += 1
        print(f"checked {checked}, failed {failures}")
        return 1 if failures or not checked else 0
    print(f"unknown command {command}", file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main())
