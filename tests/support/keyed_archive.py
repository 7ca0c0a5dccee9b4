#!/usr/bin/env python3
"""Reads and writes keyed archives with Python's plistlib, for interoperability tests.

  keyed_archive.py describe FILE
      Reads a binary keyed archive and prints, as one line of JSON, its
      $archiver and $version, the number of class records per class name, and
      its root resolved into plain values: UIDs followed, "$null" as null,
      data as {"$data": hex}, dictionaries as {"$class": name, "entries": {...}},
      other objects as {"$class": name, key: value, ...}. Exits 1 when the
      layout is not the keyed-archive layout.

  keyed_archive.py encode FILE < JSON
      Writes a binary keyed archive whose $objects is the given JSON list
      ({"$uid": n} for a UID, {"$data": hex} for data), with $top {root: UID 1}.
"""
import json
import plistlib
import sys

DICTIONARY_CLASSES = ("NSDictionary", "NSMutableDictionary")


def fail(message):
    print(message, file=sys.stderr)
    sys.exit(1)


def describe(path):
    with open(path, "rb") as f:
        archive = plistlib.load(f, fmt=plistlib.FMT_BINARY)
    for key in ("$archiver", "$version", "$top", "$objects"):
        if key not in archive:
            fail("missing " + key)
    objects = archive["$objects"]
    if not objects or objects[0] != "$null":
        fail("$objects does not start with $null")
    root = archive["$top"].get("root")
    if not isinstance(root, plistlib.UID):
        fail("$top has no root UID")

    class_records = {}

    def class_name(uid):
        record = objects[uid.data]
        name = record.get("$classname")
        classes = record.get("$classes")
        if not isinstance(name, str) or not isinstance(classes, list) or classes[0] != name:
            fail("bad class record %d" % uid.data)
        class_records.setdefault(name, {})[uid.data] = classes
        return name

    def resolve(value, depth=0):
        if depth > 100:
            fail("too deep")
        if isinstance(value, plistlib.UID):
            if value.data == 0:
                return None
            return resolve(objects[value.data], depth + 1)
        if isinstance(value, (bytes, bytearray)):
            return {"$data": bytes(value).hex()}
        if isinstance(value, dict) and "$class" in value:
            name = class_name(value["$class"])
            if name in DICTIONARY_CLASSES:
                keys = [resolve(k, depth + 1) for k in value["NS.keys"]]
                values = [resolve(v, depth + 1) for v in value["NS.objects"]]
                return {"$class": name, "entries": dict(zip(keys, values))}
            result = {"$class": name}
            for k, v in value.items():
                if k != "$class":
                    result[k] = resolve(v, depth + 1)
            return result
        if isinstance(value, (str, int)):
            return value
        fail("unexpected value %r" % (value,))

    described = {
        "$archiver": archive["$archiver"],
        "$version": archive["$version"],
        "root": resolve(root),
        "classRecords": {name: [len(uids)] + list(min(tuple(c) for c in uids.values())[1:])
                         for name, uids in class_records.items()},
    }
    print(json.dumps(described, sort_keys=True))


def encode(path):
    def convert(value):
        if isinstance(value, dict):
            if set(value) == {"$uid"}:
                return plistlib.UID(value["$uid"])
            if set(value) == {"$data"}:
                return bytes.fromhex(value["$data"])
            return {k: convert(v) for k, v in value.items()}
        if isinstance(value, list):
            return [convert(v) for v in value]
        return value

    archive = {
        "$archiver": "NSKeyedArchiver",
        "$version": 100000,
        "$top": {"root": plistlib.UID(1)},
        "$objects": convert(json.load(sys.stdin)),
    }
    with open(path, "wb") as f:
        plistlib.dump(archive, f, fmt=plistlib.FMT_BINARY, sort_keys=False)


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("describe", "encode"):
        fail(__doc__)
    (describe if sys.argv[1] == "describe" else encode)(sys.argv[2])
