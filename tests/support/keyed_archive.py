#!/usr/bin/env python3
"""Keyed archives through Python's plistlib, for interoperability tests.

describe FILE: prints an archive as one line of JSON, UIDs followed; exits 1 when the layout is wrong.
encode FILE < JSON: writes an archive whose $objects is the JSON list ({"$uid": n}, {"$data": hex}).
"""
import json
import plistlib
import sys


def describe(path):
    with open(path, "rb") as f:
        archive = plistlib.load(f, fmt=plistlib.FMT_BINARY)
    if not {"$archiver", "$version", "$top", "$objects"} <= archive.keys():
        sys.exit("missing a top-level key")
    objects, root = archive["$objects"], archive["$top"].get("root")
    if not objects or objects[0] != "$null" or not isinstance(root, plistlib.UID):
        sys.exit("no $null first or no root UID")
    records = {}

    def resolve(value, depth=0):
        if depth > 100:
            sys.exit("too deep")
        if isinstance(value, plistlib.UID):
            return None if value.data == 0 else resolve(objects[value.data], depth + 1)
        if isinstance(value, bytes):
            return {"$data": value.hex()}
        if isinstance(value, (str, int)):
            return value
        if not isinstance(value, dict) or "$class" not in value:
            sys.exit("unexpected value %r" % (value,))
        record = objects[value["$class"].data]
        name, classes = record.get("$classname"), record.get("$classes")
        if not isinstance(name, str) or not isinstance(classes, list) or classes[0] != name:
            sys.exit("bad class record")
        records.setdefault(name, {})[value["$class"].data] = classes
        if name in ("NSDictionary", "NSMutableDictionary"):
            keys = [resolve(k, depth + 1) for k in value["NS.keys"]]
            return {"$class": name, "entries": dict(zip(keys, (resolve(v, depth + 1) for v in value["NS.objects"])))}
        return dict({k: resolve(v, depth + 1) for k, v in value.items() if k != "$class"}, **{"$class": name})

    described = {"$archiver": archive["$archiver"], "$version": archive["$version"], "root": resolve(root)}
    described["classRecords"] = {name: [len(uids)] + list(min(tuple(c) for c in uids.values())[1:])
                                 for name, uids in records.items()}
    print(json.dumps(described, sort_keys=True))


def encode(path):
    def convert(value):
        if isinstance(value, list):
            return [convert(v) for v in value]
        if not isinstance(value, dict):
            return value
        if set(value) == {"$uid"}:
            return plistlib.UID(value["$uid"])
        if set(value) == {"$data"}:
            return bytes.fromhex(value["$data"])
        return {k: convert(v) for k, v in value.items()}

    archive = {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": plistlib.UID(1)},
               "$objects": convert(json.load(sys.stdin))}
    with open(path, "wb") as f:
        plistlib.dump(archive, f, fmt=plistlib.FMT_BINARY, sort_keys=False)


if __name__ == "__main__":
    if len(sys.argv) != 3 or sys.argv[1] not in ("describe", "encode"):
        sys.exit(__doc__)
    (describe if sys.argv[1] == "describe" else encode)(sys.argv[2])
