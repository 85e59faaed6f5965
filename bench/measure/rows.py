# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""The rows of the comparison. Each row has cells; a cell is measured player by player."""
import math
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import process
from cameras import FPS, SUB_BASE, Cameras
from recorders import FfmpegRecorder, GstMp4mux, GstSplitmux, OwnRecorder, files, payload
from stage import COARSE_US, FIRST_PICTURE_S, SMALL_TILE, WARM_UP_S, Failed, Stage


def percentile(ordered, share):
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))] if ordered else math.nan


# ---- Rows ----------------------------------------------------------------------------------------
# A row has `cells(options)`, names of what is measured; `players(all)`, by whom; and
# `measure(bench, player, cell)`, which gives {figure: value}.


class Row:
    figures = {}  # name -> (heading, digits after the point)
    more_is_better = frozenset()  # figures
    most_rounds = 99

    def players(self, everybody):
        return [player for player in everybody if player.window and not player.is_hasty]

    def order(self, cells):
        """Names of known cells, by the numbers in them."""
        def numbers(cell):
            return [form for form in ("360p", "1080p") if form in cell] != ["1080p"], [
                -int(number) for number in re.findall(r"\d+", cell)]
        return sorted(cells, key=numbers, reverse=True)


class Cpu(Row):
    name, title = "cpu", "CPU time and memory of views"
    note = ("Percent of one core, of the player and the X server; memory is PSS of the player. "
            "`bare` is libavcodec alone, one thread per stream, and `vantra-planes` this library "
            "with a receiver that does nothing: both without a window. A player that shows less than "
            "was sent spends less: the time for each picture shown tells the price.")
    figures = {"cpu": ("% of a core", 1), "each": ("ms for each picture", 2), "pss": ("MiB", 0), "shown": ("shown, %", 1)}
    more_is_better = {"shown"}
    CELLS = [("360p", 1), ("360p", 4), ("360p", 9), ("360p", 16),
             ("1080p", 1), ("1080p", 2), ("1080p", 4)]

    def cells(self, _):
        return [f"{views} x {form}" for form, views in self.CELLS]

    def players(self, everybody):
        return [player for player in everybody if not player.is_hasty]

    def measure(self, bench, player, cell):
        views, form = cell.split(" x ")
        with Stage(bench, player, form, int(views), poll_us=COARSE_US) as stage:
            stage.begin()
            return stage.measure(bench.options.seconds)


class Capacity(Row):
    name, title = "capacity", "Views that the machine carries"
    note = ("Tiles of 240x135; the camera server runs on the same cores. The most views at which "
            "99 % of the pictures are shown, by doubling and then by halves.")
    figures = {"views": ("views", 0)}
    more_is_better = {"views"}
    MOST = 64
    ENOUGH = 99  # percent shown

    def cells(self, _):
        return ["360p", "1080p"]

    def carries(self, bench, player, form, views):
        try:
            with Stage(bench, player, form, views, SMALL_TILE, poll_us=COARSE_US) as stage:
                stage.begin()
                return stage.measure(bench.options.seconds)["shown"] >= self.ENOUGH
        except (Failed, RuntimeError):
            return False

    def measure(self, bench, player, cell):
        good, bad = 0, 1
        while bad <= self.MOST and self.carries(bench, player, cell, bad):
            good, bad = bad, bad * 2
        step = (bad - good) // 2
        while step >= max(1, good // 8) and good < self.MOST:
            if self.carries(bench, player, cell, good + step):
                good += step
            step //= 2
        return {"views": good}


class FirstPicture(Row):
    name, title = "first-picture", "Time to the first picture, and to change over"
    note = ("From the order to the picture on the screen, one view. A change over between the main "
            "(1080p) and the sub stream (640x360): the peers open the other address, where the "
            "camera begins with a key picture; this library has both streams open and waits for "
            "the next key picture, of which there is one every two seconds.")
    figures = {"ms": ("ms", 0)}

    def cells(self, _):
        return ["first picture", "first picture, again", "main to sub", "sub to main"]

    def players(self, everybody):
        return [player for player in everybody if player.window]

    def measure(self, bench, player, cell):
        with Stage(bench, player, "1080p" if "main" in cell else "360p", 1,
                   sub_form="360p" if "main" in cell else None) as stage:
            since, _ = stage.player.tell("start")
            first = stage.first_pictures(since)[0]
            if cell == "first picture":
                return {"ms": first}
            time.sleep(WARM_UP_S)
            if cell == "first picture, again":
                stage.player.tell("stop")
                time.sleep(WARM_UP_S)
                since, _ = stage.player.tell("start")
                return {"ms": stage.first_pictures(since)[0]}
            # Key pictures come every two seconds: at another moment of that in each round.
            time.sleep(time.monotonic() % 2)
            since, _ = stage.player.tell("sub")
            sub = stage.first_pictures(since, lambda counter: counter >= SUB_BASE)[0]
            if cell == "main to sub":
                return {"ms": sub}
            time.sleep(WARM_UP_S + time.monotonic() % 2)
            since, _ = stage.player.tell("main")
            return {"ms": stage.first_pictures(since, lambda counter: counter < SUB_BASE)[0]}


class Delay(Row):
    name, title = "delay", "Delay from the camera to the screen"
    note = ("From the moment at which the camera hands a picture to its server, to the moment at "
            "which its counter stands on the screen.")
    figures = {"p50": ("p50 ms", 1), "p99": ("p99 ms", 1)}

    def cells(self, options):
        after = [10] + ([600] if options.long else [60])
        return [f"{views} x 360p after {seconds} s" for views in (1, 9) for seconds in after]

    def players(self, everybody):
        return [player for player in everybody if player.window]

    def measure(self, bench, player, cell):
        views, after = (int(number) for number in re.findall(r"(\d+) [xs]", cell))
        with Stage(bench, player, "360p", views) as stage:
            stage.begin()
            time.sleep(after - WARM_UP_S)
            begin = time.monotonic()
            time.sleep(bench.options.seconds)
            delays = stage.cameras.delays(stage.watcher.between(begin, time.monotonic()))
        if not delays:
            raise Failed("no picture")
        return {"p50": percentile(delays, 0.5), "p99": percentile(delays, 0.99)}


class Outage(Row):
    name, title = "outage", "Return after an outage"
    note = ("From the moment at which the killed server listens again, to the picture. Players that "
            "give up are started anew by their host every 500 ms; this library tries again by "
            "itself, with a pause that is set to as much (its default is 3 s).")
    figures = {"ms": ("ms", 0)}

    def cells(self, options):
        return [f"{seconds} s" for seconds in ((5, 30, 120) if options.long else (5,))]

    def measure(self, bench, player, cell):
        with Stage(bench, player, "360p", 1) as stage:
            stage.begin()
            stage.cameras.kill()
            time.sleep(int(cell.split()[0]))
            stage.cameras.start()
            return {"ms": stage.first_pictures(time.monotonic(), seconds=60)[0]}


class StartStop(Row):
    name, title = "start-stop", "Start and stop of 16 views"
    note = ("Start: from the order to the picture of the first and of the last view. Stop: how long "
            "the order holds up the host's GUI thread, and until the last thread has gone.")
    figures = {"first": ("first picture, ms", 0), "last": ("last picture, ms", 0),
               "held": ("GUI held, ms", 0), "gone": ("threads gone, ms", 0)}
    VIEWS = 16
    WATCH_S = 6

    def cells(self, _):
        return [f"{self.VIEWS} x 360p"]

    def measure(self, bench, player, _):
        with Stage(bench, player, "360p", self.VIEWS) as stage:
            since, _ = stage.player.tell("start")
            first, last = stage.first_pictures(since)
            time.sleep(WARM_UP_S)
            since, _ = stage.player.tell("stop")
            held = time.monotonic() - since
            gone = held + process.seconds_until_threads_settle(stage.player.pid, self.WATCH_S)
            return {"first": first, "last": last, "held": held * 1000, "gone": gone * 1000}


class Record(Row):
    name, title = "record", "Recording without a viewer"
    note = ("640x360 by RTSP into fragmented MP4 files. `file` is the size of the files beside that "
            "of the video in them; `whole` the pictures in them beside those of the time they span.")
    figures = {"cpu": ("% of a core", 1), "pss": ("MiB", 0), "file": ("file, %", 2),
               "whole": ("whole, %", 1)}
    more_is_better = {"whole"}
    FLOWING_S = 5  # from the first pictures on, until every recorder has begun at a key picture
    RECORDERS = {recorder.name: recorder for recorder in (FfmpegRecorder, GstMp4mux, GstSplitmux)}

    def cells(self, _):
        return [f"{streams} streams" for streams in (1, 8, 32, 64)]

    def players(self, everybody):
        return ["vantra", *self.RECORDERS]

    def measure(self, bench, player, cell):
        streams = int(cell.split()[0])
        cameras = Cameras(bench.server, bench.clips, "360p", streams)
        with tempfile.TemporaryDirectory(prefix="vantra-bench-") as folder:
            folder = pathlib.Path(folder)
            if player == "vantra":
                recorder = OwnRecorder(bench.build / "bench" / "peers" / "peer-record", folder,
                                       cameras.urls())
            else:
                recorder = self.RECORDERS[player](folder, cameras.urls())
            try:
                recorder.start()
                self.wait_until_all_send(cameras, streams)
                time.sleep(self.FLOWING_S)
                meter = process.Meter(*recorder.pids())
                time.sleep(bench.options.seconds)
                cpu = meter.percent()
                pss = process.pss_mib([p for pid in recorder.pids() for p in process.tree(pid)])
                recorder.stop()
            finally:
                cameras.close()
            made = files(folder)
            sizes = [payload(file) for file in made]
            if len(made) < streams or not all(pictures for _, pictures, _ in sizes):
                raise Failed(f"{len(made)} of {streams} files")
            return {"cpu": cpu, "pss": pss,
                    "whole": 100 * sum(pictures for _, pictures, _ in sizes) /
                             sum(seconds * FPS for _, _, seconds in sizes),
                    "file": 100 * sum(file.stat().st_size for file in made) /
                            sum(size for size, _, _ in sizes)}

    @staticmethod
    def wait_until_all_send(cameras, streams):
        deadline = time.monotonic() + FIRST_PICTURE_S
        while len({camera for camera, counter, _ in cameras.sent() if counter > 25}) < streams:
            if time.monotonic() > deadline:
                raise Failed("not all streams flow")
            time.sleep(0.2)


class Producer(Row):
    name, title = "producer", "What a recording costs the thread that reads"
    note = ("A call of `writeData` with the frame of a device, beside the one copy of the payload "
            "that it cannot do without; from `bench-record`.")
    figures = {"p50": ("p50 us", 1), "p99": ("p99 us", 1)}
    most_rounds = 1  # bench-record takes several by itself
    LINE = re.compile(r"([\d.]+) */ *([\d.]+)")

    def cells(self, _):
        return ["main h264", "main h265", "sub h264"]

    def players(self, everybody):
        return ["vantra", "memcpy"]

    def measure(self, bench, player, cell):
        if not hasattr(self, "output"):
            program = bench.build / "bench" / "record" / "bench-record"
            shown = subprocess.run([str(program)], capture_output=True, text=True, check=False)
            if shown.returncode != 0:
                raise Failed(shown.stderr.strip())
            self.output = shown.stdout
        for line in self.output.splitlines():
            if line.startswith(cell) and "frame" in line:
                pairs = self.LINE.findall(line)[-2:]
                p50, p99 = pairs[0] if player == "vantra" else pairs[1]
                return {"p50": float(p50), "p99": float(p99)}
        raise Failed("no such line of bench-record")


ROWS = [Cpu(), Capacity(), FirstPicture(), Delay(), Outage(), Record(), Producer(), StartStop()]


def run(bench, rows, everybody, results):
    """Measures in rounds, all players in turn in each, and keeps what has been measured."""
    for row in rows:
        cells = row.cells(bench.options)
        if bench.options.cells:
            cells = [cell for cell in cells if cell in bench.options.cells]
        for cell in cells:
            for number in range(min(row.most_rounds, bench.options.rounds)):
                for player in row.players(everybody):
                    name = player if isinstance(player, str) else player.name
                    if bench.options.peers and name not in bench.options.peers:
                        continue
                    try:
                        figures, problem = row.measure(bench, player, cell), ""
                    except (Failed, RuntimeError, OSError) as error:
                        figures, problem = {}, str(error)
                    results.add(row.name, cell, name, figures, problem, first=number == 0)
                    shown = "  ".join(f"{key} {value:.1f}" for key, value in figures.items())
                    print(f"{row.name}: {cell}: round {number + 1}: {name}: {shown or problem}",
                          file=sys.stderr, flush=True)
                    results.save()
