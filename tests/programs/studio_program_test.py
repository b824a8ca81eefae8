#!/usr/bin/env python3
"""Runs the real studio: studio_program_test.py TOLVAR_STUDIO."""
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time

from no_desktop import environment

STUDIO = sys.argv[1]
failures = 0


def check(what, condition, detail=""):
    global failures
    if not condition:
        failures += 1
        print("FAILED:", what, detail)


def the_window_is_rendered_into_a_picture(folder):
    file = os.path.join(folder, "window.png")
    done = subprocess.run([STUDIO, "--screenshot", file], env=environment(folder, QT_QPA_PLATFORM="offscreen"), capture_output=True,
                          timeout=60)
    check("a picture was asked for and written", done.returncode == 0, done.stderr)
    with open(file, "rb") as picture:
        head = picture.read(24)
    check("it is a PNG of the window's size", head[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", head[16:]) == (720, 510),
          head)
    done = subprocess.run([STUDIO, "--screenshot", os.path.join(folder, "none", "x.png")],
                          env=environment(folder, QT_QPA_PLATFORM="offscreen"), capture_output=True, timeout=60)
    check("a picture that can't be written is said", done.returncode == 1 and b"could not be written" in done.stderr, done)


def wrong_arguments_end_with_two(folder):
    done = subprocess.run([STUDIO, "--nonsense"], env=environment(folder, QT_QPA_PLATFORM="offscreen"), capture_output=True, timeout=60)
    check("wrong usage", done.returncode == 2, done)


def listening_addresses(port):
    """Local addresses of the sockets that listen on `port`, as the kernel writes them."""
    found = []
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        with open(table, encoding="ascii") as lines:
            for line in list(lines)[1:]:
                address, number = line.split()[1].split(":")
                if int(number, 16) == port and line.split()[3] == "0A":
                    found.append(address)
    return found


def without_a_display_only_this_machine_can_connect(folder):
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        port = probe.getsockname()[1]
    with subprocess.Popen([STUDIO], env=environment(folder, QT_QPA_PLATFORM=f"vnc:size=800x600:port={port}"), stderr=subprocess.DEVNULL) as studio:
        try:
            addresses = []
            for _ in range(200):
                addresses = listening_addresses(port)
                if addresses or studio.poll() is not None:
                    break
                time.sleep(0.05)
            check("it listens, on loopback alone", addresses and all(a.endswith("0100007F") for a in addresses), addresses)
            with socket.create_connection(("127.0.0.1", port), timeout=20) as viewer:
                check("a viewer is greeted", viewer.recv(12).startswith(b"RFB "))
        finally:
            studio.kill()


with tempfile.TemporaryDirectory() as scratch:
    the_window_is_rendered_into_a_picture(scratch)
    wrong_arguments_end_with_two(scratch)
    without_a_display_only_this_machine_can_connect(scratch)
sys.exit(1 if failures else 0)
