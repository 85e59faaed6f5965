# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Who is measured when, for how long at most, and what is left to do."""
import contextlib
import signal
import sys
import time
from dataclasses import dataclass

import process
from players import Failed

GRACE_S = 60  # beyond three times what a measurement should take


@dataclass(frozen=True)
class Task:
    """One measurement."""
    piece: object
    number: int  # of the round, from 0
    team: tuple  # of players
    wanted: tuple  # of (row, cell)

    def entries(self, rows):
        """(row, cell, player) that it gives."""
        return [(row, cell, player) for row, cell in self.wanted for player in self.team
                if player in rows[row].players(self.team)]


def plan(pieces, rows, everybody, options, rounds_known):
    """The tasks in their order: all pieces in each round, and all players in turn in each piece, so
    that a run which is broken off has a bit of everything. `rows`: {name: row}, of those that are
    asked for. `rounds_known(row, cell, player)`: how many there are."""
    def asked(row, cell, player):
        return (row in rows and player in rows[row].players(everybody) and
                (not options.cells or cell in options.cells) and
                (not options.peers or player.name in options.peers))

    tasks = []
    for number in range(options.rounds):
        for piece in pieces:
            if number >= piece.most_rounds:
                continue
            missing = {player: [(row, cell) for row, cell in piece.targets
                                if asked(row, cell, player) and
                                not (number and (row, cell) in piece.once) and
                                rounds_known(row, cell, player) <= number]
                       for player in everybody}
            if not piece.together:
                tasks += [Task(piece, number, (player,), tuple(targets))
                          for player, targets in missing.items() if targets]
            elif targets := [target for target in piece.targets
                             if any(target in some for some in missing.values())]:
                # Beside each other again, even if it is only one of them that lacks something.
                team = [player for player in everybody
                        if any(asked(row, cell, player) for row, cell in targets)]
                tasks.append(Task(piece, number, tuple(team), tuple(targets)))
    return tasks


class Overdue(Exception):
    pass


@contextlib.contextmanager
def at_most(seconds):
    """Raises Overdue inside the block after so many seconds, and again while it does not end."""
    def ring(*_):
        raise Overdue
    before = signal.signal(signal.SIGALRM, ring)
    signal.setitimer(signal.ITIMER_REAL, seconds, 10)
    try:
        yield
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)
        signal.signal(signal.SIGALRM, before)


def carry_out(task, bench, rows):
    """{(row, cell, player): figures, or a text that says why there are none}. Ends in bounded time,
    whatever the players do, and leaves none of them."""
    found, problem = {}, "not measured"
    limit = 3 * task.piece.seconds(bench.options, task.wanted, task.number) + GRACE_S
    try:
        with at_most(limit):
            task.piece.measure(bench, task.team, task.wanted, found)
    except Overdue:
        problem = f"hung for {limit:.0f} s"
    except Failed as error:
        problem = str(error)
    except Exception as error:  # nothing that one player does may end a run of an hour
        problem = f"{type(error).__name__}: {error}"
    process.end_children()
    return {entry: found.get((entry[0], entry[1], entry[2].name), problem)
            for entry in task.entries(rows)}


def minutes(seconds):
    return f"{int(seconds) // 60}:{int(seconds) % 60:02d}"


def shown(found):
    if isinstance(found, str):
        return found
    return "  ".join(f"{figure} {one:.4g}" for figure, value in found.items()
                     for one in (value if isinstance(value, list) else [value]))


class Clock:
    """What is left, by the estimates and by how true they have been so far."""

    def __init__(self, estimates):
        self.begin, self.estimates, self.done, self.sum = time.monotonic(), estimates, 0, 0.0

    def left(self, now=None):
        spent = (now or time.monotonic()) - self.begin
        # The estimates count as if they had been true for five minutes before.
        truth = (spent + 300) / (self.sum + 300)
        return sum(self.estimates[self.done:]) * truth

    def one_done(self):
        self.sum += self.estimates[self.done]
        self.done += 1


def run(tasks, bench, rows, results):
    """Keeps what has been measured after each task."""
    clock = Clock([task.piece.seconds(bench.options, task.wanted, task.number) for task in tasks])
    print(f"bench: {len(tasks)} measurements, about {minutes(clock.left())} minutes",
          file=sys.stderr)
    for number, task in enumerate(tasks):
        for row, cell, player in task.entries(rows):
            if task.number == 0:
                results.forget(row, cell, player.name)
        begin, others = time.monotonic(), process.Others()
        found = carry_out(task, bench, rows)
        taken = others.percent()
        clock.one_done()
        for (row, cell, player), one in found.items():
            results.add(row, cell, player.name, player.version, one, taken)
        results.save()
        head = (f"[{number + 1}/{len(tasks)}, {minutes(clock.left())} left, took "
                f"{time.monotonic() - begin:.0f} s]")
        for (row, cell, player), one in found.items():
            print(f"{head} {row}: {cell}: round {task.number + 1}: {player.name}: {shown(one)}",
                  file=sys.stderr, flush=True)
