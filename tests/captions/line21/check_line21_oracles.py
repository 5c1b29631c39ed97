#!/usr/bin/python3
"""Independent readers and a writer of line 21 against premoov's own line-21 drawing and reading:

- frames drawn by premoov's overlay (draw_line21_frames), in every frame format at 720x486 and in
  wider frames, read by FFmpeg (readeia608) and GStreamer (line21decoder): both must report each
  drawn pair in row 1 and the null pair in row 2, parity bits as drawn, a wrong one included;
- FFmpeg derives the bit width from the whole row, so it reads our 706-pixel line only in rows
  about 720 wide: in a 1920-wide frame it must miss the pairs when given whole rows, and read
  them all from the frame's first 720 columns (the same pixels, nothing redrawn). line21decoder
  takes only 720-wide frames: wider frames are presented as their first 720 columns;
- frames drawn by GStreamer's line21encoder (720x486 UYVY, line 21 in row 1, line 284 in row 2)
  read by premoov's extraction (read_line21_frames), and by FFmpeg and line21decoder too;
- an all-black frame is unreadable for both readers.

    check_line21_oracles.py --draw-tool draw_line21_frames --read-tool read_line21_frames
                            [--work-dir DIR] [--quick]
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
SIZES = [(720, 486), (1280, 720), (1920, 1080), (3840, 2160)]
QUICK_SIZES = [(720, 486), (1920, 1080)]
# Control codes and characters with odd parity, a pair whose second byte has a wrong (even)
# parity bit (0x21), and the null pair.
PAIRS = [(0x94, 0x20), (0x94, 0x2C), (0xC1, 0xC2), (0x94, 0x70), (0x94, 0x21), (0x80, 0x80),
         (0x13, 0x26), (0xFE, 0x7F)]


def words(pairs):
    return ",".join(bytes(pair).hex() for pair in pairs)


def draw_ours(draw_tool, path, fmt, width, height, pairs):
    subprocess.run([str(draw_tool), "--format", fmt, "--width", str(width), "--height",
                    str(height), "--pairs", words(pairs), "--out", str(path)], check=True)


def draw_with_gstreamer(path, pairs, height):
    subprocess.run(["/usr/bin/python3", "-B", str(HERE / "draw_with_gstreamer.py"), "--pairs",
                    words(pairs), "--out", str(path), "--height", str(height)],
                   stdout=subprocess.DEVNULL, check=True)


def check_whole_rows_defeat_ffmpeg(checker, path, fmt, width, height):
    """FFmpeg scanning whole 1920-pixel rows does not find our pairs (a reader's limit)."""
    results = cp.read("ffmpeg", path, fmt, width, height, whole_row=True)
    found = [entry["pair"] for r in results for entry in r.get("pairs", []) if entry["row"] == 1]
    drawn = [bytes(pair).hex() for pair in PAIRS]
    checker.equal(f"ffmpeg {fmt} {width}x{height} whole rows: pairs read as drawn",
                  sum(1 for pair in found if pair in drawn) < len(drawn), True)


def check_black(checker, folder):
    path = folder / "black.raw"
    with open(path, "wb") as out:
        out.write(lf.pack_row("2vuy", [0] * 720) * 486)
    for reader in ("ffmpeg", "gstreamer"):
        results = cp.read(reader, path, "2vuy", 720, 486)
        checker.equal(f"{reader} black frame", [("unreadable" in r) for r in results], [True])


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--draw-tool", required=True, type=Path)
    parser.add_argument("--read-tool", required=True, type=Path)
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
                draw_ours(args.draw_tool, path, fmt, width, height, PAIRS)
                for reader in ("ffmpeg", "gstreamer", "ours"):
                    cp.check(checker, reader, path, fmt, width, height, PAIRS,
                             read_tool=args.read_tool)
                if width == 1920 and fmt in ("2vuy", "v210"):
                    check_whole_rows_defeat_ffmpeg(checker, path, fmt, width, height)
                path.unlink()
        path = folder / "gstreamer-486.raw"
        draw_with_gstreamer(path, PAIRS, 486)
        for reader in ("ours", "ffmpeg", "gstreamer"):
            cp.check(checker, reader, path, "2vuy", 720, 486, PAIRS, read_tool=args.read_tool)
        check_black(checker, folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return checker.finish()


if __name__ == "__main__":
    sys.exit(main())
