# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""A player before its cameras, on a screen that is watched."""
import contextlib
import time

import process
from cameras import Cameras, clip
from display import Display, Layout, Watcher
from players import Failed, Running

FIRST_PICTURE_S = 20
WARM_UP_S = 1
PRECISE_US, COARSE_US = 500, 4000  # between two looks at the screen
POLL_S = 0.02
TILE = Layout(480, 270)
SMALL_TILE = Layout(240, 135)  # 64 fit on the screen


class Bench:
    """What all pieces share."""

    def __init__(self, build, options):
        self.build, self.options = build, options
        self.clips = build / "bench" / "clips"
        self.clips.mkdir(parents=True, exist_ok=True)
        for form, sub in (("360p", False), ("1080p", False), ("360p", True)):
            clip(self.clips, form, sub)  # takes a while the first time, and is no measurement
        self.server = str(build / "simulator" / "rtsp" / "vantra-rtsp-server")
        self.watch = str(build / "bench" / "watch" / "bench-watch")

    def cameras(self, form, count, sub_form=None):
        return Cameras(self.server, self.clips, form, count, sub_form)


class Seat(contextlib.ExitStack):
    """A player that shows the addresses `urls` of cameras, on a screen of its own that is watched;
    ends with the block. `first` is the number of the camera of its first tile."""

    def __init__(self, bench, player, cameras, urls, layout=TILE, first=0, ends_cameras=False):
        super().__init__()
        self.cameras, self.views, self.first = cameras, len(urls), first
        if ends_cameras:
            self.callback(cameras.close)
        self.display = self.watcher = None
        try:
            if player.kind == "window":
                self.display = self._ending(Display(player.glx))
                self.watcher = self._ending(
                    Watcher(bench.watch, self.display, layout, self.views, PRECISE_US))
            self.player = self._ending(Running(player, self.display, layout, urls))
        except BaseException:
            self.close()
            raise

    def _ending(self, part):
        self.callback(part.close)
        return part

    def pids(self):
        return [self.player.pid] + ([self.display.pid] if self.display else [])

    def first_pictures(self, since, wanted=lambda counter: True, seconds=FIRST_PICTURE_S, views=0,
                       stuck_s=FIRST_PICTURE_S):
        """Milliseconds from `since` to the first picture of the first and of the last of `views`
        tiles, or of all of them. Waits no longer than `seconds`, and `stuck_s` for one tile more."""
        views = views or self.views
        begin = more = time.monotonic()
        count = 0
        while len(first := self.watcher.first_of_each(since, wanted)) < views:
            now = time.monotonic()
            if len(first) > count:
                count, more = len(first), now
            if now - begin > seconds or now - more > stuck_s:
                raise Failed(f"no picture within {now - begin:.0f} s" if views == 1 else
                             f"{count} of {views} views within {now - begin:.0f} s")
            self.player.must_live()
            time.sleep(POLL_S)
        return [(moment - since) * 1000 for moment in (min(first.values()), max(first.values()))]

    def count(self):
        return int(self.player.tell("count")[1].split()[1])

    def start_unseen(self):
        """Starts a player without a window and waits until all its views play."""
        self.player.tell("start")
        deadline = time.monotonic() + FIRST_PICTURE_S
        while self.count() < 10 * self.views:
            if time.monotonic() > deadline:
                raise Failed("no pictures")
            time.sleep(0.1)

    def measure(self, seconds, views=0):
        """CPU time and memory of each of `views` or all views, and pictures, of so many seconds."""
        views = views or self.views
        counted = 0 if self.watcher else self.count()
        meter = process.Meter(*self.pids())
        begin = time.monotonic()
        time.sleep(seconds)
        cpu = meter.percent()
        end = time.monotonic()
        events = self.watcher.between(begin, end) if self.watcher else []
        shown = len(events) if self.watcher else self.count() - counted
        sent = self.cameras.sent_between(begin, end)
        self.player.must_live()
        if not shown:
            raise Failed("no picture")
        if self.watcher and len(seen := {tile for tile, *_ in events}) < views:
            raise Failed(f"pictures of {len(seen)} of {views} views")
        return {"cpu": cpu / views,
                "each": cpu * 10 * (end - begin) / shown,  # percent to milliseconds
                "pss": process.pss_mib(process.tree(self.player.pid)) / views,
                "shown": 100 * shown / max(sent, 1)}

    def delays(self, seconds):
        """Milliseconds from the camera to the screen of the pictures of so many seconds, sorted."""
        begin = time.monotonic()
        time.sleep(seconds)
        delays = self.cameras.delays(self.watcher.between(begin, time.monotonic()), self.first)
        if not delays:
            raise Failed("no picture")
        return delays


def stage(bench, player, form, views, layout=TILE, sub_form=None):
    """A seat with a camera server of its own."""
    cameras = bench.cameras(form, views, sub_form)
    return Seat(bench, player, cameras, cameras.urls(), layout, ends_cameras=True)
