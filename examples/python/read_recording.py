#!/usr/bin/env python3
"""Reads a recording into NumPy.

    read_recording.py FILE   prints number, time and nearest distance of each frame, and who was counted

Needs PyAV and NumPy: apt install python3-av python3-numpy
"""
import json
import sys

import av


def frames(path):
    """Yields (number, time in microseconds, depth, events) for each frame.

    depth is an array of uint16 millimetres, row by row, 0 where nothing was measured. events are the
    lines of text since the frame before, as dictionaries.
    """
    with av.open(path) as container:
        # Our recordings name their tracks; others have the depth first.
        videos = container.streams.video
        depth = next((s for s in videos if s.metadata.get("title") == "DEPTH"), videos[0])
        texts = [s for s in container.streams if s.type == "subtitle"]
        announced = None
        events = []
        count = 0
        for packet in container.demux(depth, *texts):
            if packet.stream is not depth:
                line = json.loads(bytes(packet)) if packet.size else {}
                if "frame" in line and "time_us" in line:
                    announced = line
                elif line:
                    events.append(line)
                continue
            for picture in packet.decode():
                number, time_us = count, round(float(picture.pts * picture.time_base) * 1e6)
                if announced:
                    number, time_us = announced["frame"], announced["time_us"]
                yield number, time_us, picture.to_ndarray(), events
                announced, events = None, []
                count += 1


def main():
    for number, time_us, depth, events in frames(sys.argv[1]):
        measured = depth[depth > 0]
        nearest = int(measured.min()) if measured.size else 0
        print(f"frame {number} at {time_us / 1e6:.6f} s: nearest {nearest} mm")
        for event in events:
            if event.get("message") == "person_counted":
                print(f"  line {event['line']}, direction {event['direction']}")


if __name__ == "__main__":
    main()
