#!/usr/bin/python3
"""Checks that a reader finds the expected pairs in raw frames with our line-21 geometry.

    check_pairs.py FRAMES.raw --format 2vuy --width 1920 --height 1080 --pairs 9420,942c \
        --reader ffmpeg|gstreamer|ours

Frame n must read back pair n in row 1 and the null pair 0x80 0x80 in row 2. Exits 0 only if at
least one assertion was made and none failed.
"""

import argparse
import json
import subprocess
import sys
from pathlib import Path

import line21_frames as lf

HERE = Path(__file__).resolve().parent
READERS = {"ffmpeg": "read_with_ffmpeg.py", "gstreamer": "read_with_gstreamer.py"}
# read_with_gstreamer.py needs Debian's python with gi, whichever python runs this.
PYTHON = {"ffmpeg": sys.executable, "gstreamer": "/usr/bin/python3"}


class Checker:
    """Collects failed expectations; passes only if it made assertions and none failed."""

    def __init__(self, name):
        self.name = name
        self.passed = 0
        self.failures = []

    def equal(self, what, actual, expected):
        if actual == expected:
            self.passed += 1
            return True
        self.failures.append(f"{what}: reader says {actual!r}, expected {expected!r}")
        return False

    def finish(self):
        for failure in self.failures[:40]:
            print(f"FAIL {self.name}: {failure}")
        if len(self.failures) > 40:
            print(f"FAIL {self.name}: ... and {len(self.failures) - 40} more")
        if self.passed == 0 and not self.failures:
            print(f"FAIL {self.name}: no assertion was made")
            return 1
        print(f"{self.name}: {self.passed} passed, {len(self.failures)} failed")
        return 1 if self.failures else 0


def read(reader, path, fmt, width, height, last_row=3):
    """Per-frame results: {"frame": n, "pairs": [{"row", "pair"}]} or {"frame", "unreadable"}."""
    if reader == "ours":
        return read_ours(path, fmt, width, height)
    command = [PYTHON[reader], "-B", str(HERE / READERS[reader]), str(path), "--format", fmt,
               "--width", str(width), "--height", str(height)]
    if reader == "ffmpeg":
        command += ["--last-row", str(last_row)]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)} exited with {done.returncode}: "
                           f"{done.stderr.decode(errors='replace')}")
    return [json.loads(line) for line in done.stdout.decode().splitlines() if line.strip()]


def read_ours(path, fmt, width, height):
    """Our sampling of rows 1 and 2 (pixel 288 + 27k, above 0x30 in BGRA grey), in Python."""
    size = lf.frame_size(fmt, width, height)
    row_bytes = lf.frame_size(fmt, width, 1)
    results = []
    with open(path, "rb") as frames:
        n = 0
        while True:
            frame = frames.read(size)
            if len(frame) < size:
                if frame:
                    results.append({"frame": n, "unreadable": "truncated frame"})
                break
            pairs = []
            for row in (1, 2):
                levels = lf.grey_levels(fmt, frame[row * row_bytes:(row + 1) * row_bytes])
                pairs.append({"row": row, "pair": bytes(lf.sample_row(levels)).hex()})
            results.append({"frame": n, "pairs": pairs})
            n += 1
    return results


def check(checker, reader, path, fmt, width, height, pairs, first_row=1):
    """Asserts frame n reads pair n in first_row and 8080 in the row after it."""
    label = f"{reader} {fmt} {width}x{height}"
    results = read(reader, path, fmt, width, height, last_row=max(3, first_row + 1))
    checker.equal(f"{label}: frames read", len(results), len(pairs))
    for n, (result, pair) in enumerate(zip(results, pairs)):
        rows = {entry["row"]: entry["pair"] for entry in result.get("pairs", [])}
        if "unreadable" in result:
            checker.equal(f"{label} frame {n}", result["unreadable"], "a pair")
            continue
        checker.equal(f"{label} frame {n} row {first_row}", rows.get(first_row),
                      bytes(pair).hex())
        checker.equal(f"{label} frame {n} row {first_row + 1}", rows.get(first_row + 1), "8080")


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("frames")
    parser.add_argument("--format", required=True, choices=lf.FORMATS)
    parser.add_argument("--width", type=int, required=True)
    parser.add_argument("--height", type=int, required=True)
    parser.add_argument("--pairs", required=True)
    parser.add_argument("--reader", required=True, choices=sorted(READERS) + ["ours"])
    args = parser.parse_args(argv)
    checker = Checker(f"line21 {args.reader}")
    check(checker, args.reader, args.frames, args.format, args.width, args.height,
          lf.parse_pairs(args.pairs))
    return checker.finish()


if __name__ == "__main__":
    sys.exit(main())
