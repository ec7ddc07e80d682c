#!/usr/bin/env python3
"""Includes between the folders of a tree point upward or downward as a list says.

    check_includes.py ROOT ORDER [PREFIX]  names what is wrong and ends with status 1
    check_includes.py --self-test          shows that it finds an upward include and a circle

ORDER is a text file with one folder of ROOT in each line, what others build upon first; "#" begins a
comment. PREFIX is what includes of files in ROOT begin with, and so do the folders in ORDER, where it
is not ROOT itself that is on the include path. A file may include with quotes what lies in its own
folder and in folders that stand above it in the list; "NAME only A B" lets only A and B include NAME.
A folder in the list that ROOT does not have, such as the public headers "vca", is one that lies
elsewhere on the include path: it can be included but is not looked into. Every folder of ROOT that
has sources must be in the list, and every quoted include must name one. An include without a folder
is of the file's own folder.
"""
import pathlib
import re
import sys
import tempfile

INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
SOURCES = (".h", ".hpp", ".cpp", ".c", ".cc")


def read_order(text):
    """The folders of a list, in its order, and by folder those that alone may include it."""
    order = []
    only = {}
    for line in text.splitlines():
        words = line.split("#")[0].split()
        if words:
            order.append(words[0])
        if words[1:2] == ["only"]:
            only[words[0]] = words[2:]
        elif len(words) > 1:
            sys.exit(f"cannot read in the list: {line}")
    return order, only


def owner(path, folders):
    """The longest folder of the list that a path lies in, or None."""
    fitting = [folder for folder in folders if path.startswith(folder + "/")]
    return max(fitting, key=len, default=None)


def find_circle(graph):
    """Folders that include each other in a circle, the first one repeated at its end; or []."""
    done = set()

    def walk(folder, path):
        if folder in path:
            return path[path.index(folder):] + [folder]
        if folder in done:
            return []
        for other in sorted(graph.get(folder, ())):
            circle = walk(other, path + [folder])
            if circle:
                return circle
        done.add(folder)
        return []

    for start in sorted(graph):
        circle = walk(start, [])
        if circle:
            return circle
    return []


def check(root, text, prefix=""):
    """What is wrong with a tree, one sentence each; and the number of files that were read."""
    order, only = read_order(text)
    complaints = [f"{folder} stands twice in the list"
                  for folder in sorted(set(order)) if order.count(folder) > 1]
    graph = {}
    count = 0
    for path in sorted(root.rglob("*")):
        name = path.relative_to(root).as_posix()
        if path.suffix not in SOURCES or "/" not in name:
            continue
        name = prefix + name
        count += 1
        folder = owner(name, order)
        if folder is None:
            complaints.append(f"{name}: its folder is not in the list")
            continue
        text = path.read_text(encoding="utf-8")
        for match in INCLUDE.finditer(text):
            included = match.group(1)
            line = text.count("\n", 0, match.start(1)) + 1
            if "/" not in included:
                continue
            target = owner(included, order)
            if target is None:
                complaints.append(f"{name}:{line}: \"{included}\" is in no folder of the list")
            elif target != folder:
                graph.setdefault(folder, set()).add(target)
                if order.index(target) > order.index(folder):
                    complaints.append(f"{name}:{line}: \"{included}\" points upward, {target} stands "
                                      f"below {folder} in the list")
                if folder not in only.get(target, [folder]):
                    complaints.append(f"{name}:{line}: \"{included}\" is only for "
                                      + ", ".join(only[target]))
    circle = find_circle(graph)
    if circle:
        complaints.append("circle: " + " includes ".join(circle))
    if count == 0:
        complaints.append(f"no sources in {root}")
    return complaints, count


def self_test():
    """Trees with one fault each."""
    good = {"base/a.h": '#include <vector>\n#include "vca/x.h"\n',
            "mid/b.cpp": '#include "b.h"\n#include "base/a.h"\n',
            "mid/deep/c.cpp": '#include "mid/b.h"\n#include "base/a.h"\n',
            "top/d.cpp": '// text\n  #  include "mid/b.h"\n#include "top/e.h"\n'}
    order = "vca\n\n# what follows is ours\nbase  # arithmetic\nmid\nmid/deep\ntop\n"
    up = {**good, "base/f.h": '\n#include "mid/b.h"\n'}
    cases = [
        (good, order, []),
        (up, order, ['base/f.h:2: "mid/b.h" points upward, mid stands below base in the list',
                     "circle: base includes mid includes base"]),
        ({"mid/b.h": '#include "top/d.h"\n'}, order,
         ['mid/b.h:1: "top/d.h" points upward, top stands below mid in the list']),
        ({**good, "base/g.h": '#include "top/e.h"\n'}, order,
         ['base/g.h:1: "top/e.h" points upward, top stands below base in the list',
          "circle: base includes top includes mid includes base"]),
        ({**good, "else/h.cpp": ""}, order, ["else/h.cpp: its folder is not in the list"]),
        ({**good, "top/i.cpp": '#include "else/h.h"\n'}, order,
         ['top/i.cpp:1: "else/h.h" is in no folder of the list']),
        ({"mid/deep/c.h": '#include "mid/b.h"\n', "mid/b.h": '#include "mid/deep/c.h"\n'}, order,
         ['mid/b.h:1: "mid/deep/c.h" points upward, mid/deep stands below mid in the list',
          "circle: mid includes mid/deep includes mid"]),
        (good, order + "base\n", ["base stands twice in the list"]),
        (good, order.replace("base  #", "base only mid top #"),
         ['mid/deep/c.cpp:2: "base/a.h" is only for mid, top']),
        ({"top/readme.txt": ""}, order, ["no sources in ROOT"]),
        ({"mid/b.cpp": '#include "tree/base/a.h"\n', "base/a.h": '#include "tree/mid/b.h"\n'},
         "tree/base\ntree/mid\n",
         ['tree/base/a.h:1: "tree/mid/b.h" points upward, tree/mid stands below tree/base in the list',
          "circle: tree/base includes tree/mid includes tree/base"]),
    ]
    status = 0
    for number, (files, folders, expected) in enumerate(cases):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text, encoding="utf-8")
            found = [complaint.replace(folder, "ROOT") for complaint in check(root, folders, "tree/" * folders.startswith("tree"))[0]]
        if found != expected:
            print(f"case {number}: found {found}\n  instead of {expected}")
            status = 1
    if status == 0:
        print(f"{len(cases)} trees are judged right")
    return status


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    if len(arguments) not in (2, 3):
        print(__doc__)
        return 2
    order = pathlib.Path(arguments[1]).read_text(encoding="utf-8")
    prefix = arguments[2].rstrip("/") + "/" if len(arguments) == 3 else ""
    complaints, count = check(pathlib.Path(arguments[0]), order, prefix)
    print("\n".join(complaints + [f"{count} files, {len(complaints)} complaints"]))
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
