#!/usr/bin/python3
"""Writes rows of vertical ancillary space with GStreamer's ancillary encoder: one caption
distribution packet a frame, as SMPTE 334 (DID 0x61, SDID 0x01).

    write_with_gstreamer.py --format v210|UYVY --width W --rows-per-frame K --caption-row R
                            [--before DID:SDID:HEX ...] --cdps FILE --out ROWS.raw

FILE holds one caption distribution packet a frame as a line of hex; an empty line gives a frame
without one. Each --before packet is written in front of the caption packet in the same row, in
the order given. Every other row is blank (luma 0x040 and chroma 0x200 in v210, 0x10 and 0x80 in
UYVY). The caption row starts blank too, then GStreamer writes over it; what it writes beyond the
packets is zero.

Prints a JSON note: bytes per row, frames, and where each packet went, found in the written row
itself: the sample stream ("luma", "chroma", "interleaved") and the index of its first ADF sample
there, matched word for word (parity bits and checksum included) against the packet as SMPTE 291
lays it out.
"""

import argparse
import json
import sys

import gstreamer_vbi as gv
import vanc_rows as vr

CAPTION_DID, CAPTION_SDID = 0x61, 0x01
MAX_FRAMES = 100000
MAX_ROWS_PER_FRAME = 64
MAX_WIDTH = 8192


def parse_packet(text):
    """DID:SDID:HEX, the first two in hex."""
    try:
        did, sdid, data = text.split(":")
        packet = (int(did, 16), int(sdid, 16), bytes.fromhex(data))
    except ValueError as error:
        raise argparse.ArgumentTypeError(f"{text!r} is not DID:SDID:HEX ({error})")
    if not (0 <= packet[0] <= 0xFF and 0 <= packet[1] <= 0xFF) or len(packet[2]) > 255:
        raise argparse.ArgumentTypeError(f"{text!r}: DID and SDID are bytes, data at most 255")
    return packet


def read_cdps(path):
    cdps = []
    with open(path) as lines:
        for number, line in enumerate(lines, 1):
            if len(cdps) == MAX_FRAMES:
                raise ValueError(f"{path}: more than {MAX_FRAMES} frames")
            try:
                cdp = bytes.fromhex(line.strip())
            except ValueError as error:
                raise ValueError(f"{path}:{number}: {error}")
            if len(cdp) > 255:
                raise ValueError(f"{path}:{number}: {len(cdp)} bytes do not fit in one packet")
            cdps.append(cdp)
    return cdps


def locate(fmt, row, packet):
    """(stream, position) of the first stream that holds the packet's words, or None."""
    words = vr.packet_words(fmt, *packet)
    for name in vr.STREAMS:
        values = vr.stream(fmt, row, name)
        for position in vr.adf_positions(values, fmt):
            if values[position:position + len(words)] == words:
                return name, position
    return None


def write(args, cdps):
    blank = vr.blank_row(args.format, args.width)
    rows = []
    notes = []
    with gv.Encoder(args.format, args.width) as encoder:
        for frame, cdp in enumerate(cdps):
            packets = list(args.before)
            if cdp:
                packets.append((CAPTION_DID, CAPTION_SDID, cdp))
            for did, sdid, data in packets:
                if not encoder.add(did, sdid, data):
                    raise ValueError(f"frame {frame}: packet {did:02X}:{sdid:02X} of "
                                     f"{len(data)} words does not fit in the row")
            # GStreamer leaves a row alone when nothing was queued.
            caption_row = encoder.write_row(blank)
            for did, sdid, data in packets:
                where = locate(args.format, caption_row, (did, sdid, data))
                if where is None:
                    raise ValueError(f"frame {frame}: packet {did:02X}:{sdid:02X} is not in the "
                                     "row GStreamer wrote")
                notes.append({"frame": frame, "row": args.caption_row, "stream": where[0],
                              "position": where[1], "did": did, "sdid": sdid,
                              "dataCount": len(data)})
            for index in range(args.rows_per_frame):
                rows.append(caption_row if index == args.caption_row else blank)
    return rows, notes


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--format", required=True, choices=vr.FORMATS)
    parser.add_argument("--width", required=True, type=int)
    parser.add_argument("--rows-per-frame", type=int, default=1)
    parser.add_argument("--caption-row", type=int, default=0)
    parser.add_argument("--before", type=parse_packet, action="append", default=[])
    parser.add_argument("--cdps", required=True)
    parser.add_argument("--out", required=True)
    args = parser.parse_args(argv)
    if not 12 <= args.width <= MAX_WIDTH:
        parser.error(f"--width must be 12 to {MAX_WIDTH}")
    if not 1 <= args.rows_per_frame <= MAX_ROWS_PER_FRAME:
        parser.error(f"--rows-per-frame must be 1 to {MAX_ROWS_PER_FRAME}")
    if not 0 <= args.caption_row < args.rows_per_frame:
        parser.error("--caption-row must be a row of the frame")
    try:
        cdps = read_cdps(args.cdps)
        rows, notes = write(args, cdps)
    except (OSError, ValueError, RuntimeError) as error:
        print(json.dumps({"error": str(error)}))
        return 1
    with open(args.out, "wb") as out:
        for row in rows:
            out.write(row)
    luma, chroma = vr.BLANK[args.format]
    print(json.dumps({"format": args.format, "width": args.width,
                      "bytesPerRow": vr.bytes_per_row(args.format, args.width),
                      "rowsPerFrame": args.rows_per_frame, "frames": len(cdps),
                      "blank": {"luma": luma, "chroma": chroma}, "packets": notes}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
