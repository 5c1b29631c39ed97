#!/usr/bin/python3
"""The line-21 oracles checked against each other, before our own overlay takes part:

- frames drawn in Python with our geometry, in every frame format and width, read by FFmpeg
  (readeia608) and GStreamer (line21decoder): both must report the drawn pair in row 1 and the
  null pair in row 2, parity bits as drawn, a wrong parity bit included;
- frames drawn by GStreamer's line21encoder (720x486 and 720x525 UYVY) read by FFmpeg,
  line21decoder and our sampling at pixel 288 + 27k: all three must find the pairs;
- an all-black frame must be unreadable for both readers.

    check_line21_oracles.py [--work-dir DIR] [--quick]
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import check_pairs as cp
import line21_frames as lf

HERE = Path(__file__).resolve().parent
SIZES = [(720, 486), (1280, 720), (1440, 1080), (1920, 1080), (2048, 1080), (3840, 2160)]
QUICK_SIZES = [(720, 486), (1920, 1080)]
# Control codes and characters with odd parity, a pair whose second byte has a wrong (even)
# parity bit (0x21), and the null pair.
PAIRS = [(0x94, 0x20), (0x94, 0x2C), (0xC1, 0xC2), (0x94, 0x70), (0x94, 0x21), (0x80, 0x80),
         (0x13, 0x26), (0xFE, 0x7F)]


def write_ours(path, fmt, width, height, pairs):
    with open(path, "wb") as out:
        for pair in pairs:
            out.write(lf.pack_frame(fmt, lf.frame_levels(pair, width, height)))


def draw_with_gstreamer(path, pairs, height):
    words = ",".join(bytes(pair).hex() for pair in pairs)
    subprocess.run(["/usr/bin/python3", "-B", str(HERE / "draw_with_gstreamer.py"), "--pairs",
                    words, "--out", str(path), "--height", str(height)],
                   stdout=subprocess.DEVNULL, check=True)


def check_black(checker, folder):
    path = folder / "black.raw"
    with open(path, "wb") as out:
        out.write(lf.pack_row("2vuy", [0] * 720) * 486)
    for reader in ("ffmpeg", "gstreamer"):
        results = cp.read(reader, path, "2vuy", 720, 486)
        checker.equal(f"{reader} black frame", [("unreadable" in r) for r in results], [True])


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--work-dir", default=None)
    parser.add_argument("--quick", action="store_true", help="720 and 1920 wide only")
    args = parser.parse_args(argv)
    checker = cp.Checker("line21 oracles")
    if args.work_dir:
        os.makedirs(args.work_dir, exist_ok=True)
    folder = Path(tempfile.mkdtemp(prefix="line21-", dir=args.work_dir))
    try:
        for fmt in lf.FORMATS:
            for width, height in (QUICK_SIZES if args.quick else SIZES):
                path = folder / f"ours-{fmt}-{width}.raw"
                write_ours(path, fmt, width, height, PAIRS)
                for reader in ("ffmpeg", "gstreamer", "ours"):
                    cp.check(checker, reader, path, fmt, width, height, PAIRS)
                path.unlink()
        for height, row in ((486, 1), (525, 21)):
            path = folder / f"gstreamer-{height}.raw"
            draw_with_gstreamer(path, PAIRS, height)
            for reader in ("ffmpeg", "gstreamer"):
                cp.check(checker, reader, path, "2vuy", 720, height, PAIRS, first_row=row)
            if row == 1:
                # Our sampling, on line21encoder's rows exactly where it drew them.
                cp.check(checker, "ours", path, "2vuy", 720, height, PAIRS)
        check_black(checker, folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return checker.finish()


if __name__ == "__main__":
    sys.exit(main())
