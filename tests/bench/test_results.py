#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What bench/run keeps, compares and writes."""
import math
import pathlib
import tempfile
import types
import unittest

import compare
import report
from results import Results
from rows import ROWS, Bound, Figure, Goal, Row

OPTIONS = types.SimpleNamespace(long_s=600, outages_s={5: 3, 30: 3, 120: 2})


def entry(*values, figure="ms", problems=(), **others):
    return {"values": {figure: list(values), **others} if values else {},
            "problems": list(problems), "rounds": len(values) + len(problems), "version": "1",
            "when": "2026-01-02 03:04", "others": 1.4}


class Times(Row):
    name, title, note = "times", "Time of things", "By a clock."
    figures = {"ms": Figure("time, ms", 1, (Goal(),))}


class Speeds(Row):
    name, title, note = "speeds", "Speed of things", "By a radar."
    figures = {"ms": Figure("speed", 0, (Goal(1.5),), more_is_better=True)}


TIME, SPEED = Times.figures["ms"], Speeds.figures["ms"]
# Only who has shown 95 % competes.
CPU = Figure("CPU", 1, (Goal(),), needs=("shown", 95))


class Percentiles(unittest.TestCase):
    def test_hundred_values(self):
        ordered = list(range(100))
        self.assertEqual(compare.percentile(ordered, 0.5), 50)
        self.assertEqual(compare.percentile(ordered, 0.99), 99)

    def test_one_value_is_every_percentile(self):
        self.assertEqual([compare.percentile([7], share) for share in (0, 0.5, 0.99, 1)], [7] * 4)

    def test_nothing_is_no_number(self):
        self.assertTrue(math.isnan(compare.percentile([], 0.5)))


class Comparing(unittest.TestCase):
    cells = {"vantra": entry(9.0, 11.0), "mpv": entry(20.0), "vlc": entry(12.5),
             "vantra-gl": entry(1.0), "bare": entry(5.0), "memcpy": entry(0.1)}

    def test_median_of_two_lies_between_them(self):
        self.assertEqual(compare.median(self.cells, "vantra", "ms"), 10.0)

    def test_median_of_the_unknown_is_none(self):
        self.assertIsNone(compare.median(self.cells, "qt", "ms"))
        self.assertIsNone(compare.median(self.cells, "vantra", "p50"))

    def test_bestPeer_isNeitherOursNorALimit(self):
        self.assertEqual(compare.best_peer(self.cells, "ms", TIME), ("vlc", 12.5))

    def test_bestPeer_hasTheMost_whereMoreIsBetter(self):
        self.assertEqual(compare.best_peer(self.cells, "ms", SPEED), ("mpv", 20.0))

    def test_bestPeer_isNone_withoutPeers(self):
        self.assertIsNone(compare.best_peer({"vantra": entry(1.0), "bare": entry(1.0)}, "ms", TIME))

    def test_ratio_toTheLimit(self):
        self.assertEqual(compare.ratio(self.cells, "ms", "vantra", "bare"), 2.0)

    def test_ratio_isNone_whereTheRivalTookNothing(self):
        self.assertIsNone(compare.ratio({"vantra": entry(1.0), "mpv": entry(0.0)}, "ms", "vantra",
                                        "mpv"))

    def test_verdict_belowEveryPeer(self):
        figure = TIME
        found = compare.verdict(self.cells, "ms", figure, Goal())
        self.assertTrue(found.met)
        self.assertEqual(found.shown, "0.80 of vlc")
        slow = dict(self.cells, vantra=entry(13.0))
        self.assertFalse(compare.verdict(slow, "ms", figure, Goal()).met)

    def test_verdict_belowEveryPeer_isMissedByAHair(self):
        cells = {"vantra": entry(10.01), "mpv": entry(10.0)}
        self.assertFalse(compare.verdict(cells, "ms", TIME, Goal()).met)
        self.assertTrue(compare.verdict(cells, "ms", TIME, Goal(1, "mpv")).met)

    def test_verdict_withinTenPercentOfALimit(self):
        goal = Goal(1.1, "bare", "vantra-planes")
        figure = TIME
        for value, met in ((5.4, True), (5.52, True), (5.53, False)):
            cells = dict(self.cells, **{"vantra-planes": entry(value)})
            self.assertEqual(compare.verdict(cells, "ms", figure, goal).met, met)

    def test_verdict_timesTheBest_whereMoreIsBetter(self):
        figure = SPEED
        for value, met in ((30.0, True), (29.0, False)):
            cells = {"vantra": entry(value), "mpv": entry(20.0), "vlc": entry(4.0)}
            self.assertEqual(compare.verdict(cells, "ms", figure, Goal(1.5)).met, met)

    def test_verdict_ofABound(self):
        figure = Figure("growth, ms", 1)
        for value, met in ((-3.0, True), (2.0, True), (2.1, False)):
            found = compare.verdict({"vantra": entry(value)}, "ms", figure, Bound(2, "ms"))
            self.assertEqual(found.met, met)

    def test_whoDropsPictures_isNoRival(self):
        cells = {"vantra": entry(9.0, shown=[99]), "mpv": entry(10.0, shown=[95]),
                 "vlc": entry(1.0, shown=[94])}
        self.assertEqual(compare.verdict(cells, "ms", CPU, Goal()).shown, "0.90 of mpv")
        self.assertTrue(compare.verdict(cells, "ms", CPU, Goal()).met)

    def test_verdict_isMissed_whereWeDropPictures(self):
        cells = {"vantra": entry(1.0, shown=[94]), "mpv": entry(10.0, shown=[100])}
        found = compare.verdict(cells, "ms", CPU, Goal())
        self.assertFalse(found.met)
        self.assertEqual(found.shown, "0.10 of mpv at 94 % shown")

    def test_verdict_isNone_whereOneSideIsUnknown(self):
        self.assertIsNone(compare.verdict({"mpv": entry(1.0)}, "ms", TIME, Goal()))
        self.assertIsNone(compare.verdict({"vantra": entry(1.0)}, "ms", TIME, Goal()))
        self.assertIsNone(compare.verdict({}, "ms", TIME, Bound(2, "ms")))


class Keeping(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = pathlib.Path(folder.name) / "results.json"
        self.results = Results(self.file)

    def add(self, found, version="1", others=0.0):
        self.results.add("times", "a", "mpv", version, found, others)

    def test_rounds_addUp(self):
        self.add({"ms": 1.0})
        self.add({"ms": 3.0}, others=7.0)
        self.assertEqual(self.results.values("times", "a", "mpv", "ms"), [1.0, 3.0])
        self.assertEqual(self.results.rounds("times", "a", "mpv", "1"), 2)
        self.assertEqual(self.results.rows["times"]["a"]["mpv"]["others"], 7.0)

    def test_round_mayHaveSeveralValues(self):
        self.add({"ms": [1.0, 2.0]})
        self.add({"ms": 3.0})
        self.assertEqual(self.results.values("times", "a", "mpv", "ms"), [1.0, 2.0, 3.0])
        self.assertEqual(self.results.rounds("times", "a", "mpv", "1"), 2)

    def test_failures_areRoundsToo(self):
        self.add("crashed")
        self.assertEqual(self.results.rounds("times", "a", "mpv", "1"), 1)
        self.assertEqual(self.results.values("times", "a", "mpv", "ms"), [])

    def test_rounds_ofAnotherVersion_doNotCount(self):
        self.add({"ms": 1.0})
        self.assertEqual(self.results.rounds("times", "a", "mpv", "2"), 0)

    def test_forget_leavesTheOthers(self):
        self.add({"ms": 1.0})
        self.results.add("times", "a", "vlc", "1", {"ms": 2.0}, 0)
        self.results.forget("times", "a", "mpv")
        self.results.forget("times", "b", "mpv")
        self.assertEqual(list(self.results.rows["times"]["a"]), ["vlc"])

    def test_saved_isReadAgain(self):
        self.add({"ms": 1.23456})
        self.results.set_machine({"mpv": ["a player", "1"]})
        self.results.save()
        again = Results(self.file)
        self.assertEqual(again.values("times", "a", "mpv", "ms"), [1.2346])
        self.assertEqual(again.kept["players"], {"mpv": ["a player", "1"]})
        self.assertIn(" x ", again.kept["machine"])
        self.assertEqual([path.name for path in self.file.parent.iterdir()], ["results.json"])


class Writing(unittest.TestCase):
    kept = {"machine": "2 x Thing",
            "players": {"other": ["?", "3"], "mpv": ["libmpv", "2.0"], "vantra": ["ours", "abc"]},
            "rows": {"times": {
                "1 x a": {"vantra": entry(10.0, 20.0, 12.0), "mpv": entry(24.0)},
                "2 x a": {"vantra": entry(30.0), "mpv": entry(20.0), "vlc": entry(
                    problems=["crashed by SIGSEGV", "crashed by SIGSEGV"])},
                "10 x a": {"vantra": entry(3.0), "mpv": entry(4.0, problems=["hung for 50 s"])}}}}

    def text(self, reasons=""):
        return report.text_of(self.kept, [Times(), Speeds()], ["vantra", "mpv", "vlc"],
                              report.Reasons(reasons))

    def line(self, begin, text=None):
        return next(line for line in (text or self.text()[0]).splitlines()
                    if line.startswith(begin))

    def test_machineAndVersions_areNamed(self):
        text = self.text()[0]
        self.assertIn("Machine: 2 x Thing.", text)
        self.assertIn("| vantra | ours | abc |\n| mpv | libmpv | 2.0 |\n| other | ? | 3 |", text)

    def test_medianAndSpread(self):
        self.assertIn("| 12.0 (10.0-20.0) | 24.0 |", self.line("| 1 x a"))

    def test_cells_standInTheOrderOfTheirNumbers(self):
        rows = [line.split(" |")[0] for line in self.text()[0].splitlines() if " x a" in line]
        self.assertEqual(rows[1:], ["| 1 x a", "| 2 x a", "| 10 x a"])  # after the summary's line

    def test_metGoal(self):
        self.assertIn("| 0.50 (mpv) met |", self.line("| 1 x a"))

    def test_missedGoal_standsOut_andIsSummedUp(self):
        text = self.text()[0]
        self.assertIn("| **1.50 (mpv) missed** |", self.line("| 2 x a"))
        self.assertIn("## Goals: 2 of 3 met", text)
        self.assertIn("| below every peer | 2 of 3 | 2 x a: 1.50 of mpv, no reason is written |",
                      text)

    def test_missedGoalWithoutAReason_isTold(self):
        self.assertEqual(self.text()[1], [("times", "2 x a")])

    def test_reason_standsBelowTheTable_andIsLinked(self):
        text, silent = self.text("# Reasons\n\n## times\n\n### 2 x a\nBecause of\nthe weather.\n")
        self.assertIn("\n*2 x a*: Because of\nthe weather.\n", text)
        self.assertIn("2 x a: 1.50 of mpv, [why](#time-of-things)", text)
        self.assertEqual(silent, [])

    def test_reason_forAllCells(self):
        text, silent = self.text("## times\n### *\nOnce for all.\n")
        self.assertIn("\nOnce for all.\n", text)
        self.assertEqual(silent, [])

    def test_reason_ofAnotherRow_doesNotCount(self):
        text, silent = self.text("## speeds\n### 2 x a\nNo.\n## times\n### 2 x a\n\n")
        self.assertNotIn("No.", text)
        self.assertEqual(silent, [("times", "2 x a")])

    def test_crash_isToldInTheTable_once(self):
        self.assertIn("| crashed by SIGSEGV |", self.line("| 2 x a"))

    def test_halfFailure_isToldBesideTheFigure(self):
        self.assertIn("| 4.0; failed once: hung for 50 s |", self.line("| 10 x a"))

    def test_unmeasuredRow_isLeftOut(self):
        self.assertNotIn("Speed of things", self.text()[0])

    def test_everyTable_hasAsManyFieldsInEveryLine(self):
        table = [line for line in self.text()[0].splitlines() if line.startswith("|")]
        counts = [line.count("|") for line in table]
        starts = [i for i, line in enumerate(table) if line.startswith("|---")]
        for start in starts:
            self.assertEqual(counts[start - 1], counts[start])
            self.assertEqual(counts[start + 1], counts[start])

    def test_figureThatOnlyOneCellHas_hasATableOfThatCell(self):
        kept = {"rows": {"delay": {
            "1 x 360p after 10 s (all side by side)": {"vantra": entry(
                5.0, figure="p50", p99=[9.0]), "mpv": entry(6.0, figure="p50", p99=[8.0])},
            "1 x 360p after 600 s (all side by side)": {"vantra": entry(
                5.0, figure="p50", p99=[9.0], growth=[2.5])}}}}
        text = report.text_of(kept, ROWS, ["vantra", "mpv"], report.Reasons(""))[0]
        growth = text[text.index("growth of p50 since the first, ms | vantra"):].splitlines()
        self.assertTrue(growth[2].startswith("| 1 x 360p after 600 s"))
        self.assertIn("| 2.5 | **missed** |", growth[2])
        self.assertEqual(len(growth), 3)

    def test_limits_haveTheirColumns(self):
        kept = {"rows": {"cpu": {"4 x 360p": {
            "vantra": entry(2.0, figure="each"), "vantra-planes": entry(1.05, figure="each"),
            "bare": entry(1.0, figure="each"), "mpv": entry(4.0, figure="each")}}}}
        text = report.text_of(kept, ROWS, ["vantra", "vantra-planes", "bare", "mpv"],
                              report.Reasons(""))[0]
        self.assertIn("| ours / best peer | ours / bare | vantra-planes / bare |", text)
        self.assertIn("| 0.50 (mpv) met | 2.00 | 1.05 met |", text)


class Reality(unittest.TestCase):
    """The rows as they are."""

    def test_cells_areNotCutByACommaOfTheCommandLine(self):
        self.assertEqual([], [cell for row in ROWS for cell in row.cells(OPTIONS) if "," in cell])

    def test_names_areUnique(self):
        self.assertEqual(len({row.name for row in ROWS}), len(ROWS))

    def test_everyGoal_hasWords(self):
        words = [goal.words(figure.more_is_better) for row in ROWS
                 for figure in row.figures.values() for goal in figure.goals]
        self.assertIn("below every peer", words)
        self.assertIn("at least 1.5 times the best peer", words)
        self.assertIn("at most `ffmpeg -c copy`", words)
        self.assertIn("at most 1.1 times `bare` (`vantra-planes`)", words)
        self.assertIn("at most 2 ms", words)


if __name__ == "__main__":
    unittest.main()
