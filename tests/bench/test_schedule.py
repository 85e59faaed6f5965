#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Who bench/run measures when, and that players which crash or hang cost a bounded time."""
import contextlib
import io
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import types
import unittest

import process
import schedule
from pieces import Piece, pieces, search, verify
from players import Failed, Player, Running
from results import Results
from rows import ROWS, Row

TEN_MINUTES = types.SimpleNamespace(long_s=600, outages_s={5: 3, 30: 3, 120: 2}, seconds=4)


def options(rounds=2, cells=None, peers=None):
    return types.SimpleNamespace(rounds=rounds, cells=cells, peers=peers, seconds=0)


class Row1(Row):
    name = "row"


class Single(Piece):
    def __init__(self, act=None):
        super().__init__("single", [("row", "a"), ("row", "b")])
        self.act = act

    def seconds(self, options, wanted, number):
        return 1

    def measure(self, bench, team, wanted, found):
        for row, cell in wanted:
            if self.act:
                self.act()
            found[row, cell, team[0].name] = {"ms": 1.0}


class Together(Single):
    together = True
    most_rounds = 1


PLAYERS = [Player("vantra", "/bin/true", "1"), Player("mpv", "/bin/true", "1"),
           Player("bare", "/bin/true", "1", kind="decoder")]
ROW = {"row": Row1()}


def none_known(*_):
    return 0


def brief(tasks):
    return [(task.number, [player.name for player in task.team],
             [cell for _, cell in task.wanted]) for task in tasks]


class Planning(unittest.TestCase):
    def test_playersTakeTurns_inEachRound(self):
        tasks = schedule.plan([Single()], ROW, PLAYERS, options(), none_known)
        self.assertEqual(brief(tasks), [(0, ["vantra"], ["a", "b"]), (0, ["mpv"], ["a", "b"]),
                                        (1, ["vantra"], ["a", "b"]), (1, ["mpv"], ["a", "b"])])

    def test_whatIsNotAskedFor_isLeftOut(self):
        tasks = schedule.plan([Single()], ROW, PLAYERS, options(1, ["b"], ["mpv"]), none_known)
        self.assertEqual(brief(tasks), [(0, ["mpv"], ["b"])])
        self.assertEqual(schedule.plan([Single()], {}, PLAYERS, options(), none_known), [])

    def test_resume_measuresOnlyWhatIsMissing(self):
        known = {("a", "vantra"): 2, ("b", "vantra"): 1, ("a", "mpv"): 2, ("b", "mpv"): 2}
        tasks = schedule.plan([Single()], ROW, PLAYERS, options(),
                              lambda row, cell, player: known.get((cell, player.name), 0))
        self.assertEqual(brief(tasks), [(1, ["vantra"], ["b"])])

    def test_rounds_comeAfterEachOther_notPieces(self):
        tasks = schedule.plan([Single(), Single()], ROW, PLAYERS[:1], options(), none_known)
        self.assertEqual([task.number for task in tasks], [0, 0, 1, 1])

    def test_targetsOfOneRound_areLeftOutOfTheOthers(self):
        piece = Single()
        piece.once = {("row", "a")}
        tasks = schedule.plan([piece], ROW, PLAYERS[:1], options(), none_known)
        self.assertEqual(brief(tasks), [(0, ["vantra"], ["a", "b"]), (1, ["vantra"], ["b"])])

    def test_together_isOneTask(self):
        tasks = schedule.plan([Together()], ROW, PLAYERS, options(), none_known)
        self.assertEqual(brief(tasks), [(0, ["vantra", "mpv"], ["a", "b"])])

    def test_together_isMeasuredWithAll_ifOneIsMissing(self):
        tasks = schedule.plan([Together()], ROW, PLAYERS, options(), lambda row, cell, player:
                              int(player.name != "mpv" or cell == "a"))
        self.assertEqual(brief(tasks), [(0, ["vantra", "mpv"], ["b"])])

    def test_everyCellOfEveryRow_hasOnePiece(self):
        rows = {row.name: row for row in ROWS}
        targets = [target for piece in pieces(TEN_MINUTES, None, rows) for target in piece.targets]
        cells = [(row.name, cell) for row in ROWS for cell in row.cells(TEN_MINUTES)]
        self.assertEqual(sorted(targets), sorted(cells))

    def test_wholeRun_takesAtMostFiftyMinutes(self):
        rows = {row.name: row for row in ROWS}
        names = [("vantra", "window"), ("vantra-planes", "decoder"), ("bare", "decoder"),
                 ("mpv", "window"), ("mpv-untimed", "window"), ("vlc", "window"), ("qt", "window"),
                 ("gstreamer", "window"), ("ffplay", "window"), ("ffmpeg -c copy", "recorder"),
                 ("gstreamer mp4mux", "recorder"), ("gstreamer splitmuxsink", "recorder"),
                 ("memcpy", "copy")]
        everybody = [Player(name, "/bin/true", "1", kind=kind) for name, kind in names]
        tasks = schedule.plan(pieces(TEN_MINUTES, None, rows), rows, everybody, options(),
                              none_known)
        whole = sum(task.piece.seconds(TEN_MINUTES, task.wanted, task.number) for task in tasks)
        self.assertLess(whole, 50 * 60)


class Searching(unittest.TestCase):
    def search(self, limit, begin=8, most=64):
        self.looks = []

        def carries(views):
            self.looks.append(views)
            return views <= limit
        return search(carries, begin, most)

    def test_doubles_thenHalvesTwice(self):
        self.assertEqual(self.search(21), 20)
        self.assertEqual(self.looks, [8, 16, 32, 24, 20])

    def test_goesDown_whereTheFirstIsTooMany(self):
        self.assertEqual(self.search(2), 2)
        self.assertEqual(self.search(1), 1)

    def test_nothing(self):
        self.assertEqual(self.search(0), 0)

    def test_stopsAtTheMost(self):
        self.assertEqual(self.search(1000), 64)
        self.assertEqual(self.looks, [8, 16, 32, 64])

    def test_verify_staysGoesUpAndDown(self):
        for limit, expected in ((20, 20), (22, 22), (18, 18), (17, 16), (64, 22)):
            self.assertEqual(verify(lambda views, limit=limit: views <= limit, 20, 64), expected)
        self.assertEqual(verify(lambda views: True, 64, 64), 64)
        self.assertEqual(verify(lambda views: False, 1, 64), 0)


class Carrying(unittest.TestCase):
    """Of a task that does not do what it should."""

    def setUp(self):
        self.bench = types.SimpleNamespace(options=options())

    def carry_out(self, act, grace=0.0):
        task = schedule.Task(Single(act), 0, (PLAYERS[0],), (("row", "a"), ("row", "b")))
        before, schedule.GRACE_S = schedule.GRACE_S, grace - 3
        try:
            found = schedule.carry_out(task, self.bench, ROW)
        finally:
            schedule.GRACE_S = before
        return {cell: one for (_, cell, _), one in found.items()}

    def test_failure_isTheResult(self):
        def fail():
            raise Failed("no picture")
        self.assertEqual(self.carry_out(fail, 60), {"a": "no picture", "b": "no picture"})

    def test_anyException_isTheResult(self):
        self.assertEqual(self.carry_out(lambda: {}["key"], 60)["a"], "KeyError: 'key'")

    def test_whatWasFoundBefore_isKept(self):
        left = [None]

        def fail_at_the_second():
            left.pop() if left else self.fail()
        found = self.carry_out(fail_at_the_second, 60)
        self.assertEqual(found["a"], {"ms": 1.0})
        self.assertTrue(found["b"].startswith("AssertionError"))

    def test_hang_ends_andLeavesNoProcess(self):
        children = []

        def hang():
            children.append(subprocess.Popen(["sleep", "1000"]))
            children[0].wait()
        self.assertEqual(self.carry_out(hang, 0.3)["a"], "hung for 0 s")
        children[0].wait()
        self.assertEqual(process.tree(os.getpid()), [os.getpid()])

    def test_orphans_areEndedToo(self):
        process.adopt_orphans()
        orphans = []

        def leave_orphans():
            orphans.extend(subprocess.check_output(
                ["sh", "-c", "for i in 1 2; do sleep 1000 >/dev/null & echo $!; done"]).split())
        self.carry_out(leave_orphans, 60)
        self.assertEqual(len(orphans), 4)  # of two cells
        for pid in orphans:
            self.assertFalse(pathlib.Path(f"/proc/{int(pid)}").exists())

    def test_run_goesOnAfterAFailure_andKeepsIt(self):
        def fail():
            raise Failed("no picture")
        with tempfile.TemporaryDirectory() as folder:
            results = Results(pathlib.Path(folder) / "results.json")
            results.add("row", "a", "mpv", "1", {"ms": 99.0}, 0)  # of an earlier run
            tasks = schedule.plan([Single(fail), Single()], ROW, PLAYERS, options(1), none_known)
            with contextlib.redirect_stderr(io.StringIO()) as shown:
                schedule.run([tasks[1], tasks[2]], self.bench, ROW, results)
            again = Results(results.file)
        self.assertEqual(again.rows["row"]["a"]["mpv"]["problems"], ["no picture"])
        self.assertEqual(again.values("row", "a", "mpv", "ms"), [])
        self.assertEqual(again.values("row", "a", "vantra", "ms"), [1.0])
        self.assertIn("[2/2, 0:00 left", shown.getvalue())


class Players(unittest.TestCase):
    """Programs that are told by one line what to do."""

    def start(self, script):
        with tempfile.NamedTemporaryFile("w", suffix=".py", delete=False) as file:
            file.write(f"#!{sys.executable}\n{script}\n")
        self.addCleanup(os.unlink, file.name)
        os.chmod(file.name, 0o700)
        running = Running(Player("fake", file.name, "1"), None, "1x1x1", [])
        self.addCleanup(running.process.stdout.close)
        self.addCleanup(running.process.stdin.close)
        self.addCleanup(running.close)
        return running

    def test_answer_isFoundAmongWhatLibrariesPrint(self):
        running = self.start("print('noise\\nREADY', flush=True)\n"
                             "print('warning\\n' + input() + ' 12', flush=True)")
        self.assertEqual(running.tell("count")[1], "count 12")

    def test_crash_isToldByItsSignal(self):
        running = self.start("print('READY', flush=True); input(); "
                             "__import__('os').kill(__import__('os').getpid(), 11)")
        with self.assertRaisesRegex(Failed, "crashed by SIGSEGV"):
            running.tell("start")

    def test_exit_isToldByItsCode(self):
        running = self.start("print('READY', flush=True); input(); raise SystemExit(3)")
        with self.assertRaisesRegex(Failed, "ended with 3"):
            running.tell("start")

    def test_silence_isToldAsAHang(self):
        running = self.start("print('READY', flush=True); input(); __import__('time').sleep(1000)")
        self.addCleanup(running.process.kill)
        with self.assertRaisesRegex(Failed, "hung at \"start\""):
            running.tell("start", 0.1)
        running.process.kill()


class Clocks(unittest.TestCase):
    def test_left_followsWhatItTookSoFar(self):
        clock = schedule.Clock([300.0, 300.0, 300.0])
        self.assertAlmostEqual(clock.left(clock.begin), 900)
        clock.one_done()
        self.assertAlmostEqual(clock.left(clock.begin + 300), 600)
        self.assertAlmostEqual(clock.left(clock.begin + 900), 1200)

    def test_cpuTime_ofAnotherProcess_isFinerThanTicks(self):
        with subprocess.Popen([sys.executable, "-c", "import sys; sys.stdin.read()"],
                              stdin=subprocess.PIPE) as child:
            while process.cpu_seconds([child.pid]) == 0:
                time.sleep(0.001)
            taken = process.cpu_seconds([child.pid])
            child.stdin.close()
        self.assertGreater(taken, 0)
        self.assertNotAlmostEqual(taken * 100, round(taken * 100), places=6)

    def test_cpuTime_ofNoProcess_isNothing(self):
        child = subprocess.Popen(["true"])
        child.wait()
        self.assertEqual(process.cpu_seconds([child.pid]), 0)


if __name__ == "__main__":
    unittest.main()
