#!/usr/bin/python3
"""Measures where line21encoder puts its line in a 720x486 UYVY frame and whether our sampling
(pixel 288 + 27k, above 0x30 in BGRA grey) reads it; prints one JSON object.

Edges are where the luma crosses halfway between the black and high levels, interpolated between
pixels. The shift window is every whole-pixel shift of our sample points for which all the drawn
pairs, in both rows, read back exactly.
"""

import json
import sys

import draw_with_gstreamer as gd
import line21_frames as lf

PAIRS = [(0x55, 0x55), (0xAA, 0xAA), (0x00, 0x00), (0xFF, 0xFF), (0x94, 0x20), (0x80, 0x80)]


def crossings(levels, middle):
    edges = []
    for i in range(len(levels) - 1):
        a, b = levels[i], levels[i + 1]
        if (a - middle) * (b - middle) < 0:
            edges.append(round(i + (middle - a) / (b - a), 2))
    return edges


def main():
    height = 486
    frames = gd.draw(PAIRS, height)
    if len(frames) != len(PAIRS):
        print(json.dumps({"error": "line21encoder gave too few frames"}))
        return 1
    row_bytes = lf.frame_size("2vuy", gd.WIDTH, 1)
    rows = {r: [f[r * row_bytes:(r + 1) * row_bytes] for f in frames] for r in range(height)}
    drawn_rows = [r for r in range(height)
                  if any(lf.unpack_luma_row("2vuy", row) != lf.unpack_luma_row(
                      "2vuy", lf.pack_row("2vuy", [0] * gd.WIDTH)) for row in rows[r])]
    # 0xAA 0xAA after the start bit: 0,1,0,1,... so every bit boundary is an edge.
    alternating = lf.unpack_luma_row("2vuy", rows[1][1])
    black, high = min(alternating), max(alternating[230:])
    edges = crossings(alternating[230:], (black + high) / 2)
    edges = [round(e + 230, 2) for e in edges]
    start_bit = edges[:2]
    bit_edges = edges[1:]
    bit_width = round((bit_edges[-1] - bit_edges[0]) / 16, 3)
    window = []
    for shift in range(-40, 41):
        good = all(
            lf.sample_row(lf.grey_levels("2vuy", rows[1][n]), shift) == PAIRS[n] and
            lf.sample_row(lf.grey_levels("2vuy", rows[2][n]), shift) == (0x80, 0x80)
            for n in range(len(PAIRS)))
        if good:
            window.append(shift)
    margins = [(round(288 + 27 * k - bit_edges[k], 2), round(bit_edges[k + 1] - 288 - 27 * k, 2))
               for k in range(16)]
    print(json.dumps({
        "rows_drawn": drawn_rows,
        "black_luma": black, "high_luma": high,
        "chroma": sorted(set(rows[1][1][0::2])),
        "run_in_first_non_black_pixel": next(i for i, y in enumerate(alternating) if y != black),
        "start_bit_edges": start_bit,
        "data_bit_edges": bit_edges,
        "bit_width": bit_width,
        "our_sample_margins": margins,
        "shifts_reading_all_pairs": [window[0], window[-1]] if window else None,
        "reads_with_no_shift": 0 in window,
    }))
    return 0


if __name__ == "__main__":
    sys.exit(main())
