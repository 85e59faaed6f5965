#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""ffplay, one process and window per tile, behind the command line of the other peers."""
import subprocess
import sys
import threading
import time

PAUSE_BEFORE_REOPEN_S = 0.5
FLAGS = ["-v", "quiet", "-nostats", "-an", "-sn", "-fflags", "nobuffer", "-flags", "low_delay",
         "-analyzeduration", "100000", "-fpsprobesize", "0", "-threads", "1",
         "-rtsp_transport", "tcp", "-framedrop", "-noborder"]


class View:
    def __init__(self, left, top, width, height, sources):
        self.place = ["-left", str(left), "-top", str(top), "-x", str(width), "-y", str(height)]
        self.sources = sources
        self.process = None
        self.wanted = None

    def open(self, sub):
        self.close()
        self.wanted = self.sources[1 if sub else 0]
        threading.Thread(target=self.keep, args=[self.wanted], daemon=True).start()

    def keep(self, url):
        while self.wanted is url:
            self.process = subprocess.Popen(["ffplay", *FLAGS, "-autoexit", *self.place, url],
                                            stdin=subprocess.DEVNULL)
            self.process.wait()
            time.sleep(PAUSE_BEFORE_REOPEN_S)

    def close(self):
        self.wanted = None
        if self.process:
            self.process.kill()
            self.process.wait()


def main(form, *addresses):
    columns, width, height = (int(number) for number in form.split("x"))
    views = [View(i % columns * width, i // columns * height, width, height, address.split(","))
             for i, address in enumerate(addresses)]
    print("READY", flush=True)
    for line in sys.stdin:
        command = line.strip()
        name, _, number = command.partition(" ")
        for view in views[:int(number or len(views))]:
            if name in ("stop", "quit"):
                view.close()
            elif name != "start" or view.wanted is None:
                view.open(name == "sub")
        print(command, flush=True)
        if command == "quit":
            break
    for view in views:
        view.close()


main(*sys.argv[1:])
