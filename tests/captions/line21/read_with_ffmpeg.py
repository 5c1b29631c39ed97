#!/usr/bin/env python3
"""Reads line-21 pairs from raw frames with FFmpeg's readeia608 filter; one JSON line per frame.

    read_with_ffmpeg.py FRAMES.raw --format 2vuy|v210|yuvs|BGRA --width W --height H

Each line is {"frame": N, "pairs": [{"row": R, "pair": "9420"}, ...]} with the rows readeia608
found a line in (rows 0 to 3, or to --last-row), or {"frame": N, "unreadable": "..."}.

readeia608 derives its bit width from the width of the row, so it only reads our 706-pixel line in
rows 708 to 732 pixels wide. Our line always starts at pixel 0, whatever the frame width, so wider
frames are cropped to their first 720 columns before the filter: the same pixels, nothing redrawn.
"""

import argparse
import json
import os
import re
import subprocess
import sys
import tempfile

import line21_frames as lf

INPUT_OPTIONS = {
    "2vuy": ["-f", "rawvideo", "-pix_fmt", "uyvy422"],
    "yuvs": ["-f", "rawvideo", "-pix_fmt", "yuyv422"],
    "BGRA": ["-f", "rawvideo", "-pix_fmt", "bgra"],
    "v210": ["-f", "v210"],
}
READ_WIDTH = 720
LAST_ROW = 3


def ffmpeg_filter(width, last_row, whole_row=False):
    crop = f"crop={READ_WIDTH}:ih:0:0," if width > READ_WIDTH and not whole_row else ""
    return f"{crop}readeia608=scan_min=0:scan_max={last_row}"


def parse_metadata(text):
    """{frame: [(row, pair)]} from the metadata filter's print output."""
    found = {}
    frame = None
    pending = {}
    for line in text.splitlines():
        match = re.match(r"frame:(\d+)", line)
        if match:
            frame = int(match.group(1))
            found.setdefault(frame, [])
            pending = {}
            continue
        match = re.match(r"lavfi\.readeia608\.(\d+)\.(cc|line)=(\S+)", line)
        if match and frame is not None:
            entry = pending.setdefault(int(match.group(1)), {})
            entry[match.group(2)] = match.group(3)
            if "cc" in entry and "line" in entry:
                found[frame].append((int(entry["line"]), entry["cc"][2:].lower()))
    return found


def read_frames(path, fmt, width, height, last_row=LAST_ROW, whole_row=False):
    size = lf.frame_size(fmt, width, height)
    total = os.path.getsize(path)
    count = total // size
    results = []
    if count:
        with tempfile.TemporaryDirectory(prefix="line21-ffmpeg-") as folder:
            printed = os.path.join(folder, "metadata.txt")
            command = ["ffmpeg", "-nostdin", "-hide_banner", "-loglevel", "error"]
            command += INPUT_OPTIONS[fmt] + ["-video_size", f"{width}x{height}", "-i", path]
            command += ["-frames:v", str(count), "-vf",
                        f"{ffmpeg_filter(width, last_row, whole_row)},metadata=mode=print:file={printed}",
                        "-f", "null", "-"]
            done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                  check=False)
            if done.returncode != 0:
                reason = done.stderr.decode(errors="replace").strip().splitlines()
                reason = reason[-1] if reason else f"ffmpeg exited with {done.returncode}"
                return [{"frame": n, "unreadable": f"ffmpeg failed: {reason}"}
                        for n in range(count)]
            found = parse_metadata(open(printed).read()) if os.path.exists(printed) else {}
        for n in range(count):
            pairs = found.get(n, [])
            if pairs:
                results.append({"frame": n,
                                "pairs": [{"row": row, "pair": pair} for row, pair in pairs]})
            else:
                results.append({"frame": n,
                                "unreadable": f"no line-21 waveform in rows 0..{last_row}"})
    if total % size:
        results.append({"frame": count,
                        "unreadable": f"truncated frame: {total % size} of {size} bytes"})
    return results


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("frames")
    parser.add_argument("--format", required=True, choices=lf.FORMATS)
    parser.add_argument("--width", type=int, required=True)
    parser.add_argument("--height", type=int, required=True)
    parser.add_argument("--last-row", type=int, default=LAST_ROW, help="last row scanned")
    parser.add_argument("--whole-row", action="store_true",
                        help="scan whole rows, without cropping wider frames to 720 columns")
    args = parser.parse_args(argv)
    if not 0 <= args.last_row < args.height:
        parser.error("--last-row must be a row of the frame")
    if not (2 <= args.width <= lf.MAX_WIDTH and 3 <= args.height <= lf.MAX_HEIGHT):
        parser.error("frame size out of range")
    if args.format != "BGRA" and args.width % 2:
        parser.error("4:2:2 frames need an even width")
    for result in read_frames(args.frames, args.format, args.width, args.height, args.last_row,
                              args.whole_row):
        print(json.dumps(result))
    return 0


if __name__ == "__main__":
    sys.exit(main())
