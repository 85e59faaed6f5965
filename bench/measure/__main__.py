# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Measures this library beside its peers; started by bench/run, which builds what this needs."""
import argparse
import pathlib
import signal
import sys

import process
from pieces import pieces
from players import players
from report import render
from results import Results, machine
from rows import ROWS
from schedule import plan, run
from stage import Bench

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# Measured only when asked for: OpenGL without a graphics card shows what llvmpipe costs.
ON_DEMAND = {"vantra-gl"}
BUSY = 5  # percent of the machine that others may take


def options():
    names = [row.name for row in ROWS]
    line = argparse.ArgumentParser(
        prog="bench/run", description="Measures this library beside its peers and writes "
        "bench/RESULTS.md. Takes the better part of an hour on two cores; see --quick and --only.")
    line.add_argument("--quick", action="store_true", help="one short round, for a look")
    line.add_argument("--resume", action="store_true",
                      help="measure only what results.json lacks, of these versions")
    line.add_argument("--only", metavar="ROW,...", default=",".join(names),
                      help="of " + ", ".join(names))
    line.add_argument("--cells", metavar="CELL,...", help="such as \"9 x 360p\"")
    line.add_argument("--peers", metavar="NAME,...", help="such as vantra,mpv")
    line.add_argument("--rounds", type=int, help="(2)")
    line.add_argument("--seconds", type=float, help="of one measurement (4)")
    line.add_argument("--results", type=pathlib.Path, metavar="FOLDER", default=ROOT / "bench",
                      help="where results.json and RESULTS.md stand (bench)")
    line.add_argument("--render", action="store_true", help="only write the tables anew")
    line.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "release",
                      help=argparse.SUPPRESS)
    chosen = line.parse_args()
    chosen.rounds = chosen.rounds or (1 if chosen.quick else 2)
    chosen.seconds = chosen.seconds or (3 if chosen.quick else 4)
    chosen.long_s = 30 if chosen.quick else 600
    # Seconds: how often. All of it passes while views play for `long_s`.
    chosen.outages_s = {5: 1, 10: 1} if chosen.quick else {5: 3, 30: 3, 120: 2}
    for name in ("only", "cells", "peers"):
        value = getattr(chosen, name)
        setattr(chosen, name, value.split(",") if value else None)
    if unknown := set(chosen.only) - set(names):
        line.error(f"no row {', '.join(sorted(unknown))}")
    return chosen


def measure(chosen, everybody, results):
    if not any(player.name == "bare" for player in everybody):
        sys.exit("bench: nothing is built; start bench/run")
    print(f"bench: {machine()}", file=sys.stderr)
    process.adopt_orphans()
    for ending in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(ending, signal.default_int_handler)
    results.set_machine({player.name: [player.what, player.version] for player in everybody})
    wanted = [player for player in everybody
              if player.name not in ON_DEMAND or player.name in (chosen.peers or [])]

    def known(row, cell, player):
        return results.rounds(row, cell, player.name, player.version) if chosen.resume else 0

    all_rows = {row.name: row for row in ROWS}
    rows = {name: row for name, row in all_rows.items() if name in chosen.only}
    if (busy := process.busy_percent(2)) > BUSY:
        print(f"bench: the machine is not quiet: other programs take {busy:.0f} % of it",
              file=sys.stderr)
    tasks = plan(pieces(chosen, results, all_rows), rows, wanted, chosen, known)
    try:
        run(tasks, Bench(chosen.build, chosen), rows, results)
    except KeyboardInterrupt:
        process.end_children()
        print("bench: interrupted; --resume goes on from here", file=sys.stderr)


def main():
    chosen = options()
    chosen.results.mkdir(parents=True, exist_ok=True)
    everybody = players(chosen.build, ROOT)
    results = Results(chosen.results / "results.json")
    if not chosen.render:
        measure(chosen, everybody, results)
    render(results, ROWS, chosen.results / "RESULTS.md", [player.name for player in everybody],
           ROOT / "bench" / "reasons.md")
    print(f"bench: {chosen.results / 'RESULTS.md'}", file=sys.stderr)


main()
