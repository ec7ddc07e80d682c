#!/usr/bin/env python3
"""What `vca serve` takes for long, and how many cameras a machine carries.

    service.py endurance VCA [HOURS]    two cameras as fast as they go, for so many hours of scene time [6]
    service.py cameras VCA [SECONDS]    more and more cameras at 15 frames/s, so long with each number [60]
    service.py live VCA [SECONDS] [N]   the same with live cameras that are handed raw depth through pipes, from N on [1]

Cameras play recordings of the scenes "entrance" and "gallery" again and again. The first table shows, at equal
distances of scene time, resident sizes in kB, open files and threads of each process, and the files in the folder
of the databases. The others show processor time as a share of one processor, of a camera and of the service,
memory of a camera that it shares with nobody, and frames that came late or were lost.
"""
import fcntl
import os
import pathlib
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

SCENES = ("entrance", "gallery")
FRAME_BYTES = 480 * 256 * 2
FRAMES_PER_S = 15
PIPE_BYTES = 1 << 20  # several pictures, so that the sender waits for nobody
F_SETPIPE_SZ = 1031
ROWS = 12
TICKS = os.sysconf("SC_CLK_TCK")


def record(vca, folder, scene, seconds):
    subprocess.run([vca, "record", "--scene", scene, "--seconds", str(seconds), "--quiet", "--output",
                    folder / scene], check=True, stdout=subprocess.DEVNULL)
    return sorted((folder / scene).glob("*.mkv"))


def played(recordings, more):
    text = "recording = [" + ", ".join(f'"{path}"' for path in recordings) + "]\nloop = true\n"
    return lambda name: text + more


class Fed:
    """Live cameras, each with a pipe into which the pictures of a recording go again and again."""

    def __init__(self, folder, recordings):
        self.folder, self.pictures, self.settings = folder, [], []
        for scene, (recording,) in zip(SCENES, recordings):
            files = [folder / f"{scene}.{end}" for end in ("camera.toml", "settings.toml", "raw")]
            subprocess.run(["ffmpeg", "-loglevel", "error", "-dump_attachment:t:0", files[0],
                            "-dump_attachment:t:1", files[1], "-i", recording, "-map", "0:v:0",
                            "-f", "rawvideo", files[2]], check=True)
            self.settings.append(files[1].read_text())
            self.pictures.append(files[2].read_bytes())

    def source(self, name):
        kind = int(name[1:]) % len(SCENES)
        (self.folder / "cameras").mkdir(exist_ok=True)
        (self.folder / "cameras" / f"{name}.toml").write_text(self.settings[kind])
        pipe = self.folder / name
        if not pipe.exists():
            os.mkfifo(pipe)
        return (f'depth = "{pipe}"\ndepth_format = "raw:480x256@{FRAMES_PER_S}"\n'
                f'camera_file = "{self.folder}/{SCENES[kind]}.camera.toml"\n')

    def send(self, names, stop):
        pipes = [os.open(self.folder / name, os.O_RDWR) for name in names]
        for pipe in pipes:
            fcntl.fcntl(pipe, F_SETPIPE_SZ, PIPE_BYTES)
        began, sent = time.monotonic(), 0
        while not stop.is_set():
            camera, number = sent % len(pipes), sent // len(pipes)
            pictures = self.pictures[camera % len(SCENES)]
            at = number * FRAME_BYTES % len(pictures)
            time.sleep(max(0.0, began + sent / (FRAMES_PER_S * len(pipes)) - time.monotonic()))
            rest = memoryview(pictures)[at:at + FRAME_BYTES]
            while rest:
                rest = rest[os.write(pipes[camera], rest):]
            sent += 1
        for pipe in pipes:
            os.close(pipe)


class Service:
    """A place with cameras that are named by numbers."""

    def __init__(self, vca, folder, sources, cameras):
        self.store = folder / f"store{cameras}"
        text = f'place = "bench"\ntime_zone = "UTC"\n[store]\nfolder = "{self.store}"\n'
        text += '[web]\nport = 0\nmetrics = "open"\n'
        for i in range(cameras):
            text += f'[[camera]]\nname = "c{i}"\n' + sources[i % len(sources)](f"c{i}")
        (folder / "vca.toml").write_text(text)
        self.names = [f"c{i}" for i in range(cameras)]
        self.said = open(folder / "said.txt", "w+")
        self.process = subprocess.Popen([vca, "serve", "--config", folder / "vca.toml"],
                                        stdout=self.said, stderr=subprocess.STDOUT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(60)
        self.said.close()

    def cameras(self):
        found = []
        for entry in pathlib.Path("/proc").iterdir():
            try:
                stat = (entry / "stat").read_text() if entry.name.isdigit() else ""
            except OSError:
                continue
            if stat and int(stat[stat.rindex(")") + 2:].split()[1]) == self.process.pid:
                found.append(int(entry.name))
        return sorted(found)

    def hours(self):
        """The shortest scene time that a camera has counted."""
        return min(self.span(name) for name in self.names)

    def span(self, name):
        try:
            with sqlite3.connect(f"file:{self.store / name}.db?mode=ro", uri=True) as database:
                until, = database.execute("SELECT watched_until_us FROM store").fetchone()
                first, = database.execute("SELECT min(minute) FROM minutes").fetchone()
        except sqlite3.OperationalError:
            return 0.0
        if until is None or first is None:
            return 0.0
        return (until / 60e6 - first) / 60.0

    def metrics(self):
        self.said.seek(0)
        address = next(line.split()[-1] for line in self.said if line.startswith("the page:"))
        with urllib.request.urlopen(address + "metrics") as answer:
            lines = answer.read().decode().splitlines()
        return [line.rsplit(" ", 1) for line in lines if not line.startswith("#")]

    def sum_of(self, metric):
        return sum(float(value) for name, value in self.metrics() if name.startswith(metric + "{"))


def resident_kb(process):
    status = pathlib.Path(f"/proc/{process}/status").read_text().splitlines()
    return next(int(line.split()[1]) for line in status if line.startswith("VmRSS"))


def private_mb(process):
    rollup = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text().splitlines()
    return sum(int(line.split()[1]) for line in rollup if line.startswith("Private_")) / 1024


def entries(process, of):
    return len(os.listdir(f"/proc/{process}/{of}"))


def processor_s(process):
    stat = pathlib.Path(f"/proc/{process}/stat").read_text()
    fields = stat[stat.rindex(")") + 2:].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def endurance_row(service):
    cells = [f"{service.hours():.1f}"]
    for process in (service.process.pid, *service.cameras()):
        cells += [f"{resident_kb(process)}", f"{entries(process, 'fd')} / {entries(process, 'task')}"]
    sizes = [path.stat().st_size for path in service.store.iterdir()]
    cells += [str(len(sizes)), f"{sum(sizes) / 1e6:.1f}"]
    return cells


def print_row(cells):
    print("| " + " | ".join(cells) + " |", flush=True)


def endurance(vca, folder, hours):
    recordings = [record(vca, folder, scene, 120) for scene in SCENES]
    head = ["hours"]
    for name in ("service", *SCENES):
        head += [f"{name}, kB", "files / threads"]
    head += ["files", "MB"]
    sources = [played(recording, "fast = true\n") for recording in recordings]
    with Service(vca, folder, sources, len(SCENES)) as service:
        print_row(head)
        print_row(["---:"] * len(head))
        began, counted = time.monotonic(), 0.0
        for row in range(1, ROWS + 1):
            while counted < hours * row / ROWS:
                time.sleep(1)
                if service.process.poll() is not None:
                    raise SystemExit("the service has ended")
                counted = service.hours()
            print_row(endurance_row(service))
        print(f"\n{counted:.1f} hours in {(time.monotonic() - began) / 60:.0f} minutes; "
              f"processes of cameras that ended: {ended_cameras(service)}")


def ended_cameras(service):
    count = 0
    for name in service.names:
        with sqlite3.connect(f"file:{service.store / name}.db?mode=ro", uri=True) as database:
            count += database.execute("SELECT count(*) FROM health WHERE fault = 'camera_ended' "
                                      "AND level = 'failed'").fetchone()[0]
    return count


def cameras(vca, folder, seconds):
    recordings = [record(vca, folder, scene, 60) for scene in SCENES]
    more_and_more(vca, folder, [played(recording, "") for recording in recordings], seconds, 1)


def live(vca, folder, seconds, first):
    fed = Fed(folder, [record(vca, folder, scene, 60) for scene in SCENES])
    more_and_more(vca, folder, [fed.source], seconds, int(first), fed)


def more_and_more(vca, folder, sources, seconds, number, fed=None):
    head = ["cameras", "camera, %", "service, %", "all, %", "camera, MB", "frames/s each", "late or lost"]
    print_row(head)
    print_row(["---:"] * len(head))
    late = 0.0
    while late == 0.0 and number <= 128:
        stop, sender = threading.Event(), None
        with Service(vca, folder, sources, number) as service:
            if fed:
                sender = threading.Thread(target=fed.send, args=(service.names, stop))
                sender.start()
            try:
                late = cameras_row(service, number, seconds)
            finally:
                stop.set()
                if sender:
                    sender.join()
        number = number * 2 if number < 4 else number + 4


def cameras_row(service, number, seconds):
    # Until all count, and the first frames, which learn the floor, are over.
    time.sleep(10 + number)
    processes = service.cameras()
    before = [processor_s(process) for process in (service.process.pid, *processes)]
    frames, late = service.sum_of("vca_frames_total"), late_frames(service)
    began = time.monotonic()
    time.sleep(seconds)
    span = time.monotonic() - began
    shares = [100 * (processor_s(process) - one) / span
              for process, one in zip((service.process.pid, *processes), before)]
    frames = (service.sum_of("vca_frames_total") - frames) / span / number
    late = late_frames(service) - late
    memory = sum(private_mb(process) for process in processes) / number
    print_row([str(number), f"{sum(shares[1:]) / number:.1f}", f"{shares[0]:.1f}", f"{sum(shares):.0f}",
               f"{memory:.0f}", f"{frames:.2f}", f"{late:.0f}"])
    return late


def late_frames(service):
    return service.sum_of("vca_frames_late_total") + service.sum_of("vca_frames_missing_total")


def main(arguments):
    kinds = {"endurance": (endurance, [6.0]), "cameras": (cameras, [60.0]), "live": (live, [60.0, 1.0])}
    numbers = [float(text) for text in arguments[2:]]
    if len(arguments) < 2 or arguments[0] not in kinds or len(numbers) > len(kinds[arguments[0]][1]):
        print(__doc__.strip(), file=sys.stderr)
        return 2
    run, usual = kinds[arguments[0]]
    with tempfile.TemporaryDirectory(prefix="vca-bench-") as folder:
        run(pathlib.Path(arguments[1]).resolve(), pathlib.Path(folder), *numbers, *usual[len(numbers):])
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
