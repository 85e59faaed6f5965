# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Measures this library beside its peers; started by bench/run, which builds what this needs."""
import argparse
import pathlib
import sys

from players import players
from results import Results, machine, render
from rows import ROWS, run
from stage import Bench

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
# Measured only when asked for: OpenGL without a graphics card shows what llvmpipe costs.
ON_DEMAND = {"vantra-gl"}


def options():
    names = [row.name for row in ROWS]
    line = argparse.ArgumentParser(prog="bench/run", description="Measures this library beside its "
                                   "peers and writes bench/RESULTS.md. Takes an hour or two; see "
                                   "--quick and --only.")
    line.add_argument("--quick", action="store_true", help="one short round")
    line.add_argument("--long", action="store_true",
                      help="also delay after ten minutes, and outages of 30 and 120 seconds")
    line.add_argument("--only", metavar="ROW,...", default=",".join(names),
                      help="of " + ", ".join(names))
    line.add_argument("--cells", metavar="CELL,...", help="such as \"9 x 360p\"")
    line.add_argument("--peers", metavar="NAME,...", help="such as vantra,mpv")
    line.add_argument("--rounds", type=int, help="(3)")
    line.add_argument("--seconds", type=float, help="of one measurement (10)")
    line.add_argument("--results", type=pathlib.Path, metavar="FOLDER", default=ROOT / "bench",
                      help="where results.json and RESULTS.md stand (bench)")
    line.add_argument("--render", action="store_true", help="only write the tables anew")
    line.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "release",
                      help=argparse.SUPPRESS)
    chosen = line.parse_args()
    chosen.rounds = chosen.rounds or (1 if chosen.quick else 3)
    chosen.seconds = chosen.seconds or (4 if chosen.quick else 10)
    for name in ("only", "cells", "peers"):
        value = getattr(chosen, name)
        setattr(chosen, name, value.split(",") if value else None)
    unknown = set(chosen.only) - set(names)
    if unknown:
        line.error(f"no row {', '.join(sorted(unknown))}")
    return chosen


def main():
    chosen = options()
    everybody = players(chosen.build, ROOT)
    results = Results(chosen.results / "results.json")
    if not chosen.render:
        if len({player.name for player in everybody}) < 2:
            sys.exit("bench: nothing is built; start bench/run")
        print(f"bench: {machine()}", file=sys.stderr)
        results.set_versions({player.name: player.version for player in everybody})
        shown = [player for player in everybody
                 if player.name not in ON_DEMAND or player.name in (chosen.peers or [])]
        run(Bench(chosen.build, chosen), [row for row in ROWS if row.name in chosen.only], shown,
            results)
    render(results, ROWS, chosen.results / "RESULTS.md", [player.name for player in everybody])
    print(f"bench: {chosen.results / 'RESULTS.md'}", file=sys.stderr)


main()
