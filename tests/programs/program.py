"""The program under test, and what its tests share: each of them is run as TEST.py TOLVAR [SHARED_DIR]."""
import json
import os
import subprocess
import sys
import tempfile

TOLVAR = sys.argv[1]
X = "HKEY_LOCAL_MACHINE\\X"
_failures = 0

# Journals and settings of this run alone, and no language but the one that the texts are compared in.
DATA = tempfile.TemporaryDirectory()
for _name in ("HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR"):
    os.environ[_name] = DATA.name
os.environ["LC_ALL"] = "C.UTF-8"


def check(what, condition, detail=""):
    global _failures
    if not condition:
        _failures += 1
        print("FAILED:", what, detail)


def end():
    sys.exit(1 if _failures else 0)


def run(*arguments):
    return subprocess.run([TOLVAR, *arguments], capture_output=True, timeout=120)


def without_times(dump):
    return [{**json.loads(line), "written": ""} for line in dump.stdout.splitlines()]
