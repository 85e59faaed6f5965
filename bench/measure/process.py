# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What running programs take of the machine, seen from outside, by /proc and their clocks."""
import ctypes
import os
import pathlib
import signal
import time

TICKS = os.sysconf("SC_CLK_TCK")
POLL_S = 0.002
END_S = 10  # a process that the system holds up cannot be killed
PR_SET_CHILD_SUBREAPER = 36


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
    seconds = 0.0
    for pid in pids:
        try:
            # The clock of another process, as clock_getcpuclockid() makes it: /proc tells only
            # ticks of 10 ms.
            seconds += time.clock_gettime((~pid << 3) | 2)
            seconds += sum(int(field) for field in _fields(pid)[13:15]) / TICKS
        except OSError:
            pass
    return seconds


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


def seconds_until_threads_settle(pid, quiet_s, most_s):
    """Time until the number of threads has a value that it keeps for `quiet_s`; looks no longer
    than `most_s`."""
    begin = time.monotonic()
    count, changed = threads(pid), 0.0
    while (now := time.monotonic() - begin) - changed < quiet_s and now < most_s:
        if (seen := threads(pid)) != count:
            count, changed = seen, now
        time.sleep(POLL_S)
    return changed


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


class Others:
    """What programs that are none of ours take of the machine, from its making on. All that we
    started must have ended at both moments, since only then its time is known to the system."""

    def __init__(self):
        self.begin, self.used = time.monotonic(), self._theirs()

    @staticmethod
    def _theirs():
        user, nice, system, _, _, irq, softirq = (
            int(word) for word in pathlib.Path("/proc/stat").read_text().split()[1:8])
        return (user + nice + system + irq + softirq) / TICKS - sum(os.times()[:4])

    def percent(self):
        """Of all cores."""
        share = (self._theirs() - self.used) / (time.monotonic() - self.begin) / os.cpu_count()
        return max(0.0, share * 100)


def busy_percent(seconds):
    """Of all cores, taken by others within so many seconds."""
    others = Others()
    time.sleep(seconds)
    return others.percent()


# ---- What must not outlive a measurement ---------------------------------------------------------


def adopt_orphans():
    """From now on the children of a child that dies become ours, so that end_children() finds
    them."""
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def end_children():
    """Kills whatever this process has started and not ended, directly or not."""
    own, deadline = os.getpid(), time.monotonic() + END_S
    while len(left := tree(own)) > 1 and time.monotonic() < deadline:
        for pid in left[1:]:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        try:
            while os.waitpid(-1, os.WNOHANG)[0]:
                pass
        except ChildProcessError:
            pass
        time.sleep(POLL_S)
