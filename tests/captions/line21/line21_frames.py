"""Raw frames with our line-21 geometry, in the four frame formats, drawn in plain Python.

Every pixel is grey. Levels are 8-bit grey levels L (black 0, bit high 0x7F), converted to video
range for the YCbCr formats: Y = 16 + L*219/255 rounded (10-bit: 64 + L*876/255 rounded), chroma
at its midpoint. Row 0 is black, row 1 carries the run-in and the pair, row 2 the run-in and the
null pair 0x80 0x80; the rest of the frame is black unless a picture level is asked for.
"""

import math

FORMATS = ("2vuy", "yuvs", "v210", "BGRA")
BIT_WIDTH = 27
RUN_IN_WIDTH = 274
LINE_WIDTH = RUN_IN_WIDTH + 16 * BIT_WIDTH  # 706
HIGH = 0x7F
# The frame sizes a caller may ask for; bounds the work a hostile command line can cause.
MAX_WIDTH = 8192
MAX_HEIGHT = 4320


def run_in():
    """The 274 levels before bit 0: 13 black, 7 clock cycles, 46 black, 26 high."""
    cycle = [int((math.sin(i * 2 * math.pi / 27) + 1) * 0.5 * 127.0) for i in range(27)]
    return [0] * 13 + cycle * 7 + [0] * 46 + [HIGH] * 26


def line_levels(first, second, width):
    """Grey levels of one caption row of the given width: run-in, two bytes bit 0 first, black."""
    levels = run_in()
    for byte in (first, second):
        for bit in range(8):
            levels += [HIGH if (byte >> bit) & 1 else 0] * BIT_WIDTH
    levels += [0] * max(0, width - len(levels))
    return levels[:width]


def frame_levels(pair, width, height, picture=0):
    """Rows of grey levels for one frame carrying the pair (two byte values)."""
    rows = [[0] * width, line_levels(pair[0], pair[1], width), line_levels(0x80, 0x80, width)]
    rows += [[picture] * width for _ in range(height - 3)]
    return rows[:height]


def luma8(level):
    return 16 + int(math.floor(level * 219 / 255 + 0.5))


def luma10(level):
    return 64 + int(math.floor(level * 876 / 255 + 0.5))


def v210_row_bytes(width):
    """Bytes of one v210 row: 48-pixel groups of 128 bytes."""
    return (width + 47) // 48 * 128


def frame_size(fmt, width, height):
    if fmt in ("2vuy", "yuvs"):
        return width * 2 * height
    if fmt == "BGRA":
        return width * 4 * height
    if fmt == "v210":
        return v210_row_bytes(width) * height
    raise ValueError(f"unknown format {fmt!r}")


def pack_row(fmt, levels):
    """One row of grey levels in the frame format."""
    if fmt == "BGRA":
        out = bytearray()
        for level in levels:
            out += bytes((level, level, level, 0xFF))
        return bytes(out)
    if fmt in ("2vuy", "yuvs"):
        if len(levels) % 2:
            raise ValueError("4:2:2 rows need an even width")
        out = bytearray()
        for i in range(0, len(levels), 2):
            y0, y1 = luma8(levels[i]), luma8(levels[i + 1])
            out += bytes((128, y0, 128, y1)) if fmt == "2vuy" else bytes((y0, 128, y1, 128))
        return bytes(out)
    if fmt == "v210":
        return pack_v210_row(levels)
    raise ValueError(f"unknown format {fmt!r}")


def pack_v210_row(levels):
    """v210: six pixels in four little-endian words of three 10-bit samples, Cb Y Cr Y Cb Y ..."""
    width = len(levels)
    padded = levels + [0] * ((-width) % 6)
    out = bytearray()
    for group in range(0, len(padded), 6):
        ys = [luma10(level) for level in padded[group:group + 6]]
        c = 512
        samples = [c, ys[0], c, ys[1], c, ys[2], c, ys[3], c, ys[4], c, ys[5]]
        for w in range(4):
            a, b, d = samples[3 * w:3 * w + 3]
            out += (a | (b << 10) | (d << 20)).to_bytes(4, "little")
    out += bytes(v210_row_bytes(width) - len(out))
    return bytes(out)


def pack_frame(fmt, rows):
    # The picture rows repeat; pack each distinct row once.
    packed = {}
    out = []
    for row in rows:
        key = tuple(row)
        if key not in packed:
            packed[key] = pack_row(fmt, row)
        out.append(packed[key])
    return b"".join(out)


def unpack_luma_row(fmt, data):
    """The luma (or BGRA blue) samples of one packed row, as 8-bit values."""
    if fmt == "BGRA":
        return list(data[0::4])
    if fmt == "2vuy":
        return list(data[1::2])
    if fmt == "yuvs":
        return list(data[0::2])
    if fmt == "v210":
        ys = []
        for w in range(0, len(data) - 3, 16):
            words = [int.from_bytes(data[w + 4 * i:w + 4 * i + 4], "little") for i in range(4)]
            samples = [(word >> shift) & 0x3FF for word in words for shift in (0, 10, 20)]
            ys += [samples[i] >> 2 for i in (1, 3, 5, 7, 9, 11)]
        return ys
    raise ValueError(f"unknown format {fmt!r}")


def parse_pairs(text):
    """'9420,942c' -> [(0x94, 0x20), (0x94, 0x2C)]; each pair exactly four hex digits."""
    pairs = []
    for word in text.split(","):
        word = word.strip()
        if len(word) != 4:
            raise ValueError(f"pair {word!r} is not four hex digits")
        value = int(word, 16)
        pairs.append((value >> 8, value & 0xFF))
    return pairs


def with_odd_parity(byte):
    """The 7-bit character with bit 7 set so that the byte has an odd number of ones."""
    byte &= 0x7F
    return byte | (0x80 if bin(byte).count("1") % 2 == 0 else 0)


SAMPLE_FIRST = 288  # the middle of bit 0 after the 274-pixel run-in
SAMPLE_THRESHOLD = 0x30


def grey_levels(fmt, data):
    """8-bit BGRA grey levels of one packed row, as our reader sees them after conversion."""
    if fmt == "BGRA":
        return list(data[0::4])
    if fmt == "v210":
        # Full 10-bit luma, not the 8-bit shortcut of unpack_luma_row.
        ys = []
        for w in range(0, len(data) - 15, 16):
            words = [int.from_bytes(data[w + 4 * i:w + 4 * i + 4], "little") for i in range(4)]
            samples = [(word >> shift) & 0x3FF for word in words for shift in (0, 10, 20)]
            ys += [samples[i] for i in (1, 3, 5, 7, 9, 11)]
        return [min(255, max(0, int(math.floor((y - 64) * 255 / 876 + 0.5)))) for y in ys]
    return [min(255, max(0, int(math.floor((y - 16) * 255 / 219 + 0.5))))
            for y in unpack_luma_row(fmt, data)]


def sample_row(levels, shift=0):
    """The two bytes our reader samples from one row: pixel 288 + 27k (+ shift), above 0x30."""
    out = [0, 0]
    for k in range(16):
        x = SAMPLE_FIRST + BIT_WIDTH * k + shift
        if 0 <= x < len(levels) and levels[x] > SAMPLE_THRESHOLD:
            out[k // 8] |= 1 << (k % 8)
    return out[0], out[1]
