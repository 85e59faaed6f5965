# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""How the rows are measured. A piece is what one start of a player measures, of whatever rows: a
start costs more time than most measurements."""
import contextlib
import pathlib
import re
import subprocess
import tempfile
import time

import process
from cameras import FPS, SUB_BASE
from compare import percentile
from players import Failed
from recorders import FfmpegRecorder, GstMp4mux, GstSplitmux, OwnRecorder, payloads
from rows import BESIDE, VIEWS
from stage import COARSE_US, PRECISE_US, SMALL_TILE, WARM_UP_S, Seat, stage

START_S = 1.5  # about, from the start of the programs to the last first picture, and their end


class Piece:
    """`targets` are the (row, cell) that it measures. `measure(bench, team, wanted, found)` puts
    {(row, cell, player): figures, or a text that says why there are none} into `found`, of those
    `wanted`, as it gets them: what it has when it fails is kept. A team is a list of players, one
    unless they are measured `together`."""
    most_rounds = 99
    together = False
    once = frozenset()  # targets of the first round only

    def __init__(self, name, targets):
        self.name, self.targets = name, targets

    def seconds(self, options, wanted, number):
        """About, of one measurement in the round `number`."""
        raise NotImplementedError


class Play(Piece):
    """The life of a number of views: start, picture, stop."""
    SETTLE_S, MOST_SETTLE_S = 2.5, 8

    def __init__(self, views, form):
        self.views, self.form = views, form
        self.cpu = ("cpu", f"{views} x {form}")
        self.delay = ("delay", f"{views} x {form} after 10 s")
        self.first = ("first-picture", "first picture")
        self.again = ("first-picture", "first picture again")
        self.start_stop = ("start-stop", f"{views} x {form}")
        targets = [self.cpu]
        if form == "360p":
            targets += {1: [self.first, self.delay, self.again], 9: [self.delay],
                        16: [self.start_stop]}.get(views, [])
        super().__init__(self.cpu[1], targets)
        if views == 9:
            self.once = {self.delay}

    def seconds(self, options, wanted, number):
        play = WARM_UP_S + (options.seconds if self.cpu in wanted else 0)
        if self.delay in wanted:
            play = max(play, 10) + options.seconds
        return (START_S + play + (2 if self.again in wanted else 0) +
                (4 if self.start_stop in wanted else 0))

    def measure(self, bench, team, wanted, found):
        player = team[0]
        seconds = bench.options.seconds

        def keep(target, **figures):
            if target in wanted:
                found[(*target, player.name)] = figures

        with stage(bench, player, self.form, self.views) as seat:
            if player.kind == "decoder":
                seat.start_unseen()
                time.sleep(WARM_UP_S)
                keep(self.cpu, **seat.measure(seconds))
                return
            started, _ = seat.player.tell("start")
            first, last = seat.first_pictures(started)
            keep(self.first, ms=first)
            time.sleep(WARM_UP_S)
            if self.cpu in wanted:
                seat.watcher.look_every(COARSE_US)
                keep(self.cpu, **seat.measure(seconds))
                seat.watcher.look_every(PRECISE_US)
            if self.delay in wanted:
                time.sleep(max(0, started + 10 - time.monotonic()))
                delays = seat.delays(seconds)
                keep(self.delay, p50=percentile(delays, 0.5), p99=percentile(delays, 0.99))
            if {self.again, self.start_stop} & set(wanted):
                since, _ = seat.player.tell("stop")
                held = time.monotonic() - since
                if self.start_stop in wanted:
                    gone = held + process.seconds_until_threads_settle(
                        seat.player.pid, self.SETTLE_S, self.MOST_SETTLE_S)
                    keep(self.start_stop, first=first, last=last, held=held * 1000,
                         gone=gone * 1000)
            if self.again in wanted:
                time.sleep(1)
                since, _ = seat.player.tell("start")
                keep(self.again, ms=seat.first_pictures(since)[0])


class Switch(Piece):
    """Changes over between main and sub stream."""
    TO_SUB, TO_MAIN = ("first-picture", "main to sub"), ("first-picture", "sub to main")
    TIMES = 2
    GOLDEN = 0.618034  # multiples of it lie evenly

    def __init__(self):
        super().__init__("switch", [self.TO_SUB, self.TO_MAIN])
        self.waits = 0

    def seconds(self, options, wanted, number):
        return START_S + WARM_UP_S + 2 * self.TIMES * 2.5

    def wait(self):
        """Key pictures come every two seconds: each change over is at another moment of that."""
        self.waits += 1
        time.sleep(0.5 + 2 * (self.waits * self.GOLDEN % 1))

    def measure(self, bench, team, wanted, found):
        taken = {self.TO_SUB: [], self.TO_MAIN: []}
        with stage(bench, team[0], "1080p", 1, sub_form="360p") as seat:
            since, _ = seat.player.tell("start")
            seat.first_pictures(since)
            time.sleep(WARM_UP_S)
            for _ in range(self.TIMES):
                for target, command in ((self.TO_SUB, "sub"), (self.TO_MAIN, "main")):
                    self.wait()
                    since, _ = seat.player.tell(command)
                    taken[target] += seat.first_pictures(
                        since, lambda counter, sub=command == "sub": (counter >= SUB_BASE) == sub,
                        )[:1]
        for target in wanted:
            found[(*target, team[0].name)] = {"ms": sum(taken[target]) / self.TIMES}


class Capacity(Piece):
    """Most views without loss."""
    ENOUGH = 99  # percent shown
    FIRST_PICTURES_S, STUCK_S = 20, 4  # in all, and without one view more
    SETTLE_S, LOOK_S = 1, 2.5
    BEGIN, MOST = {"360p": 16, "1080p": 4}, {"360p": 64, "1080p": 32}

    def __init__(self, form, known):
        """`known(player)`: what has been measured in earlier rounds."""
        super().__init__(f"capacity {form}", [("capacity", form)])
        self.form, self.known = form, known

    def seconds(self, options, wanted, number):
        return 15 if number else 38

    def measure(self, bench, team, wanted, found):
        player = team[0]
        most = self.MOST[self.form]
        with contextlib.ExitStack() as open_seats:
            seats = []

            def carries(views):
                """More views are added to those that run, as long as none were too many."""
                if not seats:
                    seats.append(open_seats.enter_context(
                        stage(bench, player, self.form, most, SMALL_TILE)))
                    seats[0].watcher.look_every(COARSE_US)
                try:
                    shown = self.shown(seats[0], views)
                except Failed:
                    shown = 0
                if shown >= self.ENOUGH:
                    return True
                seats[0].player.kill()  # an end in order takes long where too much is to be done
                open_seats.close()
                seats.clear()
                return False

            earlier = self.known(player)
            if earlier:
                views = verify(carries, int(earlier[-1]), most)
            else:
                views = search(carries, self.BEGIN[self.form], most)
        found[("capacity", self.form, player.name)] = {"views": views}

    def shown(self, seat, views):
        since, _ = seat.player.tell(f"start {views}")
        seat.first_pictures(since, seconds=self.FIRST_PICTURES_S, views=views,
                            stuck_s=self.STUCK_S)
        time.sleep(self.SETTLE_S)
        return seat.measure(self.LOOK_S, views)["shown"]


def search(carries, begin, most):
    """The largest number of which carries(number) is true: by doubling from `begin`, and by two
    halves of what is left then."""
    good, bad = 0, begin
    while bad <= most and carries(bad):
        good, bad = bad, bad * 2
    if good == 0:
        bad = begin // 2
        while bad and not carries(bad):
            bad //= 2
        good, bad = bad, bad * 2
    step = (bad - good) // 2
    for _ in range(2):
        if step and good < most and carries(good + step):
            good += step
        step //= 2
    return good


def verify(carries, good, most):
    """Looks anew at what was found, and an eighth around it."""
    step = max(1, good // 8)
    if good == 0 or carries(good):
        return good + step if good + step <= most and carries(good + step) else good
    good -= step
    return good if good and carries(good) else max(0, good - step)


class Record(Piece):
    """Streams that are only recorded."""
    FLOWING_S = 3  # after the first pictures, until every recorder has begun at a key picture
    FLOW_TIMEOUT_S = 30
    RECORDERS = {recorder.name: recorder for recorder in (FfmpegRecorder, GstMp4mux, GstSplitmux)}

    def __init__(self, streams):
        super().__init__(f"record {streams}", [("record", f"{streams} streams")])
        self.streams = streams

    def seconds(self, options, wanted, number):
        return 1 + self.FLOWING_S + options.seconds + 1.5 + self.streams / 12

    def measure(self, bench, team, wanted, found):
        with contextlib.ExitStack() as ending:
            folder = pathlib.Path(ending.enter_context(
                tempfile.TemporaryDirectory(prefix="vantra-bench-")))
            cameras = bench.cameras("360p", self.streams)
            ending.callback(cameras.close)
            recorder = self.recorder(bench, team[0], folder, cameras.urls())
            ending.callback(process.end_children)
            recorder.start()
            self.wait_until_all_send(cameras)
            time.sleep(self.FLOWING_S)
            meter = process.Meter(*recorder.pids())
            time.sleep(bench.options.seconds)
            cpu = meter.percent()
            pss = process.pss_mib([p for pid in recorder.pids() for p in process.tree(pid)])
            recorder.stop()
            cameras.close()
            made = payloads(folder)
        if (whole := sum(pictures > 0 for _, _, pictures, _ in made)) < self.streams:
            raise Failed(f"{whole} of {self.streams} files hold pictures")
        sizes, payload, pictures, spans = (sum(column) for column in zip(*made))
        found[(*self.targets[0], team[0].name)] = {
            "cpu": cpu / self.streams, "pss": pss / self.streams,
            "file": 100 * sizes / payload, "whole": 100 * pictures / (spans * FPS)}

    def recorder(self, bench, player, folder, urls):
        if player.kind == "recorder":
            return self.RECORDERS[player.name](folder, urls)
        return OwnRecorder(bench.build / "bench" / "peers" / "peer-record", folder, urls)

    def wait_until_all_send(self, cameras):
        def flowing():
            return len({camera for camera, counter, _ in cameras.sent() if counter > FPS})

        deadline = time.monotonic() + self.FLOW_TIMEOUT_S
        while flowing() < self.streams:
            if time.monotonic() > deadline:
                raise Failed("not all streams flow")
            time.sleep(0.2)


class Producer(Piece):
    """Calls of writeData, by bench-record."""
    most_rounds = 1  # bench-record takes several by itself
    together = True
    PAIR = re.compile(r"([\d.]+) */ *([\d.]+)")

    def __init__(self, cells):
        super().__init__("producer", [("producer", cell) for cell in cells])

    def seconds(self, options, wanted, number):
        return 35

    def measure(self, bench, team, wanted, found):
        program = bench.build / "bench" / "record" / "bench-record"
        with contextlib.ExitStack() as ending:
            child = ending.enter_context(subprocess.Popen([str(program), "--calls"], text=True,
                                                          stdout=subprocess.PIPE))
            ending.callback(child.kill)
            for line in child.stdout:
                for row, cell in wanted:
                    if line.startswith(cell):
                        self.take(line, row, cell, found)
            if child.wait() != 0:
                raise Failed(f"bench-record ended with {child.returncode}")

    def take(self, line, row, cell, found):
        for player, (p50, p99) in zip(("vantra", "memcpy"), self.PAIR.findall(line)):
            found[row, cell, player] = {"p50": float(p50), "p99": float(p99)}


class SideBySide(Piece):
    """What takes minutes: all players at the same time, each with a camera of one server. The
    outages are those of a second server, while the views of the first play on."""
    most_rounds = 1
    together = True
    RETURN_S = 30
    WINDOW_S = 10  # of a delay

    def __init__(self, options):
        self.early = ("delay", f"1 x 360p after 10 s {BESIDE}")
        self.late = ("delay", f"1 x 360p after {options.long_s} s {BESIDE}")
        self.outages = {("outage", f"{seconds} s"): (seconds, times)
                        for seconds, times in options.outages_s.items()}
        super().__init__("side by side", [self.early, self.late, *self.outages])

    def seconds(self, options, wanted, number):
        outages = sum((seconds + 4) * times for target, (seconds, times) in self.outages.items()
                      if target in wanted)
        if self.late in wanted:
            return max(options.long_s, outages + 20) + START_S + self.WINDOW_S
        return outages + (20 + START_S if self.early in wanted else 0)

    def measure(self, bench, team, wanted, found):
        with contextlib.ExitStack() as ending:
            began, seats = 0, {}
            if {self.early, self.late} & set(wanted):
                seats, _ = self.seats(bench, team, ending, found, [self.early, self.late])
                began = time.monotonic()
                self.delays(seats, began + 10, self.early, found)
            if set(self.outages) & set(wanted):
                self.measure_outages(bench, team, wanted, found)
            if self.late in wanted:
                self.delays(seats, began + bench.options.long_s, self.late, found)

    def seats(self, bench, team, ending, found, targets):
        """{player: seat} of those that play, and their server; the others are told in `found`."""
        cameras = bench.cameras("360p", len(team))
        ending.callback(cameras.close)
        seats = {}
        for number, player in enumerate(team):
            with self.telling(found, targets, player.name):
                seat = Seat(bench, player, cameras, [cameras.urls()[number]], first=number)
                ending.enter_context(seat)
                since, _ = seat.player.tell("start")
                seats[player.name] = seat, since
        for name, (seat, since) in list(seats.items()):
            del seats[name]
            with self.telling(found, targets, name):
                seat.first_pictures(since)
                seats[name] = seat
        return seats, cameras

    @staticmethod
    @contextlib.contextmanager
    def telling(found, targets, name):
        """What one player does not do is told of it, and ends nothing for the others."""
        try:
            yield
        except (Failed, RuntimeError, OSError) as error:
            for target in targets:
                found[(*target, name)] = str(error)

    def delays(self, seats, moment, target, found):
        time.sleep(max(0, moment - time.monotonic()))
        begin = time.monotonic()
        time.sleep(self.WINDOW_S)
        end = time.monotonic()
        for name, seat in seats.items():
            with self.telling(found, [target], name):
                delays = seat.cameras.delays(seat.watcher.between(begin, end), seat.first)
                if not delays:
                    seat.player.must_live()
                    raise Failed("no picture")
                p50 = percentile(delays, 0.5)
                figures = {"p50": p50, "p99": percentile(delays, 0.99)}
                before = found.get((*self.early, name))
                if target == self.late and isinstance(before, dict):
                    figures["growth"] = p50 - before["p50"]
                found[(*target, name)] = figures

    def measure_outages(self, bench, team, wanted, found):
        targets = [target for target in self.outages if target in wanted]
        team = [player for player in team if not player.is_hasty]
        with contextlib.ExitStack() as ending:
            seats, cameras = self.seats(bench, team, ending, found, targets)
            for target in targets:
                seconds, times = self.outages[target]
                for _ in range(times):
                    self.break_off(seats, cameras, seconds, target, found)

    def break_off(self, seats, cameras, seconds, target, found):
        time.sleep(WARM_UP_S)
        cameras.kill()
        time.sleep(seconds)
        cameras.start()
        since = time.monotonic()
        for name, seat in seats.items():
            with self.telling(found, [target], name):
                left = max(0.1, since + self.RETURN_S - time.monotonic())
                returned = seat.first_pictures(since, seconds=left)[0]
                if isinstance(known := found.setdefault((*target, name), {"ms": []}), dict):
                    known["ms"].append(returned)


def pieces(options, results, rows):
    """All there are, in the order in which they are measured. `rows`: {name: row}."""
    def known(form):
        return lambda player: results.values("capacity", form, player.name, "views")
    return [*(Play(views, form) for views, form in VIEWS), Switch(),
            *(Capacity(form, known(form)) for form in rows["capacity"].cells(options)),
            *(Record(int(cell.split()[0])) for cell in rows["record"].cells(options)),
            Producer(rows["producer"].cells(options)), SideBySide(options)]
