#!/usr/bin/env python3
"""Kills `vca run --store` again and again, and checks that nobody was told of a count in vain.

    kill_test.py VCA N [SEED]

A recording with several crossings a second is counted into one database, from its beginning each
time. Two receivers note what they are told: one reads the log of transactions, the other one is
`vca counts --follow`, which goes on after the last event that it has confirmed. The program is killed
with SIGKILL at one of these moments, with a little time at random after it:

    start         from the beginning to the first frames, when the database is opened and repaired
    crossing      somebody has been counted and is not yet in the database
    commit        the database's log is being written
    notice        the receiver has been told that a transaction is safe
    confirmation  the follower has printed an event

At every other kill the follower dies with it. After each one the database must hold all that was
told, and the next program must have written within 5 s. At the end every event was followed exactly
once, events are numbered without a gap, and totals and minutes equal the events. An interrupt from the
keyboard ends the killing early and compares what there is.
"""
import collections
import ctypes
import json
import os
import pathlib
import random
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import threading
import time

# Each moment with the longest time that is waited after it, in seconds.
MOMENTS = {"start": 1.0, "crossing": 0.12, "commit": 0.004, "notice": 0.003, "confirmation": 0.03}
LIMIT_S = 60.0  # ends a test that has failed
BACK_S = 5.0    # until counting goes on
IN_MODIFY = 2


class Failure(Exception):
    """What was promised does not hold."""


class Lines:
    """A growing file of whole lines."""

    def __init__(self, path):
        self.path, self.at, self.lines = path, 0, []

    def read(self):
        """Takes what is new; a line that was cut off by a kill never was one."""
        if self.path.exists():
            with open(self.path, "rb") as file:
                file.seek(self.at)
                data = file.read()
            end = data.rfind(b"\n") + 1
            self.at += end
            self.lines += data[:end].decode().splitlines()
        return self.lines


class LogWatch:
    """Tells when the database's log is written."""

    def __init__(self, folder):
        self.libc = ctypes.CDLL(None, use_errno=True)
        self.file = self.libc.inotify_init1(os.O_NONBLOCK)
        self.libc.inotify_add_watch(self.file, str(folder).encode(), IN_MODIFY)

    def written(self):
        try:
            data = os.read(self.file, 65536)
        except BlockingIOError:
            return False
        found, at = False, 0
        while at < len(data):
            length = struct.unpack_from("iIII", data, at)[3]
            name = data[at + 16:at + 16 + length].rstrip(b"\0")
            found, at = found or name.endswith(b"-wal"), at + 16 + length
        return found


class Follower:
    """`vca counts --follow`, and a list of all that it has printed whole."""

    def __init__(self, vca, store):
        self.vca, self.store, self.events, self.process, self.thread = vca, store, [], None, None

    def start(self):
        after = "0"
        if self.events:
            last = self.events[-1]
            after = f"{last['epoch']}:{last['sequence']}"
        self.process = subprocess.Popen(
            [self.vca, "counts", "--store", self.store, "--follow", "--after", after,
             "--time-zone", "UTC"], stdout=subprocess.PIPE, start_new_session=True)
        self.thread = threading.Thread(target=self.listen, args=(self.process.stdout,))
        self.thread.start()

    def listen(self, pipe):
        for line in pipe:
            if line.endswith(b"\n"):
                self.events.append(json.loads(line))

    def kill(self):
        self.process.kill()
        self.process.wait()
        self.thread.join()


def query(store, sql):
    with sqlite3.connect(f"file:{store}?mode=ro", uri=True, timeout=30) as database:
        return database.execute(sql).fetchall()


def compare(store, follower):
    """Everything was followed exactly once, and totals and minutes equal the events; returns the numbers of
    events and of crossings."""
    held = query(store,
                 "SELECT epochs.epoch, sequence, events.kind, places.name, direction, person "
                 "FROM events JOIN epochs ON epochs.id = events.epoch "
                 "LEFT JOIN places ON places.id = events.place ORDER BY 1, 2")
    end = time.monotonic() + LIMIT_S
    while len(follower.events) < len(held) and time.monotonic() < end:
        time.sleep(0.05)
    follower.kill()
    followed = [tuple(e[key] for key in
                      ("epoch", "sequence", "kind", "place", "direction", "person"))
                for e in follower.events]
    if followed != held:
        raise Failure(f"{len(followed)} events were followed, {len(held)} are held, "
                      f"{len(set(followed) ^ set(held))} are not in both")
    if [row[1] for row in held] != list(range(1, len(held) + 1)):
        raise Failure("the numbers of the events have gaps")
    counted = collections.Counter(row[3:] for row in held if row[2] == "crossing")
    for table in ("totals", "minutes"):
        sums = query(store,
                     f"SELECT places.name, direction, sum(adult), sum(child), sum(staff) "
                     f"FROM {table} JOIN places ON places.id = place GROUP BY 1, 2")
        for name, direction, *people in sums:
            for person, number in zip(("adult", "child", "staff"), people):
                if number != counted[(name, direction, person)]:
                    raise Failure(f"{table} has {number} for {name} {direction} {person}, "
                                  f"there are {counted[(name, direction, person)]} events")
    return len(held), sum(counted.values())


class Test:
    def __init__(self, vca, folder, seed):
        self.vca, self.folder, self.random = vca, folder, random.Random(seed)
        self.store = folder / "door.db"
        self.told = Lines(folder / "told.jsonl")
        self.follower = Follower(vca, self.store)
        self.program = None
        self.kills = collections.Counter()
        self.interrupted = False
        self.uncommitted = 0   # kills while somebody was counted and not yet safe
        self.longest_back_s = 0.0

    def record(self):
        subprocess.run([self.vca, "record", "--scene", "entrance", "--seconds", "60", "--quiet",
                        "--output", self.folder / "rec"], check=True, stdout=subprocess.DEVNULL)
        self.recordings = sorted((self.folder / "rec").glob("*.mkv"))

    def start(self, *more):
        before = len(self.told.read())
        began = time.monotonic()
        self.program = subprocess.Popen(
            [self.vca, "run", "--recording", *self.recordings, "--store", self.store, "--store-log",
             self.told.path, "--no-live", "--quiet", "--output", self.folder / "run", *more],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, start_new_session=True)
        return before, began

    def wait(self, condition, what):
        end = time.monotonic() + LIMIT_S
        while not condition():
            if time.monotonic() > end:
                raise Failure(f"no {what} within {LIMIT_S:.0f} s")
            if self.program.poll() is not None:
                return False  # the recording is at its end
            time.sleep(0.0005)
        return True

    def crossings(self):
        """How many people this life of the program has counted."""
        path = self.folder / "run" / "events.jsonl"
        return path.read_bytes().count(b'"person_counted"') if path.exists() else 0

    def wait_for(self, moment):
        if moment == "start":
            return True
        # Now and then several pass before it.
        for _ in range(self.random.randint(1, 4)):
            if moment == "crossing":
                before = self.crossings()
                happened = lambda: self.crossings() > before
            elif moment == "commit":
                watch = LogWatch(self.folder)
                happened = watch.written
            elif moment == "notice":
                before = len(self.told.read())
                happened = lambda: len(self.told.read()) > before
            else:
                before = len(self.follower.events)
                happened = lambda: len(self.follower.events) > before
            reached = self.wait(happened, moment)
            if moment == "commit":
                os.close(watch.file)
            if not reached:
                return False
        return True

    def check_told(self):
        """Straight after a kill: all that was told is there."""
        told = [json.loads(line) for line in self.told.read()]
        if not told:
            return
        held = dict(query(self.store, "SELECT epochs.epoch, max(sequence) FROM events JOIN epochs "
                          "ON epochs.id = events.epoch GROUP BY 1"))
        for notice in (told[-1], self.follower.events[-1] if self.follower.events else told[-1]):
            if held.get(notice["epoch"], 0) < notice["sequence"]:
                raise Failure(f"told of {notice}, but there is only {held}")

    def one_life(self, moment, with_follower):
        (self.folder / "run" / "events.jsonl").unlink(missing_ok=True)
        before, began = self.start()
        if moment != "start":
            self.wait(lambda: len(self.told.read()) > before, "transaction")
            self.longest_back_s = max(self.longest_back_s, time.monotonic() - began)
            if self.follower.process is None or self.follower.process.poll() is not None:
                self.follower.start()
        reached = self.wait_for(moment)
        time.sleep(self.random.uniform(0.0, MOMENTS[moment]))
        if self.program.poll() is None:
            self.program.send_signal(signal.SIGKILL)
            self.kills[moment] += 1
        elif reached and moment != "start":
            raise Failure("the program ended by itself: " + self.program.stderr.read().decode())
        if with_follower and self.follower.process is not None:
            self.follower.kill()
        self.program.wait()
        self.program.stderr.close()
        if not self.store.exists():
            return
        self.check_told()
        counted = self.crossings()
        safe = query(self.store, "SELECT count(*) FROM events WHERE kind = 'crossing'")[0][0]
        self.uncommitted += 1 if counted > safe - self.safe_before else 0
        self.safe_before = safe

    def interrupt(self, *_):
        self.interrupted = True

    def run(self, kills):
        signal.signal(signal.SIGINT, self.interrupt)
        self.record()
        self.safe_before = 0
        moments = list(MOMENTS)
        life = 0
        while sum(self.kills.values()) < kills and not self.interrupted:
            if life > 4 * kills + 20:
                raise Failure(f"only {sum(self.kills.values())} kills in {life} lives")
            # The first life makes the database, so that there is one to follow.
            moment = "notice" if life == 0 else moments[life % len(moments)]
            self.one_life(moment, life % 2 == 1)
            life += 1
        self.start("--seconds", "10")
        if self.program.wait() != 0:
            raise Failure("the last run failed: " + self.program.stderr.read().decode())
        self.program.stderr.close()
        if self.follower.process is None or self.follower.process.poll() is not None:
            self.follower.start()
        self.compare()

    def compare(self):
        self.say(*compare(self.store, self.follower))
        if self.longest_back_s > BACK_S:
            raise Failure(f"counting went on after {self.longest_back_s:.1f} s only")

    def say(self, events, crossings):
        print(f"{sum(self.kills.values())} kills, {crossings} crossings and {events} events, all "
              "told and held exactly once; totals and minutes equal them")
        for moment, number in self.kills.items():
            print(f"  {moment:13} {number:5}")
        print(f"  of these with a count on its way to the database: {self.uncommitted}")
        print(f"  counting went on within {self.longest_back_s:.2f} s")

    def processes(self):
        return [self.program, self.follower.process]


def main(arguments, kind, usage):
    if len(arguments) not in (2, 3):
        print(usage)
        return 2
    with tempfile.TemporaryDirectory(prefix="vca-kill-") as folder:
        test = kind(str(pathlib.Path(arguments[0]).resolve()), pathlib.Path(folder),
                    int(arguments[2]) if len(arguments) == 3 else 1)
        try:
            test.run(int(arguments[1]))
        except Failure as failure:
            print(f"after {sum(test.kills.values())} kills: {failure}")
            return 1
        finally:
            for process in test.processes():
                if process is not None and process.poll() is None:
                    process.kill()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:], Test, __doc__))
