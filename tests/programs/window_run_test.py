#!/usr/bin/env python3
"""Drives the real studio by mouse and keys on a display of its own: window_run_test.py TOLVAR_STUDIO PICTURE.

Keeps what was on the screen in PICTURE. Ends with 77, and says why, where the display server or the tool that stands
for the user's hands is not installed.
"""
import configparser
import os
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import zlib

from no_desktop import environment

STUDIO, PICTURE = sys.argv[1:]
WIDTH, HEIGHT = 1000, 700
failures = 0


def check(what, condition, detail=""):
    global failures
    if not condition:
        failures += 1
        print("FAILED:", what, detail)


class Display:
    """A screen in a file, which any picture can be made of."""

    def __init__(self, folder):
        self.folder = folder
        read, write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", f"{WIDTH}x{HEIGHT}x24", "-fbdir", folder, "-nolisten", "tcp"],
            pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as answer:
            self.name = ":" + answer.readline().strip()

    def pixels(self):
        """The screen's lines, each as RGB bytes."""
        with open(os.path.join(self.folder, "Xvfb_screen0"), "rb") as screen:
            dump = screen.read()
        header = struct.unpack(">25I", dump[:100])
        start, line = header[0] + 12 * header[19], header[12]
        lines = []
        for y in range(HEIGHT):
            row = dump[start + y * line:start + y * line + 4 * WIDTH]
            pixels = bytearray(3 * WIDTH)
            pixels[0::3], pixels[1::3], pixels[2::3] = row[2::4], row[1::4], row[0::4]
            lines.append(bytes(pixels))
        return lines

    def save(self, file):
        def chunk(name, data):
            return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))
        head = struct.pack(">IIBBBBB", WIDTH, HEIGHT, 8, 2, 0, 0, 0)
        body = zlib.compress(b"".join(b"\0" + line for line in self.pixels()))
        with open(file, "wb") as picture:
            picture.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", body) + chunk(b"IEND", b""))


class Studio:
    def __init__(self, display, folder):
        self.settings_file = os.path.join(folder, "Kordo", "Tolvar.conf")
        # The desktop's own libraries keep some memory to the end, which is not ours to give back.
        no_leaks = os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0"
        self.env = environment(folder, DISPLAY=display.name, QT_QPA_PLATFORM="xcb", ASAN_OPTIONS=no_leaks)
        self.process = subprocess.Popen([STUDIO, "--palette", "light"], env=self.env)
        self.do("search", "--sync", "--onlyvisible", "--name", "Tolvar Studio", "windowfocus", "--sync")
        self.settle()

    def do(self, *arguments):
        subprocess.run(["xdotool", *arguments], env=self.env, check=True, timeout=30, stdout=subprocess.DEVNULL)

    def settle(self):
        """Waits until the program has nothing more to do: its thread gets no more time from the system."""
        quiet, before, end = 0, None, time.monotonic() + 20
        while quiet < 3 and time.monotonic() < end:
            time.sleep(0.03)
            with open(f"/proc/{self.process.pid}/schedstat", encoding="ascii") as file:
                now = file.read().split()[0]
            quiet = quiet + 1 if now == before else 0
            before = now

    def keys(self, *names):
        for name in names:
            self.do("key", "--clearmodifiers", name)
            self.settle()

    def type(self, text):
        self.do("type", "--delay", "5", text)
        self.settle()

    def drag(self, x, y, to_x, to_y):
        self.do("mousemove", str(x), str(y), "mousedown", "1", "mousemove", str((x + to_x) // 2), str((y + to_y) // 2),
                "mousemove", str(to_x), str(to_y), "mouseup", "1")
        self.settle()

    def click(self, x, y):
        self.do("mousemove", str(x), str(y), "click", "1")
        self.settle()

    def end(self):
        self.keys("ctrl+q")
        check("it ends when it is asked to", self.process.wait(timeout=20) == 0)
        settings = configparser.ConfigParser(strict=False, interpolation=None)
        settings.optionxform = str
        settings.read(self.settings_file)
        return {key.replace("%20", " "): value for section in settings for key, value in settings[section].items()}


def a_person_works_with_the_window(display, folder):
    studio = Studio(display, folder)
    studio.keys("ctrl+l")
    studio.type("hkcu\\SOFTWARE\\")
    studio.type("zz")  # there is no such key, and no offer either
    studio.keys("BackSpace", "BackSpace", "Return")
    studio.keys("ctrl+shift+j")          # the journal
    studio.drag(40 + 290, 250, 40 + 390, 250)  # the splitter behind 40 % of 720
    studio.click(40 + 600, 250)          # the value list has the focus
    studio.keys("Home", "Return")        # up to the parent
    studio.keys("alt+v")                 # the View menu is open when the picture is taken
    display.save(PICTURE)
    check("something is on the screen", len(set(b"".join(display.pixels()))) > 50)
    studio.keys("Escape")
    first = studio.end()
    check("the keys and the mouse have led to the parent", first.get("LOK", "").replace("\\\\", "\\").strip('"') ==
          "HKEY_CURRENT_USER\\", first)
    check("the journal's page is open", first.get("view output") == "3", first)
    check("the splitter was moved", abs(int(first.get("paneW", 0)) - 388 * 10000 // 720) < 200, first)
    second = Studio(display, folder).end()
    for key in ("LOK", "view output", "paneW", "paneH", "rect", "max", "icon", "Left Tab"):
        check(f"a restart comes back to {key}", first.get(key) == second.get(key), (first.get(key), second.get(key)))


missing = [tool for tool in ("Xvfb", "xdotool") if shutil.which(tool) is None]
if missing:
    print("Skipped: not installed:", ", ".join(missing))
    sys.exit(77)
with tempfile.TemporaryDirectory() as scratch:
    screen = Display(scratch)
    try:
        a_person_works_with_the_window(screen, scratch)
    finally:
        screen.server.terminate()
        screen.server.wait()
sys.exit(1 if failures else 0)
