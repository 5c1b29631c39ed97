#!/usr/bin/python3
"""Measures where GStreamer's ancillary encoder puts a packet and what else it writes, and how
much of a row its parser reads, at several widths, in v210 and UYVY.

    measure_gstreamer_layout.py [--widths 720,1280,1920,3840]

Prints one JSON line a format and width: the stream and position of the packet, the bytes the
encoder wrote over a row filled with a marker byte, the values it wrote around the packet, and
the last luma sample at which the parser still finds a packet (as a fraction of the row).
"""

import argparse
import json
import sys

import gstreamer_vbi as gv
import vanc_rows as vr

MARKER = 0xAA
PAYLOAD = bytes(range(0x40, 0x50))


def written_bytes(fmt, width):
    """How many bytes of the row the encoder changed, first and last, and the values left in
    the streams past the packet."""
    size = vr.bytes_per_row(fmt, width)
    with gv.Encoder(fmt, width) as encoder:
        encoder.add(0x61, 0x01, PAYLOAD)
        row = encoder.write_row(bytes([MARKER]) * size)
    changed = [i for i in range(size) if row[i] != MARKER]
    where = None
    words = vr.packet_words(fmt, 0x61, 0x01, PAYLOAD)
    for name in vr.STREAMS:
        values = vr.stream(fmt, row, name)
        hits = [p for p in vr.adf_positions(values, fmt) if values[p:p + len(words)] == words]
        if hits:
            where = (name, hits[0])
            break
    after = None
    if where:
        values = vr.stream(fmt, row, where[0])
        after = sorted(set(values[where[1] + len(words):where[1] + len(words) + 64]))
    chroma = sorted(set(vr.stream(fmt, row, "chroma")[:32])) if where and where[0] == "luma" \
        else None
    return {"stream": where[0] if where else None, "position": where[1] if where else None,
            "bytesPerRow": size, "firstWritten": changed[0] if changed else None,
            "lastWritten": changed[-1] if changed else None,
            "streamAfterPacket": after, "chromaNearStart": chroma}


def parser_reach(fmt, width):
    """The largest luma position (HD) or sample position (SD) at which a packet we lay out in a
    blank row is still found by GStreamer's parser."""
    name = "luma" if width >= 1280 else "interleaved"
    blank = vr.blank_row(fmt, width)
    words = vr.packet_words(fmt, 0x61, 0x01, PAYLOAD)
    count = len(vr.stream(fmt, blank, name))
    reach = None
    with gv.Parser(fmt, width) as parser:
        for position in range(0, count - len(words) + 1, 4):
            found, _ = parser.packets(vr.place(fmt, blank, name, position, words))
            if found == [(0x61, 0x01, PAYLOAD)]:
                reach = position
    return {"parserStream": name, "samplesInStream": count, "lastFoundAt": reach,
            "packetWords": len(words)}


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--widths", default="720,1280,1920,3840")
    args = parser.parse_args(argv)
    for fmt in vr.FORMATS:
        for width in (int(w) for w in args.widths.split(",")):
            print(json.dumps({"format": fmt, "width": width, **written_bytes(fmt, width),
                              **parser_reach(fmt, width)}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
