#!/usr/bin/env python3
"""Lets programs that know nothing of ours look at hives that we wrote: written_hives_test.py TOLVAR SHARED_DIR WRITTEN_HIVES.

A strict checker of the format, where the folder that has it is here; hivexml and reglookup, where they are installed.
"""
import base64
import glob
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
from urllib.parse import unquote_to_bytes
from xml.etree import ElementTree

from program import check, end, run

CHECKER = os.path.join(sys.argv[2], "check", "regf_check.py")
DRIVER = sys.argv[3]


def text(units):
    return bytes.fromhex(units).decode("utf-16-le")


def model_of(file):
    """Class, descriptor and values of each key by its path below the root, in the order of a walk."""
    keys = {}
    with open(file, encoding="ascii") as lines:
        for line in lines:
            key = json.loads(line)
            values = [(text(name), kind, bytes.fromhex(data)) for name, kind, data in key["values"]]
            keys[text(key["path"])] = (text(key["class"]), key["security"], values)
    return keys


def data_of_xml(value):
    kind, shown = value.get("type"), value.get("value")
    if kind == "string":
        return 1, (shown + "\0").encode("utf-16-le")
    if kind == "int32":
        return 4, struct.pack("<I", int(shown) & 0xFFFFFFFF)
    if kind == "int64":
        return 11, struct.pack("<Q", int(shown) & 0xFFFFFFFFFFFFFFFF)
    return 3, base64.b64decode(shown)


def keys_of_xml(node, path, found):
    found[path] = [(value.get("key") or "", *data_of_xml(value)) for value in node.findall("value")]
    for child in node.findall("node"):
        keys_of_xml(child, path + "\\" + child.get("name"), found)


def plain_or_raw(shown, raw):
    """How reglookup shows a text: as it is if it is plain, else the bytes as they are stored."""
    return shown.encode() if shown.isascii() else raw


def stored(name):
    try:
        return name.encode("latin-1")
    except UnicodeEncodeError:
        return name.encode("utf-16-le")


def as_rows_show(kind, data):
    if kind == 1:
        shown = data.decode("utf-16-le").rstrip("\0")
        return "SZ", plain_or_raw(shown, data)
    return {4: ("DWORD", data), 11: ("QWORD", data)}.get(kind, ("BINARY", data))


def keys_of_rows(rows):
    """Class, access list and values of each key. A value stands behind its key, and its name behind the key's path."""
    found, path = {}, None
    for row in rows:
        place, kind, shown, *more = row.split(b",")
        place, kind = unquote_to_bytes(place), kind.decode()
        if kind == "KEY":
            path = place.rstrip(b"/")
            found[path] = (unquote_to_bytes(more[5]), more[4], [])
        else:
            data = (struct.pack("<I" if kind == "DWORD" else "<Q", int(shown, 16)) if kind in ("DWORD", "QWORD")
                    else unquote_to_bytes(shown))
            name = place[len(path) + 1:] if path else place[2:]
            found[path][2].append((name, kind, b"" if data == b"(null)" else data))
    return found


def differences(ours, theirs):
    return [key for key in sorted(ours.keys() | theirs.keys()) if ours.get(key) != theirs.get(key)][:3]


def hivexml_reads_what_was_written(hive, model):
    xml = subprocess.run(["hivexml", hive], capture_output=True, check=True).stdout
    theirs = {}
    keys_of_xml(ElementTree.fromstring(xml).find("node"), "", theirs)
    wrong = differences({path: values for path, (_, _, values) in model.items()}, theirs)
    check(f"hivexml reads what is in {hive}", not wrong, wrong)
    if shutil.which("hivexget"):
        # It takes blanks off names.
        plain = [(path, name, data) for path, (_, _, values) in model.items() for name, kind, data in values
                 if kind == 3 and re.fullmatch(r"(\\[\w~]+)+", path, re.ASCII) and re.fullmatch(r"[\w~]+", name, re.ASCII)]
        for path, name, data in plain[:3]:
            shown = subprocess.run(["hivexget", hive, path, name], capture_output=True).stdout
            check(f"hivexget reads a value of {hive}", shown == data, (path, name))


def without_big_data(keys):
    """The keys with the length in place of data that lies in segments."""
    return {path: (name, security, [(value, kind, data if len(data) <= 16344 else len(data)) for value, kind, data in values])
            for path, (name, security, values) in keys.items()}


def reglookup_reads_what_was_written(hive, model):
    rows = subprocess.run(["reglookup", "-H", "-s", hive], capture_output=True, check=True).stdout.splitlines()
    theirs = keys_of_rows(rows)
    if ".compact" not in hive:
        # It reads the segments of big data in the order in which they lie in the file: only their sum is right there.
        theirs, model = without_big_data(theirs), without_big_data(model)
    ours = {b"/".join(stored(name) for name in path.split("\\")):
            (plain_or_raw(name, name.encode("utf-16-le")), security,
             [(stored(value), *as_rows_show(kind, data)) for value, kind, data in values])
            for path, (name, security, values) in model.items()}
    wrong = differences({path: (name, values) for path, (name, _, values) in ours.items()},
                        {path: (name, values) for path, (name, _, values) in theirs.items()})
    check(f"reglookup reads what is in {hive}", not wrong, wrong)
    lists = {}
    for path, (_, security, _) in ours.items():
        lists.setdefault(security, set()).add(theirs.get(path, ("", "", []))[1])
    check(f"reglookup finds one access list for a descriptor in {hive}",
          all(len(shown) == 1 for shown in lists.values()) and len(lists) > 3, lists)


with tempfile.TemporaryDirectory() as folder:
    done = subprocess.run([DRIVER, folder], capture_output=True)
    print(done.stdout.decode())
    check("the hives are written", done.returncode == 0, done.stderr)
    hives = sorted(glob.glob(f"{folder}/*.hive"))
    check("of all kinds", len({re.match(r"[a-z]+-1\.\d", os.path.basename(hive))[0] for hive in hives}) > 10, hives)
    for hive in hives:
        ours = run("check", hive).stdout
        check(f"check of {hive}", ours.startswith(b"0 errors, 0 warnings"), ours)
    if os.path.exists(CHECKER):
        for hive in hives:
            theirs = subprocess.run([sys.executable, CHECKER, hive], capture_output=True, check=True).stdout
            check(f"the strict checker's view of {hive}", theirs.strip().endswith(b"{}"), theirs.decode())
    else:
        print("skipped: the strict checker is not here")
    for tool, reads in (("hivexml", hivexml_reads_what_was_written), ("reglookup", reglookup_reads_what_was_written)):
        if not shutil.which(tool):
            print(f"skipped: {tool} is not installed")
            continue
        for hive in glob.glob(f"{folder}/series-*.hive"):
            reads(hive, model_of(re.sub(r"(\.compact)?\.hive$", ".model", hive)))
end()
