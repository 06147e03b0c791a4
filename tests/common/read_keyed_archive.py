"""An independent reader of keyed archives, with nothing but Python's plistlib.

Reads the archive on standard input and prints its root object as JSON:
a record as {"class", "classes", "id", "fields"}, a record met again as
{"ref": id}, an array as a list, "$null" as null. Every UID is resolved the
way any keyed-archive reader must.
"""
import json
import plistlib
import sys

archive = plistlib.loads(sys.stdin.buffer.read())
assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
objects = archive["$objects"]
assert objects[0] == "$null"
ids = {}


def walk(value):
    if not isinstance(value, plistlib.UID):
        return value
    if value.data == 0:
        return None
    obj = objects[value.data]
    if not isinstance(obj, dict):
        return obj
    cls = objects[obj["$class"].data]
    if cls["$classname"] == "NSArray":
        return [walk(item) for item in obj["NS.objects"]]
    if value.data in ids:
        return {"ref": ids[value.data]}
    ids[value.data] = len(ids)
    count = len([key for key in obj if key != "$class"])
    return {"class": cls["$classname"], "classes": cls["$classes"], "id": ids[value.data],
            "fields": [walk(obj["$%d" % i]) for i in range(count)]}


print(json.dumps(walk(archive["$top"]["root"])))
