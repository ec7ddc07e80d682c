"""Table of the lines and branches that were reached, of the files below some folders.

llvm-cov export -summary-only ... | fuzz_coverage.py BUILD_FOLDER FOLDER_OR_FILE...
"""
import json
import os
import sys


def row(name, lines, branches):
    cells = [name.ljust(36)]
    for covered, count in (lines, branches):
        share = 100.0 * covered / count if count else 100.0
        cells.append(f"{covered:5} of {count:5} {share:6.2f} %")
    print("   ".join(cells))


def main():
    build, wanted = sys.argv[1], [os.path.realpath(path) for path in sys.argv[2:]]
    total = [[0, 0], [0, 0]]
    print("file".ljust(36), "  lines                    branches")
    for file in json.load(sys.stdin)["data"][0]["files"]:
        # Names are absolute, or relative to the build folder or to the source folder.
        names = [os.path.join(build, file["filename"]), file["filename"]]
        path = os.path.realpath(next((name for name in names if os.path.exists(name)), names[0]))
        if not any(path == w or path.startswith(w + os.sep) for w in wanted):
            continue
        counts = [(file["summary"][kind]["covered"], file["summary"][kind]["count"])
                  for kind in ("lines", "branches")]
        for kind in (0, 1):
            for i in (0, 1):
                total[kind][i] += counts[kind][i]
        row(os.path.relpath(path), *counts)
    row("all", *total)


main()
