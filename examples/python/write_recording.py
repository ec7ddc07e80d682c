#!/usr/bin/env python3
"""Writes depth pictures as a recording that "vca run --recording" takes with "--camera".

    write_recording.py FILE CAMERA   writes 3 s of a floor with a walker, and the camera's file

In place of walker() comes what your camera gives. Needs PyAV and NumPy:
apt install python3-av python3-numpy
"""
import fractions
import sys

import av
import numpy

WIDTH, HEIGHT, RATE, FLOOR_MM = 320, 288, 15, 3000
CAMERA = f"""width = {WIDTH}
height = {HEIGHT}
fx = 252.0
fy = 252.0
cx = {WIDTH / 2 - 0.5}
cy = {HEIGHT / 2 - 0.5}
frames_per_second = {RATE}
height_mm = {FLOOR_MM}
"""


def walker():
    """Yields (microseconds since the first picture, uint16 millimetres)."""
    rows, columns = numpy.mgrid[0:HEIGHT, 0:WIDTH]
    for frame in range(3 * RATE):
        depth = numpy.full((HEIGHT, WIDTH), FLOOR_MM, numpy.uint16)
        y = HEIGHT * frame / (3 * RATE)
        away = numpy.hypot(columns - WIDTH / 2, rows - y)
        depth[away < 40] = FLOOR_MM - 1400  # shoulders
        depth[away < 18] = FLOOR_MM - 1700  # head
        yield round(frame * 1e6 / RATE), depth


def write(path, pictures, width, height, rate):
    with av.open(path, "w", format="matroska", options={"cluster_time_limit": "1000"}) as container:
        track = container.add_stream("ffv1", rate=rate)
        track.width, track.height, track.pix_fmt = width, height, "gray16le"
        track.codec_context.time_base = fractions.Fraction(1, 1000)
        track.options = {"level": "3", "slices": "4", "slicecrc": "1", "g": "1"}
        for time_us, depth in pictures:
            picture = av.VideoFrame.from_ndarray(depth, format="gray16le")
            picture.pts, picture.time_base = round(time_us / 1000), fractions.Fraction(1, 1000)
            container.mux(track.encode(picture))
        container.mux(track.encode())


def main():
    write(sys.argv[1], walker(), WIDTH, HEIGHT, RATE)
    with open(sys.argv[2], "w", encoding="utf-8") as camera:
        camera.write(CAMERA)


if __name__ == "__main__":
    main()
