# SPDX-License-Identifier: Apache-2.0
"""The rows of a benchmark: how they are written, judged, printed and drawn.

A row is a dictionary, and a file of rows is a JSON list of them, or {"rows": [...], ...}:

    {"row": "parse 2 KB notifications",  what was done; unique
     "unit": "MB/s",                     of all values of the row
     "ours": 251.0,
     "peers": {"gmime": 66.1},           the value of each other library
     "goal": 3.5}                        our value by that of the fastest complete peer, at least;
                                         null: none

and, where there is need,

     "group": "parse"                    a heading that rows behind each other share
     "lower": true                       less is better; ratios are then theirs by ours
     "marks": {"mimetic": "no charsets"} what a peer leaves out; a peer with a mark is no complete
                                         one
     "counted": ["gmime"]                peers that the goal counts in spite of their mark
     "ahead_of": ["mimetic"]             peers that we are to be ahead of, with a mark or without
     "at_most": 5.0                      the limit for our value itself
     "also": {"guarded": 240.0}          further values of ours, shown behind it
"""

import json
import math
from xml.sax.saxutils import escape

NAMES = {"gmime": "GMime", "vmime": "VMime", "etpan": "libetpan", "poco": "POCO",
         "mimetic": "mimetic", "python": "Python", "curl": "libcurl"}


def name_of(peer):
    return NAMES.get(peer, peer)


# ---- judging

def times_better(row, value, other):
    """How many times better `value` is than `other`."""
    if row.get("lower"):
        value, other = other, value
    return value / other if other else math.inf


def rivals(row):
    """The peers that the goal counts, the best first."""
    marks, counted = row.get("marks", {}), row.get("counted", [])
    names = [peer for peer in row["peers"] if peer not in marks or peer in counted]
    return sorted(names, key=row["peers"].get, reverse=not row.get("lower"))


def ratio(row):
    """Ours by the best rival, or by our limit where there is one; None without either."""
    if "at_most" in row:
        return row["at_most"] / row["ours"] if row["ours"] > 0 else math.inf
    best = rivals(row)[:1]
    return times_better(row, row["ours"], row["peers"][best[0]]) if best else None


def judge(row):
    """What the row does not reach, as a list of sentences."""
    missed, reached = [], ratio(row)
    if "at_most" in row and row["ours"] > row["at_most"]:
        missed.append(f"{number(row['ours'])} {row['unit']}, at most "
                      f"{number(row['at_most'])} is allowed")
    if row.get("goal") and reached is not None and reached < row["goal"]:
        missed.append(f"{reached:.2f} x {name_of(rivals(row)[0])}, {row['goal']} x is the goal")
    for peer in row.get("ahead_of", []):
        if peer in row["peers"] and times_better(row, row["ours"], row["peers"][peer]) <= 1:
            missed.append(f"behind {name_of(peer)}")
    return [f"{row['row']}: {fault}" for fault in missed]


# ---- as text

def number(value):
    if value >= 100:
        return f"{value:,.0f}"
    return f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def peer_text(row, peer):
    if peer not in row["peers"]:
        return "*" if peer in row.get("marks", {}) else "-"
    return number(row["peers"][peer]) + ("*" if peer in row.get("marks", {}) else "")


def reached_text(row):
    reached = ratio(row)
    return "-" if reached is None else f"{min(reached, 999):.2f}"


def goal_text(row):
    if "at_most" in row:
        return f"<= {number(row['at_most'])}"
    return f"{row['goal']:g}" if row.get("goal") else "-"


def cells_of(row, peers, more):
    also = row.get("also", {})
    return [row["row"], row["unit"], number(row["ours"]),
            *(number(also[key]) if key in also else "-" for key in more),
            *(peer_text(row, peer) for peer in peers), reached_text(row), goal_text(row),
            "no" if judge(row) else "yes" if goal_text(row) != "-" else "-"]


def table_of(rows):
    """The heading and the rows, as lists of texts."""
    peers = [peer for peer in NAMES if any(peer in row["peers"] for row in rows)]
    more = list(dict.fromkeys(key for row in rows for key in row.get("also", {})))
    heading = ["row", "unit", "ours", *more, *map(name_of, peers), "ratio", "goal", "reached"]
    return [heading, *(cells_of(row, peers, more) for row in rows)]


def marks_of(rows):
    """A line for each peer that leaves something out, with what, and in which rows."""
    where = {}
    for row in rows:
        for peer, mark in row.get("marks", {}).items():
            where.setdefault((peer, mark), []).append(row["row"])
    return [f"* {name_of(peer)}: {mark} ({'; '.join(names)})"
            for (peer, mark), names in sorted(where.items())]


def text_table(rows):
    lines = table_of(rows)
    widths = [max(map(len, column)) for column in zip(*lines)]
    shown = [cells[0].ljust(widths[0]) + "".join(
        "  " + cell.rjust(width) for cell, width in zip(cells[1:], widths[1:])) for cells in lines]
    return "\n".join(shown + marks_of(rows))


def markdown_table(rows):
    heading, *lines = table_of(rows)
    rule = ["---", "---"] + ["--:"] * (len(heading) - 2)
    table = "\n".join("| " + " | ".join(cells) + " |" for cells in (heading, rule, *lines))
    return table + "\n\n" + "\n".join(f"- {mark}".replace("*", "\\*") for mark in marks_of(rows))


# ---- as a file

def read_rows(file):
    content = json.loads(file.read_text(encoding="utf-8"))
    return content["rows"] if isinstance(content, dict) else content


def write_rows(file, rows, **more):
    """`more` says what else is known of the run, for example the machine."""
    file.write_text(json.dumps({**more, "rows": rows}, indent=1) + "\n", encoding="utf-8")


# ---- as a picture
#
# One line a row, on a logarithmic axis of ratios: 1 is the best complete peer, or our limit. Ours
# is a bar, each peer a dot, hollow when it leaves something out, the goal an upright mark.

LEFT, WIDTH, RIGHT, LINE, TOP = 270, 620, 160, 24, 78
COLOURS = {"gmime": "#1f77b4", "vmime": "#9467bd", "etpan": "#d62728", "poco": "#8c564b",
           "mimetic": "#e377c2", "python": "#7f7f7f", "curl": "#17becf"}
REACHED, MISSED = "#2ca02c", "#ff7f0e"
LOWEST, HIGHEST = 0.01, 30
LEGEND = ("bar: ours, green where the goal (upright mark) is reached; dots: others, hollow where "
          "they leave something out")


def x_of(value):
    value = min(max(value, LOWEST), HIGHEST)
    return LEFT + WIDTH * math.log(value / LOWEST) / math.log(HIGHEST / LOWEST)


def text_at(x, y, text, anchor="start", **more):
    extra = "".join(f' {key}="{value}"' for key, value in more.items())
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>{escape(text)}</text>'


def line_at(x, top, bottom, colour, width=1):
    return (f'<line x1="{x:.1f}" x2="{x:.1f}" y1="{top}" y2="{bottom}" stroke="{colour}" '
            f'stroke-width="{width}"/>')


def dot_at(x, y, peer, is_hollow):
    colour = COLOURS.get(peer, "#000")
    return (f'<circle cx="{x:.1f}" cy="{y}" r="4.5" stroke="{colour}" stroke-width="1.5" '
            f'fill="{"white" if is_hollow else colour}"/>')


def dots_of(row, y):
    best = rivals(row)[:1]
    if not best:
        return []
    return [dot_at(x_of(times_better(row, value, row["peers"][best[0]])), y, peer,
                   peer in row.get("marks", {})) for peer, value in row["peers"].items()]


def drawn_bar(row, y):
    """Ours, with the goal."""
    colour = MISSED if judge(row) else REACHED
    goal = 1 if "at_most" in row else row.get("goal")
    bar = (f'<rect x="{LEFT}" y="{y - 6}" width="{x_of(ratio(row)) - LEFT:.1f}" height="12" '
           f'fill="{colour}"/>')
    return [bar] + ([line_at(x_of(goal), y - 10, y + 10, "#000", 2)] if goal else [])


def drawn_row(row, y):
    shown = [text_at(LEFT - 8, y + 4, row["row"], "end")]
    value = f"{number(row['ours'])} {row['unit']}"
    if ratio(row) is not None:
        shown += drawn_bar(row, y) + dots_of(row, y)
        value += f", {reached_text(row)} x"
    return shown + [text_at(LEFT + WIDTH + 8, y + 4, value)]


def drawn_axis(bottom):
    shown = []
    for value in (0.01, 0.03, 0.1, 0.3, 1, 3, 10, 30):
        x = x_of(value)
        shown.append(line_at(x, TOP - 8, bottom, "#888" if value == 1 else "#ddd"))
        shown.append(text_at(x, TOP - 14, f"{value:g}x", "middle", fill="#666"))
    return shown


def drawn_legend(rows):
    shown, x = [text_at(8, 16, LEGEND)], LEFT
    for peer in (peer for peer in NAMES if any(peer in row["peers"] for row in rows)):
        shown += [dot_at(x, 30, peer, False), text_at(x + 9, 34, name_of(peer))]
        x += 26 + 8 * len(name_of(peer))
    return shown


def svg(rows):
    """The picture, as a text."""
    bottom = TOP + LINE * len(rows)
    width, height = LEFT + WIDTH + RIGHT, bottom + 12
    shown = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'font-family="sans-serif" font-size="12">',
             "<!-- SPDX-License-Identifier: Apache-2.0 -->",
             f'<rect width="{width}" height="{height}" fill="white"/>',
             *drawn_legend(rows), *drawn_axis(bottom)]
    for at, row in enumerate(rows):
        shown += drawn_row(row, TOP + LINE * at + LINE // 2)
    return "\n".join(shown + ["</svg>"]) + "\n"
