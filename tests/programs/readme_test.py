#!/usr/bin/env python3
"""Runs the examples of the README on a fresh registry, line by line: readme_test.py README TOLVAR."""
import os
import re
import subprocess
import sys
import tempfile

README, TOLVAR = sys.argv[1:]


def examples():
    """The commands of the first block that makes a key, each with the lines that it is said to print."""
    with open(README, encoding="utf-8") as text:
        blocks = re.findall(r"```sh\n(.*?)```", text.read(), re.S)
    block = next(block for block in blocks if "$ tolvar new" in block)
    return [(lines[0], lines[1:]) for lines in (part.rstrip("\n").split("\n") for part in block.split("$ ")[1:])]


def comparable(lines):
    """The lines without the time and the user."""
    return [re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  \S+", "DATE", line) for line in lines]


with tempfile.TemporaryDirectory() as folder:
    environment = {**os.environ, "XDG_DATA_HOME": folder, "XDG_CONFIG_HOME": folder, "LC_ALL": "C.UTF-8",
                   "PATH": os.path.dirname(TOLVAR) + ":" + os.environ["PATH"]}
    found = examples()
    for command, expected in found:
        done = subprocess.run(command, shell=True, cwd=folder, env=environment, capture_output=True, text=True, timeout=60)
        printed = comparable(done.stdout.splitlines())
        if done.returncode != 0 or printed != comparable(expected):
            sys.exit(f"FAILED: {command}\nexit status {done.returncode}, {done.stderr}\nprinted {printed}\nnot     {comparable(expected)}")
    if len(found) < 8:
        sys.exit("FAILED: the README has lost its examples")
