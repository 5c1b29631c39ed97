#!/usr/bin/env python3
"""A client of the premoov header service, in Python's standard library alone.

    premoov_client.py REQUEST.json [--socket PATH] [--header OUT] [--file OUT.mov]
                      [--cancel-before] [--timeout SECONDS]
    premoov_client.py REQUEST.json --dump-request FILE

It reads a request file (the JSON that `premoov write` reads, converted value by value as premoov
converts it), archives the request as the service reads it (a keyed archive in Foundation's
NSKeyedArchiver layout, written as a binary property list), sends it in one frame and reads the
replies until the service closes the connection. It prints what `premoov write` prints:
{"growing":…,"frameSize":…,"fileSize":…,"headerRoom":…}, or {"error":"…","growing":…}
with exit code 2 when the service refuses the request. Exit codes: 0 done, 1 bad input (request
file, arguments, output files), 2 refused, 3 no usable answer from the service (cannot connect,
broken frame or archive, no reply, more than one).

docs/protocol.md describes the frames, the archive layout and the messages.
"""

import argparse
import base64
import dataclasses
import io
import json
import math
import os
import plistlib
import socket
import struct
import sys

EXIT_SUCCESS = 0
EXIT_BAD_INPUT = 1
EXIT_REFUSED = 2
EXIT_SERVICE = 3

WRITE_HEADER = "writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:"
CANCEL = "cancel"
DID_CREATE_HEADER = "didCreateHeader:growing:frameSize:fileSize:"
FAILED_CREATING_HEADER = "failedCreatingGrowingHeader:error:"

MAX_REQUEST_PAYLOAD = 16 * 1024 * 1024  # the most the service reads in one frame
MAX_REPLY_PAYLOAD = 256 * 1024 * 1024  # a reply holds the header room, up to ~172 MiB
REQUEST_FILE_LIMIT = 64 * 1024 * 1024  # as premoov write reads request files
MAX_DECODE_DEPTH = 64  # archived objects nested deeper than this are refused

INT32_MIN, INT32_MAX = -(2**31), 2**31 - 1
INT64_MIN, INT64_MAX = -(2**63), 2**63 - 1
UINT32_MAX = 2**32 - 1
UINT64_MAX = 2**64 - 1
FLT_MAX = struct.unpack("<f", b"\xff\xff\x7f\x7f")[0]

# What premoov says of bad values in a request file, word for word, after `"KEY.PATH" `.
MISSING = "is missing"
NOT_OBJECT = "must be an object"
NOT_ARRAY = "must be an array"
NOT_STRING = "must be a string"
NOT_BOOLEAN = "must be true or false"
NOT_NUMBER = "must be a number"
NOT_INTEGER_IN_RANGE = "must be an integer from "
NOT_FOUR_CHARACTER_CODE = (
    "must be a four-character string of printable ASCII or an integer from 0 to 4294967295")
NOT_CMTIME = (
    'must be a time {"value": integer, "timescale": integer, optional "flags", "epoch"}')
NOT_DATA = 'must be data written {"base64": "..."}'
NOT_BASE64 = "is not valid base64"
NOT_DIMENSIONS = "must be [width, height] of integers"
NOT_COORDINATES = "must be [x, y, z] of numbers"
NOT_STREAM_DESCRIPTION = (
    'must be an audio stream description object or data written {"base64": "..."}')
NOT_CHANNEL_LAYOUT = 'must be a channel layout object or data written {"base64": "..."}'
NOT_METADATA_ITEM = (
    'must be {"key": string} with exactly one of "string", "number" (and "numberType"), '
    '"date" or "tokens" (and "string")')
NOT_NUMBER_TYPE = (
    'must be one of "int32", "int64", "float32", "float64", "float", "double"')
NOT_INTEGER_FOR_TYPE = "must be an integer for its number type"
NOT_ISO8601_DATE = (
    'must be an ISO 8601 date and time with its offset, like "2024-03-05T14:07:09+01:00"')


class BadInput(Exception):
    """A request file or argument the client cannot use (exit code 1)."""


class ServiceError(Exception):
    """No usable answer from the service (exit code 3)."""


# ---------------------------------------------------------------------------------------------
# Values of a request, as the archive stores them
# ---------------------------------------------------------------------------------------------


class _Real(float):
    """A real compared by its bits, so that plistlib never stores 0.0 and -0.0 as one object."""

    def __eq__(self, other):
        return type(self) is type(other) and struct.pack("<d", self) == struct.pack("<d", other)

    def __ne__(self, other):
        return not self.__eq__(other)

    def __hash__(self):
        return hash(struct.pack("<d", self))


class Double(_Real):
    """A double-precision number: an 8-byte real in the archive."""


class Single(_Real):
    """A single-precision number (float, float32): a 4-byte real in the archive, as Foundation
    stores an NSNumber made from a float. The value is already rounded to a float."""


class Date:
    """An NSDate: seconds since 2001-01-01 00:00:00 UTC."""

    def __init__(self, seconds):
        self.seconds = float(seconds)

    def __eq__(self, other):
        return isinstance(other, Date) and self.seconds == other.seconds

    def __repr__(self):
        return "Date(%r)" % self.seconds


@dataclasses.dataclass(eq=False)  # an item is itself, as an object is: shared by identity
class MetadataItem:
    """A ZPRMetadataItem: a key and one typed value. value_type 0 string, 1 number, 2 date,
    3 token list (its per-element texts, and optionally the list's own text)."""

    STRING, NUMBER, DATE, TOKENS = 0, 1, 2, 3

    key: object
    value_type: object
    string_value: object = None
    number_value: object = None
    date_value: object = None
    token_values: object = None

    def archived_fields(self):
        """The keys the item encodes, in its order: key, valueType, then its value's keys."""
        fields = [("key", self.key), ("valueType", _Integer(self.value_type))]
        if self.value_type == self.NUMBER:
            fields.append(("numberValue", self.number_value))
        elif self.value_type == self.DATE:
            fields.append(("dateValue", self.date_value))
        elif self.value_type == self.TOKENS:
            fields.append(("tokenValues", self.token_values))
            fields.append(("stringValue", self.string_value))
        elif self.value_type == self.STRING:
            fields.append(("stringValue", self.string_value))
        return fields


class _Integer(int):
    """An integer the coder writes in place (encodeInteger:forKey:), not as a referenced object."""


@dataclasses.dataclass
class Request:
    """The arguments of writeQuickTimeHeaderAtPath:newFile:blockSize:uniqueID:duration:settings:."""

    path: str
    new_file: bool
    block_size: int
    unique_id: object
    duration: dict  # the time dictionary
    settings: dict

    def arguments(self):
        return [self.path, self.new_file, self.block_size, self.unique_id, self.duration,
                self.settings]


# ---------------------------------------------------------------------------------------------
# The request file, converted as premoov converts it
# ---------------------------------------------------------------------------------------------


def _key_error(path, text):
    return BadInput('"%s" %s' % (path, text))


def _member_path(parent, key):
    return parent + "." + key if parent else key


def _element_path(parent, index):
    return "%s[%d]" % (parent, index)


def _is_integer(value):
    return isinstance(value, int) and not isinstance(value, bool)


def _is_number(value):
    return _is_integer(value) or isinstance(value, float)


def _required(obj, parent, key):
    if key not in obj:
        raise _key_error(_member_path(parent, key), MISSING)
    return obj[key]


def _integer_in(value, path, low, high):
    if not _is_integer(value) or not low <= value <= high:
        raise _key_error(path, "%s%d to %d" % (NOT_INTEGER_IN_RANGE, low, high))
    return value


def _unsigned32(value, path):
    return _integer_in(value, path, 0, UINT32_MAX)


def _number(value, path):
    """Any finite number, as a float."""
    if not _is_number(value) or not math.isfinite(_as_float(value)):
        raise _key_error(path, NOT_NUMBER)
    return _as_float(value)


def _as_float(value):
    try:
        return float(value)
    except OverflowError:
        return math.copysign(math.inf, value)


def _boolean(value, path):
    if not isinstance(value, bool):
        raise _key_error(path, NOT_BOOLEAN)
    return value


def _string(value, path):
    if not isinstance(value, str):
        raise _key_error(path, NOT_STRING)
    return value


def _four_character_code(value, path):
    """"apch" (four printable ASCII characters) or an integer 0 … 2^32 - 1, as an integer."""
    if isinstance(value, str):
        if len(value) == 4 and all(0x20 <= ord(c) <= 0x7E for c in value):
            return int.from_bytes(value.encode("ascii"), "big")
    elif _is_integer(value) and 0 <= value <= UINT32_MAX:
        return value
    raise _key_error(path, NOT_FOUR_CHARACTER_CODE)


def _is_data_object(value):
    return isinstance(value, dict) and "base64" in value


def _data(value, path):
    if not _is_data_object(value):
        raise _key_error(path, NOT_DATA)
    text_path = _member_path(path, "base64")
    text = value["base64"]
    if not isinstance(text, str):
        raise _key_error(text_path, NOT_STRING)
    # Only the canonical text: padded to a multiple of four, the unused bits of the last
    # character zero. Encoding the bytes again must give the text back.
    try:
        raw = base64.b64decode(text.encode("ascii"), validate=True)
    except (ValueError, UnicodeEncodeError):
        raise _key_error(text_path, NOT_BASE64) from None
    if base64.b64encode(raw).decode("ascii") != text:
        raise _key_error(text_path, NOT_BASE64)
    return raw


def time_dictionary(value, path):
    """A time {"value", "timescale", "flags" (default 1: valid), "epoch" (default 0)} as the
    dictionary CMTimeMakeFromDictionary reads."""
    if not isinstance(value, dict):
        raise _key_error(path, NOT_CMTIME)
    fields = (("value", INT64_MIN, INT64_MAX, None), ("timescale", INT32_MIN, INT32_MAX, None),
              ("flags", 0, UINT32_MAX, 1), ("epoch", INT64_MIN, INT64_MAX, 0))
    time = {}
    for key, low, high, absent in fields:
        if key in value:
            time[key] = _integer_in(value[key], _member_path(path, key), low, high)
        elif absent is None:
            raise _key_error(_member_path(path, key), MISSING)
        else:
            time[key] = absent
    return time


def _settings_number(value, path):
    if isinstance(value, float):
        return Double(_number(value, path))
    if not _is_integer(value):
        raise _key_error(path, NOT_NUMBER)
    return _integer_in(value, path, INT64_MIN, INT64_MAX)


def _dimensions(value, path):
    """Width and height as two 32-bit signed integers in host byte order (little-endian here)."""
    if _is_data_object(value):
        return _data(value, path)
    if not isinstance(value, list) or len(value) != 2:
        raise _key_error(path, NOT_DIMENSIONS)
    size = []
    for element in value:
        if not _is_integer(element) or not INT32_MIN <= element <= INT32_MAX:
            raise _key_error(path, NOT_DIMENSIONS)
        size.append(element)
    return struct.pack("<ii", *size)


def _optional_unsigned32(obj, path, key):
    return _unsigned32(obj[key], _member_path(path, key)) if key in obj else 0


def _required_unsigned32(obj, path, key):
    return _unsigned32(_required(obj, path, key), _member_path(path, key))


def stream_description_bytes(value, path):
    """The 40 host-order bytes of an AudioStreamBasicDescription: a double sample rate, then
    format ID, format flags, bytes per packet, frames per packet, bytes per frame, channels per
    frame, bits per channel and a reserved word, each 32 bits."""
    if _is_data_object(value):
        return _data(value, path)
    if not isinstance(value, dict):
        raise _key_error(path, NOT_STREAM_DESCRIPTION)
    rate = _number(_required(value, path, "sampleRate"), _member_path(path, "sampleRate"))
    format_id = _four_character_code(_required(value, path, "formatID"),
                                     _member_path(path, "formatID"))
    words = [_required_unsigned32(value, path, key)
             for key in ("formatFlags", "bytesPerPacket", "framesPerPacket", "bytesPerFrame",
                         "channelsPerFrame", "bitsPerChannel")]
    reserved = _optional_unsigned32(value, path, "reserved")
    return struct.pack("<dIIIIIIII", rate, format_id, *words, reserved)


def _float32(value):
    """`value` rounded to a float as IEEE arithmetic rounds it: infinite beyond the float range."""
    try:
        return struct.unpack("<f", struct.pack("<f", value))[0]
    except OverflowError:
        return math.copysign(math.inf, value)


def _channel_description_bytes(value, path):
    if not isinstance(value, dict):
        raise _key_error(path, NOT_OBJECT)
    label = _required_unsigned32(value, path, "label")
    flags = _optional_unsigned32(value, path, "flags")
    coordinates = [0.0, 0.0, 0.0]
    if "coordinates" in value:
        given = value["coordinates"]
        coordinates_path = _member_path(path, "coordinates")
        if not isinstance(given, list) or len(given) != 3:
            raise _key_error(coordinates_path, NOT_COORDINATES)
        for i, coordinate in enumerate(given):
            # Coordinates are 32-bit floats; a larger number would not convert.
            if not _is_number(coordinate) or abs(_as_float(coordinate)) > FLT_MAX:
                raise _key_error(coordinates_path, NOT_COORDINATES)
            coordinates[i] = _as_float(coordinate)
    return struct.pack("<IIfff", label, flags, *coordinates)


def channel_layout_bytes(value, path):
    """The host-order bytes of an AudioChannelLayout: tag, bitmap, the number of descriptions,
    then 20 bytes per description (label, flags, three float coordinates)."""
    if _is_data_object(value):
        return _data(value, path)
    if not isinstance(value, dict):
        raise _key_error(path, NOT_CHANNEL_LAYOUT)
    tag = _required_unsigned32(value, path, "tag")
    bitmap = _optional_unsigned32(value, path, "bitmap")
    descriptions = []
    if "descriptions" in value:
        given = value["descriptions"]
        descriptions_path = _member_path(path, "descriptions")
        if not isinstance(given, list):
            raise _key_error(descriptions_path, NOT_ARRAY)
        for i, description in enumerate(given):
            descriptions.append(
                _channel_description_bytes(description, _element_path(descriptions_path, i)))
    return struct.pack("<III", tag, bitmap, len(descriptions)) + b"".join(descriptions)


def _data_array(value, path, convert):
    if not isinstance(value, list):
        raise _key_error(path, NOT_ARRAY)
    return [convert(element, _element_path(path, i)) for i, element in enumerate(value)]


def _extension_atoms(value, path):
    if not isinstance(value, dict):
        raise _key_error(path, NOT_OBJECT)
    return {key: _data(atom, _member_path(path, key)) for key, atom in value.items()}


def _is_digit(c):
    return c is not None and "0" <= c <= "9"


class _Scanner:
    def __init__(self, text):
        self.text = text
        self.at = 0

    def digits(self, count):
        chunk = self.text[self.at:self.at + count]
        if len(chunk) != count or not all(_is_digit(c) for c in chunk):
            return None
        self.at += count
        return int(chunk)

    def take(self, c):
        if self.peek() == c:
            self.at += 1
            return True
        return False

    def peek(self):
        return self.text[self.at] if self.at < len(self.text) else None

    def at_end(self):
        return self.at == len(self.text)


def _days_from_civil(y, m, d):
    """Days from 1970-01-01 to a date of the proleptic Gregorian calendar."""
    y -= 1 if m <= 2 else 0
    era = (y if y >= 0 else y - 399) // 400
    yoe = y - era * 400
    doy = (153 * (m + (-3 if m > 2 else 9)) + 2) // 5 + d - 1
    doe = yoe * 365 + yoe // 4 - yoe // 100 + doy
    return era * 146097 + doe - 719468


def _valid_date(y, m, d):
    if m < 1 or m > 12 or d < 1:
        return False
    days = [31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31][m - 1]
    leap = (y % 4 == 0 and y % 100 != 0) or y % 400 == 0
    return d <= days + (1 if m == 2 and leap else 0)


def seconds_since_reference_date(text):
    """Seconds since 2001-01-01 00:00:00 UTC of "2024-03-05T14:07:09.25+01:00" (or "...Z"),
    computed with the same double arithmetic as premoov; None for any other text."""
    s = _Scanner(text)
    fields = []
    # Each field's digits, then one of the separators that may follow it.
    for width, separators in ((4, "-"), (2, "-"), (2, "T "), (2, ":"), (2, ":"), (2, "")):
        field = s.digits(width)
        if field is None or (separators and not any(s.take(c) for c in separators)):
            return None
        fields.append(field)
    year, month, day, hour, minute, second = fields
    fraction = 0.0
    if s.take("."):
        scale = 0.1
        any_digit = False
        while _is_digit(s.peek()):
            fraction += (ord(s.peek()) - ord("0")) * scale
            scale /= 10
            any_digit = True
            s.digits(1)
        if not any_digit:
            return None
    offset = 0
    if not s.take("Z"):
        minus = s.peek() == "-"
        if not s.take("+") and not s.take("-"):
            return None
        offset_hours = s.digits(2)
        if offset_hours is None:
            return None
        s.take(":")
        offset_minutes = s.digits(2)
        if offset_minutes is None or offset_hours > 23 or offset_minutes > 59:
            return None
        offset = (offset_hours * 3600 + offset_minutes * 60) * (-1 if minus else 1)
    if (not s.at_end() or not _valid_date(year, month, day) or hour > 23 or minute > 59
            or second > 60):
        return None
    since_1970 = (_days_from_civil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second
                  - offset)
    return float(since_1970 - 978307200) + fraction


# How "numberType" names map to the archived number: an integer, or a real of 4 or 8 bytes.
_NUMBER_TYPES = {"int32": "int32", "int64": "int64", "float32": Single, "float64": Double,
                 "float": Single, "double": Double}


def _item_number(element, path):
    number = element["number"]
    number_path = _member_path(path, "number")
    if not _is_number(number):
        raise _key_error(number_path, NOT_NUMBER)
    integral = _is_integer(number)
    kind = "int64" if integral else Double
    if "numberType" in element:
        name = element["numberType"]
        if not isinstance(name, str) or name not in _NUMBER_TYPES:
            raise _key_error(_member_path(path, "numberType"), NOT_NUMBER_TYPE)
        kind = _NUMBER_TYPES[name]
    if kind is Single:
        return Single(_float32(_number(number, number_path)))
    if kind is Double:
        return Double(_number(number, number_path))
    if not integral:
        raise _key_error(number_path, NOT_INTEGER_FOR_TYPE)
    if kind == "int32":
        return _integer_in(number, number_path, INT32_MIN, INT32_MAX)
    return _integer_in(number, number_path, INT64_MIN, INT64_MAX)


def metadata_item(element, path):
    """One element of "metadataItems" as a metadata item (see README.md, "The tool")."""
    if not isinstance(element, dict):
        raise _key_error(path, NOT_METADATA_ITEM)
    values = 0
    for name in element:
        if name in ("number", "date", "tokens"):
            values += 1
        elif name == "string":
            values += 0 if "tokens" in element else 1
        elif name == "numberType":
            if "number" not in element:
                raise _key_error(path, NOT_METADATA_ITEM)
        elif name != "key":
            raise _key_error(path, NOT_METADATA_ITEM)
    if values != 1:
        raise _key_error(path, NOT_METADATA_ITEM)
    key = _string(_required(element, path, "key"), _member_path(path, "key"))
    text = None
    if "string" in element:
        text = _string(element["string"], _member_path(path, "string"))
    if "number" in element:
        return MetadataItem(key, MetadataItem.NUMBER, number_value=_item_number(element, path))
    if "date" in element:
        date_path = _member_path(path, "date")
        seconds = seconds_since_reference_date(_string(element["date"], date_path))
        if seconds is None:
            raise _key_error(date_path, NOT_ISO8601_DATE)
        return MetadataItem(key, MetadataItem.DATE, date_value=Date(seconds))
    if "tokens" in element:
        tokens_path = _member_path(path, "tokens")
        tokens = element["tokens"]
        if not isinstance(tokens, list):
            raise _key_error(tokens_path, NOT_ARRAY)
        texts = [_string(t, _element_path(tokens_path, i)) for i, t in enumerate(tokens)]
        # A token list keeps its own text alongside, as a client sets it.
        return MetadataItem(key, MetadataItem.TOKENS, string_value=text, token_values=texts)
    return MetadataItem(key, MetadataItem.STRING, string_value=text if text is not None else "")


def _metadata_items(value, path):
    if not isinstance(value, list):
        raise _key_error(path, NOT_ARRAY)
    return [metadata_item(element, _element_path(path, i)) for i, element in enumerate(value)]


# The settings keys in the order the movie creator reads them, each with its conversion.
SETTINGS_KEYS = (
    ("videoCodec", _four_character_code),
    ("videoFrameDuration", time_dictionary),
    ("maxVideoFrameSize", _settings_number),
    ("firstFrameOverhead", _settings_number),
    ("isLongGOP", _boolean),
    ("numberOfFields", _settings_number),
    ("fieldOrder", _settings_number),
    ("horizontalSpacing", _settings_number),
    ("verticalSpacing", _settings_number),
    ("colorPrimaries", _settings_number),
    ("transferFunction", _settings_number),
    ("matrix", _settings_number),
    ("numberOfAudioTracks", _settings_number),
    ("timecodeIsDropFrame", _boolean),
    ("formatName", _string),
    ("reelName", _string),
    ("asbds", lambda v, p: _data_array(v, p, stream_description_bytes)),
    ("layouts", lambda v, p: _data_array(v, p, channel_layout_bytes)),
    ("globalTimecode", _boolean),
    ("addClosedCaptionTrack", _boolean),
    ("extensionAtoms", _extension_atoms),
    ("software", _string),
    ("metadataItems", _metadata_items),
    ("videoDimensions", _dimensions),
)


def settings_dictionary(value, path="settings"):
    """The settings dictionary of a request from the "settings" object of a request file;
    unknown keys are left out."""
    if not isinstance(value, dict):
        raise _key_error(path, NOT_OBJECT)
    settings = {}
    for key, convert in SETTINGS_KEYS:
        if key in value:
            settings[key] = convert(value[key], _member_path(path, key))
    return settings


def _unique_id(value):
    """A string, number or boolean identifier. Anything else, and no "uniqueID" at all, is held
    as an empty dictionary, as premoov's request reader holds it; the service ignores it."""
    if isinstance(value, (str, bool)):
        return value
    if isinstance(value, float):
        return Double(value)
    if _is_integer(value):
        return value if value <= INT64_MAX else Double(float(value))
    return {}


def request_from_json(document):
    if not isinstance(document, dict):
        raise BadInput("the request must be a JSON object")
    path = _string(_required(document, "", "path"), "path")
    new_file = _boolean(_required(document, "", "newFile"), "newFile")
    block_size = _unsigned32(_required(document, "", "blockSize"), "blockSize")
    unique_id = _unique_id(document.get("uniqueID"))
    duration = time_dictionary(_required(document, "", "duration"), "duration")
    settings = settings_dictionary(_required(document, "", "settings"), "settings")
    return Request(path, new_file, block_size, unique_id, duration, settings)


def _json_integer(text):
    """JSON integers as premoov's JSON reader keeps them: 64-bit signed or unsigned, and a
    double beyond those."""
    value = int(text)
    return value if INT64_MIN <= value <= UINT64_MAX else float(text)


def _refuse_constant(name):
    raise ValueError("%s is not JSON" % name)


def _check_text(value):
    """Refuses lone surrogates (from "\\ud800" escapes), which are no Unicode text."""
    if isinstance(value, str):
        value.encode("utf-8")
    elif isinstance(value, dict):
        for key, member in value.items():
            key.encode("utf-8")
            _check_text(member)
    elif isinstance(value, list):
        for element in value:
            _check_text(element)


def parse_request(text, file_name):
    try:
        document = json.loads(text, parse_int=_json_integer, parse_constant=_refuse_constant)
        _check_text(document)
    except (ValueError, RecursionError) as error:
        raise BadInput("%s: malformed JSON: %s" % (file_name, error)) from None
    try:
        return request_from_json(document)
    except BadInput as error:
        raise BadInput("%s: %s" % (file_name, error)) from None


def read_request_file(file_name):
    try:
        with open(file_name, "rb") as f:
            raw = f.read(REQUEST_FILE_LIMIT + 1)
    except OSError as error:
        raise BadInput("%s: cannot read: %s" % (file_name, os.strerror(error.errno or 0))) from None
    if len(raw) > REQUEST_FILE_LIMIT:
        raise BadInput("%s: is larger than the tool reads: %d bytes"
                       % (file_name, REQUEST_FILE_LIMIT))
    try:
        text = raw.decode("utf-8-sig")
    except UnicodeDecodeError as error:
        raise BadInput("%s: malformed JSON: %s" % (file_name, error)) from None
    return parse_request(text, file_name)


# ---------------------------------------------------------------------------------------------
# Keyed archives
# ---------------------------------------------------------------------------------------------

_CLASS_CHAINS = {
    "NSDictionary": ["NSDictionary", "NSObject"],
    "NSArray": ["NSArray", "NSObject"],
    "NSDate": ["NSDate", "NSObject"],
    "ZPRMetadataItem": ["ZPRMetadataItem", "NSObject"],
}


def _utf8_order(key):
    return key.encode("utf-8")


class KeyedArchiver:
    """Writes an object graph in the NSKeyedArchiver layout. "$objects" starts with "$null";
    every object is stored once and referred to by UID: equal strings share one entry, a metadata
    item is stored once however often it is referred to, and each class entry is written once.
    A collection's slot comes before its contents and its class entry after them; a dictionary's
    keys are encoded before its values, in the byte order of their UTF-8 text."""

    def __init__(self):
        self.objects = ["$null"]
        self._strings = {}
        self._items = {}
        self._classes = {}

    def archive(self, root):
        """The archive of `root` as a plist value (a dictionary), ready for plistlib."""
        top = {"root": self.encode(root)}
        return {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top,
                "$objects": self.objects}

    def encode(self, value):
        """The UID of `value`, stored first when it is not yet in the archive."""
        if value is None:
            return plistlib.UID(0)
        if isinstance(value, str):
            if value not in self._strings:
                self._strings[value] = self._append(value)
            return self._strings[value]
        if isinstance(value, (bool, int, float, bytes)):
            return self._append(value)
        if isinstance(value, MetadataItem):
            return self._encode_item(value)
        if isinstance(value, (Date, list, dict)):
            return self._encode_collection(value)
        raise TypeError("cannot archive %r" % (value,))

    def _append(self, obj):
        self.objects.append(obj)
        return plistlib.UID(len(self.objects) - 1)

    def _class_entry(self, name):
        if name not in self._classes:
            entry = {"$classname": name, "$classes": list(_CLASS_CHAINS[name])}
            self._classes[name] = self._append(entry)
        return self._classes[name]

    def _encode_collection(self, value):
        uid = self._append(None)
        if isinstance(value, Date):
            obj = {"NS.time": Double(value.seconds)}
            name = "NSDate"
        elif isinstance(value, list):
            obj = {"NS.objects": [self.encode(element) for element in value]}
            name = "NSArray"
        else:
            keys = sorted(value, key=_utf8_order)
            obj = {"NS.keys": [self.encode(key) for key in keys]}
            obj["NS.objects"] = [self.encode(value[key]) for key in keys]
            name = "NSDictionary"
        obj["$class"] = self._class_entry(name)
        self.objects[uid.data] = obj
        return uid

    def _encode_item(self, item):
        if id(item) in self._items:
            return self._items[id(item)][0]
        uid = self._append(None)
        self._items[id(item)] = (uid, item)  # kept alive so that no id is seen twice
        obj = {}
        for key, field in item.archived_fields():
            obj[key] = int(field) if isinstance(field, _Integer) else self.encode(field)
        obj["$class"] = self._class_entry("ZPRMetadataItem")
        self.objects[uid.data] = obj
        return uid


class _BinaryWriter(plistlib._BinaryPlistWriter):
    """plistlib's binary writer, taught one more value: Single, a 4-byte real (marker 0x22).
    plistlib writes every other float as an 8-byte real."""

    def _write_object(self, value):
        if not isinstance(value, Single):
            return super()._write_object(value)
        self._object_offsets[self._getrefnum(value)] = self._fp.tell()
        self._fp.write(struct.pack(">Bf", 0x22, value))
        return None


def binary_plist(value):
    """`value` as a binary property list (bplist00), dictionaries in their own order."""
    out = io.BytesIO()
    _BinaryWriter(out, sort_keys=False, skipkeys=False).write(value)
    return out.getvalue()


def archived_data(root):
    """archivedDataWithRootObject: the keyed archive of `root` as a binary property list."""
    return binary_plist(KeyedArchiver().archive(root))


def message_payload(selector, arguments):
    """The payload of one message: the archive of {"selector": …, "arguments": […]}."""
    return archived_data({"selector": selector, "arguments": list(arguments)})


def request_payload(request):
    return message_payload(WRITE_HEADER, request.arguments())


def cancel_payload():
    return message_payload(CANCEL, [])


class KeyedUnarchiver:
    """Reads a keyed archive back into Python values: strings, integers, floats, booleans, bytes,
    lists, dictionaries, Date, MetadataItem, None for "$null". Every reference is checked; an
    object is decoded once however many references name it; cycles and nesting deeper than
    MAX_DECODE_DEPTH are refused with ServiceError."""

    def __init__(self, payload):
        try:
            archive = plistlib.loads(payload)
        except Exception as error:  # plistlib raises many kinds for broken input
            raise ServiceError("the payload is no property list: %s" % error) from None
        if not isinstance(archive, dict) or archive.get("$archiver") != "NSKeyedArchiver":
            raise ServiceError("the payload is no keyed archive")
        self.objects = archive.get("$objects")
        top = archive.get("$top")
        if not isinstance(self.objects, list) or not isinstance(top, dict):
            raise ServiceError("the keyed archive has no \"$objects\" or \"$top\"")
        self.root_uid = top.get("root")
        self._decoded = {}
        self._decoding = set()

    def root(self):
        return self.decode(self.root_uid, 0)

    def _object(self, uid):
        if not isinstance(uid, plistlib.UID) or not 0 <= uid.data < len(self.objects):
            raise ServiceError("reference outside \"$objects\": %r" % (uid,))
        return self.objects[uid.data]

    def _class_name(self, obj):
        entry = self._object(obj.get("$class"))
        classes = entry.get("$classes") if isinstance(entry, dict) else None
        if isinstance(classes, list) and classes and isinstance(classes[0], str):
            return classes[0]
        name = entry.get("$classname") if isinstance(entry, dict) else None
        if not isinstance(name, str):
            raise ServiceError("an object without a class entry")
        return name

    def decode(self, uid, depth):
        obj = self._object(uid)
        if uid.data == 0:
            return None
        if not isinstance(obj, dict):
            return obj
        if uid.data in self._decoded:
            return self._decoded[uid.data]
        if uid.data in self._decoding:
            raise ServiceError("object %d contains itself" % uid.data)
        if depth >= MAX_DECODE_DEPTH:
            raise ServiceError("objects nested deeper than %d" % MAX_DECODE_DEPTH)
        self._decoding.add(uid.data)
        value = self._decode_object(obj, depth + 1)
        self._decoding.discard(uid.data)
        self._decoded[uid.data] = value
        return value

    def _references(self, obj, key):
        refs = obj.get(key)
        if not isinstance(refs, list):
            raise ServiceError("an object without its %s" % key)
        return refs

    def _decode_object(self, obj, depth):
        name = self._class_name(obj)
        if name in ("NSArray", "NSMutableArray"):
            return [self.decode(u, depth) for u in self._references(obj, "NS.objects")]
        if name in ("NSDictionary", "NSMutableDictionary"):
            keys = [self.decode(u, depth) for u in self._references(obj, "NS.keys")]
            values = [self.decode(u, depth) for u in self._references(obj, "NS.objects")]
            if len(keys) != len(values) or not all(isinstance(k, str) for k in keys):
                raise ServiceError("a dictionary whose keys are not strings, one per value")
            return dict(zip(keys, values))
        if name == "NSDate":
            time = obj.get("NS.time")
            if not isinstance(time, (int, float)) or isinstance(time, bool):
                raise ServiceError("a date without its time")
            return Date(time)
        if name in ("NSString", "NSMutableString"):
            return obj.get("NS.string")
        if name in ("NSData", "NSMutableData"):
            return obj.get("NS.data")
        if name == "ZPRMetadataItem":
            fields = {k: (self.decode(v, depth) if isinstance(v, plistlib.UID) else v)
                      for k, v in obj.items() if k != "$class"}
            return MetadataItem(fields.get("key"), fields.get("valueType"),
                                fields.get("stringValue"), fields.get("numberValue"),
                                fields.get("dateValue"), fields.get("tokenValues"))
        fields = {"$classname": name}
        for key, value in obj.items():
            if key != "$class":
                is_reference = isinstance(value, plistlib.UID)
                fields[key] = self.decode(value, depth) if is_reference else value
        return fields


def decode_message(payload):
    """(selector, arguments) of one message payload."""
    root = KeyedUnarchiver(payload).root()
    if not isinstance(root, dict) or set(root) != {"selector", "arguments"}:
        raise ServiceError("the message is no dictionary of \"selector\" and \"arguments\"")
    selector, arguments = root["selector"], root["arguments"]
    if not isinstance(selector, str) or not isinstance(arguments, list):
        raise ServiceError("the message's selector is no string or its arguments no array")
    return selector, arguments


# ---------------------------------------------------------------------------------------------
# Replies
# ---------------------------------------------------------------------------------------------


@dataclasses.dataclass
class Reply:
    """didCreateHeader (created) or failedCreatingGrowingHeader (not created, with its error)."""

    created: bool
    growing: bool
    header: bytes = b""
    frame_size: int = 0
    file_size: int = 0
    error: str = ""


def _reply_boolean(value):
    if isinstance(value, bool):
        return value
    if _is_integer(value):
        return value != 0
    raise ServiceError("a reply's growing flag is no boolean")


def _reply_integer(value, low, high, what):
    if not _is_integer(value) or not low <= value <= high:
        raise ServiceError("a reply's %s is no integer from %d to %d" % (what, low, high))
    return value


def reply_of(payload):
    selector, arguments = decode_message(payload)
    if selector == DID_CREATE_HEADER and len(arguments) == 4:
        header, growing, frame_size, file_size = arguments
        if not isinstance(header, bytes):
            raise ServiceError("a reply's header is no data")
        return Reply(True, _reply_boolean(growing), header,
                     _reply_integer(frame_size, INT32_MIN, INT32_MAX, "frame size"),
                     _reply_integer(file_size, INT64_MIN, INT64_MAX, "file size"))
    if selector == FAILED_CREATING_HEADER and len(arguments) == 2:
        growing, error = arguments
        if not isinstance(error, str):
            raise ServiceError("a failure reply's error is no string")
        return Reply(False, _reply_boolean(growing), error=error)
    raise ServiceError("unknown reply %r with %d arguments" % (selector, len(arguments)))


# ---------------------------------------------------------------------------------------------
# The connection
# ---------------------------------------------------------------------------------------------


def default_socket_path():
    """$XDG_RUNTIME_DIR/premoov/premoov.sock, or /tmp/premoov-$UID/premoov.sock without it."""
    runtime = os.environ.get("XDG_RUNTIME_DIR")
    if runtime:
        return os.path.join(runtime, "premoov", "premoov.sock")
    return "/tmp/premoov-%d/premoov.sock" % os.getuid()


def frame(payload):
    """One frame: the payload's length as 32 bits big-endian, then the payload."""
    if not 0 < len(payload) <= MAX_REQUEST_PAYLOAD:
        raise BadInput("the request archive takes %d bytes; the service reads 1 to %d"
                       % (len(payload), MAX_REQUEST_PAYLOAD))
    return struct.pack(">I", len(payload)) + payload


def _receive_exactly(sock, count):
    """`count` bytes, or fewer when the service closes the connection first. A service that
    closes with input of ours unread (after a message it refused) resets the connection instead
    of ending it; everything it sent before is still read, and the reset counts as the end."""
    buffer = bytearray(count)
    view = memoryview(buffer)
    done = 0
    while done < count:
        try:
            n = sock.recv_into(view[done:], count - done)
        except ConnectionResetError:
            break
        if n == 0:
            break
        done += n
    return bytes(buffer[:done])


def read_frames(sock):
    """Every frame's payload until the service closes the connection."""
    while True:
        length = _receive_exactly(sock, 4)
        if not length:
            return
        if len(length) < 4:
            raise ServiceError("the connection closed inside a frame's length")
        (size,) = struct.unpack(">I", length)
        if size == 0 or size > MAX_REPLY_PAYLOAD:
            raise ServiceError("a reply frame announces %d bytes; 1 to %d are expected"
                               % (size, MAX_REPLY_PAYLOAD))
        payload = _receive_exactly(sock, size)
        if len(payload) < size:
            raise ServiceError("the connection closed after %d of a frame's %d bytes"
                               % (len(payload), size))
        yield payload


def exchange(socket_path, payloads, timeout=None):
    """Sends each payload in its own frame, shuts down the writing side and answers the payloads
    of every frame the service sends until it closes the connection."""
    frames = b"".join(frame(p) for p in payloads)
    try:
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as sock:
            sock.settimeout(timeout)
            sock.connect(socket_path)
            try:
                sock.sendall(frames)
                sock.shutdown(socket.SHUT_WR)
            except (BrokenPipeError, ConnectionResetError):
                pass  # closed before reading all of it: its replies until then are still read
            return list(read_frames(sock))
    except socket.timeout:
        raise ServiceError("%s: no answer within %s s" % (socket_path, timeout)) from None
    except OSError as error:
        raise ServiceError("%s: %s" % (socket_path, error.strerror or error)) from None


# ---------------------------------------------------------------------------------------------
# Output
# ---------------------------------------------------------------------------------------------


def write_file_at_start(path, data, length):
    """Writes `data` at offset 0 of the file at `path` (created, or emptied first) and extends
    the file to `length` bytes when that is longer: the rest reads as zeros, a hole where the
    file system keeps them."""
    try:
        fd = os.open(path, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_CLOEXEC, 0o644)
        try:
            view = memoryview(data)
            while view:
                view = view[os.write(fd, view):]
            if length > len(data):
                os.ftruncate(fd, length)
        finally:
            os.close(fd)
    except OSError as error:
        raise BadInput("%s: cannot write: %s" % (path, os.strerror(error.errno or 0))) from None


def json_line(answer):
    """The compact JSON premoov prints; text that is no Unicode shows U+FFFD."""
    text = json.dumps(answer, separators=(",", ":"), ensure_ascii=False)
    return text.encode("utf-16", "surrogatepass").decode("utf-16", "replace")


def report(reply, header_path, file_path, out):
    """Writes the outputs of one reply and prints its answer; answers the exit code."""
    if not reply.created:
        out.write(json_line({"error": reply.error, "growing": reply.growing}) + "\n")
        return EXIT_REFUSED
    room = len(reply.header)
    if file_path and reply.file_size < room:
        # A file cut to this size would lose part of its header: report the reply, write nothing.
        error = ("the reply's file size is smaller than its header: %d < %d"
                 % (reply.file_size, room))
        out.write(json_line({"error": error, "growing": reply.growing}) + "\n")
        return EXIT_REFUSED
    if header_path:
        write_file_at_start(header_path, reply.header, 0)
    if file_path:
        write_file_at_start(file_path, reply.header, reply.file_size)
    out.write(json_line({"growing": reply.growing, "frameSize": reply.frame_size,
                         "fileSize": reply.file_size, "headerRoom": room}) + "\n")
    return EXIT_SUCCESS


class _ArgumentParser(argparse.ArgumentParser):
    def error(self, message):
        self.print_usage(sys.stderr)
        self.exit(EXIT_BAD_INPUT, "%s: %s\n" % (self.prog, message))


def _arguments(argv):
    parser = _ArgumentParser(
        description="Asks the premoov service for the header of the request in a request file.")
    parser.add_argument("request", help="a request file, as premoov write reads it")
    parser.add_argument("--socket", help="the service's socket (default: %s)"
                        % default_socket_path())
    parser.add_argument("--header", metavar="OUT", help="write the header bytes here")
    parser.add_argument("--file", metavar="OUT.mov",
                        help="write a movie file: the header at offset 0, extended to its size")
    parser.add_argument("--cancel-before", action="store_true",
                        help="send cancel before the request: the service then replies nothing")
    parser.add_argument("--dump-request", metavar="FILE",
                        help="write the request's archive here instead of sending it")
    parser.add_argument("--timeout", type=float, metavar="SECONDS",
                        help="give up when the service is silent this long (default: wait)")
    return parser.parse_args(argv)


def run(argv, out=sys.stdout, err=sys.stderr):
    options = _arguments(argv)
    try:
        request = read_request_file(options.request)
        payload = request_payload(request)
        if options.dump_request:
            frame(payload)  # the same size check as for sending
            write_file_at_start(options.dump_request, payload, 0)
            out.write(json_line({"file": options.dump_request, "bytes": len(payload),
                                 "selector": WRITE_HEADER}) + "\n")
            return EXIT_SUCCESS
        payloads = ([cancel_payload()] if options.cancel_before else []) + [payload]
        replies = [reply_of(p) for p in
                   exchange(options.socket or default_socket_path(), payloads, options.timeout)]
        if options.cancel_before:
            if replies:
                raise ServiceError("the service replied after cancel")
            out.write(json_line({"cancelled": True}) + "\n")
            return EXIT_SUCCESS
        if len(replies) != 1:
            raise ServiceError("the service sent %d replies to one request" % len(replies))
        return report(replies[0], options.header, options.file, out)
    except BadInput as error:
        err.write("%s\n" % error)
        return EXIT_BAD_INPUT
    except ServiceError as error:
        err.write("premoov service: %s\n" % error)
        return EXIT_SERVICE


if __name__ == "__main__":
    sys.exit(run(sys.argv[1:]))
