# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""The tables that are made of what has been measured."""
import re
import statistics
import sys

from compare import best_peer, ratio, verdict

HEAD = """\
# Results

Made by `bench/run`; [README.md](README.md) tells how. Medians of the rounds, lowest and highest in
brackets. Ratios hold on other machines, figures do not.
"""


def spread(values, digits):
    """"median (lowest-highest)"."""
    middle = f"{statistics.median(values):.{digits}f}"
    if len(values) < 2:
        return middle
    return f"{middle} ({min(values):.{digits}f}-{max(values):.{digits}f})"


def told(entry, figure, digits):
    """One field of a table: what is known, and what went wrong."""
    values = entry["values"].get(figure)
    # A cell may have figures that others of its row have not.
    why = "; ".join(dict.fromkeys(entry["problems"]))
    if not values:
        return "" if entry["values"] else why
    if not why:
        return spread(values, digits)
    times = len(entry["problems"])
    return f"{spread(values, digits)}; failed {'once' if times == 1 else f'{times} times'}: {why}"


class Reasons:
    """Why goals are missed, as a person wrote it: a file with a heading "## ROW" for each row, and
    below it "### CELL" or "### *" for all of its cells, with the text."""

    def __init__(self, text):
        self.texts = {}
        row = cell = None
        for line in text.splitlines():
            if heading := re.match(r"##\s+([^#\s].*)", line):
                row, cell = heading[1].strip(), None
            elif heading := re.match(r"###\s+([^#\s].*)", line):
                cell = heading[1].strip()
            elif row and cell:
                self.texts.setdefault(row, {}).setdefault(cell, []).append(line)

    def of(self, row, cells):
        """(cell, text) of the row in the order of its cells; what holds for all comes last."""
        texts = self.texts.get(row, {})
        named = [(cell, "\n".join(texts[cell]).strip()) for cell in [*cells, "*"] if cell in texts]
        return [(cell, text) for cell, text in named if text]

    def has(self, row, cell):
        return bool(self.of(row, [cell]))


def goal_columns(figure):
    """(heading, subject, rival or "" for the best peer, goal or None) of what stands to the right
    of the players."""
    against = {goal.rival: goal for goal in figure.goals
               if getattr(goal, "subject", "") == "vantra"}
    columns = [("ours / best peer", "vantra", "", against.get(""))]
    columns += [(f"ours / {rival}", "vantra", rival, goal) for rival, goal in against.items()
                if rival]
    if figure.limit:
        columns.append((f"ours / {figure.limit}", "vantra", figure.limit, None))
    columns += [(f"{goal.subject} / {goal.rival}", goal.subject, goal.rival, goal)
                for goal in figure.goals if getattr(goal, "subject", "vantra") != "vantra"]
    return columns


def compared(cells, name, figure, column):
    """A field to the right of the players."""
    _, subject, rival, goal = column
    best = best_peer(cells, name, figure)
    against = rival or (best[0] if best else "")
    value = ratio(cells, name, subject, against)
    if value is None:
        return ""
    text = f"{value:.2f}" if rival else f"{value:.2f} ({against})"
    if goal is None:
        return text
    return f"{text} met" if verdict(cells, name, figure, goal).met else f"**{text} missed**"


def table(name, figure, cells_by_name, order):
    """Lines of the table of one figure; none if nothing is known of it."""
    shown = {cell: cells for cell, cells in cells_by_name.items()
             if any(entry["values"].get(name) or not entry["values"] for entry in cells.values())}
    if not any(entry["values"].get(name) for cells in shown.values() for entry in cells.values()):
        return []
    known = {player for cells in shown.values() for player in cells}
    players = [player for player in order if player in known] + sorted(known - set(order))
    bounds = [goal for goal in figure.goals if not hasattr(goal, "subject")]
    columns = [] if bounds else [
        column for column in goal_columns(figure)
        if any(compared(cells, name, figure, column) for cells in shown.values())]
    headings = [figure.heading, *players, *(column[0] for column in columns),
                *("goal" for _ in bounds)]
    lines = ["", "| " + " | ".join(headings) + " |",
             "|---" + "|---:" * (len(headings) - 1) + "|"]
    for cell, cells in shown.items():
        fields = [told(cells[player], name, figure.digits) if player in cells else ""
                  for player in players]
        fields += [compared(cells, name, figure, column) for column in columns]
        for goal in bounds:
            found = verdict(cells, name, figure, goal)
            fields.append("" if not found else "met" if found.met else "**missed**")
        lines.append("| " + " | ".join([cell, *fields]) + " |")
    return lines


def verdicts(row, cells_by_name):
    """(figure, goal, {cell: Verdict}) of all goals of which something is known."""
    for name, figure in row.figures.items():
        for goal in figure.goals:
            found = {cell: verdict(cells, name, figure, goal)
                     for cell, cells in cells_by_name.items()}
            found = {cell: known for cell, known in found.items() if known}
            if found:
                yield figure, goal, found


def anchor(title):
    return re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")


def summary(rows, known, reasons):
    """Lines of the table of goals, and (row, cell) of what is missed without a reason."""
    lines, silent, met, all_of_them = [], [], 0, 0
    for row in rows:
        for figure, goal, found in verdicts(row, known.get(row.name, {})):
            missed = []
            for cell, one in found.items():
                all_of_them += 1
                if one.met:
                    met += 1
                    continue
                why = f"[why](#{anchor(row.title)})"
                if not reasons.has(row.name, cell):
                    why = "no reason is written"
                    silent.append((row.name, cell))
                missed.append(f"{cell}: {one.shown}, {why}")
            lines.append(f"| [{row.title}](#{anchor(row.title)}): {figure.heading} "
                         f"| {goal.words(figure.more_is_better)} "
                         f"| {len(found) - len(missed)} of {len(found)} | {'<br>'.join(missed)} |")
    if not lines:
        return [], []
    return ["", f"## Goals: {met} of {all_of_them} met", "",
            "| figure | goal | met | missed |", "|---|---|---|---|", *lines], silent


def versions_table(players):
    """`players`: {name: [what it is, version]}, in their order."""
    return ["", "## Machine and versions", "", "| player | what it is | version |",
            "|---|---|---|",
            *(f"| {name} | {what} | {version} |"
              for name, (what, version) in players.items())]


def section(row, cells_by_name, order, reasons):
    entries = [entry for cells in cells_by_name.values() for entry in cells.values()]
    lines = ["", f"## {row.title}", "", row.note, "",
             f"Measured {min(e['when'] for e in entries)} to {max(e['when'] for e in entries)}; "
             f"other programs took up to {max(e['others'] for e in entries):.0f} % of the machine."]
    for name, figure in row.figures.items():
        lines += table(name, figure, cells_by_name, order)
    for cell, text in reasons.of(row.name, cells_by_name):
        lines += ["", text if cell == "*" else f"*{cell}*: {text}"]
    return lines


def text_of(kept, rows, order, reasons):
    """RESULTS.md, and (row, cell) of what is missed without a reason."""
    known = {}
    for row in rows:
        if cells := kept["rows"].get(row.name):
            known[row.name] = {cell: cells[cell] for cell in row.order(cells)}
    goals, silent = summary(rows, known, reasons)
    lines = [HEAD.rstrip("\n"), *goals]
    players = kept.get("players", {})
    in_order = sorted(players, key=lambda name: order.index(name) if name in order else len(order))
    lines += versions_table({name: players[name] for name in in_order})
    lines += ["", f"Machine: {kept.get('machine', '?')}."]
    for row in rows:
        if row.name in known:
            lines += section(row, known[row.name], order, reasons)
    return "\n".join(lines) + "\n", silent


def render(results, rows, file, order, reasons_file):
    written = reasons_file.read_text() if reasons_file.exists() else ""
    text, silent = text_of(results.kept, rows, order, Reasons(written))
    file.write_text(text)
    for row, cell in dict.fromkeys(silent):
        print(f"bench: missed without a reason in {reasons_file.name}: {row}: {cell}",
              file=sys.stderr)
