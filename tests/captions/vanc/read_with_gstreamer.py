#!/usr/bin/python3
"""Reads the ancillary packets in rows of vertical ancillary space with GStreamer's parser.

    read_with_gstreamer.py ROWS.raw --format v210|UYVY --width W [--rows-per-frame K]

Prints one JSON line a frame: {"frame": n, "packets": [{"row", "did", "sdid", "dataCount",
"userData"}], "cutShort": [rows where a packet ran past the row's end]}; userData is upper-case
hex. The parser returns only packets whose checksum is right, and reads no position.
"""

import argparse
import json
import os
import sys

import gstreamer_vbi as gv
import vanc_rows as vr

MAX_ROWS_PER_FRAME = 64
MAX_WIDTH = 8192


def read(path, fmt, width, rows_per_frame):
    """Yields one result a frame; a trailing partial frame is read as far as it has whole rows."""
    size = vr.bytes_per_row(fmt, width)
    with open(path, "rb") as rows, gv.Parser(fmt, width) as parser:
        frame = 0
        while True:
            packets = []
            cut_short = []
            whole_rows = 0
            for index in range(rows_per_frame):
                row = rows.read(size)
                if len(row) < size:
                    break
                whole_rows += 1
                found, error = parser.packets(row)
                packets += [{"row": index, "did": did, "sdid": sdid, "dataCount": len(data),
                             "userData": data.hex().upper()} for did, sdid, data in found]
                if error:
                    cut_short.append(index)
            if whole_rows == 0:
                return
            yield {"frame": frame, "packets": packets, "cutShort": cut_short}
            frame += 1


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("rows")
    parser.add_argument("--format", required=True, choices=vr.FORMATS)
    parser.add_argument("--width", required=True, type=int)
    parser.add_argument("--rows-per-frame", type=int, default=1)
    args = parser.parse_args(argv)
    if not 12 <= args.width <= MAX_WIDTH:
        parser.error(f"--width must be 12 to {MAX_WIDTH}")
    if not 1 <= args.rows_per_frame <= MAX_ROWS_PER_FRAME:
        parser.error(f"--rows-per-frame must be 1 to {MAX_ROWS_PER_FRAME}")
    if not os.path.isfile(args.rows):
        parser.error(f"{args.rows} is not a file")
    for result in read(args.rows, args.format, args.width, args.rows_per_frame):
        print(json.dumps(result))
    return 0


if __name__ == "__main__":
    sys.exit(main())
