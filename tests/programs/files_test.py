#!/usr/bin/env python3
"""What the real program does to the files around it: files_test.py TOLVAR."""
import os
import stat
import tempfile

from program import X, check, end, run

USER = "HKEY_CURRENT_USER"


def made_hive(folder):
    """A hive with a few keys, made by an export of a registry in `folder`."""
    at = ["--registry", os.path.join(folder, "registry")]
    hive = os.path.join(folder, "hive")
    check("a hive to work with", run(*at, "set", USER + "\\Environment", "v", "--type", "1", "x" * 300).returncode == 0 and
          run(*at, "export", USER, hive, "--format", "hive").returncode == 0)
    return hive


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


copies_are_as_private_as_their_hive()
end()
