"""The environment that the studio is run in by tests: nothing of the machine's desktop and its user."""
import os

KEPT = ("PATH", "TMPDIR", "LD_LIBRARY_PATH", "FONTCONFIG_FILE", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS")


def environment(folder, **more):
    """`folder` stands for the user's home."""
    home = {name: folder for name in ("HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR")}
    return {**{name: os.environ[name] for name in KEPT if name in os.environ}, **home, "LC_ALL": "C.UTF-8",
            "DBUS_SESSION_BUS_ADDRESS": "disabled:", **more}
