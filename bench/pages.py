#!/usr/bin/env python3
"""What pages cost: processor time of the service and of a camera's process while 0, 1, 10 and 100
pages watch the camera at 15 frames a second, and whether the camera takes fewer frames for it.

    bench/pages.py build/release/host/vca [SECONDS]

Each page has one stream and fetches one picture after the other, always the newest frame that it
was told of. All numbers of pages are measured in one run, because the machine may be shared.
"""
import asyncio
import json
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time
import os
import urllib.request

CAMERA = "door"
PAGES = (0, 1, 10, 100)
PLACE = """place = "bench"
time_zone = "UTC"
[[camera]]
name = "{camera}"
scene = "doorway"
[web]
port = {port}
metrics = "open"
"""
PASSWORD = "looks at doors"


def free_port():
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        return taken.getsockname()[1]


def processor_s(process):
    """Processor time of a process so far."""
    fields = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def camera_process(service):
    children = pathlib.Path(f"/proc/{service}/task/{service}/children").read_text().split()
    return next(int(child) for child in children
                if b"camera-process" in pathlib.Path(f"/proc/{child}/cmdline").read_bytes())


def metric(port, name):
    text = urllib.request.urlopen(f"http://127.0.0.1:{port}/metrics", timeout=60).read().decode()
    found = re.search(rf"^{name}{{.*}} (\S+)$", text, re.M)
    return float(found.group(1)) if found else None


def log_in(port, said):
    """The cookie of the first user, who has chosen a password."""
    once = re.search(r"one-time password (\S+)", said).group(1)
    address = f"http://127.0.0.1:{port}"
    headers = {"Content-Type": "application/json", "Origin": address}

    def send(method, path, body):
        request = urllib.request.Request(f"{address}/api/v1/{path}", json.dumps(body).encode(), headers,
                                         method=method)
        return urllib.request.urlopen(request, timeout=60)

    answer = send("POST", "session", {"name": "admin", "password": once})
    headers["Cookie"] = answer.headers["Set-Cookie"].split(";")[0]
    send("PUT", "session/password", {"old": once, "new": PASSWORD})
    return headers["Cookie"]


async def fetch_pictures(port, cookie, newest, shown):
    reader, writer = await asyncio.open_connection("127.0.0.1", port)
    last = None
    while True:
        while newest.get("frame") in (None, last):
            newest["told"].clear()
            await newest["told"].wait()
        last = newest["frame"]
        writer.write(f"GET /api/v1/cameras/{CAMERA}/picture?frame={last} HTTP/1.1\r\n"
                     f"Host: 127.0.0.1:{port}\r\nCookie: {cookie}\r\n\r\n".encode())
        head = await reader.readuntil(b"\r\n\r\n")
        length = int(re.search(rb"Content-Length: (\d+)", head).group(1))
        await reader.readexactly(length)
        shown[0] += head.startswith(b"HTTP/1.1 200")


async def page(port, cookie, shown):
    reader, writer = await asyncio.open_connection("127.0.0.1", port, limit=1 << 22)
    writer.write(f"GET /api/v1/live?camera={CAMERA} HTTP/1.1\r\nHost: 127.0.0.1:{port}\r\n"
                 f"Cookie: {cookie}\r\n\r\n".encode())
    newest = {"told": asyncio.Event()}
    begin = f'data: {{"camera":"{CAMERA}","frame":'.encode()
    pictures = asyncio.create_task(fetch_pictures(port, cookie, newest, shown))
    try:
        while True:
            line = await reader.readuntil(b"\n")
            if line.startswith(begin):
                newest["frame"] = int(line[len(begin):].split(b",", 1)[0])
                newest["told"].set()
    finally:
        pictures.cancel()
        writer.close()


async def watch(port, cookie, service, camera, pages, seconds):
    shown = [0]
    tasks = [asyncio.create_task(page(port, cookie, shown)) for _ in range(pages)]
    await asyncio.sleep(2)
    shown[0] = 0
    before = (time.monotonic(), processor_s(service), processor_s(camera),
              metric(port, "vca_frames_total"), metric(port, "vca_frames_missing_total"))
    await asyncio.sleep(seconds)
    pictures = shown[0]
    after = (time.monotonic(), processor_s(service), processor_s(camera),
             metric(port, "vca_frames_total"), metric(port, "vca_frames_missing_total"))
    for task in tasks:
        task.cancel()
    await asyncio.gather(*tasks, return_exceptions=True)
    took = after[0] - before[0]
    # Figures come each second, so the rate of frames is right to about one second's.
    return [(after[1] - before[1]) / took, (after[2] - before[2]) / took,
            (after[3] - before[3]) / took, after[4] - before[4],
            pictures / took / max(pages, 1)]


def main():
    program = pathlib.Path(sys.argv[1]).resolve()
    seconds = float(sys.argv[2]) if len(sys.argv) > 2 else 20.0
    with tempfile.TemporaryDirectory() as folder:
        port = free_port()
        (pathlib.Path(folder) / "vca.toml").write_text(PLACE.format(camera=CAMERA, port=port))
        said = pathlib.Path(folder) / "said.txt"
        service = subprocess.Popen([program, "serve", "--config", "vca.toml"], cwd=folder,
                                   stdout=said.open("w"), stderr=subprocess.DEVNULL)
        try:
            limit = time.monotonic() + 120
            while True:
                try:
                    if metric(port, "vca_frames_total"):
                        break
                except OSError:
                    pass
                if time.monotonic() > limit:
                    sys.exit("no frames come")
                time.sleep(0.5)
            camera = camera_process(service.pid)
            cookie = log_in(port, said.read_text())
            print("| pages | service, processor | camera, processor | camera, against none | "
                  "frames/s of the camera | frames missing | pictures/s of a page |")
            print("|---|---|---|---|---|---|---|")
            alone = None
            for pages in PAGES:
                s, c, frames, missing, pictures = asyncio.run(
                    watch(port, cookie, service.pid, camera, pages, seconds))
                alone = alone or c
                print(f"| {pages} | {100 * s:.1f} % | {100 * c:.1f} % | {c / alone:.2f} | "
                      f"{frames:.1f} | {missing:.0f} | {pictures if pages else 0:.1f} |",
                      flush=True)
        finally:
            service.terminate()
            service.wait(60)


if __name__ == "__main__":
    main()
