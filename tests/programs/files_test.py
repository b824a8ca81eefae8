#!/usr/bin/env python3
"""What the real program does to the files around it: files_test.py TOLVAR."""
import os
import resource
import signal
import stat
import subprocess
import tempfile

from program import TOLVAR, X, check, end, run

USER = "HKEY_CURRENT_USER"


def made_hive(folder):
    """A hive with a few keys, made by an export of a registry in `folder`."""
    at = ["--registry", os.path.join(folder, "registry")]
    hive = os.path.join(folder, "hive")
    check("a hive to work with", run(*at, "set", USER + "\\Environment", "v", "--type", "1", "x" * 300).returncode == 0 and
          run(*at, "export", USER, hive, "--format", "hive").returncode == 0)
    return hive


def read(path):
    with open(path, "rb") as file:
        return file.read()


def mode_of(file):
    return stat.S_IMODE(os.stat(file).st_mode)


def copies_are_as_private_as_their_hive():
    with tempfile.TemporaryDirectory() as folder:
        hive = made_hive(folder)
        for mode in (0o600, 0o640, 0o644):
            os.chmod(hive, mode)
            out = os.path.join(folder, f"out{mode:o}")
            for name, arguments in (("compact", ["compact", hive, out + "c"]),
                                    ("hive", ["--hive", f"{hive}@{X}", "export", X, out + "h", "--format", "hive"]),
                                    ("text", ["--hive", f"{hive}@{X}", "export", X, out + "t", "--format", "tvr"]),
                                    ("all", ["--hive", f"{hive}@{X}", "export", "HKEY_LOCAL_MACHINE", out + "a",
                                             "--format", "tvr"])):
                done = run(*arguments)
                made = out + name[0]
                check(f"{name} of a hive of mode {mode:o}", done.returncode == 0 and mode_of(made) == mode, done.stderr)
            os.chmod(hive, 0o600)
            run("--hive", f"{hive}@{X}", "export", X, out + "t", "--format", "tvr")
            check("a file that is replaced keeps its rights", mode_of(out + "t") == mode)
        check("folders made at first use are the user's alone", mode_of(os.path.join(folder, "registry")) == 0o700)
        check("nothing else is left", not [name for name in os.listdir(folder) if name.startswith(".")], os.listdir(folder))


def exports_go_where_they_are_sent():
    with tempfile.TemporaryDirectory() as folder:
        hive = made_hive(folder)

        def export(out, form, **more):
            return subprocess.run([TOLVAR, "--hive", f"{hive}@{X}", "export", X, out, "--format", form], timeout=60,
                                  stderr=subprocess.PIPE, **more)

        for form in ("tvr", "hive"):
            plain = os.path.join(folder, "plain." + form)
            check("to a file", export(plain, form).returncode == 0)
            content = read(plain)
            done = export("-", form, stdout=subprocess.PIPE)
            check(f"{form} to standard output", (done.returncode, done.stdout) == (0, content), done.stderr)
            with open(plain + "-", "wb") as out:
                check("which may be a file", export("-", form, stdout=out).returncode == 0 and read(plain + "-") == content)
            check("no file named -", not os.path.exists("-"))
            done = export("/dev/stdout", form, stdout=subprocess.PIPE)
            check(f"{form} to a device", (done.returncode, done.stdout) == (0, content), done.stderr)
            for full in ("/dev/full", "-"):
                with open("/dev/full", "wb") as out:
                    done = export(full, form, stdout=out)
                check(f"{form}, a full disk at {full}", done.returncode == 1 and b"(112)" in done.stderr, done.stderr)
            pipe = plain + ".pipe"
            os.mkfifo(pipe)
            with subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE) as reader:
                done = export(pipe, form)
                check(f"{form} into a pipe", done.returncode == 0 and reader.stdout.read() == content and
                      stat.S_ISFIFO(os.stat(pipe).st_mode), done.stderr)
            with subprocess.Popen(["true"], stdin=subprocess.PIPE) as gone:
                gone.wait()
                done = export("-", form, stdout=gone.stdin)
                check("a reader that has gone is no failure", done.returncode == 0 and done.stderr == b"", done.stderr)


def an_export_replaces_what_a_link_leads_to_and_nothing_else():
    with tempfile.TemporaryDirectory() as folder:
        hive = made_hive(folder)
        at = ["--hive", f"{hive}@{X}", "export", X]
        target, link = os.path.join(folder, "target.tvr"), os.path.join(folder, "link.tvr")
        for name in (target + ".new", link + ".new", target):
            with open(name, "w", encoding="utf-8") as file:
                file.write("the user's")
        os.symlink("target.tvr", link)
        check("over a link", run(*at, link, "--format", "tvr").returncode == 0 and os.path.islink(link) and
              read(target).startswith(b"[HKEY_LOCAL_MACHINE\\X]"))
        check("a hive over a link to a file", b"(183)" in run(*at, link, "--format", "hive").stderr)
        os.symlink("later", link + "2")
        check("a hive where a link leads to nothing", run(*at, link + "2", "--format", "hive").returncode == 0 and
              read(os.path.join(folder, "later"))[:4] == b"regf" and os.path.islink(link + "2"))
        check("the user's files", all(read(name + ".new") == b"the user's" for name in (target, link)))
        before = read(target)

        def small_files():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100))

        for form, out in (("tvr", target), ("hive", os.path.join(folder, "new"))):
            done = subprocess.run([TOLVAR, *at, out, "--format", form], capture_output=True, timeout=60,
                                  preexec_fn=small_files)
            check("a write that fails is said", done.returncode == 1 and done.stderr, done)
        check("and leaves the old file and no other", read(target) == before and sorted(os.listdir(folder)) == sorted(
            ["registry", "hive", "target.tvr", "target.tvr.new", "link.tvr", "link.tvr.new", "link.tvr2", "later"]),
            os.listdir(folder))


copies_are_as_private_as_their_hive()
exports_go_where_they_are_sent()
an_export_replaces_what_a_link_leads_to_and_nothing_else()
end()
