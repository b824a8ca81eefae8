#!/usr/bin/env python3
"""Runs the real program on real hives: cli_test.py TOLVAR SHARED_DIR."""
import json
import os
import subprocess
import sys
import tempfile

TOLVAR, SHARED = sys.argv[1], sys.argv[2]
HIVES = os.path.join(SHARED, "hives")
X = "HKEY_LOCAL_MACHINE\\X"
failures = 0


def check(what, condition, detail=""):
    global failures
    if not condition:
        failures += 1
        print("FAILED:", what, detail)


def run(*arguments):
    return subprocess.run([TOLVAR, *arguments], capture_output=True, timeout=120)


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
    for name in sorted(os.listdir(f"{HIVES}/damaged")):
        for arguments in (["--hive", f"{HIVES}/damaged/{name}@{X}", "dump", X], ["check", f"{HIVES}/damaged/{name}"]):
            done = run(*arguments)
            check(f"{arguments[-2]} of {name} ends by itself", done.returncode in (0, 1), done.returncode)
            check(f"{arguments[-2]} of {name} has a reason", done.returncode == 0 or done.stderr or done.stdout)


def what_can_not_be_opened_is_said_in_one_line():
    with tempfile.TemporaryDirectory() as folder:
        empty = os.path.join(folder, "empty")
        open(empty, "wb").close()
        text = os.path.join(folder, "text")
        with open(text, "wb") as out:
            out.write(b"no hive" * 2000)
        for file, word in ((empty, "empty"), (text, "no registry hive"), (folder, "folder"), (folder + "/none", "(2)"),
                           (f"{HIVES}/logs/bad-base/BadBaseBlockHive", "checksum"),
                           (f"{HIVES}/damaged/TruncatedHive", "truncated")):
            done = run("--hive", f"{file}@{X}", "ls", "HKEY_LOCAL_MACHINE")
            lines = done.stderr.decode().splitlines()
            check(f"status for {file}", done.returncode == 1, done.returncode)
            check(f"line for {file}", len(lines) == 1 and word in lines[0], lines)
    check("an unknown root", run("ls", "NOWHERE\\x").stderr.endswith(b"The system cannot find the file specified. (2)\n"))
    check("wrong usage", run("ls").returncode == 2 and run("nonsense").returncode == 2 and run().returncode == 2)


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


def output_stops_when_its_reader_goes_away():
    with subprocess.Popen([TOLVAR, "--hive", f"{HIVES}/machines/SYSTEM-win7@{X}", "dump", X], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as dump:
        dump.stdout.readline()
        dump.stdout.close()
        check("the writer ends quietly", dump.stderr.read() == b"" and dump.wait(60) == 0)
    with open("/dev/full", "wb") as full:
        done = subprocess.run([TOLVAR, "--hive", f"{HIVES}/machines/SAM@{X}", "dump", X], stdout=full, stderr=subprocess.PIPE)
        check("a full disk is said", done.returncode == 1 and b"(112)" in done.stderr, done.stderr)


if not os.path.isdir(HIVES):
    print("skipped: the folder with real hives is not here")
    sys.exit(77)
digests_are_those_of_the_independent_reader()
damaged_files_end_with_a_line_and_a_status()
what_can_not_be_opened_is_said_in_one_line()
commands_print_what_they_should()
output_stops_when_its_reader_goes_away()
sys.exit(1 if failures else 0)
