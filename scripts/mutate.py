#!/usr/bin/env python3
"""Breaks the library in many small ways, one at a time, and counts how often the tests notice.

  scripts/mutate.py                    300 breaks chosen by seed 1, from all of src/
  scripts/mutate.py --near             the same, but only with the tests of the same folder
  scripts/mutate.py --again survived   the survivors of the last run once more, against new tests
  scripts/mutate.py --report           what is known so far, without running anything

A break is compiled into its one object, linked into a library of its own and put before the test
programs by LD_LIBRARY_PATH. An object that is the same byte for byte as the original compiled the
same way changes nothing: it is counted apart. The tests of the folder of the same name run first,
then the whole-pipeline tests, the rest and the golden runs, each case in a process of its own; a
failure counts only if it comes twice, a case that runs out of its time limit counts as failed.
Everything is kept in build/mutate, and a run that was stopped goes on where it was."""

import argparse
import collections
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import time

import mutation_sites

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "mutate"
SCRATCH = BUILD / "broken"
OVERLAY = SCRATCH / "src"
RESULTS = BUILD / "mutants.jsonl"
TIMES = BUILD / "case_times.json"
NOT_LIBRARY_TESTS = {"abi", "support", "host", "sim", "install", "fuzz"}
NO_CODE = {"src/platform/platform.h"}  # only declarations, shared with the host
MEMORY_LIMIT = 4 << 30
COUNTED = ("noticed", "survived", "not noticed nearby")


def private_tmp():
    """The tests switch logs on by files under /tmp, and so do tests of other checkouts."""
    if os.environ.get("VCA_MUTATE_TMP") or shutil.which("unshare") is None:
        return
    inside = "mount -t tmpfs none /tmp && VCA_MUTATE_TMP=1 exec " + shlex.join(
        [sys.executable] + sys.argv)
    wrap = ["unshare", "--mount"] + (["--map-root-user"] if os.geteuid() != 0 else [])
    if subprocess.run(wrap + ["sh", "-c", "mount -t tmpfs none /tmp"],
                      capture_output=True).returncode == 0:
        os.execvp(wrap[0], wrap + ["sh", "-c", inside])


def build():
    """The library and its tests, optimised a little so that the runs are short."""
    launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
    subprocess.run(["cmake", "-S", ROOT, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                    "-DCMAKE_CXX_FLAGS=-O1", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                    "-DVCA_BUILD_HOST=OFF", "-DVCA_BUILD_BENCH=OFF", *launcher],
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["ninja", "-C", BUILD, "-j2"], check=True, stdout=subprocess.DEVNULL)


class Library:
    """The objects of the library, compiled once as they are and again where they are broken."""

    def __init__(self):
        commands = json.loads((BUILD / "compile_commands.json").read_text())
        self.commands = {}
        for entry in commands:
            name = pathlib.Path(entry["file"]).resolve().relative_to(ROOT).as_posix()
            if name.startswith("src/"):
                self.commands[name] = shlex.split(entry["command"])
        self.sources = {}
        for path in sorted((ROOT / "src").rglob("*")):
            name = path.relative_to(ROOT).as_posix()
            if path.suffix in (".cpp", ".h") and name not in NO_CODE:
                self.sources[name] = path.read_text()
        shutil.rmtree(SCRATCH, ignore_errors=True)
        for folder in ("lib", "objects", "originals"):
            (SCRATCH / folder).mkdir(parents=True)
        self.compiler = next(iter(self.commands.values()))[0]
        self.objects = {name: BUILD / self.commands[name][self.commands[name].index("-o") + 1]
                        for name in self.commands}
        self.precompile()
        self.users = None

    # The standard library's headers are most of what the compiler reads.
    def precompile(self):
        used = sorted({m for text in self.sources.values()
                       for m in re.findall(r"^#include (<\w+>)", text, re.M)})
        self.prefix = SCRATCH / "standard.h"
        self.prefix.write_text("".join(f"#include {name}\n" for name in used))
        subprocess.run([self.compiler, *self.flags(next(iter(self.commands))), "-x", "c++-header",
                        self.prefix, "-o", f"{self.prefix}.gch"], check=True, cwd=BUILD)

    def flags(self, name):
        command = self.commands[name]
        return [f for k, f in enumerate(command[1:-1], 1)
                if f not in ("-o", "-c") and command[k - 1] != "-o"] + ["-w"]

    # Compiled from the overlay, which holds the broken file, at the same place each time.
    def compile(self, name, target, text=None):
        copy = OVERLAY / name[4:]
        copy.parent.mkdir(parents=True, exist_ok=True)
        copy.write_text(self.sources[name] if text is None else text)
        done = subprocess.run(
            [self.compiler, f"-I{OVERLAY}", "-include", self.prefix, *self.flags(name),
             f"-frandom-seed={name}", "-c", copy, "-o", target], cwd=BUILD, capture_output=True)
        copy.unlink()
        return done.returncode == 0

    def original(self, name):
        """The object of the unbroken file, compiled as the broken ones are."""
        target = SCRATCH / "originals" / (name[4:].replace("/", "_") + ".o")
        if not target.exists() and not self.compile(name, target):
            sys.exit(f"{name} does not compile")
        return target

    def header_users(self):
        users = collections.defaultdict(list)
        for name, command in self.commands.items():
            flags = [f for f in command[1:] if f.startswith(("-I", "-std"))]
            listed = subprocess.run([self.compiler, *flags, "-MM", ROOT / name],
                                    capture_output=True, text=True, check=True).stdout
            for word in listed.replace("\\\n", " ").split()[1:]:
                path = pathlib.Path(word).resolve()
                if path.suffix == ".h" and path.is_relative_to(ROOT / "src"):
                    users[path.relative_to(ROOT).as_posix()].append(name)
        return users

    def break_it(self, mutant):
        """Links the broken library. Returns "broken", "same code" or "does not compile"."""
        text = mutant.apply(self.sources[mutant.file])
        if mutant.file.endswith(".cpp"):
            recompiled = {mutant.file: text}
        else:
            self.users = self.users or self.header_users()
            recompiled = {name: None for name in self.users[mutant.file]}
        originals = {name: self.original(name) for name in recompiled}
        header = OVERLAY / mutant.file[4:]
        if mutant.file.endswith(".h"):
            header.parent.mkdir(parents=True, exist_ok=True)
            header.write_text(text)
        objects = dict(self.objects)
        changed = False
        try:
            for name, source in recompiled.items():
                objects[name] = SCRATCH / "objects" / originals[name].name
                if not self.compile(name, objects[name], source):
                    return "does not compile"
                changed |= objects[name].read_bytes() != originals[name].read_bytes()
        finally:
            header.unlink(missing_ok=True)
        if not changed:
            return "same code"
        done = subprocess.run([self.compiler, "-shared", "-Wl,-soname,libvca.so.1", *self.linker(),
                               "-o", SCRATCH / "lib" / "libvca.so.1", *objects.values()],
                              capture_output=True)
        return "broken" if done.returncode == 0 else "does not compile"

    # The quicker linker, where there is one.
    def linker(self):
        return ["-fuse-ld=gold"] if shutil.which("ld.gold") else []


class Tests:
    def __init__(self):
        self.cases = {}  # name -> (folder, program)
        for program in sorted((BUILD / "tests").rglob("*_test")):
            folder = program.relative_to(BUILD / "tests").parts[0]
            if not program.is_file() or folder in NOT_LIBRARY_TESTS:
                continue
            dynamic = subprocess.run(["readelf", "-d", program], capture_output=True, text=True)
            if "(RPATH)" in dynamic.stdout:
                sys.exit(f"{program} would not see a broken library: it has an RPATH")
            listed = subprocess.run([program, "--gtest_list_tests"], capture_output=True,
                                    text=True, check=True).stdout
            suite = ""
            for line in listed.splitlines():
                word = line.split("#")[0].strip()
                if not line.startswith(" "):
                    suite = word
                elif word:
                    self.cases[f"{program.name}:{suite}{word}"] = (folder, program)
        self.times = json.loads(TIMES.read_text()) if TIMES.exists() else {}
        self.noticed_for = collections.defaultdict(collections.Counter)

    def run(self, case, library):
        """"passes", "fails" or "hangs"."""
        folder, program = self.cases[case]
        usual_s = self.times.get(case, 30)

        def limits():
            cpu_s = 3 + int(2 * usual_s)
            resource.setrlimit(resource.RLIMIT_CPU, (cpu_s, cpu_s))
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        env = dict(os.environ, LD_LIBRARY_PATH=str(library))
        child = subprocess.Popen([program, "--gtest_filter=" + case.split(":", 1)[1]], env=env,
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                 cwd=program.parent, start_new_session=True, preexec_fn=limits)
        try:
            status = child.wait(timeout=20 + 10 * usual_s)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
            return "fails"
        if status in (-signal.SIGXCPU, -signal.SIGKILL):
            return "hangs"
        return "passes" if status == 0 else "fails"

    def measure(self):
        """Every case on the library as it is: they must all pass. Remembers how long they take."""
        library = BUILD / "src"
        for case in self.cases:
            if case in self.times:
                continue
            start = time.monotonic()
            if self.run(case, library) != "passes":
                sys.exit(f"{case} fails on the library as it is")
            self.times[case] = round(time.monotonic() - start, 3)
        TIMES.write_text(json.dumps(self.times))

    # Most likely first: cases that noticed other breaks of the same file lead their group.
    def order(self, mutant, near):
        folder, stem = mutant.file.split("/")[1], pathlib.Path(mutant.file).stem

        def rank(case):
            of, program = self.cases[case]
            group = 0 if of == folder else {"scenario": 1, "golden": 3}.get(of, 2)
            return (group, -self.noticed_for[mutant.file][case],
                    stem not in program.name, self.times[case])

        return sorted((c for c in self.cases if not near or self.cases[c][0] == folder), key=rank)

    def first_to_notice(self, mutant, library, near):
        """The first case that fails twice, or None."""
        for case in self.order(mutant, near):
            end = self.run(case, library)
            if end == "hangs" or end == "fails" and self.run(case, library) != "passes":
                self.noticed_for[mutant.file][case] += 1
                return case
        return None


def load_results():
    if not RESULTS.exists():
        return {}
    rows = [json.loads(line) for line in RESULTS.read_text().splitlines()]
    return {key(row): row for row in rows}


def key(row):
    return (row["file"], row["line"], row["kind"], row["before"], row["after"], row["start"])


def describe(mutant):
    return {field: getattr(mutant, field)
            for field in ("file", "line", "kind", "start", "end", "before", "after")}


def try_mutant(mutant, library, tests, near):
    state = library.break_it(mutant)
    row = describe(mutant) | {"result": state}
    if state == "broken":
        case = tests.first_to_notice(mutant, SCRATCH / "lib", near)
        missed = "not noticed nearby" if near else "survived"
        row["result"] = "noticed" if case else missed
        row["by"] = case or ""
    with RESULTS.open("a") as out:
        out.write(json.dumps(row) + "\n")
    return row


def short(text):
    text = re.sub(r"\s+", " ", text)
    return text if len(text) <= 70 else text[:67] + "..."


def line_of(row):
    return (f"{row['file']}:{row['line']}\t{row['kind']}\t{short(row['before'])}\t"
            f"{short(row['after'])}\t{row['result']}\t{row.get('by', '')}")


def report(rows):
    counted = [r for r in rows if r["result"] in COUNTED]
    noticed = [r for r in counted if r["result"] == "noticed"]
    (BUILD / "mutants.tsv").write_text("".join(line_of(r) + "\n" for r in rows))
    for r in counted:
        if r["result"] != "noticed":
            print(line_of(r))
    by_kind = collections.Counter(r["kind"] for r in counted)
    print("kinds: " + ", ".join(f"{k} {n}" for k, n in by_kind.most_common()))
    results = collections.Counter(r["result"] for r in rows)
    print(f"{len(counted)} breaks that change the code, {len(noticed)} noticed "
          f"({100 * len(noticed) / max(1, len(counted)):.1f} %), "
          f"{sum(r['by'].startswith('golden') for r in noticed)} of them by the golden runs alone; "
          f"beside them {results['same code']} that give the same code and "
          f"{results['does not compile']} that do not compile")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--count", type=int, default=300)
    parser.add_argument("--again", metavar="RESULT", help="repeat those with this result")
    parser.add_argument("--only", metavar="FILE:LINE", action="append", default=[],
                        help="repeat no others than at this place")
    parser.add_argument("--inside", metavar="FILE", action="append", default=[],
                        help="break only these files")
    parser.add_argument("--near", action="store_true", help="only the tests of the same folder")
    parser.add_argument("--report", action="store_true")
    options = parser.parse_args()
    if not options.report:
        private_tmp()
        os.nice(max(0, 15 - os.nice(0)))
        build()
    known = load_results()
    sources = {}
    library = None
    if options.report:
        for path in sorted((ROOT / "src").rglob("*")):
            name = path.relative_to(ROOT).as_posix()
            if path.suffix in (".cpp", ".h") and name not in NO_CODE:
                sources[name] = path.read_text()
    else:
        library = Library()
        sources = library.sources
        tests = Tests()
        tests.measure()
        for row in known.values():
            if row["result"] == "noticed":
                tests.noticed_for[row["file"]][row["by"]] += 1
    if options.inside:
        sources = {name: text for name, text in sources.items() if name in options.inside}
    rows, counted = [], 0
    for mutant in mutation_sites.choose(sources, options.seed):
        if counted == options.count:
            break
        row = known.get(key(describe(mutant)))
        if row is None and options.report:
            break
        here = f"{mutant.file}:{mutant.line}"
        again = row is not None and row["result"] == options.again and (
            not options.only or here in options.only)
        if row is None or again:
            row = try_mutant(mutant, library, tests, options.near)
            print(line_of(row), flush=True)
        rows.append(row)
        counted += row["result"] in COUNTED
    report(rows)


if __name__ == "__main__":
    main()
