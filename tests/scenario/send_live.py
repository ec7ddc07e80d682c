#!/usr/bin/env python3
"""Live cameras through programs of others: what vca counts of what they send.

    send_live.py adapter VCA   examples/python/live_adapter.py: PyAV and NumPy
    send_live.py ffmpeg VCA    the line of ffmpeg in the user guide
    send_live.py gstreamer VCA the line of GStreamer in the user guide
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

ADAPTER = pathlib.Path(__file__).resolve().parents[2] / "examples/python/live_adapter.py"


def expect(holds, what):
    if not holds:
        sys.exit(f"wrong: {what}")


def count(vca, work, sender, arguments):
    """Counts in both directions of what a sender gives to a pipe."""
    os.mkfifo(work / "depth")
    sending = subprocess.Popen([str(s) for s in sender], stdin=subprocess.DEVNULL)
    try:
        subprocess.run([str(a) for a in (vca, "run", "--depth", work / "depth", "--no-live", "--quiet", "--output",
                                         work / "live", *arguments)], check=False, capture_output=True, timeout=300)
    finally:
        sending.kill()
        sending.wait()
    summary = json.loads((work / "live/summary.json").read_text())
    line = summary["lines"][0]
    return line["direction_1"]["counted"], line["direction_2"]["counted"], summary["input"]


def adapter(vca, work):
    camera = subprocess.run([sys.executable, ADAPTER, "--camera"], check=True, capture_output=True).stdout
    (work / "camera.toml").write_bytes(camera)
    # Somebody every 4 s, to and fro.
    one, two, figures = count(vca, work, [sys.executable, ADAPTER, work / "depth"],
                              ["--camera", work / "camera.toml", "--seconds", "15"])
    expect(one + two in (3, 4) and abs(one - two) <= 1, f"three or four walks in 15 s, counted {one} and {two}")
    expect(figures["opened"] == 1 and figures["gaps"] == 0, f"one stream without a gap: {figures}")


def from_recording(vca, work, sender, arguments):
    """The counts of a recording and of the same one through a sender, which is a function of its path."""
    subprocess.run([vca, "record", "--scene", "doorway", "--seconds", "8", "--quiet", "--output", work / "rec"],
                   check=True)
    recording = next((work / "rec").iterdir())
    subprocess.run([vca, "run", "--recording", recording, "--no-live", "--quiet", "--output", work / "direct"],
                   check=True, capture_output=True)
    line = json.loads((work / "direct/summary.json").read_text())["lines"][0]
    subprocess.run(["ffmpeg", "-v", "error", "-dump_attachment:t:0", work / "camera.toml", "-i", recording],
                   check=False, capture_output=True)
    one, two, figures = count(
        vca, work, sender(recording),
        ["--camera", work / "camera.toml", "--line", "100,272 860,272", "--seconds", "7.5", *arguments])
    direct = line["direction_1"]["counted"], line["direction_2"]["counted"]
    expect(sum(direct) > 0 and (one, two) == direct, f"counted {direct} from the file and {one, two} from the stream")
    expect(figures["opened"] == 1 and figures["damaged"] == 0, f"one whole stream: {figures}")


def ffmpeg(vca, work):
    from_recording(vca, work, lambda recording: ["ffmpeg", "-v", "quiet", "-y", "-re", "-i", recording, "-map",
                                                 "0:v:0", "-c", "copy", "-f", "nut", work / "depth"], [])


def gstreamer(vca, work):
    from_recording(vca, work, lambda recording: [
        "gst-launch-1.0", "-q", "filesrc", f"location={recording}", "!", "matroskademux", "!", "avdec_ffv1", "!",
        "video/x-raw,format=GRAY16_LE", "!", "filesink", f"location={work / 'depth'}", "sync=true"],
                   ["--depth-format", "raw:480x256@15"])


def main():
    with tempfile.TemporaryDirectory() as folder:
        {"adapter": adapter, "ffmpeg": ffmpeg, "gstreamer": gstreamer}[sys.argv[1]](sys.argv[2], pathlib.Path(folder))


if __name__ == "__main__":
    main()
