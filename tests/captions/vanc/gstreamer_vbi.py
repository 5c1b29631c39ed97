"""GStreamer's ancillary-data encoder and parser (GstVideoVBIEncoder, GstVideoVBIParser) through
ctypes on libgstvideo-1.0.

The encoder's write_line fills a caller's buffer through a pointer, which the GObject bindings
cannot pass, and reading a GstVideoAncillary through them crashes the interpreter (measured with
PyGObject 3.42), so both go through ctypes. Run with Debian's /usr/bin/python3.
"""

import ctypes
import ctypes.util

from vanc_rows import FORMATS, bytes_per_row


class Ancillary(ctypes.Structure):
    """GstVideoAncillary: user data as 8-bit values, parity bits dropped."""

    _fields_ = [("did", ctypes.c_uint8), ("sdid", ctypes.c_uint8), ("data_count", ctypes.c_uint8),
                ("data", ctypes.c_uint8 * 256), ("reserved", ctypes.c_void_p * 4)]


# GstVideoVBIParserResult.
PARSER_DONE, PARSER_OK, PARSER_ERROR = 0, 1, 2

_lib = None


def _load():
    global _lib
    if _lib is not None:
        return _lib
    gst = ctypes.CDLL(ctypes.util.find_library("gstreamer-1.0"))
    video = ctypes.CDLL(ctypes.util.find_library("gstvideo-1.0"))
    gst.gst_init(None, None)
    video.gst_video_format_from_string.argtypes = [ctypes.c_char_p]
    video.gst_video_format_from_string.restype = ctypes.c_int
    video.gst_video_vbi_encoder_new.argtypes = [ctypes.c_int, ctypes.c_uint32]
    video.gst_video_vbi_encoder_new.restype = ctypes.c_void_p
    video.gst_video_vbi_encoder_add_ancillary.argtypes = [
        ctypes.c_void_p, ctypes.c_int, ctypes.c_uint8, ctypes.c_uint8, ctypes.c_char_p,
        ctypes.c_uint]
    video.gst_video_vbi_encoder_add_ancillary.restype = ctypes.c_int
    video.gst_video_vbi_encoder_write_line.argtypes = [ctypes.c_void_p, ctypes.c_void_p]
    video.gst_video_vbi_encoder_write_line.restype = None
    video.gst_video_vbi_encoder_free.argtypes = [ctypes.c_void_p]
    video.gst_video_vbi_encoder_free.restype = None
    video.gst_video_vbi_parser_new.argtypes = [ctypes.c_int, ctypes.c_uint32]
    video.gst_video_vbi_parser_new.restype = ctypes.c_void_p
    video.gst_video_vbi_parser_add_line.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
    video.gst_video_vbi_parser_add_line.restype = None
    video.gst_video_vbi_parser_get_ancillary.argtypes = [ctypes.c_void_p,
                                                         ctypes.POINTER(Ancillary)]
    video.gst_video_vbi_parser_get_ancillary.restype = ctypes.c_int
    video.gst_video_vbi_parser_free.argtypes = [ctypes.c_void_p]
    video.gst_video_vbi_parser_free.restype = None
    _lib = video
    return video


def _format(name):
    if name not in FORMATS:
        raise ValueError(f"GStreamer's ancillary code takes {' and '.join(FORMATS)}, not {name}")
    return _load().gst_video_format_from_string(name.encode())


class Encoder:
    """Writes component ancillary packets (ADF 000 3FF 3FF) into one row at a time."""

    def __init__(self, fmt, width):
        self.lib = _load()
        self.fmt = fmt
        self.width = width
        self.handle = self.lib.gst_video_vbi_encoder_new(_format(fmt), width)
        if not self.handle:
            raise RuntimeError(f"GStreamer has no ancillary encoder for {fmt} {width} wide")

    def add(self, did, sdid, data):
        """Queues a packet for the next row; False when the row has no room left for it."""
        data = bytes(data)
        if len(data) > 255:
            raise ValueError("an ancillary packet holds at most 255 user data words")
        return bool(self.lib.gst_video_vbi_encoder_add_ancillary(self.handle, 0, did, sdid, data,
                                                                 len(data)))

    def write_row(self, row):
        """Writes the queued packets over `row` (bytes of one row) and returns the new row. The
        encoder writes only what its layout covers; other bytes of `row` are kept."""
        size = bytes_per_row(self.fmt, self.width)
        if len(row) != size:
            raise ValueError(f"a {self.fmt} row {self.width} wide is {size} bytes, not {len(row)}")
        buffer = ctypes.create_string_buffer(bytes(row), size)
        self.lib.gst_video_vbi_encoder_write_line(self.handle, buffer)
        return buffer.raw

    def close(self):
        if self.handle:
            self.lib.gst_video_vbi_encoder_free(self.handle)
            self.handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


class Parser:
    """Finds the ancillary packets with a good checksum in one row at a time."""

    # A row holds at most one packet every 7 samples; the bound only guards against a parser
    # that never says it is done.
    MAX_PACKETS_A_ROW = 4096

    def __init__(self, fmt, width):
        self.lib = _load()
        self.fmt = fmt
        self.width = width
        self.handle = self.lib.gst_video_vbi_parser_new(_format(fmt), width)
        if not self.handle:
            raise RuntimeError(f"GStreamer has no ancillary parser for {fmt} {width} wide")

    def packets(self, row):
        """[(did, sdid, user data bytes)] in the parser's order, and whether it ended in an error
        (a packet cut short by the row's end)."""
        size = bytes_per_row(self.fmt, self.width)
        if len(row) != size:
            raise ValueError(f"a {self.fmt} row {self.width} wide is {size} bytes, not {len(row)}")
        # The parser reads a whole row from the pointer; keep the copy alive until it is done.
        line = ctypes.create_string_buffer(bytes(row), size)
        self.lib.gst_video_vbi_parser_add_line(self.handle, line)
        found = []
        anc = Ancillary()
        for _ in range(self.MAX_PACKETS_A_ROW):
            result = self.lib.gst_video_vbi_parser_get_ancillary(self.handle, ctypes.byref(anc))
            if result != PARSER_OK:
                return found, result == PARSER_ERROR
            found.append((anc.did, anc.sdid, bytes(anc.data[:anc.data_count])))
        raise RuntimeError("GStreamer's parser did not finish a row")

    def close(self):
        if self.handle:
            self.lib.gst_video_vbi_parser_free(self.handle)
            self.handle = None

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()
