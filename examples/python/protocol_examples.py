#!/usr/bin/env python3
"""Prints the example messages of docs/protocol.md, made by premoov_client.py's archiver.

    protocol_examples.py                    every example, in the order the document shows them
    protocol_examples.py NAME               one of: request, cancel, failure, header
    protocol_examples.py --update DOC.md    writes them into the document's example blocks

Each example is the frame as a hex dump (a reply's header bytes elided), the "$objects" of its
archive one per line, and the object graph they make. The tests compare the document with this
output, so the document always shows bytes the client really sends.
"""
import os
import plistlib
import re
import struct
import sys

sys.dont_write_bytecode = True  # leave no cache beside the examples
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import premoov_client as client  # noqa: E402

EXAMPLE_REQUEST = os.path.join(os.path.dirname(os.path.abspath(__file__)), "example_request.json")

# The reply premoovd sends to example_request.json: a 4 MiB header room, growing, ProRes 422 HQ
# frames of at most 1,052,640 bytes, 60 frames in a file of 35,774,480 bytes.
HEADER_ROOM = 4 * 1024 * 1024
EXAMPLE_REPLY = (True, 1052640, 35774480)


def hex_lines(data, start=0):
    lines = []
    for at in range(0, len(data), 16):
        row = data[at:at + 16]
        pairs = " ".join(row[i:i + 2].hex() for i in range(0, len(row), 2))
        text = "".join(chr(b) if 0x20 <= b < 0x7F else "." for b in row)
        lines.append("%08x: %-39s  %s" % (start + at, pairs, text))
    return lines


def hex_dump(payload, elide=None):
    """The frame as hex: its length word, then the payload from offset 0, with the bytes
    elide = (start, end) of the payload replaced by one line."""
    lines = ["length:   %s  (%d bytes of payload follow)"
             % (struct.pack(">I", len(payload)).hex(" "), len(payload))]
    if elide is None:
        return lines + hex_lines(payload)
    start, end = elide
    lines += hex_lines(payload[:start])
    lines.append("          ... %d bytes of header, payload offsets %#x to %#x, left out ..."
                 % (end - start, start, end - 1))
    return lines + hex_lines(payload[end:], end)


def scalar_text(value):
    if isinstance(value, plistlib.UID):
        return "UID %d" % value.data
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, bytes):
        return "data, %d bytes" % len(value)
    if isinstance(value, list):
        return "[" + ", ".join(scalar_text(v) for v in value) + "]"
    if isinstance(value, dict):
        return "{" + ", ".join("%s: %s" % (k, scalar_text(v)) for k, v in value.items()) + "}"
    return repr(value) if not isinstance(value, str) else '"%s"' % value


def object_lines(payload, real_widths):
    archive = plistlib.loads(payload)
    lines = ["$archiver: %s   $version: %d   $top: %s"
             % (scalar_text(archive["$archiver"]), archive["$version"],
                scalar_text(archive["$top"]))]
    for i, obj in enumerate(archive["$objects"]):
        text = scalar_text(obj)
        if isinstance(obj, float):
            text += "  (%d-byte real)" % real_widths[i]
        lines.append("%3d  %s" % (i, text))
    return lines


def archived_real_widths(archive_value):
    """The width each real of "$objects" is written with: 4 for Single, 8 for other floats."""
    return {i: 4 if isinstance(obj, client.Single) else 8
            for i, obj in enumerate(archive_value["$objects"]) if isinstance(obj, float)}


def count(n, one, many):
    return "%d %s" % (n, one if n == 1 else many)


def graph_lines(value, label, depth=0):
    pad = "  " * depth
    if isinstance(value, client.MetadataItem):
        lines = ["%s%s: ZPRMetadataItem" % (pad, label)]
        for key, field in value.archived_fields():
            lines += graph_lines(int(field) if isinstance(field, int) else field, key, depth + 1)
        return lines
    if isinstance(value, dict):
        lines = ["%s%s: NSDictionary, %s" % (pad, label, count(len(value), "entry", "entries"))]
        for key in sorted(value, key=lambda k: k.encode("utf-8")):
            lines += graph_lines(value[key], '"%s"' % key, depth + 1)
        return lines
    if isinstance(value, list):
        lines = ["%s%s: NSArray, %s" % (pad, label, count(len(value), "element", "elements"))]
        for i, element in enumerate(value):
            lines += graph_lines(element, "[%d]" % i, depth + 1)
        return lines
    if value is None:
        return ["%s%s: $null" % (pad, label)]
    if isinstance(value, client.Date):
        return ["%s%s: NSDate %r" % (pad, label, value.seconds)]
    if isinstance(value, bytes):
        if len(value) == HEADER_ROOM:
            return ["%s%s: data, %d bytes: the header, left out" % (pad, label, len(value))]
        return ["%s%s: data, %d bytes: %s" % (pad, label, len(value), value.hex(" "))]
    return ["%s%s: %s" % (pad, label, scalar_text(value))]


def example(selector, arguments, elide_data=False):
    root = {"selector": selector, "arguments": list(arguments)}
    archive_value = client.KeyedArchiver().archive(root)
    payload = client.binary_plist(archive_value)
    elide = None
    if elide_data:
        header = arguments[0]
        marker = payload.index(b"\x4f\x12" + struct.pack(">I", len(header)))
        elide = (marker + 6, marker + 6 + len(header))
    return ["```"] + hex_dump(payload, elide) + ["```", "", "```"] + \
        object_lines(payload, archived_real_widths(archive_value)) + ["```", "", "```"] + \
        graph_lines(root, "root") + ["```"]


def examples():
    request = client.read_request_file(EXAMPLE_REQUEST)
    growing, frame_size, file_size = EXAMPLE_REPLY
    return {
        "request": example(client.WRITE_HEADER, request.arguments()),
        "cancel": example(client.CANCEL, []),
        "failure": example(client.FAILED_CREATING_HEADER, [True, "Could not get max frame size"]),
        "header": example(client.DID_CREATE_HEADER,
                          [bytes(HEADER_ROOM), growing, frame_size, file_size], elide_data=True),
    }


# An example's place in the document: its blocks sit between these two lines.
BLOCK = re.compile(r"(<!-- example: (\w+) -->\n)(.*?)(<!-- end of example -->)", re.S)


def document_examples(text):
    """The examples a document shows, by name, as the lines between their markers."""
    return {m.group(2): m.group(3).splitlines() for m in BLOCK.finditer(text)}


def update_document(path):
    every = examples()
    with open(path, encoding="utf-8") as f:
        text = f.read()
    text = BLOCK.sub(lambda m: m.group(1) + "\n".join(every[m.group(2)]) + "\n" + m.group(4),
                     text)
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def main(argv):
    if argv[:1] == ["--update"] and len(argv) == 2:
        update_document(argv[1])
        return
    every = examples()
    names = argv or list(every)
    for name in names:
        if name not in every:
            sys.exit("protocol_examples.py: no example %r; there are %s" % (name, ", ".join(every)))
        print("<!-- example: %s -->" % name)
        print("\n".join(every[name]))
        print("<!-- end of example -->")


if __name__ == "__main__":
    main(sys.argv[1:])
