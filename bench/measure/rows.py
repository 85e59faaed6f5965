# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What is compared: the rows of the comparison, their figures and goals. How it is measured stands
in pieces.py."""
import re
from dataclasses import dataclass

COPY = "ffmpeg -c copy"
VIEWS = [(1, "360p"), (4, "360p"), (9, "360p"), (16, "360p"), (1, "1080p"), (2, "1080p"),
         (4, "1080p")]
BESIDE = "(all side by side)"
MOSTLY = 95  # percent of the pictures
LIMITS = ("bare", "memcpy")  # no rivals: what nobody can beat


@dataclass(frozen=True)
class Goal:
    """That the figure of `subject` is at most `most` times that of `rival`, or at least so many
    times where more is better."""
    most: float = 1.0
    rival: str = ""  # empty: the best peer
    subject: str = "vantra"

    def words(self, more_is_better):
        times = "" if self.most == 1 else f"{self.most:g} times "
        rival = f"`{self.rival}`" if self.rival else (
            "the best peer" if times or more_is_better else "every peer")
        bound = "at least" if more_is_better else "at most" if self.rival or times else "below"
        return f"{bound} {times}{rival}" + (f" (`{self.subject}`)" if self.subject != "vantra"
                                            else "")


@dataclass(frozen=True)
class Bound:
    """That our figure is at most so much."""
    most: float
    unit: str
    rival = ""

    def words(self, _):
        return f"at most {self.most:g} {self.unit}"


@dataclass(frozen=True)
class Figure:
    heading: str
    digits: int
    goals: tuple = ()
    more_is_better: bool = False
    limit: str = ""  # whose figure nobody can beat
    needs: tuple = ()  # (figure, least): who has less of that does not compete


class Row:
    name = title = note = ""
    figures = {}

    def players(self, everybody):
        """By whom it is measured."""
        return [player for player in everybody if player.kind == "window" and not player.is_hasty]

    def order(self, cells):
        """Names of known cells, by the numbers in them."""
        def numbers(cell):
            return "1080p" in cell, [int(number) for number in re.findall(r"\d+", cell)], cell
        return sorted(cells, key=numbers)


class Cpu(Row):
    name, title = "cpu", "CPU time and memory of each view"
    note = ("For each view, of the player and the X server; memory is PSS of the player. `bare` is "
            "libavcodec alone, one thread per stream, and `vantra-planes` this library with a "
            "receiver that does nothing: both without a window. A player that shows less than was "
            f"sent spends less: below {MOSTLY} % it does not compete in the first table; the time "
            "for each picture shown tells the price.")
    figures = {"cpu": Figure("% of a core, each view", 2, (Goal(),), limit="bare",
                             needs=("shown", MOSTLY)),
               "each": Figure("ms for each picture shown", 2,
                              (Goal(), Goal(1.1, "bare", "vantra-planes")), limit="bare"),
               "pss": Figure("MiB, each view", 1),
               "shown": Figure("% shown of the pictures sent", 1, more_is_better=True)}

    def cells(self, _):
        return [f"{views} x {form}" for views, form in VIEWS]

    def players(self, everybody):
        return [player for player in everybody
                if player.kind in ("window", "decoder") and not player.is_hasty]


class Capacity(Row):
    name, title = "capacity", "Views that the machine carries"
    note = ("Tiles of 240x135; the camera server runs on the same cores. The most views at which "
            "99 % of the pictures are shown: by doubling and then by halves in the first round, "
            "looked for anew around that number in the others.")
    figures = {"views": Figure("views", 0, (Goal(1.5),), more_is_better=True)}

    def cells(self, _):
        return ["360p", "1080p"]


class FirstPicture(Row):
    name, title = "first-picture", "Time to the first picture, and to change over"
    note = ("From the order to the picture on the screen, one view; \"again\": after a stop, with "
            "the player loaded. A change over between the main (1080p) and the sub stream "
            "(640x360), mean of two: the peers open the other address, where the camera begins with a "
            "key picture; this library has both streams open and waits for the next key picture, of "
            "which there is one every two seconds.")
    figures = {"ms": Figure("ms", 0, (Goal(),))}

    def cells(self, _):
        return ["first picture", "first picture again", "main to sub", "sub to main"]

    def players(self, everybody):
        return [player for player in everybody if player.kind == "window"]


class Delay(Row):
    name, title = "delay", "Delay from the camera to the screen"
    note = ("From the moment at which the camera hands a picture to its server, to the moment at "
            "which its counter stands on the screen, each player in its settings for the lowest "
            "delay. All side by side: all players at the same time, each with a camera of one "
            "server and a screen of its own, in one run; the outages of the next section take "
            "place beside it.")
    figures = {"p50": Figure("p50, ms", 1, (Goal(),)), "p99": Figure("p99, ms", 1, (Goal(),)),
               "growth": Figure("growth of p50 since the first, ms", 1, (Bound(2, "ms"),))}

    def cells(self, options):
        return ["1 x 360p after 10 s", "9 x 360p after 10 s",
                *(f"1 x 360p after {seconds} s {BESIDE}" for seconds in (10, options.long_s))]

    def players(self, everybody):
        return [player for player in everybody if player.kind == "window"]


class Outage(Row):
    name, title = "outage", "Return after an outage"
    note = ("From the moment at which the killed server listens again, to the picture. Players "
            "that give up are started anew by their host every 500 ms; this library tries again by "
            "itself, with a pause that is set to as much (its default is 3 s). "
            "All side by side: all players before the one killed server.")
    figures = {"ms": Figure("ms", 0)}

    def cells(self, options):
        return [f"{seconds} s" for seconds in options.outages_s]


class Record(Row):
    name, title = "record", "Recording without a viewer"
    note = ("640x360 by RTSP into fragmented MP4 files. Bytes of the files beside those of the "
            "video in them; pictures in the files beside those of the time that they span.")
    figures = {"cpu": Figure("% of a core, each stream", 3, (Goal(1, COPY),)),
               "pss": Figure("MiB, each stream", 2, (Goal(1, COPY),)),
               "file": Figure("bytes, % of the payload", 2, (Goal(1, COPY),)),
               "whole": Figure("pictures, % of the span", 1, more_is_better=True)}

    def cells(self, _):
        return [f"{streams} streams" for streams in (1, 8, 32, 64)]

    def players(self, everybody):
        return [player for player in everybody
                if player.name == "vantra" or player.kind == "recorder"]


class Producer(Row):
    name, title = "producer", "What a recording costs the thread that reads"
    note = ("A call of `writeData` with the frame of a device, beside the one copy of the payload "
            "that it cannot do without; median of the five rounds of `bench-record`.")
    figures = {"p50": Figure("p50, us", 1, limit="memcpy"),
               "p99": Figure("p99, us", 1, limit="memcpy")}

    def cells(self, _):
        return ["main h264", "main h265", "sub h264"]

    def players(self, everybody):
        return [player for player in everybody if player.name in ("vantra", "memcpy")]


class StartStop(Row):
    name, title = "start-stop", "Start and stop of 16 views"
    note = ("Start: from the order to the picture of the first and of the last view. Stop: how "
            "long the order holds up the host's GUI thread, and until the last thread has gone.")
    figures = {"first": Figure("first picture, ms", 0), "last": Figure("last picture, ms", 0),
               "held": Figure("GUI thread held by the stop, ms", 0),
               "gone": Figure("threads gone, ms", 0)}

    def cells(self, _):
        return ["16 x 360p"]


ROWS = [Cpu(), Capacity(), FirstPicture(), Delay(), Outage(), Record(), Producer(), StartStop()]
