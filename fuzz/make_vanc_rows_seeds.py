#!/usr/bin/env python3
"""Writes the seed corpus of the vanc_rows fuzz target.

Usage: fuzz/make_vanc_rows_seeds.py [DIR]   (DIR: fuzz/corpus/vanc_rows)

Each seed is the target's four-byte header (format, bytes per row, bytes cut from the end) and
rows of blank samples holding SMPTE 291 packets, written here from the packet layout: a caption
packet starting the first row ('2vuy' and 'v210', HD widths), one behind another packet, one in
the samples of an SD row in order, and rows the readers must give up: a packet running past the
buffer, a zero data count, rows wider than the buffer.
"""
import os
import struct
import sys

FORMATS = {"2vuy": 0, "v210": 1, "yuvs": 2, "BGRA": 3}


def word(byte):
    """A 10-bit ancillary word: bit 8 makes bits 0-8 even, bit 9 is its inverse."""
    parity = bin(byte).count("1") % 2
    return byte | (0x100 if parity else 0x200)


def packet(did, sdid, data):
    words = [word(did), word(sdid), word(len(data))] + [word(b) for b in data]
    checksum = sum(w & 0x1FF for w in words) & 0x1FF
    checksum |= 0 if checksum & 0x100 else 0x200
    return [0x000, 0x3FF, 0x3FF] + words + [checksum]


def cdp(length, sequence=0):
    body = [0x96, 0x69, length, 0x4F, 0x43, sequence >> 8, sequence & 0xFF, 0x72, 0xF4]
    body += [0xFC, 0x94, 0x2C, 0xFD, 0x80, 0x80] + [0xFA, 0x00, 0x00] * 80
    body = body[:length - 4] + [0x74, sequence >> 8, sequence & 0xFF]
    body.append((-sum(body)) & 0xFF)
    return bytes(body)


class Rows:
    def __init__(self, fmt, bytes_per_row, rows):
        self.fmt, self.bpr = fmt, bytes_per_row
        samples = bytes_per_row // 4 * 3 if fmt == "v210" else bytes_per_row
        blank = (0x200, 0x040) if fmt == "v210" else (0x80, 0x10)
        self.samples = [[blank[j % 2] for j in range(samples)] for _ in range(rows)]

    def put(self, row, stream, position, words):
        for k, w in enumerate(words):
            j = {"luma": 2 * (position + k) + 1, "chroma": 2 * (position + k),
                 "interleaved": position + k}[stream]
            self.samples[row][j] = w if self.fmt == "v210" else w & 0xFF
        return position + len(words)

    def bytes(self):
        out = bytearray()
        for samples in self.samples:
            if self.fmt == "v210":
                for i in range(0, len(samples), 3):
                    value = samples[i] | samples[i + 1] << 10 | samples[i + 2] << 20
                    out += struct.pack("<I", value)
                out += bytes(self.bpr - len(samples) // 3 * 4)
            else:
                out += bytes(samples)
        return bytes(out)


def seed(fmt, rows, cut=0, bytes_per_row=None):
    bpr = rows.bpr if bytes_per_row is None else bytes_per_row
    return struct.pack(">BHB", FORMATS[fmt], bpr, cut) + rows.bytes()


def seeds():
    for fmt, bpr in (("2vuy", 3840), ("v210", 5120)):
        rows = Rows(fmt, bpr, 2)
        rows.put(0, "luma", 0, packet(0x61, 0x01, cdp(73)))
        yield "%s_caption_at_row_start" % fmt, seed(fmt, rows)
        rows = Rows(fmt, bpr, 2)
        at = rows.put(0, "luma", 0, packet(0x60, 0x60, bytes(range(16))))
        rows.put(0, "luma", at, packet(0x61, 0x01, cdp(89)))
        yield "%s_caption_behind_timecode" % fmt, seed(fmt, rows)
        rows = Rows(fmt, bpr, 3)
        rows.put(2, "luma", 0, packet(0x61, 0x01, cdp(73)))
        yield "%s_caption_in_third_row" % fmt, seed(fmt, rows)
        rows = Rows(fmt, 1440 if fmt == "2vuy" else 1920, 1)
        rows.put(0, "interleaved", 0, packet(0x61, 0x01, cdp(73)))
        yield "%s_720_interleaved" % fmt, seed(fmt, rows)
        rows = Rows(fmt, 256, 1)
        rows.put(0, "luma", 0, packet(0x61, 0x01, cdp(73)))
        yield "%s_caption_past_the_buffer" % fmt, seed(fmt, rows, cut=60)
        rows = Rows(fmt, 512, 2)
        rows.put(0, "luma", 0, packet(0x41, 0x05, b""))
        rows.put(1, "luma", 0, packet(0x61, 0x01, cdp(20)))
        yield "%s_zero_data_count" % fmt, seed(fmt, rows)
    rows = Rows("2vuy", 64, 1)
    yield "2vuy_rows_wider_than_buffer", seed("2vuy", rows, bytes_per_row=65535)
    rows = Rows("v210", 5120, 1)
    rows.put(0, "luma", 0, packet(0x61, 0x01, cdp(73)))
    yield "yuvs_not_handled", seed("yuvs", rows)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "corpus", "vanc_rows")
    os.makedirs(out_dir, exist_ok=True)
    for name, data in seeds():
        with open(os.path.join(out_dir, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
