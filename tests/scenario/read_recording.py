#!/usr/bin/env python3
"""Reads recordings with nothing but what docs/formats.md says, and runs the examples in Python.

    read_recording.py page VCA       the page: Python's own library, ffprobe and ffmpeg
    read_recording.py examples VCA   examples/python: PyAV and NumPy
"""
import datetime
import json
import pathlib
import subprocess
import sys
import tempfile
import tomllib

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples/python"


def run(*command, **options):
    return subprocess.run([str(c) for c in command], check=True, capture_output=True, **options).stdout


def expect(holds, what):
    if not holds:
        sys.exit(f"wrong: {what}")


def objects(text):
    """JSON objects that stand one after the other."""
    decoder, at = json.JSONDecoder(), 0
    while at < len(text):
        value, at = decoder.raw_decode(text, at)
        yield value


def slices_are_whole(packet):
    """Checksums of an FFV1 picture, from its last slice to its first."""
    table = []
    for byte in range(256):
        value = byte << 24
        for _ in range(8):
            value = (value << 1 ^ (0x04C11DB7 if value & 0x80000000 else 0)) & 0xFFFFFFFF
        table.append(value)
    count = 0
    while packet:
        length = int.from_bytes(packet[-8:-5], "big") + 8
        crc = 0
        for byte in packet[-length:]:
            crc = (crc << 8 & 0xFFFFFFFF) ^ table[crc >> 24 ^ byte]
        if crc != 0:
            return 0
        packet = packet[:-length]
        count += 1
    return count


def page(vca, work):
    scene = ["--scene", "doorway", "--seconds", "6", "--quiet"]
    run(vca, "record", *scene, "--place", "Hall", "--colour", "lossless", "--output", work / "rec")
    run(vca, "run", *scene, "--no-live", "--output", work / "direct")
    file = next((work / "rec").iterdir())
    probe = json.loads(run("ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format", file))
    titles = {s["tags"].get("title"): s for s in probe["streams"]}
    expect(set(titles) >= {"DEPTH", "COLOR", "EVENTS"}, "names of the tracks")
    depth, colour = titles["DEPTH"], titles["COLOR"]
    expect((depth["codec_name"], depth["pix_fmt"]) == ("ffv1", "gray16le"), "coding of the depth")
    expect((colour["width"], colour["height"], colour["pix_fmt"]) == (960, 544, "yuv420p"), "colour")
    tags = probe["format"]["tags"]
    expect(tags["VCA_FORMAT"] == "1" and tags["VCA_UNIT"] == "mm" and tags["VCA_PLACE"] == "Hall", "tags")

    for number, name in enumerate(["camera.toml", "settings.toml"]):
        # ffmpeg ends with status 1, because it has no output.
        subprocess.run(["ffmpeg", "-v", "error", f"-dump_attachment:t:{number}", work / name, "-i", file],
                       check=False, capture_output=True)
    camera = tomllib.loads((work / "camera.toml").read_text())
    settings = tomllib.loads((work / "settings.toml").read_text())
    width, height = camera["width"], camera["height"]
    expect((width, height) == (depth["width"], depth["height"]), "size of the camera")
    expect(camera["height_mm"] == 3000 and camera["points_in"] == [960, 544], "camera.toml")
    expect(settings["line"][0]["name"] == "door", "settings.toml")

    lines = list(objects(run("ffmpeg", "-v", "error", "-i", file, "-map", "0:s:0", "-c", "copy", "-f", "data",
                             "-").decode()))
    frames = [line for line in lines if "time_us" in line]
    expect([f["frame"] for f in frames] == list(range(90)), "numbers of the frames")
    expect(all(f["time_us"] == round(f["frame"] * 1e6 / 15) for f in frames), "times of the frames")
    expect(all((f["width"], f["height"]) == (width, height) for f in frames), "sizes of the frames")
    expect(lines[-1] == {"end": "stopped"}, "the last line")
    events = [line for line in lines if "message" in line]
    direct = [json.loads(line) for line in (work / "direct/events.jsonl").read_text().splitlines()]
    expect(events == direct and len(events) > 10, "messages")

    packets = json.loads(run("ffprobe", "-v", "error", "-of", "json", "-show_packets", file))["packets"]
    kinds = [p["stream_index"] for p in packets]
    for at, kind in enumerate(kinds):
        if kind == depth["index"]:
            expect(kinds[at - 1] == colour["index"], "colour before depth")
            expect(kinds[at - 2] == titles["EVENTS"]["index"], "the line before the pictures")
    of_depth = [p for p in packets if p["stream_index"] == depth["index"]]
    first_us = int(tags["VCA_TIME_US"])
    for packet, frame in zip(of_depth, frames, strict=True):
        expect(abs(packet["pts"] * 1000 + first_us - frame["time_us"]) <= 1000, "timestamps")
        expect("K" in packet["flags"], "key frames")
    name = datetime.datetime.fromtimestamp((int(tags["VCA_START_US"]) + frames[0]["time_us"]) / 1e6, datetime.UTC)
    expect(file.stem == name.strftime("%Y-%m-%dT%H-%M-%S.") + f"{name.microsecond // 1000:03d}Z", "the name")

    bytes_of_file = file.read_bytes()
    for packet in of_depth[:3]:
        # A simple block begins with 4 bytes of its own: track, time, flags.
        around = bytes_of_file[int(packet["pos"]):int(packet["pos"]) + int(packet["size"]) + 16]
        found = [around[i:i + int(packet["size"])] for i in range(17)]
        expect(any(slices_are_whole(p) == 4 for p in found if len(p) == int(packet["size"])), "checksums")

    raw = run("ffmpeg", "-v", "error", "-i", file, "-map", "0:v:0", "-fps_mode", "passthrough", "-f", "rawvideo",
              "-pix_fmt", "gray16le", "-")
    expect(len(raw) == 90 * width * height * 2, "bytes of the depth")
    run(vca, "record", "--recording", file, "--to-folder", "--quiet", "--output", work / "png")
    for number in (0, 45, 89):
        png = run("ffmpeg", "-v", "error", "-i", work / f"png/image{number:06d}.png", "-f", "rawvideo", "-pix_fmt",
                  "gray16le", "-")
        expect(png == raw[number * len(png):(number + 1) * len(png)], f"depth of frame {number}")


def examples(vca, work):
    run(sys.executable, EXAMPLES / "write_recording.py", work / "walk.mkv", work / "walk.toml")
    run(vca, "run", "--recording", work / "walk.mkv", "--camera", work / "walk.toml", "--no-live", "--quiet",
        "--output", work / "walk")
    line = json.loads((work / "walk/summary.json").read_text())["lines"][0]
    counted = [line["direction_1"]["counted"], line["direction_2"]["counted"]]
    expect(sum(counted) == 1, f"somebody walks over the line once, counted {counted}")
    run(vca, "record", "--recording", work / "walk.mkv", "--camera", work / "walk.toml", "--quiet", "--output",
        work / "rec")
    told = run(sys.executable, EXAMPLES / "read_recording.py", next((work / "rec").iterdir())).decode()
    expect(told.count("frame ") == 45, "frames that the example reads")
    expect(told.count("  line 0, direction ") == 1, "counts that the example reads")
    expect("frame 44 at 2.933000 s: nearest 1300 mm" in told, "times and depth that the example reads")


def main():
    with tempfile.TemporaryDirectory() as folder:
        {"page": page, "examples": examples}[sys.argv[1]](sys.argv[2], pathlib.Path(folder))


if __name__ == "__main__":
    main()
