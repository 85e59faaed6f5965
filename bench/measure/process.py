# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What a running program takes of the machine, seen from outside, by /proc."""
import os
import pathlib
import time

TICKS = os.sysconf("SC_CLK_TCK")
POLL_S = 0.002


def tree(pid):
    """The process and all that it has started, directly or not."""
    found = [pid]
    for task in pathlib.Path(f"/proc/{pid}/task").glob("*/children"):
        try:
            children = task.read_text().split()
        except OSError:
            continue
        for child in children:
            found += tree(int(child))
    return found


def _fields(pid):
    """Of /proc/PID/stat, from the third on: the second may hold anything."""
    return pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()


def cpu_seconds(pids):
    """User and system time of processes, ended children that were waited for included."""
    ticks = 0
    for pid in pids:
        try:
            ticks += sum(int(field) for field in _fields(pid)[11:15])
        except OSError:
            pass
    return ticks / TICKS


def pss_mib(pids):
    """Resident memory, where what processes share counts in proportion."""
    kib = 0
    for pid in pids:
        try:
            for line in pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
                if line.startswith("Pss:"):
                    kib += int(line.split()[1])
        except OSError:
            pass
    return kib / 1024


def threads(pid):
    total = 0
    for process in tree(pid):
        try:
            total += int(_fields(process)[17])
        except OSError:
            pass
    return total


def seconds_until_threads_settle(pid, watch_s):
    """Time until the number of threads has its final value, which it has after `watch_s`."""
    begin = time.monotonic()
    changes = []
    while time.monotonic() - begin < watch_s:
        now = threads(pid)
        if not changes or changes[-1][1] != now:
            changes.append((time.monotonic() - begin, now))
        time.sleep(POLL_S)
    return changes[-1][0]


class Meter:
    """CPU time in percent of one core, from its making on."""

    def __init__(self, *pids):
        self.roots = pids
        self.begin = time.monotonic()
        self.used = cpu_seconds(self._all())

    def _all(self):
        return [pid for root in self.roots for pid in tree(root)]

    def percent(self):
        return (cpu_seconds(self._all()) - self.used) * 100 / (time.monotonic() - self.begin)
