#!/usr/bin/env python3
"""Every text of the program translated, in every language it has.

Runs lupdate over the sources into a copy of each translations/wendle_*.ts (so that a text added
in the code since the file was last updated counts as well), and fails on any text without a
translation, and on any translation whose placeholders (%1, %@, %lu, %%) or line breaks differ
from its English text (.arg() would fill the wrong place, or a message would run into the next).

    check_translations.py LUPDATE SOURCE_DIR
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET

FOLDERS = ["app", "core", "platform", "reports", "shell", "resources"]
PLACEHOLDER = re.compile(r"%(?:\d|@|lu|%)")


def main():
    lupdate, root = sys.argv[1], sys.argv[2]
    files = sorted(glob.glob(os.path.join(root, "translations", "wendle_*.ts")))
    if not files:
        print("FAIL: no translations/wendle_*.ts")
        return 1
    failures = 0
    with tempfile.TemporaryDirectory() as scratch:
        for path in files:
            copy = os.path.join(scratch, os.path.basename(path))
            shutil.copy(path, copy)
            run = subprocess.run([lupdate, "-silent", "-locations", "none", "-no-obsolete", "-extensions", "cpp,h,ui"]
                                 + [os.path.join(root, f) for f in FOLDERS] + ["-ts", copy],
                                 capture_output=True, text=True)
            if run.returncode != 0:
                print(f"FAIL: lupdate: {run.stderr}")
                return 1
            total = translated = 0
            for context in ET.parse(copy).getroot().iter("context"):
                name = context.findtext("name")
                for message in context.iter("message"):
                    total += 1
                    source = message.findtext("source") or ""
                    translation = message.find("translation")
                    text = translation.text or "" if translation is not None else ""
                    where = f"{os.path.basename(path)}: {name}: {source[:70]!r}"
                    if translation is None or translation.get("type") == "unfinished" or not text:
                        print(f"FAIL: {where} has no translation")
                        failures += 1
                        continue
                    translated += 1
                    if sorted(PLACEHOLDER.findall(source)) != sorted(PLACEHOLDER.findall(text)):
                        print(f"FAIL: {where}: the placeholders differ in {text[:70]!r}")
                        failures += 1
                    if source.endswith("\n") != text.endswith("\n"):
                        print(f"FAIL: {where}: the line break at the end differs")
                        failures += 1
            print(f"{os.path.basename(path)}: {translated} of {total} texts translated")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
