# SPDX-License-Identifier: Apache-2.0
"""The figures of run_scaling.py at a glance: a cell for each family and library, with the worst of
the family's shapes."""

import collections
from xml.sax.saxutils import escape

NAMES = {"ours": "vtinetlib", "gmime": "GMime", "vmime": "VMime", "etpan": "libetpan",
         "poco": "POCO", "python": "Python"}

#: What is more than this is marked, of ours and of the others.
MOST_NANOSECONDS, MOST_MEMORY = 1000, 8  # for an octet; multiples of the message beyond 1 MiB
ALLOWANCE = 1 << 20

#: The worse, the later.
COLOURS = {"good": "#c7e9c0", "much": "#fee391", "refused": "#e0e0e0", "limit": "#fcae91",
           "crash": "#de2d26"}
LEGEND = {"good": "good", "much": f"over {MOST_NANOSECONDS} ns or {MOST_MEMORY} x",
          "refused": "refused the mail", "limit": "over the limit of time or memory",
          "crash": "crashed"}

LEFT, TOP, WIDTH, LINE = 170, 76, 150, 36


# ---- what is in a cell

def figures_of(row, library):
    if library != "ours":
        return row["peers"][library]
    if "failure" in row:
        return {"failure": row["failure"]}
    return {"seconds": row["seconds"][-1], "peak": row["peaks"][-1]}


def kind_of(failure):
    """How bad it is, as a name of COLOURS."""
    if failure.startswith("crash"):
        return "crash"
    return "refused" if failure == "error" else "limit"


def severity(kind):
    return list(COLOURS).index(kind)


def cell_of(rows, library):
    """The kind of the cell, and its lines, the worst first."""
    times, memory, failures = [], [], collections.Counter()
    for row in rows:
        figures, octets = figures_of(row, library), row["octets"][-1]
        if "failure" in figures:
            failures[figures["failure"]] += 1
            continue
        times.append(figures["seconds"] / octets * 1e9)
        memory.append(max(0, figures["peak"] - ALLOWANCE) / octets)
    worst_first = sorted(failures.items(), key=lambda item: (severity(kind_of(item[0])), item[1]),
                         reverse=True)
    lines = [f"{count} of {len(rows)}: {failure}" for failure, count in worst_first]
    if times:
        lines.append(f"{max(times):,.0f} ns, {max(memory):.1f} x")
    kinds = [kind_of(failure) for failure in failures]
    if times and (max(times) > MOST_NANOSECONDS or max(memory) > MOST_MEMORY):
        kinds.append("much")
    return max(kinds, key=severity, default="good"), lines


# ---- the picture

def text_at(x, y, text, anchor="start", **more):
    extra = "".join(f' {key}="{value}"' for key, value in more.items())
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{extra}>{escape(text)}</text>'


def box_at(x, y, width, height, kind):
    return f'<rect x="{x}" y="{y}" width="{width}" height="{height}" fill="{COLOURS[kind]}"/>'


def drawn_legend():
    shown = [text_at(8, 18, "The worst shape of each family: CPU time for an octet; memory beyond "
                            "1 MiB in multiples of the mail. Shapes that failed are counted.")]
    x = 8
    for kind, meaning in LEGEND.items():
        shown += [box_at(x, 30, 14, 14, kind), text_at(x + 20, 42, meaning)]
        x += 40 + 7 * len(meaning)
    return shown


def drawn_cell(x, y, kind, lines):
    first = y + LINE / 2 + 4 - 7 * (min(len(lines), 2) - 1)
    colour = "white" if kind == "crash" else "black"
    return [box_at(x + 1, y + 1, WIDTH - 2, LINE - 2, kind),
            *(text_at(x + WIDTH / 2, first + 14 * at, line, "middle", fill=colour)
              for at, line in enumerate(lines[:2]))]


def svg(rows):
    """The picture of all rows, which have figures of the other libraries."""
    families = {}
    for row in rows:
        families.setdefault(row["family"], []).append(row)
    width, height = LEFT + WIDTH * len(NAMES) + 8, TOP + LINE * len(families) + 8
    shown = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
             f'font-family="sans-serif" font-size="12">',
             "<!-- SPDX-License-Identifier: Apache-2.0 -->",
             f'<rect width="{width}" height="{height}" fill="white"/>', *drawn_legend()]
    for column, name in enumerate(NAMES.values()):
        shown.append(text_at(LEFT + WIDTH * column + WIDTH / 2, TOP - 8, name, "middle",
                             **{"font-weight": "bold"}))
    for at, (family, of_family) in enumerate(families.items()):
        y = TOP + LINE * at
        shown.append(text_at(LEFT - 8, y + LINE / 2 + 4, family, "end"))
        for column, library in enumerate(NAMES):
            shown += drawn_cell(LEFT + WIDTH * column, y, *cell_of(of_family, library))
    return "\n".join(shown + ["</svg>"]) + "\n"
