#!/usr/bin/python3
"""The reference for bench_x11: the window query as common trackers make it with python3-xlib.

Each tick asks for the active window and the client list, then, for every window, one property
at a time: title, process, state, type and desktop (one round trip each). In "changing" mode one
window's title is rewritten before each tick (not timed), as bench_x11 does for the adapter.

    x11_peer.py --display :1 --iterations 200 --mode steady
prints one line of JSON: {"mode": ..., "windows": N, "median_ms": ..., "mean_ms": ..., "ticks": ...}
"""

import argparse
import json
import statistics
import sys
import time

from Xlib import X, Xatom, display


def query(d, root, atoms):
    """One tick: everything a tracker wants to know, one request at a time."""
    active = root.get_full_property(atoms["_NET_ACTIVE_WINDOW"], X.AnyPropertyType)
    clients = root.get_full_property(atoms["_NET_CLIENT_LIST_STACKING"], X.AnyPropertyType)
    ids = list(clients.value) if clients else []
    windows = []
    for wid in reversed(ids):
        window = d.create_resource_object("window", wid)
        try:
            name = window.get_full_property(atoms["_NET_WM_NAME"], atoms["UTF8_STRING"])
            if name is None:
                name = window.get_full_property(Xatom.WM_NAME, X.AnyPropertyType)
            pid = window.get_full_property(atoms["_NET_WM_PID"], Xatom.CARDINAL)
            state = window.get_full_property(atoms["_NET_WM_STATE"], Xatom.ATOM)
            kind = window.get_full_property(atoms["_NET_WM_WINDOW_TYPE"], Xatom.ATOM)
            desktop = window.get_full_property(atoms["_NET_WM_DESKTOP"], Xatom.CARDINAL)
        except Exception:  # a window closed during the query
            continue
        windows.append((wid, name.value if name else b"", pid.value[0] if pid else -1,
                        list(state.value) if state else [], list(kind.value) if kind else [],
                        desktop.value[0] if desktop else None))
    return (active.value[0] if active else 0), windows


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--display", required=True)
    parser.add_argument("--iterations", type=int, default=100)
    parser.add_argument("--mode", choices=["steady", "changing"], default="steady")
    args = parser.parse_args()

    d = display.Display(args.display)
    changer = display.Display(args.display)
    root = d.screen().root
    atoms = {name: d.intern_atom(name) for name in (
        "_NET_ACTIVE_WINDOW", "_NET_CLIENT_LIST_STACKING", "_NET_WM_NAME", "UTF8_STRING", "_NET_WM_PID",
        "_NET_WM_STATE", "_NET_WM_WINDOW_TYPE", "_NET_WM_DESKTOP")}
    _, windows = query(d, root, atoms)
    if not windows:
        print(json.dumps({"error": "no windows"}))
        return 1
    target = changer.create_resource_object("window", windows[0][0])
    utf8 = changer.intern_atom("UTF8_STRING")
    net_wm_name = changer.intern_atom("_NET_WM_NAME")

    for _ in range(3):  # warm up
        query(d, root, atoms)
    times = []
    for i in range(args.iterations):
        if args.mode == "changing":
            target.change_property(net_wm_name, utf8, 8, ("Peer title %d" % i).encode())
            changer.sync()
        start = time.perf_counter()
        _, windows = query(d, root, atoms)
        times.append((time.perf_counter() - start) * 1000.0)
    print(json.dumps({"mode": args.mode, "windows": len(windows), "ticks": len(times),
                      "median_ms": statistics.median(times), "mean_ms": statistics.fmean(times)}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
