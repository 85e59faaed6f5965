# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""An X server without a screen, and who watches its pixels."""
import pathlib
import shutil
import subprocess
import tempfile
import time

WIDTH, HEIGHT = 1920, 1080


class Display:
    """An Xvfb whose screen is a file. Without GLX, players fall back on plain X11 pictures, which
    on a machine without a graphics card cost a fraction of what OpenGL does. Without a pointer,
    which would lie in the middle, on the counter of a tile."""

    def __init__(self, glx=False):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vantra-bench-"))
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", "1", "-screen", "0", f"{WIDTH}x{HEIGHT}x24", "-fbdir",
             str(self.folder), "-nocursor", "-nolisten", "tcp", "-noreset", "-s", "0",
             "+extension" if glx else "-extension", "GLX"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        number = self.process.stdout.readline().strip()
        if not number:
            raise RuntimeError("Xvfb does not start")
        self.name = f":{number}"

    @property
    def pid(self):
        return self.process.pid

    @property
    def screen(self):
        return self.folder / "Xvfb_screen0"

    def close(self):
        self.process.terminate()
        self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


class Watcher:
    """Notes when which counter was to be seen in which tile."""

    def __init__(self, program, display, layout, tiles, poll_us):
        self.file = display.folder / "seen"
        self.output = open(self.file, "wb")
        self.process = subprocess.Popen(
            [program, str(display.screen), str(layout.columns), str(layout.width),
             str(layout.height), str(tiles), str(poll_us)],
            stdin=subprocess.PIPE, stdout=self.output, stderr=subprocess.DEVNULL)
        self.input = open(self.file, "rb")
        self.rest = b""
        self.events = []  # (tile, counter, seconds), in the order of time

    def look_every(self, poll_us):
        """Microseconds between two looks, from now on."""
        self.process.stdin.write(f"{poll_us}\n".encode())
        self.process.stdin.flush()

    def read(self):
        lines = (self.rest + self.input.read()).split(b"\n")
        self.rest = lines.pop()
        for line in lines:
            tile, counter, time_ns = line.split()
            self.events.append((int(tile), int(counter), int(time_ns) / 1e9))
        return self.events

    def first_of_each(self, since, wanted=lambda counter: True):
        """{tile: when it has shown its first picture after `since`}."""
        first = {}
        for tile, counter, seen in self.read():
            if seen >= since and wanted(counter):
                first.setdefault(tile, seen)
        return first

    def between(self, begin, end):
        return [event for event in self.read() if begin <= event[2] < end]

    def close(self):
        self.process.kill()
        self.process.wait()
        self.process.stdin.close()
        self.output.close()
        self.input.close()


class Layout:
    """Tiles of one size, side by side on the screen."""

    def __init__(self, width, height):
        self.width, self.height = width, height
        self.columns = WIDTH // width

    def __str__(self):
        return f"{self.columns}x{self.width}x{self.height}"
