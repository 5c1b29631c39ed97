#!/usr/bin/env python3
"""Writes the seed corpus of the metadata_item_archive fuzz target.

Usage: fuzz/make_metadata_item_seeds.py [DIR]   (DIR: fuzz/corpus/metadata_item_archive)

Keyed archives of metadata items and tokens in the layout NSKeyedArchiver writes, and the hostile
shapes the decoder must refuse or survive: class lists that name another class, one object
referenced many times, a "valueType" stored as a real or a boolean, reals of both widths.
Python's plistlib writes every real in eight bytes, so the binary property lists are written by
the small encoder below.
"""
import os
import plistlib
import struct
import sys


class Uid:
    def __init__(self, value):
        self.value = value


class Real32:
    def __init__(self, value):
        self.value = value


def _count(kind, n):
    if n < 15:
        return bytes([kind << 4 | n])
    return bytes([kind << 4 | 0xF]) + _integer(n)


def _integer(v):
    if 0 <= v <= 0xFF:
        return b"\x10" + struct.pack(">B", v)
    if 0 <= v <= 0xFFFF:
        return b"\x11" + struct.pack(">H", v)
    if 0 <= v <= 0xFFFFFFFF:
        return b"\x12" + struct.pack(">I", v)
    return b"\x13" + struct.pack(">q", v)


def binary_plist(root):
    """A bplist00 file of `root`: dict, list, str, int, float (8 bytes), Real32, bool, Uid."""
    objects = []

    def add(value):
        index = len(objects)
        objects.append(None)
        if isinstance(value, dict):
            keys = [add(k) for k in value]
            values = [add(v) for v in value.values()]
            objects[index] = (_count(0xD, len(keys)), keys + values)
        elif isinstance(value, list):
            objects[index] = (_count(0xA, len(value)), [add(v) for v in value])
        elif isinstance(value, bool):
            objects[index] = (b"\x09" if value else b"\x08", [])
        elif isinstance(value, int):
            objects[index] = (_integer(value), [])
        elif isinstance(value, Real32):
            objects[index] = (b"\x22" + struct.pack(">f", value.value), [])
        elif isinstance(value, float):
            objects[index] = (b"\x23" + struct.pack(">d", value), [])
        elif isinstance(value, Uid):
            objects[index] = (b"\x83" + struct.pack(">I", value.value), [])
        elif isinstance(value, str):
            if all(ord(c) < 0x80 for c in value):
                objects[index] = (_count(0x5, len(value)) + value.encode("ascii"), [])
            else:
                units = value.encode("utf-16-be")
                objects[index] = (_count(0x6, len(units) // 2) + units, [])
        else:
            raise TypeError(value)
        return index

    add(root)
    out = bytearray(b"bplist00")
    offsets = []
    for head, refs in objects:
        offsets.append(len(out))
        out += head
        for r in refs:
            out += struct.pack(">I", r)
    table = len(out)
    for o in offsets:
        out += struct.pack(">I", o)
    out += bytes(6) + bytes([4, 4]) + struct.pack(">QQQ", len(objects), 0, table)
    return bytes(out)


def classes(name, *superclasses):
    return {"$classname": name, "$classes": [name, *superclasses, "NSObject"]}


class Archive:
    """"$objects" built in order; add() answers a reference."""

    def __init__(self):
        self.objects = ["$null"]

    def add(self, value):
        self.objects.append(value)
        return Uid(len(self.objects) - 1)

    def reserve(self):
        return self.add(None)

    def fill(self, uid, value):
        self.objects[uid.value] = value

    def data(self, root, top_extra=None):
        top = {"root": root}
        top.update(top_extra or {})
        return binary_plist({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": top,
                             "$objects": self.objects})


def item(archive, key, value_type, item_class=None, **values):
    """A ZPRMetadataItem object: key, valueType and the values given (already references)."""
    uid = archive.reserve()
    fields = {"key": archive.add(key), "valueType": value_type}
    fields.update(values)
    fields["$class"] = item_class or archive.add(classes("ZPRMetadataItem"))
    archive.fill(uid, fields)
    return uid


def string_array(archive, texts):
    uid = archive.reserve()
    archive.fill(uid, {"NS.objects": [archive.add(t) for t in texts],
                       "$class": archive.add(classes("NSArray"))})
    return uid


def date(archive, seconds, junk_keys=0):
    fields = {"k%d" % i: 0 for i in range(junk_keys)}
    fields["NS.time"] = seconds
    fields["$class"] = archive.add(classes("NSDate"))
    return archive.add(fields)


def seeds():
    out = {}

    a = Archive()
    out["item_string.bplist"] = a.data(item(a, "com.example.title", 0,
                                            stringValue=a.add("Interview \u2713")))
    for name, number in [("int", 42), ("negative", -7), ("float32", Real32(2.5)),
                         ("float64", 29.97), ("bool", True)]:
        a = Archive()
        out["item_number_%s.bplist" % name] = a.data(
            item(a, "com.example.take", 1, numberValue=a.add(number)))
    a = Archive()
    out["item_date.bplist"] = a.data(item(a, "com.example.recorded", 2,
                                          dateValue=date(a, 731340429.25)))
    a = Archive()
    out["item_tokens.bplist"] = a.data(item(
        a, "com.example.name", 3, tokenValues=string_array(a, ["$$Day#EEE", " take ", "$$Counter.3"]),
        stringValue=a.add("Tue take 007")))
    a = Archive()
    out["item_tokens_as_string.bplist"] = a.data(item(
        a, "com.example.name", 3, tokenValues=a.add("$$Day.dd"), stringValue=Uid(0)))
    a = Archive()
    out["item_unknown_type.bplist"] = a.data(item(a, "com.example.other", 7))
    for name, stored in [("real", 1.9), ("real32", Real32(1.0)), ("bool", True)]:
        a = Archive()
        out["item_value_type_%s.bplist" % name] = a.data(
            item(a, "com.example.take", stored, numberValue=a.add(12)))

    a = Archive()
    token = a.reserve()
    a.fill(token, {"codeName": a.add("$$Day#EEE"), "displayName": a.add("Day"),
                   "formatter": a.add("EEE"), "simpleString": Uid(0),
                   "$class": a.add(classes("ZPRToken"))})
    out["token.bplist"] = a.data(token)

    # The settings of a request: a dictionary holding an array of items, one of them twice.
    a = Archive()
    settings = a.reserve()
    items = a.reserve()
    shared = item(a, "com.example.take", 1, numberValue=a.add(Real32(0.5)))
    other = item(a, "com.example.title", 0, stringValue=a.add("Take"))
    a.fill(items, {"NS.objects": [shared, other, shared],
                   "$class": a.add(classes("NSMutableArray", "NSArray"))})
    a.fill(settings, {"NS.keys": [a.add("MetadataItems"), a.add("Codec")],
                      "NS.objects": [items, a.add("apcn")],
                      "$class": a.add(classes("NSDictionary"))})
    out["settings_with_items.bplist"] = a.data(settings)

    # A dictionary whose class list names NSString: it must not pass as a string.
    a = Archive()
    forged = a.reserve()
    a.fill(forged, {"NS.keys": [a.add("k")], "NS.objects": [a.add("v")],
                    "NS.string": "text",
                    "$class": a.add({"$classname": "NSDictionary",
                                     "$classes": ["NSDictionary", "NSString"]})})
    out["forged_dictionary_as_string.bplist"] = a.data(forged)
    # An item whose class list claims NSString and NSArray as superclasses.
    a = Archive()
    out["forged_item_classes.bplist"] = a.data(item(
        a, "k", 0, stringValue=a.add("s"),
        item_class=a.add({"$classname": "ZPRMetadataItem",
                          "$classes": ["ZPRMetadataItem", "NSString", "NSArray", "NSObject"]})))
    # A class list whose first known name is another class than "$classname".
    a = Archive()
    out["class_list_names_another_class.bplist"] = a.data(
        a.add({"NS.objects": [a.add("a")],
               "$class": a.add({"$classname": "PremoovGone",
                                "$classes": ["PremoovGone", "NSArray", "NSObject"]})}))

    # One date with junk keys referenced from many places, inside an item and out.
    a = Archive()
    when = date(a, 0.5, junk_keys=300)
    dated = item(a, "com.example.recorded", 2, dateValue=when)
    out["many_references.bplist"] = a.data(
        a.add({"NS.objects": [when] * 200 + [dated] * 50, "$class": a.add(classes("NSArray"))}))

    # The same string item in XML, whose references are {"CF$UID": n} dictionaries.
    out["item_string.xml"] = plistlib.dumps({
        "$version": 100000, "$archiver": "NSKeyedArchiver",
        "$top": {"root": {"CF$UID": 1}},
        "$objects": ["$null",
                     {"key": {"CF$UID": 2}, "valueType": 0, "stringValue": {"CF$UID": 3},
                      "$class": {"CF$UID": 4}},
                     "com.example.title", "Interview",
                     {"$classname": "ZPRMetadataItem",
                      "$classes": ["ZPRMetadataItem", "NSObject"]}]},
        fmt=plistlib.FMT_XML)
    return out


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    directory = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
        here, "corpus", "metadata_item_archive")
    os.makedirs(directory, exist_ok=True)
    for name, data in sorted(seeds().items()):
        with open(os.path.join(directory, name), "wb") as f:
            f.write(data)
        print("%6d %s" % (len(data), name))


if __name__ == "__main__":
    main()
