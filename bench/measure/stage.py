# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""A player before its cameras, on a screen that is watched."""
import time

import process
from cameras import Cameras
from display import Display, Layout, Watcher
from players import Running

FIRST_PICTURE_S = 30
WARM_UP_S = 2
PRECISE_US, COARSE_US = 500, 4000  # between two looks at the screen
TILE = Layout(480, 270)
SMALL_TILE = Layout(240, 135)  # 64 fit on the screen


class Failed(Exception):
    """The player did not do it; what it did not do."""


class Bench:
    """What all rows share."""

    def __init__(self, build, options):
        self.build, self.options = build, options
        self.clips = build / "bench" / "clips"
        self.clips.mkdir(parents=True, exist_ok=True)
        self.server = str(build / "simulator" / "rtsp" / "vantra-rtsp-server")
        self.watch = str(build / "bench" / "watch" / "bench-watch")


class Stage:
    """A player before cameras, on a screen that is watched; all of it ends with the block."""

    def __init__(self, bench, player, form, views, layout=TILE, sub_form=None, poll_us=PRECISE_US):
        self.cameras = self.display = self.watcher = self.player = None
        self.views = views
        try:
            self.cameras = Cameras(bench.server, bench.clips, form, views, sub_form)
            if player.window:
                self.display = Display(player.glx)
                self.watcher = Watcher(bench.watch, self.display, layout, views, poll_us)
            self.player = Running(player, self.display, layout, self.cameras.urls())
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for part in (self.player, self.watcher, self.cameras, self.display):
            if part:
                part.close()

    def pids(self):
        return [self.player.pid] + ([self.display.pid] if self.display else [])

    def first_pictures(self, since, wanted=lambda counter: True, seconds=FIRST_PICTURE_S):
        """Milliseconds from `since` to the first picture of the first and of the last tile."""
        first = self.watcher.wait_for_all(self.views, since, seconds, wanted)
        if not first:
            raise Failed("no picture")
        return [(moment - since) * 1000 for moment in (min(first.values()), max(first.values()))]

    def count(self):
        return int(self.player.tell("count")[1].split()[1])

    def begin(self):
        """Starts all views and waits until they play."""
        since, _ = self.player.tell("start")
        if self.watcher:
            self.first_pictures(since)
        else:
            deadline = time.monotonic() + FIRST_PICTURE_S
            while self.count() < 10 * self.views:
                if time.monotonic() > deadline:
                    raise Failed("no pictures")
                time.sleep(0.1)
        time.sleep(WARM_UP_S)

    def measure(self, seconds):
        """CPU time, memory and pictures of so many seconds."""
        counted = 0 if self.watcher else self.count()
        meter = process.Meter(*self.pids())
        begin = time.monotonic()
        time.sleep(seconds)
        cpu = meter.percent()
        end = time.monotonic()
        if self.watcher:
            shown = len(self.watcher.between(begin, end))
        else:
            shown = self.count() - counted
        sent = self.cameras.sent_between(begin, end)
        if not shown:
            raise Failed("no picture")
        return {"cpu": cpu, "each": cpu * 10 * (end - begin) / shown,  # percent to milliseconds
                "pss": process.pss_mib(process.tree(self.player.pid)),
                "shown": 100 * shown / max(sent, 1)}
