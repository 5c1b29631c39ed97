#!/usr/bin/python3
"""Draws line-21 pairs into black 720-wide UYVY frames with GStreamer's line21encoder.

    draw_with_gstreamer.py --pairs 9420,942c,... --out FRAMES.raw [--height 486|525]

One frame per pair. Prints a JSON note: the frame size and format, and the rows carrying field 1
(our pair) and field 2 (the null pair 0x80 0x80 that line21encoder draws when given nothing).

line21encoder draws only pairs it receives as an S334-1A or CDP caption meta; a CEA-608 raw meta
is ignored and the null pair is drawn instead. So each pair goes in as one S334-1A triplet
(0x80 = field 1, then the two bytes as given, parity bits included).
"""

import argparse
import json
import sys

import gi

gi.require_version("Gst", "1.0")
gi.require_version("GstVideo", "1.0")
from gi.repository import Gst, GstVideo  # noqa: E402

import line21_frames as lf  # noqa: E402

WIDTH = 720
# line21encoder writes field 1 into row 21 of a 525-row frame and into row 1 of a 486-row frame;
# field 2 follows in the next row.
FIELD_ONE_ROW = {486: 1, 525: 21}
FRAME_NS = 1e9 * 1001 / 30000
MAX_PAIRS = 100000


def draw(pairs, height):
    Gst.init(None)
    caps = (f"video/x-raw,format=UYVY,width={WIDTH},height={height},"
            "interlace-mode=interleaved,framerate=30000/1001")
    pipeline = Gst.parse_launch(f"appsrc name=frames format=time caps={caps} ! line21encoder ! "
                                "appsink name=drawn sync=false")
    source = pipeline.get_by_name("frames")
    sink = pipeline.get_by_name("drawn")
    pipeline.set_state(Gst.State.PLAYING)
    black = lf.pack_row("2vuy", [0] * WIDTH) * height
    frames = []
    for n, (first, second) in enumerate(pairs):
        buffer = Gst.Buffer.new_wrapped(black)
        buffer.pts = int(n * FRAME_NS)
        buffer.duration = int(FRAME_NS)
        GstVideo.buffer_add_video_caption_meta(buffer, GstVideo.VideoCaptionType.CEA608_S334_1A,
                                               bytes((0x80, first, second)))
        if source.emit("push-buffer", buffer) != Gst.FlowReturn.OK:
            break
        # Pull as we go so that no more than a frame or two are held at once.
        sample = sink.emit("try-pull-sample", 10 * Gst.SECOND)
        if sample is None:
            break
        drawn = sample.get_buffer()
        frames.append(drawn.extract_dup(0, drawn.get_size()))
    source.emit("end-of-stream")
    pipeline.set_state(Gst.State.NULL)
    return frames


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--pairs", required=True, help="comma-separated pairs of 4 hex digits")
    parser.add_argument("--out", required=True)
    parser.add_argument("--height", type=int, default=486, choices=sorted(FIELD_ONE_ROW))
    args = parser.parse_args(argv)
    pairs = lf.parse_pairs(args.pairs)
    if len(pairs) > MAX_PAIRS:
        parser.error(f"at most {MAX_PAIRS} pairs")
    frames = draw(pairs, args.height)
    if len(frames) != len(pairs):
        print(json.dumps({"error": f"line21encoder gave {len(frames)} of {len(pairs)} frames"}))
        return 1
    with open(args.out, "wb") as out:
        for frame in frames:
            out.write(frame)
    row = FIELD_ONE_ROW[args.height]
    print(json.dumps({"format": "2vuy", "width": WIDTH, "height": args.height,
                      "frames": len(frames), "field1_row": row, "field2_row": row + 1}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
