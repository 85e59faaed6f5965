# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Medians, ratios, and whether goals are met."""
import math
import statistics
from dataclasses import dataclass

from rows import LIMITS, Bound


def percentile(ordered, share):
    """The value below which so much of an ordered list lies."""
    return ordered[min(len(ordered) - 1, int(share * len(ordered)))] if ordered else math.nan


def median(cells, player, figure):
    """Of a player in {player: entry}; None if nothing is known."""
    values = cells.get(player, {"values": {}})["values"].get(figure)
    return statistics.median(values) if values else None


def competes(cells, player, figure):
    """Whether it has enough of what the figure needs. Who tells nothing of that does."""
    if not figure.needs:
        return True
    name, least = figure.needs
    has = median(cells, player, name)
    return has is None or has >= least


def best_peer(cells, name, figure):
    """(name, median), or None. Ours in other forms are no rivals, nor are the limits."""
    peers = [(player, median(cells, player, name)) for player in sorted(cells)
             if not player.startswith("vantra") and player not in LIMITS and
             competes(cells, player, figure)]
    peers = [peer for peer in peers if peer[1] is not None]
    pick = max if figure.more_is_better else min
    return pick(peers, key=lambda peer: peer[1]) if peers else None


def ratio(cells, figure, subject, rival):
    """None where one of both is not known."""
    ours, theirs = median(cells, subject, figure), median(cells, rival, figure)
    return ours / theirs if ours is not None and theirs else None


@dataclass(frozen=True)
class Verdict:
    met: bool
    shown: str  # what it is about, in a few characters


def verdict(cells, name, figure, goal):
    """Whether the figure `name`, described by `figure`, meets the goal; None if that is unknown."""
    if isinstance(goal, Bound):
        ours = median(cells, "vantra", name)
        if ours is None:
            return None
        return Verdict(ours <= goal.most, f"{ours:.{figure.digits}f}")
    best = best_peer(cells, name, figure)
    rival = goal.rival or (best[0] if best else "")
    value = ratio(cells, name, goal.subject, rival)
    if value is None:
        return None
    if not competes(cells, goal.subject, figure):
        shown = median(cells, goal.subject, figure.needs[0])
        return Verdict(False, f"{value:.2f} of {rival} at {shown:.0f} % {figure.needs[0]}")
    if goal.rival:
        value = round(value, 2)  # as it is shown: "at most" holds where nothing more is to be seen
    met = value >= goal.most if figure.more_is_better else value <= goal.most
    return Verdict(met, f"{value:.2f} of {rival}")
