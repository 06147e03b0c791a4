"""An independent reader of property lists, with nothing but Python's plistlib.

Reads the XML or binary property list named on the command line and prints it
as JSON (data as base64 text, dates in ISO form).
"""
import base64
import datetime
import json
import plistlib
import sys


def plain(value):
    if isinstance(value, bytes):
        return base64.b64encode(value).decode()
    if isinstance(value, datetime.datetime):
        return value.isoformat()
    raise TypeError(type(value).__name__)


with open(sys.argv[1], "rb") as source:
    print(json.dumps(plistlib.load(source), default=plain, sort_keys=True))
