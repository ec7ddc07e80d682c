#!/usr/bin/env python3
"""Sends the depth of a camera with an SDK of its own to "vca run --depth".

    live_adapter.py --camera > camera.toml
    mkfifo depth
    live_adapter.py depth &          or - for standard output
    vca run --depth depth --camera camera.toml

In place of Camera comes what your SDK has. Needs PyAV and NumPy: apt install python3-av python3-numpy
"""
import fractions
import os
import signal
import sys
import time

import av
import numpy

MILLISECOND = fractions.Fraction(1, 1000)


class Camera:
    """As SDKs have it: frames that one waits for. This one shows somebody who walks to and fro."""

    width, height, rate, floor_mm = 320, 288, 15, 3000
    fx = fy = 252.0

    def __init__(self):
        self.started = time.monotonic()
        self.frames = 0
        self.rows, self.columns = numpy.mgrid[0:self.height, 0:self.width]
        self.noise = numpy.random.default_rng(1)

    def wait_for_frame(self):
        """Returns (seconds by the camera's own clock, uint16 millimetres; 0 where nothing was measured)."""
        self.frames += 1
        due = self.started + self.frames / self.rate
        time.sleep(max(due - time.monotonic(), 0))
        depth = self.noise.normal(self.floor_mm, 4, (self.height, self.width)).astype(numpy.uint16)
        # 3 s from one edge to the other, and 1 s outside.
        way, step = divmod(self.frames, 4 * self.rate)
        y = (self.height + 80) * step / (3 * self.rate) - 40
        y = self.height - y if way % 2 else y
        away = numpy.hypot(self.columns - self.width / 2, self.rows - y)
        depth[away < 40] -= 1400  # shoulders
        depth[away < 18] -= 300  # head
        return self.frames / self.rate, depth


def camera_file(camera):
    return f"""width = {camera.width}
height = {camera.height}
fx = {camera.fx}
fy = {camera.fy}
cx = {camera.width / 2 - 0.5}
cy = {camera.height / 2 - 0.5}
frames_per_second = {camera.rate}
height_mm = {camera.floor_mm}
"""


def send(camera, path):
    # Clusters that end at once, and no buffer that waits to be full: a frame is out 20 ms later.
    options = {"cluster_time_limit": "60", "flush_packets": "1"}
    with av.open(path, "w", format="matroska", options=options) as container:
        track = container.add_stream("ffv1", rate=camera.rate)
        track.width, track.height, track.pix_fmt = camera.width, camera.height, "gray16le"
        track.codec_context.time_base = MILLISECOND
        track.options = {"level": "3", "slices": "4", "slicecrc": "1", "g": "1"}
        while True:
            seconds, depth = camera.wait_for_frame()
            picture = av.VideoFrame.from_ndarray(depth, format="gray16le")
            picture.pts, picture.time_base = round(seconds * 1000), MILLISECOND
            container.mux(track.encode(picture))


def main():
    if sys.argv[1] == "--camera":
        print(camera_file(Camera()), end="")
        return
    signal.signal(signal.SIGPIPE, signal.SIG_IGN)
    path = "pipe:1" if sys.argv[1] == "-" else sys.argv[1]
    while True:
        try:
            send(Camera(), path)
        except (BrokenPipeError, av.error.BrokenPipeError, ConnectionError):
            # vca went away. A pipe waits for it to come back; standard output cannot.
            if path == "pipe:1":
                os._exit(0)
            time.sleep(1)


if __name__ == "__main__":
    main()
