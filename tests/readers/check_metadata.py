"""The movie's metadata as readers see it: the software name and the string, date and token-list
items in ffprobe's format tags and MediaInfo's general track, and the bytes of the number items
and the growing-file flag in the header itself.

premoov formats dates in its process's locale and time zone: the check runs it under en_US and
UTC, so the date's text is known.
"""

import json
import os
import struct
import sys

import reader_check
from reader_check import Checker, WrittenMovie, run

SOFTWARE = "premoov 0.1"
TEXT_ITEMS = {
    "com.apple.quicktime.software": SOFTWARE,
    "com.apple.quicktime.title": "Interview, camera A",
    # 2026-11-21T09:30:00+01:00 in long date, medium time style, en_US, UTC.
    "com.example.shoot-day": "November 21, 2026 at 8:30:00\u202fAM",
    "com.example.clip-name": "CamA-Sat-007",
}
# Number items keep the host's byte order (little-endian here) under big-endian data types.
NUMBER_ITEMS = {
    "com.example.take": (21, struct.pack("<i", 7)),
    "com.example.gain": (24, struct.pack("<d", 2.5)),
}


def atoms(data, start, end):
    """(type, payload start, payload end) of the atoms in data[start:end]."""
    at = start
    while at + 8 <= end:
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        header = 8
        if size == 1:
            size = struct.unpack(">Q", data[at + 8:at + 16])[0]
            header = 16
        if size < header or at + size > end:
            return
        yield kind, at + header, at + size
        at += size


def child(data, start, end, kind):
    for k, s, e in atoms(data, start, end):
        if k == kind:
            return s, e
    return None


def header_items(header):
    """{key: (data type, value bytes)} of moov/meta, and {type: payload} of moov/udta."""
    moov = child(header, 0, len(header), b"moov")
    meta = child(header, *moov, b"meta")
    keys_at = child(header, *meta, b"keys")
    keys = []
    count = struct.unpack(">I", header[keys_at[0] + 4:keys_at[0] + 8])[0]
    at = keys_at[0] + 8
    for _ in range(count):
        size = struct.unpack(">I", header[at:at + 4])[0]
        keys.append(header[at + 8:at + size].decode())
        at += size
    items = {}
    ilst = child(header, *meta, b"ilst")
    for kind, s, e in atoms(header, *ilst):
        index = struct.unpack(">I", kind)[0]
        data = child(header, s, e, b"data")
        data_type = struct.unpack(">I", header[data[0]:data[0] + 4])[0]
        items[keys[index - 1]] = (data_type, header[data[0] + 8:data[1]])
    user_data = {k: header[s:e] for k, s, e in atoms(header, *child(header, *moov, b"udta"))}
    return items, user_data


def mediainfo_name(key):
    """MediaInfo's name for a metadata key in its JSON 'extra' fields."""
    return "".join(c if c.isalnum() else "_" for c in key.replace("-", ""))


def main():
    args = reader_check.parse_arguments(__doc__)
    check = Checker("metadata")
    # Only premoov runs under en_US and UTC: the readers keep the environment they were given.
    saved = dict(os.environ)
    os.environ.update({"LANG": "en_US.UTF-8", "LC_ALL": "en_US.UTF-8", "TZ": "UTC"})
    try:
        movie = WrittenMovie(args.premoov, os.path.join(args.source_dir,
                                                        "examples/metadata_items.json"),
                             args.work_dir)
    finally:
        os.environ.clear()
        os.environ.update(saved)
    try:
        with open(movie.header, "rb") as f:
            items, user_data = header_items(f.read())
        for key, text in TEXT_ITEMS.items():
            check.equal(f"header item {key}", items.get(key), (1, text.encode()))
        for key, (data_type, value) in NUMBER_ITEMS.items():
            check.equal(f"header item {key}", items.get(key), (data_type, value))
        check.equal("growing-file flag 'fgff'", user_data.get(b"fgff"), b"\x00\x00\x00\x01")

        ffprobe = args.tool or "ffprobe"
        if os.path.basename(ffprobe).startswith("ffprobe"):
            tags = json.loads(run([ffprobe, "-v", "error", "-show_entries", "format_tags",
                                   "-of", "json", movie.movie]))["format"]["tags"]
            for key, text in TEXT_ITEMS.items():
                check.equal(f"ffprobe tag {key}", tags.get(key), text)
            # ffprobe reads the 4 bytes big-endian, as the data type declares.
            check.equal("ffprobe tag com.example.take", tags.get("com.example.take"),
                        str(struct.unpack(">i", NUMBER_ITEMS["com.example.take"][1])[0]))
        else:
            general = json.loads(run([args.tool, "--Output=JSON", movie.movie]))["media"]["track"][0]
            extra = general.get("extra", {})
            for key, text in TEXT_ITEMS.items():
                check.equal(f"MediaInfo {key}", extra.get(mediainfo_name(key)), text)
    finally:
        movie.remove()
    sys.exit(check.finish())


if __name__ == "__main__":
    main()
