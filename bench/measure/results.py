# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What has been measured, kept in a file."""
import json
import os
import pathlib
import platform
import time


def machine():
    cpu = next((line.partition(":")[2].strip()
                for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                if line.startswith("model name")), platform.machine())
    system = platform.freedesktop_os_release().get("PRETTY_NAME", "Linux")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return f"{os.cpu_count()} x {cpu}, {memory:.0f} GiB, {system}, Linux {platform.release()}"


class Results:
    """{row: {cell: {player: entry}}}. An entry has "values": {figure: [one or more of each round]},
    "problems": [what went wrong in a round], "rounds": how many have been tried, "version" of the
    player, "when", and "others": percent of the machine that other programs took, at most."""

    def __init__(self, file):
        self.file = file
        self.kept = json.loads(file.read_text()) if file.exists() else {}
        self.rows = self.kept.setdefault("rows", {})

    def rounds(self, row, cell, player, version):
        """How many are known of this version."""
        entry = self.rows.get(row, {}).get(cell, {}).get(player)
        return entry["rounds"] if entry and entry["version"] == version else 0

    def values(self, row, cell, player, figure):
        """Of all rounds so far."""
        entry = self.rows.get(row, {}).get(cell, {}).get(player, {"values": {}})
        return entry["values"].get(figure, [])

    def forget(self, row, cell, player):
        self.rows.get(row, {}).get(cell, {}).pop(player, None)

    def add(self, row, cell, player, version, found, others):
        """One round more. `found`: figures, each a number or a list of them, or a text that says
        why there are none."""
        entry = self.rows.setdefault(row, {}).setdefault(cell, {}).setdefault(
            player, {"values": {}, "problems": [], "rounds": 0, "others": 0})
        entry.update(version=version, when=time.strftime("%Y-%m-%d %H:%M"),
                     rounds=entry["rounds"] + 1, others=max(entry["others"], round(others, 1)))
        if isinstance(found, str):
            entry["problems"].append(found)
            return
        for figure, value in found.items():
            numbers = value if isinstance(value, list) else [value]
            entry["values"].setdefault(figure, []).extend(round(number, 4) for number in numbers)

    def set_machine(self, players):
        """`players`: {name: [what it is, version]}, of all there are."""
        self.kept.setdefault("players", {}).update(players)
        self.kept["machine"] = machine()

    def save(self):
        part = self.file.with_suffix(".part")
        part.write_text(json.dumps(self.kept, indent=1, sort_keys=True) + "\n")
        part.rename(self.file)
