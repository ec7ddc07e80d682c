#!/usr/bin/env python3
"""How fast events that have waited reach an MQTT broker.

    publish.py VCA [EVENTS]    a place whose camera has so many events [100000] that the broker has not had

Says how long it takes from the first to the last of them at a reader of the broker, whether each came once and in
order, and how large the service was meanwhile. The broker is Debian's mosquitto, on this machine.
"""
import json
import pathlib
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time

PLACE = """place = "bench"
time_zone = "UTC"
[[camera]]
name = "door"
scene = "doorway"
"""
WAIT_S = 600


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


class Service:
    def __init__(self, vca, folder, text):
        (folder / "vca.toml").write_text(text)
        self.said = open(folder / "said.txt", "w", encoding="utf-8")
        self.process = subprocess.Popen([vca, "serve", "--config", folder / "vca.toml"],
                                        stdout=subprocess.DEVNULL, stderr=self.said)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(60)
        self.said.close()

    def resident_kb(self):
        status = pathlib.Path(f"/proc/{self.process.pid}/status").read_text(encoding="utf-8")
        return int(status.split("VmRSS:")[1].split()[0])


def make_database(vca, folder):
    database = folder / "store" / "door.db"
    with Service(vca, folder, PLACE):
        end = time.monotonic() + WAIT_S
        while time.monotonic() < end:
            time.sleep(0.5)
            try:
                with sqlite3.connect(database) as db:
                    if db.execute("SELECT count(*) FROM places WHERE kind = 'line'").fetchone()[0]:
                        break
            except sqlite3.Error:
                pass
    return database


def fill(database, events):
    """Crossings, a second apart, numbered on from those that are there. Gives the last number."""
    with sqlite3.connect(database) as db:
        epoch, last = db.execute("SELECT epoch, sequence FROM store").fetchone()
        line = db.execute("SELECT id FROM places WHERE kind = 'line'").fetchone()[0]
        begin_us = int((time.time() - events) * 1e6)
        text = json.dumps({"message": "person_counted", "line": "door"})
        db.executemany(
            "INSERT INTO events (epoch, sequence, time_us, scene_us, kind, place, direction, track, person, people, "
            "json) VALUES (?, ?, ?, 0, 'crossing', ?, ?, ?, 'adult', 1, ?)",
            ((epoch, last + i, begin_us + i * 1_000_000, line, 1 + i % 2, i % 1000, text)
             for i in range(1, events + 1)))
        db.execute("UPDATE store SET sequence = ?", (last + events,))
    return last + events


class Reader:
    """A client of MQTT 3.1.1 that hears one topic."""

    def __init__(self, port, topic):
        self.socket = socket.create_connection(("127.0.0.1", port), WAIT_S)
        self.bytes = bytearray()
        self.send(0x10, b"\0\4MQTT\4\2\0\0\0\5bench")
        self.send(0x82, b"\0\1" + len(topic).to_bytes(2, "big") + topic.encode() + b"\0")
        while self.packet()[0] >> 4 != 9:  # subscribed
            pass

    def send(self, head, body):
        self.socket.sendall(bytes([head, len(body)]) + body)

    def need(self, size):
        while len(self.bytes) < size:
            part = self.socket.recv(1 << 16)
            if not part:
                raise SystemExit("the broker has ended")
            self.bytes += part

    def packet(self):
        size, at = 0, 1
        while True:
            self.need(at + 1)
            size |= (self.bytes[at] & 127) << 7 * (at - 1)
            at += 1
            if self.bytes[at - 1] < 128:
                break
        self.need(at + size)
        head, body = self.bytes[0], bytes(self.bytes[at:at + size])
        del self.bytes[:at + size]
        return head, body

    def message(self):
        while True:
            head, body = self.packet()
            if head >> 4 == 3:
                return json.loads(body[2 + int.from_bytes(body[:2], "big"):])


def measure(vca, events, folder):
    last = fill(make_database(vca, folder), events)
    port = free_port()
    with subprocess.Popen(["/usr/sbin/mosquitto", "-p", str(port)], stderr=subprocess.DEVNULL) as broker:
        try:
            time.sleep(1)
            reader = Reader(port, "vca/bench/door/event")
            with Service(vca, folder, f"{PLACE}[mqtt]\nport = {port}\n") as service:
                numbers = [reader.message()["sequence"]]
                begin, largest_kb = time.monotonic(), 0
                while numbers[-1] < last:
                    numbers.append(reader.message()["sequence"])
                    if len(numbers) % 10000 == 0:
                        largest_kb = max(largest_kb, service.resident_kb())
                took_s = time.monotonic() - begin
        finally:
            broker.terminate()
    in_order = numbers == list(range(1, last + 1))
    print(f"{len(numbers)} events in {took_s:.1f} s, {len(numbers) / took_s:.0f} a second; "
          f"{'each once and in order' if in_order else 'NOT each once and in order'}; "
          f"the service had {largest_kb / 1000:.0f} MB at most")
    return 0 if in_order else 1


def main():
    vca = pathlib.Path(sys.argv[1]).resolve()
    events = int(sys.argv[2]) if len(sys.argv) > 2 else 100_000
    with tempfile.TemporaryDirectory() as folder:
        return measure(vca, events, pathlib.Path(folder))


if __name__ == "__main__":
    sys.exit(main())
