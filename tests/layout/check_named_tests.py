#!/usr/bin/env python3
"""check_named_tests.py DOCUMENT FOLDER: every test that the document names as `Suite.Case` is in a
source of the folder."""
import pathlib
import re
import sys


def main():
    document, folder = map(pathlib.Path, sys.argv[1:])
    named = re.findall(r"`([A-Z]\w+\.[A-Z]\w+)`", document.read_text())
    there = set()
    for source in folder.rglob("*.cpp"):
        for suite, case in re.findall(r"^TEST(?:_F|_P)?\((\w+), (\w+)\)", source.read_text(), re.M):
            there.add(f"{suite}.{case}")
    missing = [name for name in named if name not in there]
    for name in missing:
        print(f"{document}: there is no test {name}")
    if not named:
        print(f"{document} names no test")
    sys.exit(1 if missing or not named else 0)


main()
