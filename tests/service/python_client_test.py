#!/usr/bin/env python3
"""The Python client of the header service (examples/python/premoov_client.py) against premoov.

Usage: python_client_test.py --premoov PATH --source-dir DIR [--premoovd PATH]

- Every request file of the repository is archived by the client (--dump-request) and read back
  by `premoov archive dump`; the object graph premoov reads must hold the request's values, as
  worked out here from the JSON on its own (not with the client's conversions).
- Single metadata items archive exactly as `premoov archive item` archives them.
- Bad request files fail as `premoov write` fails them: same message, exit code 1.
- Against a stand-in service: the frames the client sends, the replies it accepts and refuses.
- With --premoovd: against the real service, the header of every request is byte for byte the
  header `premoov write --header` writes, and refusals and cancel behave as the service promises.
"""
import argparse
import base64
import datetime
import glob
import json
import os
import plistlib
import re
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest

OPTIONS = None
WRITE_HEADER = "writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:"
DID_CREATE_HEADER = "didCreateHeader:growing:frameSize:fileSize:"
FAILED_CREATING_HEADER = "failedCreatingGrowingHeader:error:"
DUMP_DATA_BYTES = 64  # how many bytes of data `premoov archive dump` shows


def client_path():
    return os.path.join(OPTIONS.source_dir, "examples", "python", "premoov_client.py")


def run_client(*arguments, timeout=300):
    return subprocess.run([sys.executable, "-B", client_path(), *arguments], capture_output=True,
                          text=True, errors="replace", timeout=timeout)


def run_premoov(*arguments):
    return subprocess.run([OPTIONS.premoov, *arguments], capture_output=True, text=True,
                          errors="replace", timeout=300)


def request_files():
    patterns = ["examples/*.json", "examples/python/*.json", "tests/readers/requests/*.json",
                "tests/e2e/requests/*.json", "tests/service/python/requests/*.json"]
    files = []
    for pattern in patterns:
        files += sorted(glob.glob(os.path.join(OPTIONS.source_dir, pattern)))
    return files


# ---------------------------------------------------------------------------------------------
# What a request's archive must hold, worked out from the JSON
# ---------------------------------------------------------------------------------------------


class Data:
    """Data as the dump shows it: its size and the hex of its first bytes."""

    def __init__(self, size, shown):
        self.size, self.shown = size, shown

    @classmethod
    def of(cls, raw):
        return cls(len(raw), raw[:DUMP_DATA_BYTES].hex())

    def __eq__(self, other):
        return isinstance(other, Data) and (self.size, self.shown) == (other.size, other.shown)

    def __repr__(self):
        return "Data(%d, %s)" % (self.size, self.shown)


class Date:
    def __init__(self, seconds):
        self.seconds = seconds

    def __eq__(self, other):
        # The dump writes the shortest text that reads back as the same double.
        return isinstance(other, Date) and self.seconds == other.seconds

    def __repr__(self):
        return "Date(%r)" % self.seconds


def fourcc(value):
    return value if isinstance(value, int) else struct.unpack(">I", value.encode("ascii"))[0]


def single(value):
    return struct.unpack("<f", struct.pack("<f", value))[0]


def data_of(value):
    return base64.b64decode(value["base64"], validate=True)


def time_of(value):
    return {"value": value["value"], "timescale": value["timescale"],
            "flags": value.get("flags", 1), "epoch": value.get("epoch", 0)}


def asbd_of(value):
    if "base64" in value:
        return data_of(value)
    fields = ["formatFlags", "bytesPerPacket", "framesPerPacket", "bytesPerFrame",
              "channelsPerFrame", "bitsPerChannel"]
    return (struct.pack("<d", float(value["sampleRate"])) +
            struct.pack("<I", fourcc(value["formatID"])) +
            b"".join(struct.pack("<I", value[f]) for f in fields) +
            struct.pack("<I", value.get("reserved", 0)))


def layout_of(value):
    if "base64" in value:
        return data_of(value)
    descriptions = value.get("descriptions", [])
    out = struct.pack("<III", value["tag"], value.get("bitmap", 0), len(descriptions))
    for d in descriptions:
        out += struct.pack("<II", d["label"], d.get("flags", 0))
        out += b"".join(struct.pack("<f", c) for c in d.get("coordinates", [0, 0, 0]))
    return out


REFERENCE_DATE = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)


def seconds_of(iso):
    # fromisoformat takes "Z" and offsets from Python 3.11 on.
    return (datetime.datetime.fromisoformat(iso) - REFERENCE_DATE).total_seconds()


def item_of(value):
    item = {"$class": "ZPRMetadataItem", "key": value["key"]}
    if "number" in value:
        kind = value.get("numberType", "int64" if isinstance(value["number"], int) else "double")
        number = value["number"]
        if kind in ("float32", "float"):
            number = single(number)
        elif kind in ("float64", "double"):
            number = float(number)
        item.update(valueType=1, numberValue=number)
    elif "date" in value:
        item.update(valueType=2, dateValue=Date(seconds_of(value["date"])))
    elif "tokens" in value:
        item.update(valueType=3, tokenValues=list(value["tokens"]),
                    stringValue=value.get("string"))
    else:
        item.update(valueType=0, stringValue=value["string"])
    return item


SETTING_CONVERSIONS = {
    "videoCodec": fourcc,
    "videoFrameDuration": time_of,
    "asbds": lambda v: [Data.of(asbd_of(a)) for a in v],
    "layouts": lambda v: [Data.of(layout_of(l)) for l in v],
    "extensionAtoms": lambda v: {k: Data.of(data_of(a)) for k, a in v.items()},
    "metadataItems": lambda v: [item_of(i) for i in v],
    "videoDimensions": lambda v: Data.of(data_of(v) if isinstance(v, dict)
                                         else struct.pack("<ii", *v)),
}
PLAIN_SETTINGS = {"maxVideoFrameSize", "firstFrameOverhead", "isLongGOP", "numberOfFields",
                  "fieldOrder", "horizontalSpacing", "verticalSpacing", "colorPrimaries",
                  "transferFunction", "matrix", "numberOfAudioTracks", "timecodeIsDropFrame",
                  "formatName", "reelName", "globalTimecode", "addClosedCaptionTrack", "software"}


def expected_message(document):
    settings = {}
    for key, value in document["settings"].items():
        if key in SETTING_CONVERSIONS:
            settings[key] = SETTING_CONVERSIONS[key](value)
        elif key in PLAIN_SETTINGS:
            settings[key] = value
    unique_id = document.get("uniqueID")
    if isinstance(unique_id, int) and not isinstance(unique_id, bool) and unique_id >= 2**63:
        unique_id = float(unique_id)
    elif not isinstance(unique_id, (str, int, float)):
        unique_id = {}  # premoov's request reader holds no identifier as an empty dictionary
    return {"selector": WRITE_HEADER,
            "arguments": [document["path"], document["newFile"], document["blockSize"], unique_id,
                          time_of(document["duration"]), settings]}


# ---------------------------------------------------------------------------------------------
# `premoov archive dump` read back into values
# ---------------------------------------------------------------------------------------------

_OBJECT = re.compile(r"(\w+) \(object \d+\)(?:, (\d+) (?:entry|entries|element|elements))?"
                     r"(?:: NS\.time (\S+) = .*)?")
_DATA = re.compile(r"data \((\d+) bytes\) ([0-9a-f]*)(\.\.\.)?")


class DumpReader:
    """The dump's lines as a tree of values: dictionaries, lists, items as dictionaries with
    their "$class", Date, Data, strings, numbers, booleans and None for "$null"."""

    def __init__(self, lines):
        self.lines = lines
        self.at = 0

    def root(self):
        label, value = self.entry(0)
        assert label == "root", label
        assert self.at == len(self.lines), "lines after the root: %r" % self.lines[self.at:]
        return value

    def entry(self, depth):
        line = self.lines[self.at]
        indent = len(line) - len(line.lstrip(" "))
        assert indent == 2 * depth, "line %d: %r" % (self.at, line)
        text = line[indent:]
        self.at += 1
        if text.startswith('"'):
            label, end = json.JSONDecoder().raw_decode(text)
        else:
            end = text.index(": ")
            label = text[:end]
        assert text[end:end + 2] == ": ", line
        return label, self.value(text[end + 2:], depth)

    def children(self, depth):
        out = []
        while self.at < len(self.lines) and self.lines[self.at].startswith("  " * (depth + 1)):
            out.append(self.entry(depth + 1))
        return out

    def value(self, text, depth):
        match = _OBJECT.fullmatch(text)
        if match:
            name, count, seconds = match.groups()
            if name == "NSDate":
                return Date(float(seconds))
            entries = self.children(depth)
            if name == "NSArray":
                assert [l for l, _ in entries] == ["[%d]" % i for i in range(len(entries))]
                assert int(count) == len(entries)
                return [v for _, v in entries]
            if name == "NSDictionary":
                assert int(count) == len(entries)
                return dict(entries)
            return {"$class": name, **dict(entries)}
        match = _DATA.fullmatch(text)
        if match:
            return Data(int(match.group(1)), match.group(2))
        if text.startswith('"'):
            return json.loads(text)
        if text in ("true", "false"):
            return text == "true"
        if text == "$null":
            return None
        if re.fullmatch(r"-?\d+", text):
            return int(text)
        return float(text)


def dump_of(archive_path):
    result = run_premoov("archive", "dump", archive_path)
    if result.returncode != 0:
        raise AssertionError("premoov archive dump %s: %s%s"
                             % (archive_path, result.stdout, result.stderr))
    answer = json.loads(result.stdout)
    assert "problems" not in answer, answer
    return DumpReader(answer["dump"]).root()


def real_widths(bplist):
    """How many 4-byte and 8-byte reals a binary property list stores, from its object table."""
    offset_size, _, count, _, table = struct.unpack(">6xBBQQQ", bplist[-32:])
    widths = {4: 0, 8: 0}
    for i in range(count):
        at = int.from_bytes(bplist[table + i * offset_size:table + (i + 1) * offset_size], "big")
        if bplist[at] in (0x22, 0x23):
            widths[4 if bplist[at] == 0x22 else 8] += 1
    return widths


class TempDirTest(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.mkdtemp(prefix="premoov-client-")

    def tearDown(self):
        shutil.rmtree(self.tmp, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.tmp, name)

    def write_json(self, name, document):
        path = self.path(name)
        with open(path, "w", encoding="utf-8") as f:
            json.dump(document, f)
        return path


# ---------------------------------------------------------------------------------------------
# The archives, read by premoov
# ---------------------------------------------------------------------------------------------


class ArchivedRequestTest(TempDirTest):
    def test_every_request_file_reads_back_with_its_values(self):
        files = request_files()
        self.assertGreaterEqual(len(files), 13)
        for request in files:
            with self.subTest(request=os.path.relpath(request, OPTIONS.source_dir)):
                archive = self.path("request.archive")
                result = run_client(request, "--dump-request", archive)
                self.assertEqual(result.returncode, 0, result.stderr)
                answer = json.loads(result.stdout)
                self.assertEqual(answer["bytes"], os.path.getsize(archive))
                with open(request, encoding="utf-8") as f:
                    expected = expected_message(json.load(f))
                self.assertEqual(dump_of(archive), expected)

    def test_single_precision_numbers_take_four_bytes(self):
        request = os.path.join(OPTIONS.source_dir, "tests/service/python/requests",
                               "every_value_form.json")
        archive = self.path("request.archive")
        self.assertEqual(run_client(request, "--dump-request", archive).returncode, 0)
        with open(archive, "rb") as f:
            widths = real_widths(f.read())
        # float32 0.1, float32 3.0, float 1.5; the doubles (verticalSpacing, float64 0.1, 2.5,
        # -0.75, the identifier beyond 64 bits, two dates) are distinct values of 8 bytes.
        self.assertEqual(widths, {4: 3, 8: 7})

    def test_metadata_items_archive_as_premoov_archives_them(self):
        sys.path.insert(0, os.path.dirname(client_path()))
        import premoov_client  # noqa: E402  (the client's archiver, on one item)

        forms = [
            ({"string": "Interview, camera A"}, ["--string", "Interview, camera A"]),
            ({"string": "Caf\u00e9 \u2014 take 2"}, ["--string", "Caf\u00e9 \u2014 take 2"]),
            ({"number": 7}, ["--number", "7"]),
            ({"number": -9223372036854775808}, ["--number", "-9223372036854775808"]),
            ({"number": 2.5}, ["--number", "2.5"]),
            ({"date": "2026-11-21T09:30:00+01:00"}, ["--date", "2026-11-21T09:30:00+01:00"]),
            ({"date": "2024-03-05T14:07:09.25Z"}, ["--date", "2024-03-05T14:07:09.25Z"]),
            ({"tokens": ["$$Day#EEE", " take ", "$$Day#EEE"]},
             ["--tokens", "$$Day#EEE", " take ", "$$Day#EEE"]),
            ({"tokens": ["$$Reel"], "string": "A001"}, ["--tokens", "$$Reel", "--string", "A001"]),
        ]
        for element, options in forms:
            with self.subTest(item=element):
                theirs = self.path("item.archive")
                result = run_premoov("archive", "item", "--key", "com.example.key", *options,
                                     "--out", theirs)
                self.assertEqual(result.returncode, 0, result.stderr)
                with open(theirs, "rb") as f:
                    expected = plistlib.loads(f.read())
                item = premoov_client.metadata_item(dict(element, key="com.example.key"), "item")
                ours = premoov_client.archived_data(item)
                self.assertEqual(plistlib.loads(ours), expected)
                with open(theirs, "rb") as f:
                    self.assertEqual(real_widths(ours), real_widths(f.read()))


class DateTextTest(TempDirTest):
    """Dates of metadata items: the client takes the texts premoov takes, as the same seconds."""

    TEXTS = ["2024-03-05T14:07:09Z", "2024-03-05 14:07:09+01:00", "2024-03-05T14:07:09-0530",
             "2024-03-05T14:07:09.123456789Z", "2016-12-31T23:59:60Z", "2024-02-29T00:00:00Z",
             "0001-01-01T00:00:00Z", "9999-12-31T23:59:59+23:59", "2023-02-29T00:00:00Z",
             "2024-03-05T24:00:00Z", "2024-03-05T14:60:00Z", "2024-03-05T14:07:09.Z",
             "2024-03-05T14:07:09+01:60", "2024-03-05T14:07:09+24:00", "2024-3-05T14:07:09Z",
             "2024-03-05T14:07:09", "2024-03-05T14:07:09Zjunk", "2024-03-05t14:07:09Z",
             "\u0662\u0660\u0662\u0664-03-05T14:07:09Z", ""]

    def test_date_texts_read_as_premoov_reads_them(self):
        sys.path.insert(0, os.path.dirname(client_path()))
        import premoov_client  # noqa: E402

        for text in self.TEXTS:
            with self.subTest(date=text):
                theirs = self.path("item.archive")
                result = run_premoov("archive", "item", "--key", "k", "--date", text,
                                     "--out", theirs)
                try:
                    item = premoov_client.metadata_item({"key": "k", "date": text}, "item")
                except premoov_client.BadInput:
                    item = None
                if result.returncode != 0:
                    self.assertIsNone(item)
                    continue
                self.assertIsNotNone(item)
                with open(theirs, "rb") as f:
                    self.assertEqual(plistlib.loads(premoov_client.archived_data(item)),
                                     plistlib.loads(f.read()))


class ProtocolDocumentTest(TempDirTest):
    """docs/protocol.md shows the bytes the client's archiver writes, and the reply its header
    example describes is the reply premoov makes for the example request."""

    def setUp(self):
        super().setUp()
        sys.path.insert(0, os.path.dirname(client_path()))
        import protocol_examples  # noqa: E402

        self.examples = protocol_examples

    def test_document_shows_every_example_as_printed(self):
        with open(os.path.join(OPTIONS.source_dir, "docs", "protocol.md"), encoding="utf-8") as f:
            shown = self.examples.document_examples(f.read())
        printed = self.examples.examples()
        self.assertEqual(sorted(shown), ["cancel", "failure", "header", "request"])
        for name, lines in printed.items():
            with self.subTest(example=name):
                self.assertEqual(shown[name], lines)

    def test_header_example_is_the_reply_to_the_request_example(self):
        result = run_premoov("write", self.examples.EXAMPLE_REQUEST, "--header", self.path("h"))
        self.assertEqual(result.returncode, 0, result.stderr)
        growing, frame_size, file_size = self.examples.EXAMPLE_REPLY
        self.assertEqual(json.loads(result.stdout), {
            "growing": growing, "frameSize": frame_size, "fileSize": file_size,
            "headerRoom": self.examples.HEADER_ROOM})

    def test_request_example_reads_back_in_premoov(self):
        lines = self.examples.examples()["request"]
        hex_rows = [l for l in lines if re.match(r"[0-9a-f]{8}: ", l)]
        payload = bytes.fromhex("".join(l[10:49].replace(" ", "") for l in hex_rows))
        archive = self.path("example.archive")
        with open(archive, "wb") as f:
            f.write(payload)
        with open(self.examples.EXAMPLE_REQUEST, encoding="utf-8") as f:
            self.assertEqual(dump_of(archive), expected_message(json.load(f)))


class BadRequestTest(TempDirTest):
    """A bad request file fails in the client as in `premoov write`, before any connection."""

    DELETE = object()
    CASES = [
        ("not an object", []),
        ("missing path", {"path": DELETE}),
        ("negative block size", {"blockSize": -1}),
        ("real block size", {"blockSize": 4096.0}),
        ("boolean newFile as number", {"newFile": 1}),
        ("short duration", {"duration": {"value": 1}}),
        ("timescale beyond 32 bits", {"duration": {"value": 1, "timescale": 2**31}}),
        ("short codec", {"settings.videoCodec": "ap"}),
        ("codec beyond 32 bits", {"settings.videoCodec": 2**32}),
        ("codec as boolean", {"settings.videoCodec": True}),
        ("dimensions of one", {"settings.videoDimensions": [1920]}),
        ("dimensions beyond 32 bits", {"settings.videoDimensions": [1920, 2**31]}),
        ("number as string", {"settings.matrix": "1"}),
        ("number beyond 64 bits", {"settings.matrix": 2**63}),
        ("boolean as number", {"settings.isLongGOP": 0}),
        ("missing format flags", {"settings.asbds": [{"sampleRate": 48000, "formatID": "lpcm"}]}),
        ("stream description as array", {"settings.asbds": [[1, 2]]}),
        ("sample rate as string", {"settings.asbds": [{"sampleRate": "48000"}]}),
        ("layout without tag", {"settings.layouts": [{"bitmap": 0}]}),
        ("coordinates of two", {"settings.layouts": [{"tag": 0, "descriptions": [
            {"label": 1, "coordinates": [1, 2]}]}]}),
        ("coordinate beyond float", {"settings.layouts": [{"tag": 0, "descriptions": [
            {"label": 1, "coordinates": [1, 2, 1e39]}]}]}),
        ("description without label", {"settings.layouts": [{"tag": 0, "descriptions": [{}]}]}),
        ("padding inside base64", {"settings.layouts": [{"base64": "AB=C"}]}),
        ("base64 with stray bits", {"settings.videoDimensions": {"base64": "AB=="}}),
        ("base64 as number", {"settings.extensionAtoms": {"ACLR": {"base64": 1}}}),
        ("extension atoms as array", {"settings.extensionAtoms": []}),
        ("item with two values", {"settings.metadataItems": [{"key": "k", "string": "s",
                                                               "number": 1}]}),
        ("item of unknown member", {"settings.metadataItems": [{"key": "k", "text": "s"}]}),
        ("item without key", {"settings.metadataItems": [{"string": "s"}]}),
        ("unknown number type", {"settings.metadataItems": [{"key": "k", "number": 1,
                                                             "numberType": "int8"}]}),
        ("fraction for an integer type", {"settings.metadataItems": [
            {"key": "k", "number": 1.5, "numberType": "int32"}]}),
        ("int32 overflow", {"settings.metadataItems": [{"key": "k", "number": 2**31,
                                                        "numberType": "int32"}]}),
        ("date without offset", {"settings.metadataItems": [{"key": "k",
                                                             "date": "2024-03-05T14:07:09"}]}),
        ("February 30", {"settings.metadataItems": [{"key": "k",
                                                     "date": "2024-02-30T14:07:09Z"}]}),
        ("token as number", {"settings.metadataItems": [{"key": "k", "tokens": ["$$Day", 3]}]}),
        ("settings as array", {"settings": []}),
    ]

    def request_with(self, changes):
        with open(os.path.join(OPTIONS.source_dir, "examples",
                               "v210_2997i_2ch_tc_cc.json"), encoding="utf-8") as f:
            document = json.load(f)
        if not isinstance(changes, dict):
            return changes
        for path, value in changes.items():
            target = document
            *parents, last = path.split(".")
            for parent in parents:
                target = target[parent]
            if value is self.DELETE:
                del target[last]
            else:
                target[last] = value
        return document

    def test_bad_values_fail_with_premoov_writes_message(self):
        for name, changes in self.CASES:
            with self.subTest(case=name):
                request = self.write_json("bad.json", self.request_with(changes))
                theirs = run_premoov("write", request, "--header", self.path("unused.hdr"))
                ours = run_client(request, "--dump-request", self.path("unused.archive"))
                self.assertEqual(theirs.returncode, 1, theirs.stdout)
                self.assertEqual((ours.returncode, ours.stdout, ours.stderr),
                                 (1, "", theirs.stderr))
                self.assertFalse(os.path.exists(self.path("unused.archive")))
                self.assertFalse(os.path.exists(self.path("unused.hdr")))

    def test_unreadable_and_malformed_files_are_bad_input(self):
        missing = self.path("missing.json")
        ours = run_client(missing, "--dump-request", self.path("out"))
        self.assertEqual((ours.returncode, ours.stderr), (1, run_premoov(
            "write", missing, "--header", self.path("h")).stderr))
        for text in ["{", '{"path": NaN}', '{"path": "\\ud800"}', "\xff"]:
            with self.subTest(text=text):
                path = self.path("malformed.json")
                with open(path, "w", encoding="latin-1") as f:
                    f.write(text)
                ours = run_client(path, "--dump-request", self.path("out"))
                self.assertEqual(ours.returncode, 1)
                self.assertTrue(ours.stderr.startswith(path + ": malformed JSON: "), ours.stderr)
                self.assertEqual(run_premoov("write", path, "--header",
                                             self.path("h")).returncode, 1)

    def test_bad_arguments_exit_1(self):
        example = os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json")
        self.assertEqual(run_client().returncode, 1)
        self.assertEqual(run_client(example, "--no-such-option").returncode, 1)
        self.assertEqual(run_client(example, "--timeout", "soon").returncode, 1)


# ---------------------------------------------------------------------------------------------
# The client's side of a connection, against a stand-in service
# ---------------------------------------------------------------------------------------------


def reply_archive(selector, arguments):
    """A reply's payload, laid out by hand: the root dictionary, its two keys, the arguments."""
    objects = ["$null", None, "arguments", "selector", None, selector]
    arguments_uid = 4
    refs = []
    for argument in arguments:
        objects.append(argument)
        refs.append(plistlib.UID(len(objects) - 1))
    objects.append({"$classname": "NSArray", "$classes": ["NSArray", "NSObject"]})
    objects[arguments_uid] = {"NS.objects": refs, "$class": plistlib.UID(len(objects) - 1)}
    objects.append({"$classname": "NSDictionary", "$classes": ["NSDictionary", "NSObject"]})
    objects[1] = {"NS.keys": [plistlib.UID(2), plistlib.UID(3)],
                  "NS.objects": [plistlib.UID(arguments_uid), plistlib.UID(5)],
                  "$class": plistlib.UID(len(objects) - 1)}
    archive = {"$version": 100000, "$archiver": "NSKeyedArchiver",
               "$top": {"root": plistlib.UID(1)}, "$objects": objects}
    return plistlib.dumps(archive, fmt=plistlib.FMT_BINARY)


def framed(payload):
    return struct.pack(">I", len(payload)) + payload


def message_of(payload):
    """(selector, arguments) of a request, references followed by hand."""
    archive = plistlib.loads(payload)
    objects = archive["$objects"]

    def value(uid):
        obj = objects[uid.data]
        if uid.data == 0:
            return None
        if isinstance(obj, dict) and "NS.keys" in obj:
            return {value(k): value(v) for k, v in zip(obj["NS.keys"], obj["NS.objects"])}
        if isinstance(obj, dict) and "NS.objects" in obj:
            return [value(v) for v in obj["NS.objects"]]
        if isinstance(obj, dict):
            return {k: value(v) if isinstance(v, plistlib.UID) else v for k, v in obj.items()
                    if k != "$class"}
        return obj

    root = value(archive["$top"]["root"])
    return root["selector"], root["arguments"]


class StandInService:
    """Accepts one connection, reads frames until the client shuts down its writing side, then
    sends `reply` (bytes) and closes."""

    def __init__(self, socket_path, reply):
        self.reply = reply
        self.messages = []
        self.error = None
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(socket_path)
        self.listener.listen(1)
        self.listener.settimeout(60)
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        try:
            connection, _ = self.listener.accept()
            with connection:
                received = b""
                while True:
                    chunk = connection.recv(65536)
                    if not chunk:
                        break  # the client shut down its writing side
                    received += chunk
                while received:
                    (size,) = struct.unpack(">I", received[:4])
                    self.messages.append(message_of(received[4:4 + size]))
                    received = received[4 + size:]
                connection.sendall(self.reply)
        except Exception as error:  # reported by the test that waits for it
            self.error = error
        finally:
            self.listener.close()

    def join(self):
        self.thread.join(60)
        if self.error:
            raise self.error


class StandInServiceTest(TempDirTest):
    def setUp(self):
        super().setUp()
        self.socket_path = self.path("service.sock")
        self.request = os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json")

    def exchange(self, reply, *options):
        service = StandInService(self.socket_path, reply)
        result = run_client(self.request, "--socket", self.socket_path, "--timeout", "60",
                            *options)
        service.join()
        return result, service.messages

    def test_header_reply_writes_the_header_and_the_movie_file(self):
        header = b"\x00\x00\x00\x08wide" + bytes(range(256)) * 16
        reply = framed(reply_archive(DID_CREATE_HEADER, [header, True, 518400, 10000000]))
        result, messages = self.exchange(reply, "--header", self.path("h"), "--file",
                                         self.path("m.mov"))
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stdout, '{"growing":true,"frameSize":518400,"fileSize":10000000,'
                                        '"headerRoom":%d}\n' % len(header))
        self.assertEqual(len(messages), 1)
        selector, arguments = messages[0]
        self.assertEqual(selector, WRITE_HEADER)
        self.assertEqual(arguments[:3], ["/tmp/premoov-v210.mov", True, 4096])
        self.assertEqual(arguments[4], {"value": 30030, "timescale": 30000, "flags": 1,
                                        "epoch": 0})
        self.assertEqual(arguments[5]["videoCodec"], 0x76323130)
        with open(self.path("h"), "rb") as f:
            self.assertEqual(f.read(), header)
        self.assertEqual(os.path.getsize(self.path("m.mov")), 10000000)
        with open(self.path("m.mov"), "rb") as f:
            self.assertEqual(f.read(len(header) + 16), header + bytes(16))

    def test_failure_reply_prints_the_error_and_exits_2(self):
        reply = framed(reply_archive(FAILED_CREATING_HEADER, [True,
                                                              "Could not get max frame size"]))
        result, _ = self.exchange(reply, "--header", self.path("h"))
        self.assertEqual((result.returncode, result.stdout),
                         (2, '{"error":"Could not get max frame size","growing":true}\n'))
        self.assertFalse(os.path.exists(self.path("h")))

    def test_file_size_below_the_header_is_refused(self):
        reply = framed(reply_archive(DID_CREATE_HEADER, [bytes(100), False, 1, 99]))
        result, _ = self.exchange(reply, "--file", self.path("m.mov"))
        self.assertEqual(result.returncode, 2)
        self.assertEqual(json.loads(result.stdout), {
            "error": "the reply's file size is smaller than its header: 99 < 100",
            "growing": False})
        self.assertFalse(os.path.exists(self.path("m.mov")))

    def test_cancel_goes_first_and_no_reply_is_expected(self):
        result, messages = self.exchange(b"", "--cancel-before")
        self.assertEqual((result.returncode, result.stdout), (0, '{"cancelled":true}\n'))
        self.assertEqual([m[0] for m in messages], ["cancel", WRITE_HEADER])
        self.assertEqual(messages[0][1], [])

    def test_replies_the_client_cannot_use_exit_3(self):
        good = framed(reply_archive(FAILED_CREATING_HEADER, [False, "x"]))
        cases = {
            "no reply": b"",
            "two replies": good + good,
            "zero-length frame": b"\x00\x00\x00\x00",
            "cut length": b"\x00\x00",
            "cut payload": good[:-5],
            "frame over 256 MiB": struct.pack(">I", 256 * 1024 * 1024 + 1),
            "no property list": framed(b"not a plist"),
            "unknown selector": framed(reply_archive("didSomething:", [True])),
            "wrong argument count": framed(reply_archive(FAILED_CREATING_HEADER, [True])),
            "header not data": framed(reply_archive(DID_CREATE_HEADER, ["h", True, 1, 2])),
            "frame size beyond 32 bits": framed(reply_archive(DID_CREATE_HEADER,
                                                              [b"h", True, 2**31, 2])),
            "reply after cancel": good,
        }
        for name, reply in cases.items():
            with self.subTest(case=name):
                options = ["--cancel-before"] if name == "reply after cancel" else []
                result, _ = self.exchange(reply, *options)
                self.assertEqual((result.returncode, result.stdout), (3, ""))
                self.assertTrue(result.stderr.startswith("premoov service: "), result.stderr)
                os.unlink(self.socket_path)

    def test_no_service_exits_3(self):
        result = run_client(self.request, "--socket", self.path("nobody.sock"))
        self.assertEqual(result.returncode, 3)
        self.assertIn("nobody.sock", result.stderr)


# ---------------------------------------------------------------------------------------------
# Against premoovd
# ---------------------------------------------------------------------------------------------


def as_received(document):
    """The request whose in-process header equals the service's header for `document`. A real in
    a metadata item arrives as a 4- or 8-byte real, which a connection delivers as a float or a
    double number whatever its type was before archiving: "float32" and "float64" numbers, which
    the metadata stores as integers, arrive as "float" and "double" ones, stored as reals."""
    received = json.loads(json.dumps(document))
    for item in received["settings"].get("metadataItems", []):
        kind = item.get("numberType")
        if kind in ("float32", "float64"):
            item["numberType"] = {"float32": "float", "float64": "double"}[kind]
    return received


class ServiceTest(TempDirTest):
    @classmethod
    def setUpClass(cls):
        if not OPTIONS.premoovd:
            raise unittest.SkipTest("no premoovd binary given")
        cls.service_dir = tempfile.mkdtemp(prefix="premoovd-")
        cls.socket_path = os.path.join(cls.service_dir, "premoov.sock")
        cls.log = open(os.path.join(cls.service_dir, "premoovd.log"), "w+")
        cls.service = subprocess.Popen([OPTIONS.premoovd, "--socket", cls.socket_path],
                                       stdout=cls.log, stderr=subprocess.STDOUT)
        deadline = time.monotonic() + 30
        while not os.path.exists(cls.socket_path):
            if cls.service.poll() is not None or time.monotonic() > deadline:
                cls.tearDownClass()
                raise RuntimeError("premoovd did not make its socket")
            time.sleep(0.05)

    @classmethod
    def tearDownClass(cls):
        cls.service.terminate()
        try:
            cls.service.wait(30)
        except subprocess.TimeoutExpired:
            cls.service.kill()
            cls.service.wait()
        cls.log.close()
        shutil.rmtree(cls.service_dir, ignore_errors=True)

    def ask(self, request, *options):
        return run_client(request, "--socket", self.socket_path, "--timeout", "300", *options)

    def test_every_header_is_the_header_premoov_writes(self):
        for request in request_files():
            with self.subTest(request=os.path.relpath(request, OPTIONS.source_dir)):
                with open(request, encoding="utf-8") as f:
                    reference = self.write_json("reference.json", as_received(json.load(f)))
                theirs = run_premoov("write", reference, "--header", self.path("theirs.hdr"))
                ours = self.ask(request, "--header", self.path("ours.hdr"))
                self.assertEqual((ours.returncode, ours.stdout, ours.stderr),
                                 (theirs.returncode, theirs.stdout, ""))
                if theirs.returncode == 0:
                    with open(self.path("theirs.hdr"), "rb") as a, \
                            open(self.path("ours.hdr"), "rb") as b:
                        self.assertTrue(a.read() == b.read(), "headers differ")

    def test_every_header_is_the_header_premoov_request_gets(self):
        for request in request_files():
            with self.subTest(request=os.path.relpath(request, OPTIONS.source_dir)):
                theirs = run_premoov("request", request, "--socket", self.socket_path,
                                     "--header", self.path("theirs.hdr"))
                ours = self.ask(request, "--header", self.path("ours.hdr"))
                self.assertEqual((ours.returncode, ours.stdout, ours.stderr),
                                 (theirs.returncode, theirs.stdout, ""))
                self.assertEqual(theirs.returncode, 0, theirs.stderr)
                with open(self.path("theirs.hdr"), "rb") as a, \
                        open(self.path("ours.hdr"), "rb") as b:
                    self.assertTrue(a.read() == b.read(), "headers differ")

    def test_movie_file_is_the_file_premoov_writes(self):
        request = os.path.join(OPTIONS.source_dir, "examples", "2vuy_2997_mid_group.json")
        theirs = run_premoov("write", request, "--file", self.path("theirs.mov"))
        ours = self.ask(request, "--file", self.path("ours.mov"))
        self.assertEqual((ours.returncode, ours.stdout), (0, theirs.stdout))
        self.assertEqual(os.path.getsize(self.path("ours.mov")),
                         os.path.getsize(self.path("theirs.mov")))
        room = json.loads(ours.stdout)["headerRoom"]
        with open(self.path("theirs.mov"), "rb") as a, open(self.path("ours.mov"), "rb") as b:
            self.assertTrue(a.read(room + 4096) == b.read(room + 4096))

    def test_refusal_is_the_refusal_premoov_writes(self):
        with open(os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json"),
                  encoding="utf-8") as f:
            document = json.load(f)
        document["settings"]["videoCodec"] = "zzzz"
        request = self.write_json("refused.json", document)
        theirs = run_premoov("write", request, "--header", self.path("h"))
        ours = self.ask(request, "--header", self.path("h"))
        self.assertEqual(theirs.returncode, 2)
        self.assertEqual((ours.returncode, ours.stdout), (2, theirs.stdout))

    def test_cancelled_connection_gets_no_reply(self):
        request = os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json")
        ours = self.ask(request, "--cancel-before", "--header", self.path("h"))
        self.assertEqual((ours.returncode, ours.stdout, ours.stderr),
                         (0, '{"cancelled":true}\n', ""))
        self.assertFalse(os.path.exists(self.path("h")))

    def test_replies_hold_the_objects_the_document_shows(self):
        sys.path.insert(0, os.path.dirname(client_path()))
        import premoov_client  # noqa: E402
        import protocol_examples  # noqa: E402

        request = premoov_client.read_request_file(protocol_examples.EXAMPLE_REQUEST)
        with open(protocol_examples.EXAMPLE_REQUEST, encoding="utf-8") as f:
            document = json.load(f)
        document["settings"] = {"videoCodec": "zzzz"}  # no frame size for it
        refused = premoov_client.read_request_file(self.write_json("refused.json", document))
        for asked, expected in [
                (request, [premoov_client.DID_CREATE_HEADER, None,
                           *protocol_examples.EXAMPLE_REPLY]),
                (refused, [premoov_client.FAILED_CREATING_HEADER, True,
                           "Could not get max frame size"])]:
            with self.subTest(reply=expected[0]):
                replies = premoov_client.exchange(
                    self.socket_path, [premoov_client.request_payload(asked)], 300)
                self.assertEqual(len(replies), 1)
                selector, arguments = premoov_client.decode_message(replies[0])
                if expected[1] is None:
                    self.assertEqual(len(arguments[0]), protocol_examples.HEADER_ROOM)
                    expected[1] = arguments[0]
                ours = premoov_client.message_payload(expected[0], expected[1:])
                self.assertEqual(plistlib.loads(replies[0]), plistlib.loads(ours))

    def test_xml_request_gets_the_header_of_the_binary_one(self):
        sys.path.insert(0, os.path.dirname(client_path()))
        import premoov_client  # noqa: E402

        def xml_form(value):  # a UID is written as a dictionary of "CF$UID"
            if isinstance(value, plistlib.UID):
                return {"CF$UID": value.data}
            if isinstance(value, dict):
                return {k: xml_form(v) for k, v in value.items()}
            if isinstance(value, list):
                return [xml_form(v) for v in value]
            return value

        request = premoov_client.read_request_file(
            os.path.join(OPTIONS.source_dir, "examples", "2vuy_2997_mid_group.json"))
        binary = premoov_client.request_payload(request)
        xml = plistlib.dumps(xml_form(plistlib.loads(binary)), fmt=plistlib.FMT_XML)
        self.assertTrue(xml.startswith(b"<?xml"))
        replies = [premoov_client.reply_of(premoov_client.exchange(self.socket_path, [p], 300)[0])
                   for p in (binary, xml)]
        self.assertTrue(replies[0].created)
        self.assertEqual(len(replies[0].header), 4194304)
        self.assertTrue(replies[0].header == replies[1].header)

    def test_bad_messages_are_dropped_or_close_the_connection(self):
        sys.path.insert(0, os.path.dirname(client_path()))
        import premoov_client as pc  # noqa: E402

        request = pc.read_request_file(
            os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json"))
        good = pc.request_payload(request)

        def with_settings(extra):
            arguments = request.arguments()
            arguments[5] = dict(arguments[5], **extra)
            return pc.message_payload(pc.WRITE_HEADER, arguments)

        dropped = {
            "a date in the settings": with_settings({"when": pc.Date(0)}),
            "an item whose key is no string": with_settings(
                {"metadataItems": [pc.MetadataItem(5, pc.MetadataItem.STRING, "x")]}),
        }
        closing = {
            "an unknown selector": pc.message_payload("writeHeader:", [1]),
            "five arguments": pc.message_payload(pc.WRITE_HEADER, request.arguments()[:5]),
            "a path that is no string": pc.message_payload(
                pc.WRITE_HEADER, [7] + request.arguments()[1:]),
            "a block size beyond 32 bits": pc.message_payload(
                pc.WRITE_HEADER, request.arguments()[:2] + [2**32] + request.arguments()[3:]),
            "no keyed archive": plistlib.dumps({"selector": "cancel"}, fmt=plistlib.FMT_BINARY),
        }
        # The requests before and after get their replies, or only the one before.
        for expected, cases in ((2, dropped), (1, closing)):
            for name, payload in cases.items():
                with self.subTest(case=name):
                    replies = pc.exchange(self.socket_path, [good, payload, good], 300)
                    self.assertEqual([pc.reply_of(r).created for r in replies], [True] * expected)

    def test_service_survives_a_broken_frame(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as s:
            s.settimeout(60)
            s.connect(self.socket_path)
            s.sendall(struct.pack(">I", 16 * 1024 * 1024 + 1))
            self.assertEqual(s.recv(1), b"")  # closed without a reply
        request = os.path.join(OPTIONS.source_dir, "examples", "v210_2997i_2ch_tc_cc.json")
        self.assertEqual(self.ask(request).returncode, 0)


def main():
    global OPTIONS
    parser = argparse.ArgumentParser()
    parser.add_argument("--premoov", required=True)
    parser.add_argument("--source-dir", required=True)
    parser.add_argument("--premoovd")
    OPTIONS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
