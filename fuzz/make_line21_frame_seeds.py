#!/usr/bin/env python3
"""Writes the seed corpus of the line21_frame fuzz target.

Usage: fuzz/make_line21_frame_seeds.py DRAW_LINE21_FRAMES [DIR]   (DIR: fuzz/corpus/line21_frame)

DRAW_LINE21_FRAMES is the test tool that draws pairs into raw frames (target draw_line21_frames).
Each seed is the target's seven-byte header (format, width, height, row padding, the pair to
draw) and pixel bytes: three rows with a pair already drawn in the frame's format, so that the
first reading finds a whole line; and the frames the operations must refuse or clip: too narrow
for a line, too few rows, rows shorter than their pixels, a format they do not handle.
"""
import os
import struct
import subprocess
import sys
import tempfile

FORMATS = {"2vuy": 0, "yuvs": 1, "v210": 2, "BGRA": 3, "RGBA": 4}


def header(fmt, width, height, padding, pair):
    return struct.pack(">BHBbBB", FORMATS[fmt], width, height, padding, pair[0], pair[1])


def drawn_rows(tool, fmt, width, pair):
    with tempfile.TemporaryDirectory() as scratch:
        out = os.path.join(scratch, "frame.raw")
        subprocess.run([tool, "--format", fmt, "--width", str(width), "--height", "3",
                        "--pairs", "%02x%02x" % pair, "--out", out], check=True)
        with open(out, "rb") as f:
            return f.read()


def seeds(tool):
    for fmt in ("2vuy", "yuvs", "v210", "BGRA"):
        for width in (720, 1920):
            yield ("%s_%d_drawn" % (fmt, width),
                   header(fmt, width, 3, 0, (0x94, 0x2C)) + drawn_rows(tool, fmt, width, (0x14, 0x20)))
    # A padded row: the drawn rows repeat out of step with the rows of the frame.
    yield "2vuy_720_padded", header("2vuy", 720, 6, 64, (0x80, 0x01)) + drawn_rows(
        tool, "2vuy", 720, (0x55, 0xAA))
    # A line that does not fit: clipped at the row end.
    yield "v210_705_short_line", header("v210", 705, 4, 0, (0xFF, 0xFF)) + bytes(range(256))
    yield "BGRA_275_run_in_only", header("BGRA", 275, 3, 0, (0xFF, 0xFF)) + b"\x7f"
    yield "BGRA_274_no_room", header("BGRA", 274, 3, 0, (0x94, 0x2C)) + b"\x7f"
    # Frames the operations must leave alone.
    yield "2vuy_720_two_rows", header("2vuy", 720, 2, 0, (0x94, 0x2C)) + b"\x10\x80"
    yield "yuvs_721_short_rows", header("yuvs", 721, 4, -2, (0x94, 0x2C)) + b"\x80\x10"
    yield "v210_3840_short_rows", header("v210", 3840, 3, -128, (0x94, 0x2C)) + b"\x00"
    yield "RGBA_720", header("RGBA", 720, 3, 0, (0x94, 0x2C)) + b"\x7f"
    yield "2vuy_0_wide", header("2vuy", 0, 3, 0, (0x94, 0x2C))
    yield "BGRA_4096_7_rows", header("BGRA", 4096, 7, 127, (0x01, 0x80)) + b"\x00\x7f"


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    tool = sys.argv[1]
    out = sys.argv[2] if len(sys.argv) > 2 else os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "corpus", "line21_frame")
    os.makedirs(out, exist_ok=True)
    for name, data in seeds(tool):
        with open(os.path.join(out, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
