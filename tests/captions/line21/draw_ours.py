#!/usr/bin/env python3
"""Writes raw frames with our line-21 geometry (one frame per pair), for checking the readers.

    draw_ours.py --pairs 9420,942c --format 2vuy --width 720 --height 486 --out FRAMES.raw
"""

import argparse
import sys

import line21_frames as lf


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--pairs", required=True, help="comma-separated pairs of 4 hex digits")
    parser.add_argument("--format", required=True, choices=lf.FORMATS)
    parser.add_argument("--width", type=int, required=True)
    parser.add_argument("--height", type=int, required=True)
    parser.add_argument("--picture", type=int, default=0, help="grey level below row 2")
    parser.add_argument("--out", required=True)
    args = parser.parse_args(argv)
    if not (2 <= args.width <= lf.MAX_WIDTH and 3 <= args.height <= lf.MAX_HEIGHT):
        parser.error("frame size out of range")
    if args.format != "BGRA" and args.width % 2:
        parser.error("4:2:2 frames need an even width")
    pairs = lf.parse_pairs(args.pairs)
    with open(args.out, "wb") as out:
        for pair in pairs:
            out.write(lf.pack_frame(args.format, lf.frame_levels(pair, args.width, args.height,
                                                                 args.picture)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
