"""Rows of vertical ancillary space in plain Python: blank rows, the sample streams of a row, and
where the component ancillary packets (SMPTE 291) lie in them.

Formats are 'v210' (10-bit 4:2:2: little-endian 32-bit words of three samples in bits 0-9, 10-19,
20-29, in the order Cb Y Cr Y ..., 128 bytes a 48-pixel group) and 'UYVY' (8-bit, Cb Y Cr Y, which
QuickTime calls '2vuy').
"""

import struct

FORMATS = ("v210", "UYVY")
# What a capture device gives for an empty row: black luma and neutral chroma.
BLANK = {"v210": (0x040, 0x200), "UYVY": (0x10, 0x80)}
ADF = {"v210": (0x000, 0x3FF, 0x3FF), "UYVY": (0x00, 0xFF, 0xFF)}
STREAMS = ("luma", "chroma", "interleaved")


def bytes_per_row(fmt, width):
    return (width + 47) // 48 * 128 if fmt == "v210" else 2 * width


def samples(fmt, row):
    """All samples of a row in order (Cb Y Cr Y ...); v210 padding samples included."""
    if fmt == "UYVY":
        return list(row)
    out = []
    for (word,) in struct.iter_unpack("<I", bytes(row[:len(row) // 4 * 4])):
        out += [word & 0x3FF, (word >> 10) & 0x3FF, (word >> 20) & 0x3FF]
    return out


def stream(fmt, row, name):
    """One sample stream of a row: "luma" (the Y samples), "chroma" (Cb and Cr) or
    "interleaved" (all of them)."""
    every = samples(fmt, row)
    if name == "luma":
        return every[1::2]
    if name == "chroma":
        return every[0::2]
    return every


def blank_row(fmt, width):
    luma, chroma = BLANK[fmt]
    size = bytes_per_row(fmt, width)
    if fmt == "UYVY":
        return bytes((chroma, luma)) * (size // 2)
    # Word pairs alternate chroma-luma-chroma and luma-chroma-luma.
    first = chroma | luma << 10 | chroma << 20
    second = luma | chroma << 10 | luma << 20
    return struct.pack("<II", first, second) * (size // 8)


def with_parity(value):
    """A byte as a 10-bit ancillary word: bit 8 even parity of bits 0-7, bit 9 its inverse."""
    odd = bin(value & 0xFF).count("1") & 1
    return (value & 0xFF) | (0x100 if odd else 0x200)


def packet_words(fmt, did, sdid, data):
    """The words of a component packet from the ADF to the checksum."""
    data = bytes(data)
    if fmt == "UYVY":
        body = [did, sdid, len(data), *data]
        return [*ADF[fmt], *body, sum(body) & 0xFF]
    body = [with_parity(v) for v in (did, sdid, len(data), *data)]
    total = sum(body) & 0x1FF
    return [*ADF[fmt], *body, total | (0 if total & 0x100 else 0x200)]


def adf_positions(values, fmt):
    """Indexes where the ancillary data flag starts in a sample stream."""
    adf = list(ADF[fmt])
    return [i for i in range(len(values) - 2) if values[i:i + 3] == adf]


def row_from_samples(fmt, values):
    """Packs samples (Cb Y Cr Y ...) into a row; a v210 row takes three samples a word."""
    if fmt == "UYVY":
        return bytes(values)
    if len(values) % 3:
        raise ValueError("a v210 row holds whole words of three samples")
    return b"".join(struct.pack("<I", values[i] | values[i + 1] << 10 | values[i + 2] << 20)
                    for i in range(0, len(values), 3))


def place(fmt, row, name, position, words):
    """The row with `words` written into sample stream `name` from index `position` on, as far
    as the stream reaches (a packet may be cut short by the row's end)."""
    every = samples(fmt, row)
    if name == "luma":
        indexes = range(1, len(every), 2)
    elif name == "chroma":
        indexes = range(0, len(every), 2)
    else:
        indexes = range(len(every))
    for index, word in zip(indexes[position:], words):
        every[index] = word
    return row_from_samples(fmt, every)
