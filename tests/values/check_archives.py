"""Reads what write_archives wrote with Python's plistlib, and compares the values.

    check_archives.py WRITE_ARCHIVES
"""

import pathlib
import plistlib
import subprocess
import sys
import tempfile

EXPECTED = {
    "strings": {
        "ascii": "plain",
        "empty": "",
        "unicode": "caf\u00e9 \u20ac \U0001f600",
        "markup": '<a> & "b"\n',
        "$$key": "dollar",
        "$0": "generic",
    },
    "numbers": {
        "zero": 0,
        "minus one": -1,
        "least": -(2**63),
        "most": 2**63 - 1,
        "tenth": 0.1,
        "large": -1.5e300,
    },
    "containers": {
        "root": {"list": [1, "two", [], {}], "bytes": b"\x00\x01\xff", "no bytes": b""},
        "native": {"a": [1, 2, 3], "b": []},
        "null": None,
    },
    "many": {"root": [i if i % 2 == 0 else "shared" for i in range(70000)]},
}


def uid_of(value):
    """The number of a reference, in the binary form or the XML one; None for anything else."""
    if isinstance(value, plistlib.UID):
        return value.data
    if isinstance(value, dict) and list(value) == ["CF$UID"]:
        return value["CF$UID"]
    return None


def resolve(objects, reference):
    """The plain value of a reference; what is no reference has no place in these archives."""
    uid = uid_of(reference)
    assert uid is not None, f"no reference: {reference!r}"
    value = objects[uid]
    if uid == 0:
        assert value == "$null", value
        return None
    if not isinstance(value, dict):
        return value
    description = objects[uid_of(value["$class"])]
    name = description["$classname"]
    assert description == {"$classname": name, "$classes": [name, "NSObject"]}, description
    if name == "NSData":
        assert set(value) == {"$class", "NS.data"}, value
        return value["NS.data"]
    members = [resolve(objects, member) for member in value["NS.objects"]]
    if name == "NSArray":
        assert set(value) == {"$class", "NS.objects"}, value
        return members
    assert name == "NSDictionary", name
    assert set(value) == {"$class", "NS.keys", "NS.objects"}, value
    keys = [resolve(objects, key) for key in value["NS.keys"]]
    assert len(keys) == len(members)
    return dict(zip(keys, members))


def same(one, other):
    """Equal, and of the same types: True is no 1 here, and 1 no 1.0."""
    if type(one) is not type(other):
        return False
    if isinstance(one, list):
        return len(one) == len(other) and all(map(same, one, other))
    if isinstance(one, dict):
        return one.keys() == other.keys() and all(same(one[key], other[key]) for key in one)
    return one == other


def check(path, expected):
    archive = plistlib.loads(path.read_bytes())
    assert set(archive) == {"$archiver", "$version", "$objects", "$top"}, set(archive)
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    values = {key: resolve(archive["$objects"], uid) for key, uid in archive["$top"].items()}
    assert same(values, expected), f"{path.name}: {str(values)[:1000]}"
    # A string that occurs often is stored once.
    assert archive["$objects"].count("shared") <= 1


def main():
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.argv[1], folder], check=True)
        files = sorted(pathlib.Path(folder).iterdir())
        assert [f.name for f in files] == sorted(n + s for n in EXPECTED for s in (".xml", ".binary")), files
        for file in files:
            check(file, EXPECTED[file.stem])
        print(f"{len(files)} archives read as they were written")


main()
