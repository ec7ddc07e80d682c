#!/usr/bin/env python3
"""Kills parts of `vca serve`, and all of it, again and again, and checks that nobody was told of a count in vain.

    kill_service_test.py VCA N [SEED]

A place has two cameras that play a recording with several crossings a second again and again. Somebody follows
each database (`vca counts --follow`), and goes on after the last event that was confirmed. These are killed
with SIGKILL, in turn:

    camera    one of the two
    cameras   both at once
    service   the service, which leaves its cameras to end by themselves
    all       the service and both cameras at once

A service that was killed is started again when no process of it is left, which must be within 15 s. After each
kill all that was told must be held, and both cameras must count again within 60 s. At the end each event was
followed exactly once, events are numbered without a gap, totals and minutes equal the events, and each camera
that died is in the table health.
"""
import collections
import json
import os
import pathlib
import random
import signal
import sqlite3
import subprocess
import sys
import time

from kill_test import LIMIT_S, Failure, Follower, compare, main, query

KINDS = ("camera", "service", "cameras", "all")
GONE_S = 15.0
CAMERAS = ("door", "back")


def children_of(parent):
    """The processes of cameras that a process has."""
    found = []
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            stat = (entry / "stat").read_text()
            command = (entry / "cmdline").read_bytes()
        except OSError:
            continue
        state, above = stat[stat.rindex(")") + 2:].split()[:2]
        if int(above) == parent and state != "Z" and b"camera-process" in command:
            found.append(int(entry.name))
    return found


def is_there(process):
    try:
        stat = pathlib.Path(f"/proc/{process}/stat").read_text()
    except OSError:
        return False
    return stat[stat.rindex(")") + 2] != "Z"


def kill(process):
    try:
        os.kill(process, signal.SIGKILL)
    except ProcessLookupError:
        pass


class Test:
    def __init__(self, vca, folder, seed):
        self.vca, self.folder, self.random = vca, folder, random.Random(seed)
        self.stores = [folder / "store" / f"{name}.db" for name in CAMERAS]
        self.followers = [Follower(vca, store) for store in self.stores]
        self.service = None
        self.kills = collections.Counter()
        self.deaths = 0
        self.longest_gone_s = self.longest_back_s = 0.0

    def prepare(self):
        subprocess.run([self.vca, "record", "--scene", "entrance", "--seconds", "20", "--quiet",
                        "--output", self.folder / "rec"], check=True, stdout=subprocess.DEVNULL)
        files = ", ".join(f'"{path}"' for path in sorted((self.folder / "rec").glob("*.mkv")))
        text = 'place = "shop"\n'
        for name in CAMERAS:
            text += f'[[camera]]\nname = "{name}"\nrecording = [{files}]\nloop = true\n'
        (self.folder / "vca.toml").write_text(text)

    def start(self):
        self.service = subprocess.Popen([self.vca, "serve"], cwd=self.folder,
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                        start_new_session=True)

    def wait(self, condition, what, limit=LIMIT_S):
        began = time.monotonic()
        while not condition():
            if time.monotonic() > began + limit:
                raise Failure(f"no {what} within {limit:.0f} s")
            time.sleep(0.01)
        return time.monotonic() - began

    def crossings(self, store):
        try:
            return query(store, "SELECT count(*) FROM events WHERE kind = 'crossing'")[0][0]
        except sqlite3.OperationalError:
            return 0  # it is being made

    def wait_for_counts(self):
        before = [self.crossings(store) for store in self.stores]
        return self.wait(lambda: all(self.crossings(store) > count
                                     for store, count in zip(self.stores, before)), "counting")

    def follow(self):
        for follower in self.followers:
            if follower.process is None or follower.process.poll() is not None:
                follower.start()

    def check_told(self):
        for store, follower in zip(self.stores, self.followers):
            if not follower.events:
                continue
            told = follower.events[-1]
            held = query(store, "SELECT max(sequence) FROM events JOIN epochs ON epochs.id = "
                                f"events.epoch WHERE epochs.epoch = '{told['epoch']}'")[0][0] or 0
            if held < told["sequence"]:
                raise Failure(f"told of {json.dumps(told)}, but there is only {held}")

    def one_kill(self, kind):
        self.wait(lambda: len(children_of(self.service.pid)) == len(CAMERAS), "both cameras")
        cameras = children_of(self.service.pid)
        time.sleep(self.random.uniform(0.0, 1.5))
        victims = {"camera": [self.random.choice(cameras)], "cameras": cameras,
                   "service": [self.service.pid], "all": [self.service.pid, *cameras]}[kind]
        self.random.shuffle(victims)
        for victim in victims:
            kill(victim)
        self.kills[kind] += 1
        self.check_told()
        if kind in ("service", "all"):
            self.service.wait()
            gone = self.wait(lambda: not any(map(is_there, cameras)), "end of the cameras", GONE_S)
            self.longest_gone_s = max(self.longest_gone_s, gone)
            self.start()
        else:
            self.deaths += len(victims)
            self.wait(lambda: not any(map(is_there, victims)), "end of those killed")
        self.longest_back_s = max(self.longest_back_s, self.wait_for_counts())

    def run(self, kills):
        self.prepare()
        self.start()
        self.wait_for_counts()
        self.follow()
        for i in range(kills):
            self.one_kill(KINDS[i % len(KINDS)])
        self.service.terminate()
        if self.service.wait(LIMIT_S) != 0:
            raise Failure("the service did not end in order")
        self.follow()
        events, crossings = map(sum, zip(*map(compare, self.stores, self.followers)))
        noted = sum(query(store, "SELECT count(*) FROM health WHERE fault = 'camera_ended' "
                                 "AND level = 'failed'")[0][0] for store in self.stores)
        # One that is killed again before it has begun to count is noted once.
        if not 0 < noted <= self.deaths and self.deaths:
            raise Failure(f"{self.deaths} cameras died, {noted} are noted")
        print(f"{sum(self.kills.values())} kills, {crossings} crossings and {events} events, all told and "
              "held exactly once; totals and minutes equal them")
        for kind, number in self.kills.items():
            print(f"  {kind:8} {number:5}")
        print(f"  {self.deaths} cameras died under a service that lived, {noted} noted")
        print(f"  no camera was left {self.longest_gone_s:.2f} s after its service")
        print(f"  both cameras had counted again within {self.longest_back_s:.2f} s")

    def processes(self):
        return [self.service, *(follower.process for follower in self.followers)]


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:], Test, __doc__))
