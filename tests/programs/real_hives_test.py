#!/usr/bin/env python3
"""Runs the real program on real hives: real_hives_test.py TOLVAR SHARED_DIR. Ends with 77 where they are not here."""
import base64
import json
import os
import shutil
import struct
import subprocess
import sys
import tempfile
from xml.etree import ElementTree

from program import TOLVAR, X, check, end, run

SHARED = sys.argv[2]
HIVES = os.path.join(SHARED, "hives")


def digests_are_those_of_the_independent_reader():
    with open(os.path.join(HIVES, "digests.tsv"), encoding="utf-8") as table:
        for row in table:
            digest, keys, values, size, name = row.rstrip("\n").split("\t")
            if not name.startswith(("machines/", "crafted/")):
                continue
            dump = run("--read-only", "--hive", f"{HIVES}/{name}@{X}", "dump", X)
            check(f"dump of {name} ends well", dump.returncode == 0, dump.stderr)
            mine = subprocess.run([sys.executable, f"{SHARED}/check/hive_digest.py", "--of-dump", X], input=dump.stdout,
                                  capture_output=True, check=True).stdout.decode().split()
            check(f"digest of {name}", mine == [digest, keys, values, size], mine)


def damaged_files_end_with_a_line_and_a_status():
    shown = []
    for name in sorted(os.listdir(f"{HIVES}/damaged")):
        for arguments in (["--hive", f"{HIVES}/damaged/{name}@{X}", "dump", X], ["check", f"{HIVES}/damaged/{name}"]):
            done = run(*arguments)
            check(f"{arguments[-2]} of {name} ends by itself", done.returncode in (0, 1), done.returncode)
            check(f"{arguments[-2]} of {name} has a reason", done.returncode == 0 or done.stderr or done.stdout)
            shown += [name] if arguments[-2] == "dump" and done.stdout else []
    check("what can be read of them is shown", len(shown) > 3, shown)


def commands_print_what_they_should():
    hive = ["--hive", f"{HIVES}/crafted/StringValuesHive@{X}"]
    sam = ["--hive", f"{HIVES}/machines/SAM@{X}"]
    info = json.loads(run(*sam, "--json", "info", X + "\\SAM").stdout)
    check("info", (info["owner"], info["group"], info["subkeys"]) == ("Administrators", "SYSTEM", 3), info)
    listing = [json.loads(line) for line in run(*hive, "--json", "ls", "-r", X).stdout.splitlines()]
    check("ls --json", len(listing) == 2 and listing[1]["values"], listing)
    for value in listing[1]["values"]:
        raw = run(*hive, "get", "--raw", listing[1]["key"], value)
        check("get --raw", raw.returncode == 0 and raw.stdout, value)
    names = run("--hive", f"{HIVES}/crafted/UnicodeHive@{X}", "ls", X).stdout.decode("utf-8", "surrogatepass").splitlines()
    for name in names:
        child = (X + "\\" + name.rstrip("\\")).encode("utf-8", "surrogatepass")
        check("a listed name opens", subprocess.run([TOLVAR.encode(), b"--hive", f"{HIVES}/crafted/UnicodeHive@{X}".encode(),
                                                     b"info", child], capture_output=True).returncode == 0, name)


XML_TYPES = {"none": 0, "string": 1, "expand": 2, "binary": 3, "int32": 4, "int32BE": 5, "link": 6, "string-list": 7,
             "resource-list": 8, "resource-description": 9, "resource-requirements": 10, "int64": 11}


def values_of_xml(node, path, found):
    """Path, name and type of each value, and the data of numbers and bytes, as hivexml reads them."""
    found.add((path,))
    for child in node:
        if child.tag == "node":
            values_of_xml(child, path + "\\" + child.get("name"), found)
        elif child.tag == "value":
            kind = child.get("type")
            data = base64.b64decode(child.get("value")).hex() if kind == "binary" else ""
            if kind == "int32":
                data = struct.pack("<I", int(child.get("value")) & 0xFFFFFFFF).hex()
            found.add((path, child.get("key") or "", XML_TYPES[kind], data))


def an_independent_reader_agrees():
    if not shutil.which("hivexml"):
        print("skipped: hivexml is not installed")
        return
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        run(*at, "new", "HKEY_CURRENT_USER\\Copy")
        check("import for the other reader", run(*at, "import", f"{HIVES}/machines/BCD", "--key", "HKEY_CURRENT_USER\\Copy",
                                                 "--format", "hive").returncode == 0)
        for number in range(30):
            run(*at, "set", f"HKEY_CURRENT_USER\\Software", f"v{number}", "--type", "4", f"{number:08x}")
        hive = os.path.join(folder, "NTUSER.DAT")
        theirs = set()
        xml = subprocess.run(["hivexml", hive], capture_output=True, check=True).stdout
        values_of_xml(ElementTree.fromstring(xml).find("node"), X, theirs)
        ours = set()
        for line in run("--hive", f"{hive}@{X}", "dump", X).stdout.splitlines():
            key = json.loads(line)
            ours.add((key["key"],))
            for value in key["values"]:
                data = value["data"] if value["type"] == 3 or value["type"] == 4 else ""
                ours.add((key["key"], value["name"], value["type"], data))
        check("hivexml reads the same keys, values, types and data", ours == theirs and len(ours) > 200,
              sorted(ours ^ theirs)[:5])
        if shutil.which("reglookup"):
            rows = subprocess.run(["reglookup", "-H", hive], capture_output=True, check=True).stdout.splitlines()
            keys = sum(row.split(b",")[1] == b"KEY" for row in rows)
            check("reglookup reads as many keys and values", (keys, len(rows) - keys) ==
                  (sum(len(o) == 1 for o in ours), sum(len(o) > 1 for o in ours)), (keys, len(rows)))


def recover_applies_the_logs_for_good():
    with tempfile.TemporaryDirectory() as folder:
        for name in os.listdir(f"{HIVES}/logs/new-dirty"):
            os.chmod(shutil.copy(f"{HIVES}/logs/new-dirty/{name}", folder), 0o644)
        dirty = os.path.join(folder, "NewDirtyHive")
        shown = run("--read-only", "--hive", f"{dirty}@{X}", "dump", X)
        before = run("recover", dirty)
        check("recover", before.returncode == 0 and b"Applied" in before.stdout, before)
        check("a second time", b"nothing to recover" in run("recover", dirty).stdout)
        after = run("--hive", f"{dirty}@{X}", "dump", X)
        theirs = run("--hive", f"{folder}/RecoveredHive_Windows10@{X}", "dump", X)
        check("shown before as it is afterwards, and as the platform has it",
              shown.stdout == after.stdout == theirs.stdout and after.stderr == b"", after.stderr)


def check_judges_what_an_open_would_show():
    for name, status, text in (("logs/new-dirty/NewDirtyHive", 0, b"taken over from NewDirtyHive.LOG1"),
                               ("logs/bad-base/BadBaseBlockHive", 0, b"and its base block with them"),
                               ("machines/SECURITY", 0, b"no transaction log that fits"),
                               ("damaged/GarbageHive", 1, b"wrong checksum")):
        done = run("check", f"{HIVES}/{name}")
        check(f"check of {name}", done.returncode == status and text in done.stdout + done.stderr, done)
    lines = run("--json", "check", f"{HIVES}/logs/new-dirty/NewDirtyHive").stdout.splitlines()
    check("check in JSON", json.loads(lines[0])["recoveredSets"] > 0 and json.loads(lines[-1])["errors"] == 0, lines)


def healthy_hives_have_no_errors():
    with open(os.path.join(HIVES, "digests.tsv"), encoding="utf-8") as table:
        names = [row.rstrip("\n").split("\t")[4] for row in table]
    for name in names:
        if not name.startswith("damaged/") and name != "crafted/CompHive":  # of which a hint was written by hand
            done = run("check", f"{HIVES}/{name}")
            check(f"check of {name}", done.returncode == 0, done)


def real_keys_travel_through_hive_files():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", os.path.join(folder, "registry")]
        source = ["--hive", f"{HIVES}/machines/NTUSER-win7.DAT@{X}"]
        target = "HKEY_CURRENT_USER\\Imported"
        saved, again = os.path.join(folder, "saved"), os.path.join(folder, "again")
        check("export", run(*source, "export", X + "\\Software", saved, "--format", "hive").returncode == 0)
        check("new", run(*at, "new", target).returncode == 0)
        check("import", run(*at, "import", saved, "--key", target, "--format", "hive").returncode == 0)
        check("export of the import", run(*at, "export", target, again, "--format", "hive").returncode == 0)
        dumps = [run("--hive", f"{file}@{X}", "dump", X).stdout for file in (saved, again)]
        check("the same content, times and classes", dumps[0] == dumps[1] and len(dumps[0]) > 10000)
        for file in (saved, again, os.path.join(folder, "registry", "NTUSER.DAT")):
            check(f"check of {file}", run("check", file).stdout.startswith(b"0 errors, 0 warnings"), run("check", file).stdout)


if not os.path.isdir(HIVES):
    print("skipped: the folder with real hives is not here")
    sys.exit(77)
digests_are_those_of_the_independent_reader()
damaged_files_end_with_a_line_and_a_status()
commands_print_what_they_should()
real_keys_travel_through_hive_files()
an_independent_reader_agrees()
recover_applies_the_logs_for_good()
check_judges_what_an_open_would_show()
healthy_hives_have_no_errors()
end()
