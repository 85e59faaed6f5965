# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""What has been measured, kept in a file, and the tables that are made of it."""
import json
import os
import pathlib
import platform
import statistics
import time


def machine():
    cpu = next((line.partition(":")[2].strip()
                for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                if line.startswith("model name")), platform.machine())
    system = platform.freedesktop_os_release().get("PRETTY_NAME", "Linux")
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    return f"{os.cpu_count()} x {cpu}, {memory:.0f} GiB, {system}, Linux {platform.release()}"


class Results:
    """{row: {cell: {player: {"values": {figure: [...]}, "problem": "", "when": "", "load": x}}}}"""

    def __init__(self, file):
        self.file = file
        self.kept = json.loads(file.read_text()) if file.exists() else {"rows": {}}
        self.rows = self.kept["rows"]

    def add(self, row, cell, player, figures, problem, first):
        """`first`: what was known of this cell and player is forgotten."""
        cells = self.rows.setdefault(row, {}).setdefault(cell, {})
        if first or player not in cells:
            cells[player] = {"values": {}}
        entry = cells[player]
        entry.update(problem=problem, when=time.strftime("%Y-%m-%d %H:%M"),
                     load=round(os.getloadavg()[0], 1))
        for figure, value in figures.items():
            entry["values"].setdefault(figure, []).append(round(value, 3))

    def set_versions(self, versions):
        self.kept.setdefault("versions", {}).update(versions)
        self.kept["machine"] = machine()

    def save(self):
        part = self.file.with_suffix(".part")
        part.write_text(json.dumps(self.kept, indent=1, sort_keys=True) + "\n")
        part.rename(self.file)


def spread(values, digits):
    """"median (lowest-highest)"."""
    middle = f"{statistics.median(values):.{digits}f}"
    if len(values) < 2:
        return middle
    return f"{middle} ({min(values):.{digits}f}-{max(values):.{digits}f})"


def ratio(row, cells, figure):
    """Ours beside the best of the others; players without a window are no rivals."""
    def medians(names):
        return [statistics.median(cells[name]["values"][figure]) for name in names
                if cells[name]["values"].get(figure)]
    ours = medians(["vantra"] if "vantra" in cells else [])
    others = medians([name for name in cells
                      if not name.startswith("vantra") and name not in ("bare", "memcpy")])
    if not ours or not others:
        return ""
    best = max(others) if figure in row.more_is_better else min(others)
    return f"{ours[0] / best:.2f}" if best else ""


def table(row, cells_by_name, order):
    known = {name for cells in cells_by_name.values() for name in cells}
    names = [name for name in order if name in known] + sorted(known - set(order))
    lines = []
    for figure, (heading, digits) in row.figures.items():
        lines += ["", f"| {heading} | " + " | ".join(names) + " | ours / best peer |",
                  "|---" * (len(names) + 2) + "|"]
        for cell, cells in cells_by_name.items():
            columns = []
            for name in names:
                entry = cells.get(name, {"values": {}})
                values = entry["values"].get(figure)
                columns.append(spread(values, digits) if values else entry.get("problem", ""))
            lines.append(f"| {cell} | " + " | ".join(columns) +
                         f" | {ratio(row, cells, figure)} |")
    return lines


def render(results, rows, file, order):
    kept = results.kept
    versions = ", ".join(f"{name} {version}" for name, version in kept["versions"].items())
    lines = ["# Results", "",
             "Made by `bench/run`; README.md tells how. Medians of the rounds, lowest and highest in "
             "brackets. Ratios hold on other machines, figures do not.", "",
             f"Machine: {kept['machine']}.", "", f"Versions: {versions}."]
    for row in rows:
        cells = results.rows.get(row.name)
        if not cells:
            continue
        wanted = {cell: cells[cell] for cell in row.order(cells)}
        entries = [entry for players in wanted.values() for entry in players.values()]
        load = max(entry["load"] for entry in entries)
        lines += ["", f"## {row.title}", "", row.note, "",
                  f"Measured {min(e['when'] for e in entries)} to {max(e['when'] for e in entries)}, "
                  f"load average up to {load}."]
        lines += table(row, wanted, order)
    file.write_text("\n".join(lines) + "\n")
