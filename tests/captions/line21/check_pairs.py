#!/usr/bin/python3
"""Checks that a reader finds the expected pairs in raw frames with our line-21 geometry.

    check_pairs.py FRAMES.raw --format 2vuy --width 1920 --height 1080 --pairs 9420,942c \
        --reader ffmpeg|gstreamer|ours [--read-tool read_line21_frames]

Frame n must read back pair n in row 1 and the null pair 0x80 0x80 in row 2. "ours" is premoov's
own extraction (the read_line21_frames program), whose sample holds the second byte ORed with
the null row's first: b0, b1 | 0x80, 0x80, 0x00. Exits 0 only if at least one assertion was made
and none failed.
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


def read(reader, path, fmt, width, height, last_row=3, read_tool=None, whole_row=False):
    """Per-frame results: {"frame": n, "pairs": [{"row", "pair"}]} or {"frame", "unreadable"};
    for "ours", {"frame": n, "sample": "94ac8000"}."""
    if reader == "ours":
        command = [str(read_tool), str(path)]
    else:
        command = [PYTHON[reader], "-B", str(HERE / READERS[reader]), str(path)]
    command += ["--format", fmt, "--width", str(width), "--height", str(height)]
    if reader == "ffmpeg":
        command += ["--last-row", str(last_row)] + (["--whole-row"] if whole_row else [])
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)} exited with {done.returncode}: "
                           f"{done.stderr.decode(errors='replace')}")
    return [json.loads(line) for line in done.stdout.decode().splitlines() if line.strip()]


def check(checker, reader, path, fmt, width, height, pairs, first_row=1, read_tool=None):
    """Asserts frame n reads pair n in first_row and 8080 in the row after it."""
    label = f"{reader} {fmt} {width}x{height}"
    results = read(reader, path, fmt, width, height, last_row=max(3, first_row + 1),
                   read_tool=read_tool)
    checker.equal(f"{label}: frames read", len(results), len(pairs))
    for n, (result, pair) in enumerate(zip(results, pairs)):
        if reader == "ours":
            expected = bytes([pair[0], pair[1] | 0x80, 0x80, 0x00]).hex()
            checker.equal(f"{label} frame {n} sample", result.get("sample"), expected)
            continue
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
    parser.add_argument("--read-tool", help="the read_line21_frames program, for --reader ours")
    args = parser.parse_args(argv)
    if args.reader == "ours" and not args.read_tool:
        parser.error("--reader ours needs --read-tool")
    checker = Checker(f"line21 {args.reader}")
    check(checker, args.reader, args.frames, args.format, args.width, args.height,
          lf.parse_pairs(args.pairs), read_tool=args.read_tool)
    return checker.finish()


if __name__ == "__main__":
    sys.exit(main())
