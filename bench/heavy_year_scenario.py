#!/usr/bin/env python3
"""A realistic heavy year of desktop use as a `wendle simulate` scenario.

    python3 bench/heavy_year_scenario.py -o year.json            # 365 days from 2026-01-01
    python3 bench/heavy_year_scenario.py --days 7 -o week.json   # a shorter stretch
    wendle simulate year.json -o year.plist                      # the record it grows

Forty applications (a browser, editors, terminals, chat, mail, office, design tools...), some
running all day and some started and quit during the day; hundreds of window titles that change
from day to day (documents, web pages, chats, terminal folders); twenty pools over applications
and title patterns. A working day runs from 08:00 to 16:00 (57,600 ticks at 0.5 s) with a new
frontmost application or window every one to eight minutes, input every one to three minutes,
and a lunch break long enough for the idle countdown to hibernate the program. Evenings,
nights and weekends are asleep (the lid closed at 16:00, opened at 08:00 on the next working
day). The same seed always gives the same year.
"""

import argparse
import datetime
import json
import random
import sys

DAY = 86400
WORK_START = 8 * 3600
WORK_END = 16 * 3600
LUNCH = (12 * 3600, 12 * 3600 + 45 * 60)

# (name, identifier, kind): the kind decides the window titles.
APPLICATIONS = [
    ("Firefox", "org.mozilla.firefox", "web"), ("Chromium", "chromium", "web"),
    ("Thunderbird", "org.mozilla.Thunderbird", "mail"), ("Evolution", "org.gnome.Evolution", "mail"),
    ("Terminal", "org.gnome.Terminal", "shell"), ("Konsole", "org.kde.konsole", "shell"),
    ("Kate", "org.kde.kate", "code"), ("Visual Studio Code", "code", "code"), ("Emacs", "emacs", "code"),
    ("Qt Creator", "org.qt-project.qtcreator", "code"), ("GNU Image Manipulation Program", "gimp", "image"),
    ("Inkscape", "org.inkscape.Inkscape", "image"), ("Krita", "org.kde.krita", "image"),
    ("LibreOffice Writer", "libreoffice-writer", "doc"), ("LibreOffice Calc", "libreoffice-calc", "sheet"),
    ("LibreOffice Impress", "libreoffice-impress", "slides"), ("Okular", "org.kde.okular", "pdf"),
    ("Evince", "org.gnome.Evince", "pdf"), ("Element", "im.riot.Riot", "chat"), ("Slack", "slack", "chat"),
    ("Signal", "signal-desktop", "chat"), ("Zoom", "Zoom", "call"), ("Jitsi Meet", "org.jitsi.jitsi-meet", "call"),
    ("Files", "org.gnome.Nautilus", "files"), ("Dolphin", "org.kde.dolphin", "files"),
    ("Calendar", "org.gnome.Calendar", "plain"), ("Notes", "org.gnome.Notes", "notes"),
    ("Obsidian", "md.obsidian.Obsidian", "notes"), ("KeePassXC", "org.keepassxc.KeePassXC", "plain"),
    ("Spotify", "com.spotify.Client", "music"), ("Rhythmbox", "org.gnome.Rhythmbox3", "music"),
    ("Blender", "org.blender.Blender", "image"), ("DBeaver", "io.dbeaver.DBeaverCommunity", "sql"),
    ("Postman", "com.getpostman.Postman", "web"), ("Zotero", "org.zotero.Zotero", "plain"),
    ("Thunar", "thunar", "files"), ("System Monitor", "gnome-system-monitor", "plain"),
    ("Settings", "gnome-control-center", "plain"), ("Text Editor", "org.gnome.TextEditor", "doc"),
    ("Virtual Machine Manager", "virt-manager", "plain"),
]

PROJECTS = ["Atlas", "Borealis", "Cobalt", "Delta", "Ember", "Fjord", "Granite", "Harbor", "Iris", "Juniper",
            "Kestrel", "Lumen", "Meridian", "Nimbus", "Onyx", "Pioneer"]
SITES = ["Wikipedia", "Stack Overflow", "GitHub", "Debian Bug report logs", "Qt Documentation", "The Guardian",
         "Hacker News", "YouTube", "OpenStreetMap", "Weather", "Bank", "cppreference.com"]
PEOPLE = ["Ana", "Bo", "Chen", "Dara", "Eli", "Farah", "Gus", "Hana", "Ivo", "Jun"]


def titles_for(kind, rng, day):
    """The window titles an application of this kind may show on a given day."""
    p = PROJECTS[(day + rng.randrange(3)) % len(PROJECTS)]
    q = PROJECTS[(day * 7 + 3) % len(PROJECTS)]
    if kind == "web":
        return ["%s - %s" % (rng.choice(["Search", "Article %d" % rng.randrange(900), p + " wiki", "Issue #%d" % rng.randrange(5000)]), s)
                for s in rng.sample(SITES, 4)]
    if kind == "mail":
        return ["Inbox (%d)" % rng.randrange(40), "Re: %s planning" % p, "Fwd: %s invoice" % q]
    if kind == "shell":
        return ["user@desk: ~/src/%s" % p.lower(), "user@desk: ~/src/%s/build" % q.lower(), "htop"]
    if kind == "code":
        return ["%s.cpp - %s" % (w, p) for w in ("main", "tracker", "report", "parser")[: 2 + rng.randrange(3)]]
    if kind == "image":
        return ["%s-logo-v%d.svg" % (p.lower(), day % 9 + 1), "screenshot-%03d.png" % (day % 500)]
    if kind == "doc":
        return ["%s report week %d.odt" % (p, day // 7 + 1), "Letter to %s.odt" % rng.choice(PEOPLE)]
    if kind == "sheet":
        return ["%s budget %d.ods" % (p, 2026), "Timesheet week %d.ods" % (day // 7 + 1)]
    if kind == "slides":
        return ["%s review.odp" % p]
    if kind == "pdf":
        return ["%s requirements.pdf" % p, "paper-%d.pdf" % (day % 60)]
    if kind == "chat":
        return ["#%s" % p.lower(), "%s (direct)" % rng.choice(PEOPLE)]
    if kind == "call":
        return ["%s stand-up" % p]
    if kind == "files":
        return ["%s" % p, "Downloads"]
    if kind == "notes":
        return ["%s ideas" % p, "Daily note %d" % day]
    if kind == "music":
        return ["%s - %s" % (rng.choice(PEOPLE), rng.choice(["Blue", "Night Drive", "Tides", "Morning"]))]
    return [""]  # a window without a title: the application counts, no window item


def pools(rng):
    result = []
    for i in range(20):
        project = PROJECTS[i % len(PROJECTS)]
        children = []
        for name, ident, kind in rng.sample(APPLICATIONS, 1 + rng.randrange(3)):
            member = {"Name": name, "Path": "/usr/share/applications/%s.desktop" % ident,
                      "Application ID": ident, "Type": "Pool Item"}
            if kind in ("web", "code", "doc", "shell", "chat") and rng.random() < 0.6:
                member["Children"] = [{"Name": "*%s*" % project, "Path": "_Window", "Type": "Pool Item"}]
            children.append(member)
        if rng.random() < 0.5:
            children.append({"Name": "Notes", "Path": "/usr/share/applications/org.gnome.Notes.desktop",
                             "Application ID": "org.gnome.Notes", "Match Any Application": True, "Type": "Pool Item",
                             "Children": [{"Name": "%s*" % project, "Path": "_Window", "Type": "Pool Item"}]})
        result.append({"Name": "%s%s" % (project, "" if i < len(PROJECTS) else " (2)"), "Path": "_Pool",
                       "Type": "Pool Item", "Children": children})
    return result


class Desk:
    """What is running and open, changed a little at each switch."""

    def __init__(self, rng):
        self.rng = rng
        self.next_pid = 1000
        self.next_window = 0x4000000
        self.running = {}   # identifier -> (name, identifier, kind, pid)
        self.windows = []   # front to back: [pid, title, number]
        self.front = None

    def launch(self, app, day):
        name, ident, kind = app
        if ident in self.running:
            return
        self.next_pid += 1
        self.running[ident] = (name, ident, kind, self.next_pid)
        titles = titles_for(kind, self.rng, day)
        for title in self.rng.sample(titles, min(len(titles), 1 + self.rng.randrange(2))):
            self.next_window += 1
            self.windows.append([self.next_pid, title, self.next_window])

    def quit(self, ident):
        entry = self.running.pop(ident, None)
        if entry:
            self.windows = [w for w in self.windows if w[0] != entry[3]]

    def start_day(self, day):
        self.running.clear()
        self.windows.clear()
        core = [APPLICATIONS[0], APPLICATIONS[2], APPLICATIONS[4], APPLICATIONS[7], APPLICATIONS[19], APPLICATIONS[26]]
        for app in core + self.rng.sample(APPLICATIONS, 8):
            self.launch(app, day)

    def switch(self, day):
        rng = self.rng
        roll = rng.random()
        if roll < 0.08 and len(self.running) < 24:
            self.launch(rng.choice(APPLICATIONS), day)
        elif roll < 0.13 and len(self.running) > 8:
            self.quit(rng.choice([i for i in self.running if i != self.front]))
        elif roll < 0.30:
            # A new document or page in a running application.
            name, ident, kind, pid = self.running[rng.choice(list(self.running))]
            self.next_window += 1
            self.windows.insert(0, [pid, rng.choice(titles_for(kind, rng, day)), self.next_window])
            if len(self.windows) > 60:
                self.windows.pop()
        elif roll < 0.40 and self.windows:
            # A title changes (a page navigates, a document is saved under a new name).
            window = rng.choice(self.windows)
            kind = next(k for (_, _, k, p) in self.running.values() if p == window[0])
            window[1] = rng.choice(titles_for(kind, rng, day))
        # Bring some window (and its application) to the front.
        if self.windows:
            index = min(int(rng.expovariate(0.5)), len(self.windows) - 1)
            window = self.windows.pop(index)
            self.windows.insert(0, window)
            self.front = next(i for (_, i, _, p) in self.running.values() if p == window[0])

    def state(self, at):
        apps = [{"name": n, "identifier": i, "path": "/usr/share/applications/%s.desktop" % i, "pid": p}
                for (n, i, _, p) in self.running.values()]
        windows = [{"pid": p, "title": t, "number": n} for (p, t, n) in self.windows]
        front = "/usr/share/applications/%s.desktop" % self.front if self.front else None
        return {"at": at, "front": front, "applications": apps, "windows": windows}


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("-o", "--output", required=True)
    parser.add_argument("--days", type=int, default=365)
    parser.add_argument("--start", default="2026-01-01", help="first day (UTC), YYYY-MM-DD")
    parser.add_argument("--seed", type=int, default=2026)
    parser.add_argument("--configuration", help="a JSON file with the tree to start from (e.g. last year's record)")
    parser.add_argument("--no-pools", action="store_true", help="start without the twenty pools")
    args = parser.parse_args()

    rng = random.Random(args.seed)
    first = datetime.datetime.strptime(args.start, "%Y-%m-%d").replace(tzinfo=datetime.timezone.utc)
    # The program starts at 08:00 on the first working day.
    day0 = 0
    while (first + datetime.timedelta(days=day0)).weekday() >= 5:
        day0 += 1
    start = int(first.timestamp()) + day0 * DAY + WORK_START
    end = (args.days - day0) * DAY - WORK_START
    if end <= 0:
        sys.exit("no working day in that stretch")

    desk = Desk(rng)
    states, events = [], []
    working_days = 0
    for day in range(day0, args.days):
        if (first + datetime.timedelta(days=day)).weekday() >= 5:
            continue
        working_days += 1
        base = day * DAY - (day0 * DAY + WORK_START)   # offset of this day's midnight
        if day != day0:
            events.append({"at": base + WORK_START, "type": "wake"})
        desk.start_day(day)
        t = base + WORK_START
        while t < base + WORK_END:
            states.append(desk.state(t))
            t += rng.randrange(60, 481)
            desk.switch(day)
        # Input every one to three minutes, except over lunch.
        t = base + WORK_START
        while t < base + WORK_END:
            if not (base + LUNCH[0] <= t < base + LUNCH[1]):
                events.append({"at": t, "type": "input"})
            t += rng.randrange(60, 181)
        events.append({"at": base + WORK_END, "type": "sleep"})
    events = [e for e in events if e["at"] <= end]
    events.sort(key=lambda e: e["at"])   # stable: a day's wake comes before its first input
    states = [s for s in states if s["at"] <= end]
    # One state per instant: a later switch at the same second replaces the earlier one.
    unique = {}
    for s in states:
        unique[s["at"]] = s
    states = [unique[a] for a in sorted(unique)]

    scenario = {"start": start, "end": end,
                "defaults": {"Update Interval": 0.5, "Hibernation Interval": 600},
                "desktop": states, "events": events}
    if args.configuration:
        with open(args.configuration) as f:
            scenario["configuration"] = json.load(f)
    elif not args.no_pools:
        scenario["configuration"] = {"Pools": pools(rng)}
    with open(args.output, "w") as f:
        json.dump(scenario, f, ensure_ascii=False, separators=(",", ":"))
    print("%s: %d working days, %d desktop states, %d events" % (args.output, working_days, len(states), len(events)),
          file=sys.stderr)


if __name__ == "__main__":
    main()
