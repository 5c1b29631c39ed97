#!/usr/bin/env python3
"""Checks our keyed archives against the NSKeyedArchiver layout, read by Python's own plistlib.

Usage: foundation_layout_test.py PATH/TO/plist_archive_writer

The writer archives a sample graph (tests/plist/keyed_test_support.h, sampleGraph); this test
reads it with plistlib, an implementation independent of libplist, checks the layout rules and
decodes the graph by following the UIDs.
"""
import os
import plistlib
import subprocess
import sys
import tempfile
import unittest

WRITER = None

TEST_ITEM_CHILD = {
    "$classname": "PremoovTestItem",
    "name": "child",
    "count": -3,
    "enabled": False,
    "ratio": 0.0,
    "payload": None,
    "child": None,
}
TEST_ITEM = {
    "$classname": "PremoovTestItem",
    "name": "token",
    "count": 7,
    "enabled": True,
    "ratio": 1.25,
    "payload": ["premoov", 1],
    "child": TEST_ITEM_CHILD,
}
EXPECTED = {
    "name": "premoov",
    "count": 42,
    "negative": -7,
    "ratio": 0.1,
    "enabled": True,
    "blob": b"\x00\x01\x02\xff",
    "when": ("NSDate", 725846400.5),
    "list": ["premoov", 1, 2.5, False],
    "nested": {"inner": {"deep": "x"}},
    "empty": [],
    "item": TEST_ITEM,
    "shared": TEST_ITEM,
}


def uids_in(value):
    """Every UID anywhere inside a plist value."""
    if isinstance(value, plistlib.UID):
        yield value.data
    elif isinstance(value, dict):
        for v in value.values():
            yield from uids_in(v)
    elif isinstance(value, list):
        for v in value:
            yield from uids_in(v)


class FoundationLayoutTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory() as tmp:
            path = os.path.join(tmp, "sample.bplist")
            subprocess.run([WRITER, path], check=True)
            with open(path, "rb") as f:
                cls.raw = f.read()
        cls.archive = plistlib.loads(cls.raw, fmt=plistlib.FMT_BINARY)
        cls.objects = cls.archive["$objects"]

    def resolve(self, uid):
        self.assertIsInstance(uid, plistlib.UID)
        self.assertLess(uid.data, len(self.objects))
        return self.objects[uid.data]

    def class_entry(self, obj):
        entry = self.resolve(obj["$class"])
        self.assertEqual(set(entry), {"$classname", "$classes"})
        return entry

    def decode(self, uid):
        """Follows a UID to a Python value, as NSKeyedUnarchiver would make the object."""
        if uid.data == 0:
            return None
        obj = self.resolve(uid)
        if not isinstance(obj, dict):
            return obj
        name = self.class_entry(obj)["$classname"]
        if name == "NSArray":
            self.assertEqual(set(obj), {"NS.objects", "$class"})
            return [self.decode(u) for u in obj["NS.objects"]]
        if name == "NSDictionary":
            self.assertEqual(set(obj), {"NS.keys", "NS.objects", "$class"})
            self.assertEqual(len(obj["NS.keys"]), len(obj["NS.objects"]))
            keys = [self.decode(u) for u in obj["NS.keys"]]
            for key in keys:
                self.assertIsInstance(key, str)
            return dict(zip(keys, (self.decode(u) for u in obj["NS.objects"])))
        if name == "NSDate":
            self.assertEqual(set(obj), {"NS.time", "$class"})
            self.assertIsInstance(obj["NS.time"], float)
            return ("NSDate", obj["NS.time"])
        out = {"$classname": name}
        for key, value in obj.items():
            if key == "$class":
                continue
            out[key] = self.decode(value) if isinstance(value, plistlib.UID) else value
        return out

    def test_starts_as_a_binary_property_list(self):
        self.assertEqual(self.raw[:8], b"bplist00")

    def test_top_level_keys_and_values(self):
        self.assertEqual(set(self.archive), {"$archiver", "$version", "$top", "$objects"})
        self.assertEqual(self.archive["$archiver"], "NSKeyedArchiver")
        self.assertIs(type(self.archive["$version"]), int)
        self.assertEqual(self.archive["$version"], 100000)
        self.assertEqual(set(self.archive["$top"]), {"root"})
        self.assertEqual(self.archive["$top"]["root"], plistlib.UID(1))

    def test_objects_start_with_null(self):
        self.assertIsInstance(self.objects, list)
        self.assertEqual(self.objects[0], "$null")

    def test_every_uid_resolves_and_every_object_is_referenced(self):
        referenced = set(uids_in(self.archive["$top"])) | set(uids_in(self.objects))
        self.assertTrue(all(0 <= u < len(self.objects) for u in referenced))
        self.assertEqual(referenced - {0}, set(range(1, len(self.objects))))

    def test_class_entries_name_their_chain_once_per_class(self):
        entries = [o for o in self.objects if isinstance(o, dict) and "$classname" in o]
        names = [e["$classname"] for e in entries]
        self.assertEqual(len(names), len(set(names)))
        chains = {e["$classname"]: e["$classes"] for e in entries}
        self.assertEqual(chains["NSArray"], ["NSArray", "NSObject"])
        self.assertEqual(chains["NSDictionary"], ["NSDictionary", "NSObject"])
        self.assertEqual(chains["NSDate"], ["NSDate", "NSObject"])
        self.assertEqual(chains["PremoovTestItem"],
                         ["PremoovTestItem", "PremoovTestBase", "NSObject"])
        self.assertEqual(len(entries), 4)
        # Every other dictionary is an object whose "$class" is one of these entries.
        for obj in self.objects:
            if isinstance(obj, dict) and "$classname" not in obj:
                self.assertIn(self.class_entry(obj)["$classname"], chains)

    def test_equal_strings_share_one_entry(self):
        strings = [o for o in self.objects if isinstance(o, str)]
        self.assertEqual(len(strings), len(set(strings)))
        self.assertIn("premoov", strings)

    def test_shared_object_is_stored_once(self):
        root = self.resolve(self.archive["$top"]["root"])
        keys = [self.resolve(u) for u in root["NS.keys"]]
        by_key = dict(zip(keys, root["NS.objects"]))
        self.assertEqual(by_key["item"], by_key["shared"])

    def test_scalars_are_plain_property_list_values(self):
        item = self.resolve(self.decode_root_uid("item"))
        self.assertIs(type(item["count"]), int)
        self.assertIs(type(item["enabled"]), bool)
        self.assertIs(type(item["ratio"]), float)
        self.assertEqual(item["payload"].__class__, plistlib.UID)

    def decode_root_uid(self, key):
        root = self.resolve(self.archive["$top"]["root"])
        keys = [self.resolve(u) for u in root["NS.keys"]]
        return dict(zip(keys, root["NS.objects"]))[key]

    def test_graph_decodes_to_the_sample(self):
        self.assertEqual(self.decode(self.archive["$top"]["root"]), EXPECTED)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit("usage: foundation_layout_test.py PATH/TO/plist_archive_writer")
    WRITER = sys.argv.pop(1)
    unittest.main()
