#!/usr/bin/env python3
"""Runs the real program on hives that it makes itself: cli_test.py TOLVAR."""
import fcntl
import functools
import json
import operator
import os
import pty
import shutil
import struct
import subprocess
import tempfile

from program import DATA, TOLVAR, X, check, end, run, without_times

USER = "HKEY_CURRENT_USER"
MADE = tempfile.TemporaryDirectory()
HUNDRED, MINIMAL, LARGE, TYPES = (os.path.join(MADE.name, name) for name in ("Hundred", "Minimal", "Large", "Types"))


def make_hives():
    """Hundred: the subkeys "1" to "100", each with one value. Minimal: nothing. Large: more than a pipe holds when it is
    written out. Types: values of all kinds at its root, and two levels of subkeys."""
    lines = [f"new {USER}\\Minimal", f"new {USER}\\Types\\Software\\Below"]
    for number in range(1, 101):
        lines += [f"new {USER}\\Hundred\\{number}", f"set {USER}\\Hundred\\{number} Value --type 4 {number:08x}"]
        lines += [f"new {USER}\\Large\\{number}", f"set {USER}\\Large\\{number} v --type 1 {'x' * 4000}"]
    for key in ("Types", "Types\\Software"):
        for name, kind, data in (('""', 1, "text"), ("expand", 2, "%a%"), ("list", 7, "'a;b'"), ("number", 4, "0000002a"),
                                 ("bytes", 3, "'01 ff '"), ("odd", 12345, "'00 '")):
            lines.append(f"set {USER}\\{key} {name} --type {kind} {data}")
    batch = os.path.join(MADE.name, "batch")
    with open(batch, "w", encoding="utf-8") as file:
        file.write("\n".join(lines))
    at = ["--registry", os.path.join(MADE.name, "registry")]
    done = run(*at, "batch", batch)
    check("the hives for the tests are made", done.returncode == 0, done.stderr)
    for path in (HUNDRED, MINIMAL, LARGE, TYPES):
        done = run(*at, "export", f"{USER}\\{os.path.basename(path)}", path, "--format", "hive")
        check(f"{path} is made", done.returncode == 0, done.stderr)


def what_can_not_be_opened_is_said_in_one_line():
    with tempfile.TemporaryDirectory() as folder:
        empty = os.path.join(folder, "empty")
        open(empty, "wb").close()
        text = os.path.join(folder, "text")
        with open(text, "wb") as out:
            out.write(b"no hive" * 2000)

        def changed(name, source, change):
            path = os.path.join(folder, name)
            with open(source, "rb") as whole, open(path, "wb") as copy:
                copy.write(change(whole.read()))
            return path

        for file, word in ((empty, "empty"), (text, "no registry hive"), (folder, "folder"), (folder + "/none", "(2)"),
                           (changed("base", MINIMAL, lambda data: data[:40] + b"\1" + data[41:]), "checksum"),
                           (changed("short", HUNDRED, lambda data: data[:len(data) - 4096]), "truncated")):
            done = run("--hive", f"{file}@{X}", "ls", "HKEY_LOCAL_MACHINE")
            lines = done.stderr.decode().splitlines()
            check(f"status for {file}", done.returncode == 1, done.returncode)
            check(f"line for {file}", len(lines) == 1 and word in lines[0], lines)
    check("an unknown root", run("ls", "NOWHERE\\x").stderr.endswith(b"The system cannot find the file specified. (2)\n"))
    check("wrong usage", run("ls").returncode == 2 and run("nonsense").returncode == 2 and run().returncode == 2)


def output_stops_when_its_reader_goes_away():
    with subprocess.Popen([TOLVAR, "--hive", f"{LARGE}@{X}", "dump", X], stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE) as dump:
        dump.stdout.readline()
        dump.stdout.close()
        check("the writer ends quietly", dump.stderr.read() == b"" and dump.wait(60) == 0)
    for how in (">&-", "2>&-", "2>/dev/full", ">&- 2>&-"):
        done = subprocess.run(["sh", "-c", f'exec "$0" "$@" {how}', TOLVAR, "--hive", f"{TYPES}@{X}", "ls", X,
                               "--hive", "/no/such/file"], capture_output=True)
        check(f"status with {how}", done.returncode == 1, done)
        check(f"what is left with {how}", (b"Software" in done.stdout) == (">&-" != how[:3]), done)
    with open("/dev/full", "wb") as full:
        done = subprocess.run([TOLVAR, "--hive", f"{TYPES}@{X}", "dump", X], stdout=full, stderr=subprocess.PIPE)
        check("a full disk is said", done.returncode == 1 and b"(112)" in done.stderr, done.stderr)


class HundredSubkeys:
    """The hive of that name, to be changed: its root lists the subkeys "1" to "100", each with one value."""

    def __init__(self):
        with open(HUNDRED, "rb") as file:
            self.data = bytearray(file.read())
        self.root = 4096 + self.field(36) + 4
        self.keys = {}
        self.list = 4096 + self.field(self.root + 28) + 4
        for i in range(100):
            key = 4096 + self.field(self.list + 4 + 8 * i) + 4
            size = struct.unpack_from("<H", self.data, key + 72)[0]
            self.keys[bytes(self.data[key + 76:key + 76 + size]).decode()] = key

    def field(self, at):
        return struct.unpack_from("<I", self.data, at)[0]

    def put(self, at, value):
        struct.pack_into("<I", self.data, at, value)

    def rename(self, name, stored):
        key = self.keys[name]
        self.data[key + 76:key + 76 + len(name)] = stored

    def list_all_below_each(self):
        """Every subkey gets an index of its own, and all the indexes name the list of the root."""
        leaf = self.field(self.root + 28)
        end = 4096 + self.field(40)
        del self.data[end:]
        self.data += struct.pack("<4sII20x", b"hbin", end - 4096, 4096)
        for key in self.keys.values():
            self.put(key + 20, 100)
            self.put(key + 28, len(self.data) - 4096)
            self.data += struct.pack("<i2sHII", -16, b"ri", 1, leaf, 0)
        rest = end + 4096 - len(self.data)
        self.data += struct.pack("<i", rest) + bytes(rest - 4)
        self.put(40, len(self.data) - 4096)
        checksum = 0
        for at in range(0, 508, 4):
            checksum ^= self.field(at)
        self.put(508, checksum)

    def write(self, folder, name):
        path = os.path.join(folder, name)
        with open(path, "wb") as file:
            file.write(self.data)
        return path


def names_that_would_steer_a_terminal_are_shown_and_not_obeyed():
    hive = HundredSubkeys()
    hive.rename("100", b"\x1b[m")
    hive.rename("10", b"\n\x07")
    hive.rename("11", b"\x9bm")  # the same as escape and bracket, to some terminals
    hive.rename("12", b'"\\')
    hive.put(hive.keys["100"] + 16, 0)  # for check to have something to say of it
    with tempfile.TemporaryDirectory() as folder:
        path = hive.write(folder, "steer\x1b[m\n")
        for command in (["ls", X], ["ls", "-r", X], ["check", path]):
            leader, follower = pty.openpty()
            with subprocess.Popen([TOLVAR, "--hive", f"{path}@{X}", *command], stdout=follower, stderr=follower) as shown:
                os.close(follower)
                text = b""
                try:
                    while block := os.read(leader, 65536):
                        text += block
                except OSError:  # the other end is closed
                    pass
                shown.wait(60)
            os.close(leader)
            lines = text.decode().replace("\r\n", "")
            check(f"{command[0]} on a terminal", b"\\x1b[m" in text and
                  not [c for c in lines if ord(c) < 32 or 127 <= ord(c) < 160], text[:300])
        done = run("--hive", f"{path}@{X}", "info", X + "\\\x1b\n")
        check("an error stays one line", done.stderr.count(b"\n") == 1 and b"\x1b" not in done.stderr, done.stderr)
        listing = json.loads(run("--json", "ls", X, "--hive", f"{path}@{X}").stdout)
        check("names in JSON", {"\x1b[m", "\n\x07", "\x9bm", '"\\'} <= set(listing["subkeys"]), listing)


def a_hive_that_lies_below_itself_is_listed_once():
    circle = HundredSubkeys()
    for name in ("1", "11"):
        circle.put(circle.keys[name] + 20, 100)
        circle.put(circle.keys[name] + 28, circle.field(circle.root + 28))
    indexes = HundredSubkeys()
    indexes.list_all_below_each()
    with tempfile.TemporaryDirectory() as folder:
        for path in (circle.write(folder, "circle"), indexes.write(folder, "indexes")):
            for command in (["ls", "-r", X], ["--json", "ls", "-r", X], ["dump", X], ["check", path]):
                done = run("--hive", f"{path}@{X}", *command)
                check(f"{command} ends", done.returncode == 1 and len(done.stdout) < 100_000, len(done.stdout))
                check(f"{command} says why", b"two owners" in done.stderr + done.stdout, done.stderr[-300:])


def a_damaged_key_is_told_with_its_place():
    hive = HundredSubkeys()
    hive.put(hive.root, 0)
    for name in ("5", "55"):
        hive.put(hive.keys[name] + 40, 4)  # a list of values between cells
    with tempfile.TemporaryDirectory() as folder:
        path = hive.write(folder, "damaged")
        place = f"{path}: this is no key (at offset {hive.root - 4:#x})".encode()
        for command in (["ls", X], ["info", X], ["get", X], ["get", X, ""], ["dump", X]):
            done = run("--hive", f"{path}@{X}", "--hive", f"{MINIMAL}@{X}2", *command)
            check(f"{command[0]} of a damaged root", done.returncode == 1 and place in done.stderr and
                  done.stderr.count(b"\n") == 1, done.stderr)
        check("another hive", run("--hive", f"{path}@{X}", "--hive", f"{MINIMAL}@{X}2", "info",
                                  X + "2").returncode == 0)
        hive.data[hive.root:hive.root + 2] = b"nk"
        hive.data[hive.root + 2:hive.root + 4] = b"\x2c\0"
        path = hive.write(folder, "values")
        for command in (["ls", X + "\\5"], ["get", X + "\\5"], ["dump", X + "\\5"]):
            done = run("--hive", f"{path}@{X}", *command)
            check(f"{command[0]} of damaged values", done.returncode == 1 and b"values: " in done.stderr and
                  b"(at offset 0x1004)" in done.stderr and done.stderr.count(b"\n") == 1, done.stderr)


def options_stand_where_one_likes():
    hive = f"{TYPES}@{X}"
    expected = run("--hive", hive, "--json", "ls", X).stdout
    for arguments in (["ls", "--json", X, "--hive", hive], ["ls", X, f"--hive={hive}", "--json"]):
        check(f"{arguments}", run(*arguments).stdout == expected != b"")
    twice = run("--hive", hive, "--hive", f"{MINIMAL}@{X.lower()}", "--json", "ls", X)
    check("a second hive at the same key", twice.returncode == 1 and twice.stdout == expected and
          twice.stderr.count(b"\n") == 1 and b"is mounted there" in twice.stderr, twice)
    below = run("--hive", f"{HUNDRED}@{X}", "--hive", f"{MINIMAL}@{X}\\1\\mount\\point",
                "--json", "ls", "-r", X)
    keys = {line["key"]: line for line in map(json.loads, below.stdout.splitlines())}
    check("a mount below a key of a hive", len(keys) == 103 and keys[X + "\\1"]["values"] == ["Value"] and
          keys[X + "\\1"]["subkeys"] == ["mount"] and X + "\\1\\mount\\point" in keys and
          len(keys[X]["subkeys"]) == 100, list(keys)[:5])
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "me@HKEY.example")
        with open(MINIMAL, "rb") as source, open(path, "wb") as copy:
            copy.write(source.read())
        check("an @ in the file's name", run("--hive", path, "info", "HKEY_LOCAL_MACHINE\\me@HKEY.example").returncode == 0)
    check("the default value", run("--hive", hive, "get", X + "\\Software", "").stdout == b"text\n")
    check("a missing value", run("--hive", hive, "get", X, "--", "-x").returncode == 1)


def changes_are_durable_when_a_command_ends():
    with tempfile.TemporaryDirectory() as folder:
        hive = shutil.copy(TYPES, folder)
        os.chmod(hive, 0o644)
        at = ["--hive", f"{hive}@{X}"]
        key = X + "\\New\\Key"
        check("new", run(*at, "new", key).returncode == 0)
        check("set", run(*at, "set", key, "count", "--type", "REG_DWORD", "0000002a").returncode == 0)
        check("set from input", subprocess.run([TOLVAR, *at, "set", key, "raw", "--type", "3", "--stdin"], input=b"\0\xff",
                                               check=False).returncode == 0)
        check("get", run(*at, "get", key, "count").stdout == b"0000002a\n" and run(*at, "get", key, "raw").stdout == b"00 ff \n")
        for kind, number, text in (("REG_QWORD", "18446744073709551615", b"ff ff ff ff ff ff ff ff \n"),
                                   ("11", "0x100", b"00 01 00 00 00 00 00 00 \n"), ("5", "258", b"00000102\n")):
            check("set a number", run(*at, "set", key, "n", "--type", kind, "--number", number).returncode == 0)
            check("get its text", run(*at, "get", key, "n").stdout == text, run(*at, "get", key, "n").stdout)
            check("get the number", int(run(*at, "get", key, "n", "--number").stdout) == int(number, 0))
        for kind, number in (("4", "4294967296"), ("1", "1"), ("REG_QWORD", "18446744073709551616")):
            check("no such number", run(*at, "set", key, "n", "--type", kind, "--number", number).returncode != 0, number)
        check("no number", run(*at, "get", key, "raw", "--number").returncode == 1)
        check("rm the number", run(*at, "rm", key, "--value", "n").returncode == 0)
        check("mv --value", run(*at, "mv", key, "--value", "count", "number").returncode == 0)
        check("mv", run(*at, "mv", key, "Other").returncode == 0)
        check("renamed", run(*at, "get", X + "\\New\\Other", "number").stdout == b"0000002a\n")
        check("no text form", run(*at, "set", X, "v", "--type", "REG_DWORD", "zz").returncode == 1)
        before = open(hive, "rb").read()
        check("read only", run(*at, "--read-only", "rm", X + "\\New").returncode == 1 and open(hive, "rb").read() == before)
        check("rm --value", run(*at, "rm", X + "\\New\\Other", "--value", "number").returncode == 0)
        check("rm", run(*at, "rm", X + "\\New").returncode == 0 and b"New" not in run(*at, "ls", X).stdout)
        check("rm of what is not there", run(*at, "rm", X + "\\New").stderr.endswith(b"(2)\n"))
        check("check afterwards", run("check", hive).stdout.startswith(b"0 errors, 0 warnings"), run("check", hive).stdout)
        check("no log is left behind", os.listdir(folder) == ["Types"], os.listdir(folder))


def keys_travel_through_hive_files():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", os.path.join(folder, "registry")]
        source = ["--hive", f"{TYPES}@{X}"]
        target = "HKEY_CURRENT_USER\\Imported"
        saved, again = os.path.join(folder, "saved"), os.path.join(folder, "again")
        check("export", run(*source, "export", X + "\\Software", saved, "--format", "hive").returncode == 0)
        check("export onto a file", b"(183)" in run(*source, "export", X, saved, "--format", "hive").stderr)
        check("new", run(*at, "new", target + "\\Old").returncode == 0)
        check("import", run(*at, "import", saved, "--key", target, "--format", "hive").returncode == 0)
        check("export of the import", run(*at, "export", target, again, "--format", "hive").returncode == 0)
        dumps = [run("--hive", f"{file}@{X}", "dump", X).stdout for file in (saved, again)]
        check("the same content, times and classes", dumps[0] == dumps[1] and b"bytes" in dumps[0])
        for file in (saved, again, os.path.join(folder, "registry", "NTUSER.DAT")):
            check(f"check of {file}", run("check", file).stdout.startswith(b"0 errors, 0 warnings"), run("check", file).stdout)
        check("compact", run("compact", saved, os.path.join(folder, "small")).returncode == 0 and
              os.path.getsize(os.path.join(folder, "small")) <= os.path.getsize(saved))
        hive = HundredSubkeys()
        hive.put(hive.list, 0)
        broken = hive.write(folder, "broken")
        check("a damaged file changes nothing", run(*at, "import", broken, "--key", target, "--format", "hive").returncode == 1 and
              run(*at, "export", target, saved + "2", "--format", "hive").returncode == 0 and
              open(saved + "2", "rb").read()[4096:] == open(again, "rb").read()[4096:])


def the_embedded_registry_is_made_at_first_use():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        demo = "HKEY_CURRENT_USER\\Software\\Demo"
        check("read only makes nothing", run(*at, "--read-only", "ls", "HKEY_CURRENT_USER").returncode == 0 and
              os.listdir(folder) == [])
        check("new", run(*at, "new", demo).returncode == 0)
        check("set", run(*at, "set", demo, "Count", "--type", "REG_DWORD", "0000002a").returncode == 0)
        check("get", run(*at, "get", demo, "Count").stdout == b"0000002a\n")
        for file in ("SYSTEM", "SOFTWARE", "SAM", "SECURITY", "DEFAULT", "NTUSER.DAT"):
            check(f"check of {file}", run("check", os.path.join(folder, file)).stdout.startswith(b"0 errors, 0 warnings"), file)


def state_of(folder):
    found = []
    for root, _, files in os.walk(folder):
        for name in files:
            try:
                found.append((root, name, os.stat(os.path.join(root, name)).st_mtime_ns))
            except FileNotFoundError:  # it is gone since it was listed
                pass
    return sorted(found)


def sets_that_were_answered_survive_a_kill():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        demo = "HKEY_CURRENT_USER\\Software\\Demo"
        run(*at, "new", demo)
        # Killed at once, as soon as the journal has changed, or as soon as a hive or its log has.
        killed = {2: None, 5: DATA.name, 8: folder, 11: DATA.name}
        for number in range(12):
            watched = killed.get(number)
            before = state_of(watched) if watched else None
            with subprocess.Popen([TOLVAR, *at, "set", demo, f"v{number}", "--type", "1", "x" * 5000]) as program:
                if number in killed:
                    while watched and program.poll() is None and state_of(watched) == before:
                        pass
                    program.kill()
                program.wait()
                if program.returncode == 0:
                    got = run(*at, "get", demo, f"v{number}").stdout
                    check(f"v{number} is there", got == b"x" * 5000 + b"\n")
        run(*at, "set", demo, "last", "--type", "4", "1")
        for number in range(12):
            if number not in killed:
                check(f"v{number} stays", run(*at, "get", demo, f"v{number}").returncode == 0)
        names = {entry["name"] for entry in journal_of(*at)}
        check("every answered set is in the journal", names >= {f"v{n}" for n in range(12) if n not in killed} | {"last"}, names)
        check("all of them can be undone", run(*at, "journal", "undo", "--all").returncode == 0 and
              b"Demo" not in run(*at, "ls", "HKEY_CURRENT_USER\\Software").stdout)
        check("check after kills", run("check", f"{folder}/NTUSER.DAT").stdout.startswith(b"0 errors, 0 warnings"))


def a_hive_in_use_is_said_with_its_process():
    with tempfile.TemporaryDirectory() as folder:
        hive = shutil.copy(TYPES, folder)
        os.chmod(hive, 0o644)
        with open(hive, "rb+") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            done = run("--hive", f"{hive}@{X}", "new", X + "\\k")
            check("in use", done.returncode == 3 and f"process {os.getpid()}".encode() in done.stderr, done)
            check("reading goes on", run("--hive", f"{hive}@{X}", "ls", X).returncode == 0)


def journal_of(*at):
    return [json.loads(line) for line in run(*at, "--json", "journal", "list").stdout.splitlines()]


def changes_are_journalled_and_undone():
    with tempfile.TemporaryDirectory() as folder:
        hive = shutil.copy(TYPES, folder)
        os.chmod(hive, 0o644)
        at = ["--hive", f"{hive}@{X}"]
        before = without_times(run(*at, "dump", X))
        check("rm", run(*at, "rm", X + "\\software").returncode == 0)
        check("new with two missing keys", run(*at, "new", X + "\\A\\B").returncode == 0)
        check("set", run(*at, "set", X + "\\A", "v;w", "--type", "1", "text").returncode == 0)
        check("a new key that is there", b"(183)" in run(*at, "new", X + "\\A").stderr)
        operations = [(entry["operation"], entry["object"]) for entry in journal_of(*at)]
        check("list", len(operations) == 4 and operations[:3] == [("delete", "key"), ("new", "key"), ("new", "key")], operations)
        check("list for a person", run(*at, "journal", "list").stdout.count(b"\n") == 4)
        check("another source has another journal", journal_of() == [] and journal_of("--hive", f"{TYPES}@{X}",
                                                                                     "--read-only") == [])
        check("undo of one", run(*at, "journal", "undo", "0").returncode == 0 and len(journal_of(*at)) == 3)
        check("undo of one that is not there", b"(87)" in run(*at, "journal", "undo", "0", "1-3").stderr and
              len(journal_of(*at)) == 3)
        check("undo of all", run(*at, "journal", "undo", "--all").returncode == 0 and journal_of(*at) == [])
        check("all is as it was", without_times(run(*at, "dump", X)) == before)
        check("check afterwards", run("check", hive).stdout.startswith(b"0 errors, 0 warnings"), run("check", hive).stdout)
        run(*at, "new", X + "\\A")
        check("remove", run(*at, "journal", "remove", "0").returncode == 0 and journal_of(*at) == [] and
              b"A\\" in run(*at, "ls", X).stdout)
        check("expire", run(*at, "journal", "expire", "--keep", "0").returncode == 0)


def an_undo_refuses_over_later_changes_and_goes_on_by_force():
    demo = USER + "\\Demo"
    for what, commands, later in (
            ("a key that was deleted and made anew", [["new", demo], ["set", demo, "v", "--type", "1", "x"], ["rm", demo],
                                                      ["new", demo]], b"entry 2: later changes stand on it: entry 3"),
            ("a key that was renamed and changed", [["new", demo], ["mv", demo, "Other"], ["new", USER + "\\Other\\below"]],
             b"entry 1: later changes stand on it: entry 2"),
            ("two changes of one value", [["new", demo], ["set", demo, "v", "--type", "1", "x"],
                                          ["set", demo, "v", "--type", "1", "y"]],
             b"entry 1: later changes stand on it: entry 2")):
        with tempfile.TemporaryDirectory() as folder:
            at = ["--registry", folder + "/r"]
            for command in commands:
                check(f"{what}: {command}", run(*at, *command).returncode == 0)
            number = later.split(b":")[0].split()[1].decode()
            before, entries = without_times(run(*at, "dump", USER)), journal_of(*at)
            done = run(*at, "journal", "undo", number)
            check(f"{what}: refused", done.returncode == 1 and later in done.stderr and b"--force" in done.stderr, done)
            check(f"{what}: nothing is changed", (without_times(run(*at, "dump", USER)), journal_of(*at)) == (before, entries))
            check(f"{what}: by force", run(*at, "journal", "undo", number, "--force").returncode == 0)
            check(f"{what}: it has changed", without_times(run(*at, "dump", USER)) != before)
            check(f"{what}: what was overwritten has an entry", len(journal_of(*at)) == len(entries))
            check(f"{what}: redo", run(*at, "journal", "redo").returncode == 0)
            check(f"{what}: as before", (without_times(run(*at, "dump", USER)), journal_of(*at)) == (before, entries))
            check(f"{what}: nothing more to redo", b"(259)" in run(*at, "journal", "redo").stderr)
            check(f"{what}: all together", run(*at, "journal", "undo", "--all").returncode == 0 and journal_of(*at) == [])
            check(f"{what}: and again", run(*at, "journal", "redo").returncode == 0 and journal_of(*at) == entries)
            run(*at, "new", demo + "2")
            check(f"{what}: a change ends that", run(*at, "journal", "redo").returncode == 1)


def a_batch_is_undone_by_the_stamp_of_any_of_its_entries():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder + "/r"]
        run(*at, "new", USER + "\\A")
        batch = f"new {USER}\\B\nset {USER}\\B v --type 1 x\nset {USER}\\A v --type 1 y\n"
        subprocess.run([TOLVAR, *at, "batch", "-"], input=batch.encode(), capture_output=True, timeout=60)
        stamps = [entry["stamp"] for entry in journal_of(*at)]
        check("made", len(stamps) == 4)
        check("no batch", run(*at, "journal", "undo", "--batch", "20260101000000000").returncode == 2)
        check("listed", run(*at, "journal", "list", "--batch", stamps[2]).stdout.count(b"\n") == 3)
        check("undone", run(*at, "journal", "undo", "--batch", stamps[3]).returncode == 0 and
              [entry["stamp"] for entry in journal_of(*at)] == stamps[:1])


def entries_are_named_by_number_range_stamp_or_from_the_end():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder + "/r"]
        lines = "".join(f"new {USER}\\K\nset {USER}\\K v{n} --type 1 x\n" if n == 0 else f"set {USER}\\K v{n} --type 1 x\n"
                        for n in range(9))
        made = subprocess.run([TOLVAR, *at, "batch", "-"], input=lines.encode(), capture_output=True, timeout=60)
        check("made", made.returncode == 0, made.stderr)
        stamps = [entry["stamp"] for entry in journal_of(*at)]

        def left():
            return [stamps.index(entry["stamp"]) for entry in journal_of(*at)]

        for wrong in ([], ["x"], ["3-1"], ["-3"], ["--last", "0"], ["--last", "x"], ["--all", "1"], ["1", "--last"]):
            for verb in ("undo", "remove"):
                done = run(*at, "journal", verb, *wrong)
                check(f"wrong usage: {verb} {wrong}", done.returncode == 2 and done.stderr, done)
        for missing in (["1", "10"], ["8-10"], ["20260101000000000", "1"], ["--last", "11"]):
            done = run(*at, "journal", "undo", *missing)
            check(f"an entry that is not there: {missing}", done.returncode == 2 and b"(87)" in done.stderr, done.stderr)
        check("nothing was undone", left() == list(range(10)))
        for verb, names, rest in (("undo", ["8-9", "7"], [0, 1, 2, 3, 4, 5, 6]), ("remove", ["0", "0-1"], [2, 3, 4, 5, 6]),
                                  ("undo", [stamps[3], "0"], [4, 5, 6]), ("undo", ["--last"], [4, 5]),
                                  ("undo", ["--last", "1"], [4]), ("remove", ["--all"], []), ("undo", ["--all"], [])):
            check(f"{verb} {names}", run(*at, "journal", verb, *names).returncode == 0 and left() == rest, left())
        check("the undone are gone, and the removed stay", run(*at, "get", USER + "\\K").stdout ==
              b"v0\tREG_SZ\tx\nv3\tREG_SZ\tx\n")


def the_list_tells_the_data_before_and_after():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder + "/r"]
        key = USER + "\\K"
        lines = [f"new {key}", f"set {key} v --type 1 \u00e4", f"set {key} V --type 4 --number 5", f"mv {key} KK", f"mv {key}K K",
                 f"set {key} v --type 3 '01 02 '", f"set {key} 'a;b' --type 1 {'z' * 900}", f"mv {key} --value 'a;b' c",
                 f"rm {key} --value v"]
        made = subprocess.run([TOLVAR, *at, "batch", "-"], input="\n".join(lines).encode(), capture_output=True, timeout=60)
        check("made", made.returncode == 0, made.stderr)
        shown = [line.split("  ", 4)[-1] for line in run(*at, "journal", "list").stdout.decode().splitlines()]
        expected = [f"new    key    {USER}  K", f'new    value  {key}  v: REG_SZ "\u00e4"',
                    f'modify value  {key}  V: REG_SZ "\u00e4"', f"rename key    {key} -> KK", f"rename key    {key}K -> K",
                    f'modify value  {key}  v: REG_DWORD "00000005" -> REG_BINARY "01 02 "',
                    f"new    value  {key}  a;b: REG_SZ \"{'z' * 60}\"... (1802 bytes)", f"rename value  {key}  a;b -> c",
                    f'delete value  {key}  v: REG_BINARY "01 02 "']
        check("the data", [line.strip() for line in shown] == [line.strip() for line in expected], "\n".join(shown))
        entries = journal_of(*at)
        check("in JSON", entries[5]["before"] == {"type": 4, "size": 4, "data": "05000000"} and
              entries[5]["after"] == {"type": 3, "size": 2, "data": "0102"} and entries[0]["after"] is None, entries[5])
        run(*at, "set", key, "line\n   0  fake", "--type", "1", "a\nb")
        last = run(*at, "journal", "list", "--last").stdout
        check("a name stays on its line", last.count(b"\n") == 1 and b"line\\x0a   0  fake" in last, last)


def a_look_at_the_journal_needs_no_lock():
    with tempfile.TemporaryDirectory() as folder:
        data = {**os.environ, "XDG_DATA_HOME": folder + "/data"}

        def run_here(*arguments):
            return subprocess.run([TOLVAR, *arguments], capture_output=True, timeout=60, env=data)

        run_here("new", USER + "\\k")
        before = state_of(folder)
        held = [open(os.path.join(root, name), "rb+") for root, _, files in os.walk(folder) for name in files]
        for file in held:
            fcntl.flock(file, fcntl.LOCK_EX)
        check("beside a writer", run_here("journal", "list").stdout.count(b"\n") == 1)
        check("nothing was written", state_of(folder) == before)
        for file in held:
            file.close()
        check("no entry goes by itself before it is undone", run_here("journal", "undo", "0").returncode == 0)


def the_window_s_settings_say_where_the_journal_lies():
    with tempfile.TemporaryDirectory() as folder:
        os.makedirs(f"{DATA.name}/Kordo")
        settings = f"{DATA.name}/Kordo/Tolvar.conf"
        with open(settings, "w", encoding="utf-8") as file:
            file.write(f'[General]\nx=1\n\n[settings]\nData%20Path="{folder}/b\\xe4\\x63kups"\nKeep%20Undo=30\n')
        run("set", "HKEY_CURRENT_USER\\Environment", "x", "--type", "1", "y")
        check("the data folder of the settings", os.listdir(folder + "/b\u00e4ckups") == ["index"], os.listdir(folder))
        check("beside it", sorted(os.listdir(folder)) == ["b\u00e4ckups", "b\u00e4ckups.journal"], os.listdir(folder))
        beside = os.listdir(folder + "/b\u00e4ckups.journal")
        check("what is its own", sorted(beside) == ["journal.expired", "journal.lock", "journal.sums", "snapshots"], beside)
        os.remove(settings)


def a_journal_in_use_is_said_with_its_process():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        run(*at, "new", "HKEY_CURRENT_USER\\k")
        locks = [os.path.join(root, "journal.lock") for root, _, files in os.walk(DATA.name) if "journal.lock" in files]
        held = [open(lock, "rb+") for lock in locks]
        for lock in held:
            fcntl.flock(lock, fcntl.LOCK_EX)
        for command in (["rm", "HKEY_CURRENT_USER\\k"], ["journal", "undo", "0"]):
            done = run(*at, *command)
            check("in use", done.returncode == 3 and f"process {os.getpid()}".encode() in done.stderr, done)
        check("reading goes on", run(*at, "ls", "HKEY_CURRENT_USER").stdout.count(b"k\\") == 1)
        check("and so does a look at it", run(*at, "--read-only", "journal", "list").stdout.count(b"\n") == 1)
        for lock in held:
            lock.close()


def a_batch_is_done_as_a_whole_or_not_at_all():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        user = "HKEY_CURRENT_USER"
        run(*at, "new", user + "\\Old")
        before, entries = run(*at, "dump", user), len(journal_of(*at))

        def batch(*lines):
            with open(folder + "/batch", "w", encoding="utf-8") as file:
                file.write("\n".join(lines))
            return run(*at, "batch", folder + "/batch")

        steps = ["# a comment", "", f"new {user}\\Made\\Below", f"set {user}\\Made 'a name' --type 1 \"a text\"",
                 f"mv {user}\\Old New", f"rm {user}\\Made\\Below"]
        failed = batch(*steps, f"rm {user}\\none")
        check("a batch that fails", failed.returncode == 1 and b"line 7 failed; 5 changes" in failed.stderr, failed.stderr)
        check("nothing is left of it, no time either", run(*at, "dump", user).stdout == before.stdout and
              len(journal_of(*at)) == entries)
        for line in ("nonsense", f"export {user} f --format tvr", "set 'open", f"set {user} x --type 1 --stdin"):
            wrong = batch(*steps, line)
            check(f"a line that is none: {line}", wrong.returncode == 1 and b"line 7" in wrong.stderr, wrong.stderr)
            check("it was read before anything was done", run(*at, "dump", user).stdout == run(*at, "dump", user).stdout and
                  len(journal_of(*at)) == entries)
        check("a batch", batch(*steps).returncode == 0 and len(journal_of(*at)) == entries + 5)
        check("what it did", run(*at, "get", user + "\\Made", "a name").stdout == b"a text\n")
        check("no file", run(*at, "batch", folder + "/none").returncode == 1)
        check("no lines to be had", run(*at, "batch", folder).returncode == 1)  # a read that fails is not the end


def a_batch_line_is_split_into_words_as_its_help_says():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder + "/r"]

        def batch(text, *source):
            return subprocess.run([TOLVAR, *(source or at), "batch", "-"], input=text.encode(), capture_output=True, timeout=60)

        for line, stored in ((r'"say ""hi"""', 'say "hi"'), ("""'say "hi" \\'""", 'say "hi" \\'), ('"a\\"', "a\\"),
                             ('C:\\"Program Files"', "C:\\Program Files"), ('""', ""), ('""""', '"'), ("'a'\r", "a")):
            done = batch(f"  # isn't a quote\nset {USER} v --type 1 {line}\n")
            check(f"the line {line}", done.returncode == 0, done.stderr)
            got = run(*at, "get", USER, "v").stdout.decode()
            check(f"what it stores {line}", got == stored + "\n", got)
        before = run(*at, "dump", USER).stdout
        for line, why in ((r'"say \"hi\""', "closing quote"), ("'a'b", "closing quote"), ('"a"b', "closing quote"),
                          ("'a", "not closed"), ('"""', "not closed"), ("a\0b", "NUL")):
            done = batch(f"set {USER} v --type 1 other\n\nset {USER} v --type 1 {line}\n")
            check(f"a wrong line {line}", done.returncode == 1 and b"line 3: " in done.stderr and why.encode() in done.stderr,
                  done.stderr)
        check("nothing was done before a wrong line", run(*at, "dump", USER).stdout == before)
        check("the help tells of quotes", b"backslash is always" in run("batch", "--help").stdout)

        check("a case-only rename", batch(f"new {USER}\\Word\nmv {USER}\\Word WORD\nset {USER}\\word v --type 1 x").returncode == 0
              and b"WORD\\" in run(*at, "ls", USER).stdout)
        failed = batch(f"mv {USER}\\WORD word\nmv {USER}\\word --value v V\nrm {USER}\\none\n")
        check("one that is taken back", failed.returncode == 1 and b"line 3 failed; 2 changes undone\n" in failed.stderr and
              b"WORD\\" in run(*at, "ls", USER).stdout and run(*at, "ls", USER + "\\WORD").stdout == b"v\n", failed.stderr)
        hive = shutil.copy(TYPES, folder)
        os.chmod(hive, 0o644)
        with open(hive, "r+b") as file:  # not closed cleanly, and without a log
            data = bytearray(file.read(512))
            struct.pack_into("<I", data, 4, struct.unpack_from("<I", data, 8)[0] + 1)
            struct.pack_into("<I", data, 508, functools.reduce(operator.xor, struct.unpack_from("<127I", data)))
            file.seek(0)
            file.write(data)
        noticed = batch(f"new {X}\\k\nset {X}\\k v --type 1 x\n", "--hive", f"{hive}@{X}")
        check("a notice is no failure", noticed.returncode == 0 and b"not closed cleanly" in noticed.stderr and
              run("--hive", f"{hive}@{X}", "get", X + "\\k", "v").stdout == b"x\n", noticed.stderr)


def keys_travel_through_text_files():
    with tempfile.TemporaryDirectory() as folder:
        at = ["--registry", folder]
        key, text = "HKEY_CURRENT_USER\\Text", folder + "/text.tvr"
        for name, kind, data in (("", "1", "x"), ("n", "4", "2a"), ("list", "7", "a;b"), ("bytes", "12", "01 ff ")):
            check("set", run(*at, "new", key).returncode in (0, 1) and
                  run(*at, "set", key, name, "--type", kind, data).returncode == 0)
        before = without_times(run(*at, "dump", key))
        done = run(*at, "export", key, text, "--format", "tvr")
        check("export", done.returncode == 0 and done.stderr == b"", done)
        check("its bytes", open(text, "rb").read() ==
              b"[HKEY_CURRENT_USER\\Text]\r\n@=1:x\r\nn=4:0000002a\r\nlist=7:a;b\r\nbytes=12:01 ff \r\n")
        run(*at, "rm", key)
        entries = len(journal_of(*at))
        check("import", run(*at, "import", text, "--format", "tvr").returncode == 0)
        check("it comes back", without_times(run(*at, "dump", key)) == before and len(journal_of(*at)) == entries)
        run(*at, "set", key, "a:b", "--type", "1", "x")
        lossy = run(*at, "export", key, text, "--format", "tvr")
        check("what is left out is said", lossy.returncode == 0 and b"1 keys or values" in lossy.stderr and
              b'Text, value "a:b"' in lossy.stderr, lossy.stderr)
        check("no key, no file", run(*at, "export", key + "\\none", folder + "/no", "--format", "tvr").returncode == 1 and
              not os.path.exists(folder + "/no"))
        with open(text, "w", encoding="utf-8") as file:
            file.write("[NOWHERE\\x]\nn=1:x\n")
        check("an unknown root", run(*at, "import", text, "--format", "tvr").stderr.endswith(b"(22)\n"))


make_hives()
what_can_not_be_opened_is_said_in_one_line()
output_stops_when_its_reader_goes_away()
changes_are_durable_when_a_command_ends()
a_hive_in_use_is_said_with_its_process()
keys_travel_through_hive_files()
the_embedded_registry_is_made_at_first_use()
sets_that_were_answered_survive_a_kill()
changes_are_journalled_and_undone()
an_undo_refuses_over_later_changes_and_goes_on_by_force()
a_batch_is_undone_by_the_stamp_of_any_of_its_entries()
entries_are_named_by_number_range_stamp_or_from_the_end()
the_list_tells_the_data_before_and_after()
a_look_at_the_journal_needs_no_lock()
the_window_s_settings_say_where_the_journal_lies()
a_journal_in_use_is_said_with_its_process()
a_batch_is_done_as_a_whole_or_not_at_all()
a_batch_line_is_split_into_words_as_its_help_says()
keys_travel_through_text_files()
names_that_would_steer_a_terminal_are_shown_and_not_obeyed()
a_hive_that_lies_below_itself_is_listed_once()
a_damaged_key_is_told_with_its_place()
options_stand_where_one_likes()
end()
