#!/usr/bin/python3
"""Reads line-21 pairs from raw frames with GStreamer's line21decoder; one JSON line per frame.

    read_with_gstreamer.py FRAMES.raw --format 2vuy|v210|yuvs|BGRA --width W --height H

Each line is {"frame": N, "pairs": [{"row": R, "pair": "9420"}, {"row": R + 1, "pair": "8080"}],
"s334_1a": "819420018080"} or {"frame": N, "unreadable": "..."}.

line21decoder only reads 720-pixel interleaved frames at least 200 rows high. It scans rows 0 to 39
for two consecutive rows that both carry a line (field 1 line 21, then field 2 line 284) and
attaches them as an S334-1A caption meta: byte 0 is 0x80 | row for field 1 in a 486-row frame,
byte 3 the same row for field 2. So each frame is presented to it as a 720x486 interleaved frame
made of the first 720 columns of the frame's first 486 rows (black below a shorter frame). Our
line starts at pixel 0 and rows 1 and 2 stay rows 1 and 2; no pixel is moved or redrawn. BGRA
frames go through videoconvert to UYVY, since line21decoder takes only YCbCr.
"""

import argparse
import json
import os
import sys
import tempfile

import gi

gi.require_version("Gst", "1.0")
from gi.repository import Gst  # noqa: E402

import line21_frames as lf  # noqa: E402

PRESENT_WIDTH = 720
PRESENT_HEIGHT = 486
GST_FORMAT = {"2vuy": "UYVY", "yuvs": "YUY2", "v210": "v210", "BGRA": "BGRA"}
FRAME_NS = 1e9 * 1001 / 30000
SCANNED_ROWS = 40
# The presented frames go through a scratch file; a short frame is padded to 486 rows, so bound
# what a small input can make us write.
MAX_PRESENTED_BYTES = 2 << 30


def present_row_bytes(fmt):
    return lf.frame_size(fmt, PRESENT_WIDTH, 1)


def black_row(fmt):
    return lf.pack_row(fmt, [0] * PRESENT_WIDTH)


def present(fmt, frame, width, height):
    """The 720x486 frame handed to line21decoder: the frame's top-left corner, black below."""
    row_bytes = lf.frame_size(fmt, width, 1)
    keep = present_row_bytes(fmt)
    rows = [frame[r * row_bytes:r * row_bytes + keep] for r in range(min(height, PRESENT_HEIGHT))]
    rows += [black_row(fmt)] * (PRESENT_HEIGHT - len(rows))
    return b"".join(rows)


def caption_pairs(s334):
    """Rows and pairs from line21decoder's S334-1A triplets (486-row frame: row = low 5 bits)."""
    pairs = []
    for i in range(0, len(s334) - 2, 3):
        field_one = bool(s334[i] & 0x80)
        row = (s334[i] & 0x1F) + (0 if field_one else 1)
        pairs.append({"row": row, "pair": s334[i + 1:i + 3].hex()})
    return pairs


def read_frames(path, fmt, width, height):
    size = lf.frame_size(fmt, width, height)
    total = os.path.getsize(path)
    count = total // size
    results = []
    if count * lf.frame_size(fmt, PRESENT_WIDTH, PRESENT_HEIGHT) > MAX_PRESENTED_BYTES:
        return [{"frame": 0, "unreadable": f"{count} frames are more than one check reads"}]
    if count:
        results = decode(path, fmt, width, height, count)
    if total % size:
        results.append({"frame": count,
                        "unreadable": f"truncated frame: {total % size} of {size} bytes"})
    return results


def decode(path, fmt, width, height, count):
    """Runs line21decoder over the presented frames, written to a scratch file first.

    The frames go through filesrc and rawvideoparse rather than appsrc: line21decoder makes its
    input writable itself and then has it released once more by its base class, which frees a
    buffer that anything else (such as a Python wrapper) still holds.
    """
    Gst.init(None)
    with tempfile.TemporaryDirectory(prefix="line21-gstreamer-") as folder:
        presented = os.path.join(folder, "frames.raw")
        with open(path, "rb") as frames, open(presented, "wb") as out:
            for _ in range(count):
                out.write(present(fmt, frames.read(lf.frame_size(fmt, width, height)), width,
                                  height))
        return run_decoder(presented, fmt, count)


def run_decoder(presented, fmt, count):
    convert = "videoconvert ! video/x-raw,format=UYVY ! " if fmt == "BGRA" else ""
    pipeline = Gst.parse_launch(
        f"filesrc location={presented} ! rawvideoparse use-sink-caps=false "
        f"format={GST_FORMAT[fmt].lower()} width={PRESENT_WIDTH} height={PRESENT_HEIGHT} "
        f"interlaced=true framerate=30000/1001 ! {convert}"
        "line21decoder ! ccextractor name=captions ! fakesink sync=false")
    captions = {}

    def on_caption(_pad, info):
        buffer = info.get_buffer()
        captions[round(buffer.pts / FRAME_NS)] = buffer.extract_dup(0, buffer.get_size())
        return Gst.PadProbeReturn.OK

    def on_pad_added(_element, pad):
        sink = Gst.ElementFactory.make("fakesink")
        sink.set_property("sync", False)
        sink.set_property("async", False)
        pipeline.add(sink)
        sink.sync_state_with_parent()
        pad.add_probe(Gst.PadProbeType.BUFFER, on_caption)
        pad.link(sink.get_static_pad("sink"))

    pipeline.get_by_name("captions").connect("pad-added", on_pad_added)
    pipeline.set_state(Gst.State.PLAYING)
    message = pipeline.get_bus().timed_pop_filtered(
        600 * Gst.SECOND, Gst.MessageType.EOS | Gst.MessageType.ERROR)
    error = None
    if message is None:
        error = "gstreamer did not finish within 600 s"
    elif message.type == Gst.MessageType.ERROR:
        error = f"gstreamer failed: {message.parse_error()[0].message}"
    pipeline.set_state(Gst.State.NULL)
    if error:
        return [{"frame": n, "unreadable": error} for n in range(count)]
    results = []
    for n in range(count):
        if n in captions:
            results.append({"frame": n, "pairs": caption_pairs(captions[n]),
                            "s334_1a": captions[n].hex()})
        else:
            results.append({"frame": n, "unreadable": "no line-21 waveform in two consecutive "
                            f"rows among rows 0..{SCANNED_ROWS - 1}"})
    return results


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("frames")
    parser.add_argument("--format", required=True, choices=lf.FORMATS)
    parser.add_argument("--width", type=int, required=True)
    parser.add_argument("--height", type=int, required=True)
    args = parser.parse_args(argv)
    if not (PRESENT_WIDTH <= args.width <= lf.MAX_WIDTH and 3 <= args.height <= lf.MAX_HEIGHT):
        parser.error(f"frame size out of range (line21decoder needs {PRESENT_WIDTH} columns)")
    if args.format != "BGRA" and args.width % 2:
        parser.error("4:2:2 frames need an even width")
    for result in read_frames(args.frames, args.format, args.width, args.height):
        print(json.dumps(result))
    return 0


if __name__ == "__main__":
    sys.exit(main())
