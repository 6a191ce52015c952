#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Measures how fast mail is read, encoded and composed, beside other mail libraries.

Each driver does the same work on the same input. What it finds is compared with what was put into
the input first; then all are timed in turns. docs/performance.md tells how to read the table.
Needs a tree built with the preset "bench"; with --quick, any.
"""

import argparse
import json
import os
import pathlib
import platform
import statistics
import subprocess
import sys

import checks
import inputs
import table
from rows import ROWS

ROOT = pathlib.Path(__file__).resolve().parents[2]
PEERS = ("gmime", "vmime", "etpan", "poco", "mimetic", "python")
FIGURES = ("<!-- figures -->", "<!-- end of figures -->")  # around those of docs/performance.md
QUICK_SCALE = 1 / 100
MAX_SECONDS = 300  # for one call of a driver
SLOW_SECONDS = 2   # a go that takes longer is not repeated
NO_SUCH_WORK = 3   # the exit code of a driver


# ---- drivers

class Driver:
    """One library: a command that shows what it finds, and one that is timed."""

    def __init__(self, name, check, timed):
        self.name, self.check, self.timed = name, check, timed

    def output(self, kind, file):
        """What it found; None when it does no such work."""
        run = subprocess.run([*self.check, kind, file], capture_output=True, check=False,
                             timeout=MAX_SECONDS)
        if run.returncode == NO_SUCH_WORK:
            return None
        if run.returncode != 0:
            raise RuntimeError(run.stderr.decode(errors="replace").strip() or run.returncode)
        return run.stdout

    def can_be_timed(self):
        return pathlib.Path(self.timed[0]).exists()

    def seconds(self, kind, file, least):
        """The CPU time of one go, the mean of as many as take `least` seconds."""
        run = subprocess.run(
            [*self.timed, kind, file, "--benchmark_format=json", f"--benchmark_min_time={least}"],
            capture_output=True, check=True, timeout=MAX_SECONDS)
        return json.loads(run.stdout)["benchmarks"][0]["cpu_time"] / 1e9


def drivers(build):
    """Ours and those of the others that have been built, by name; Python's needs no building."""
    folder = build / "bench/speed"
    found = {"ours": Driver("ours", [folder / "ours_check"], [folder / "ours_speed"])}
    for name in PEERS[:-1]:
        path = folder / "peers" / name
        if path.with_name(f"{name}_check").exists():
            found[name] = Driver(name, [f"{path}_check"], [f"{path}_speed"])
    script = [sys.executable, "-B", ROOT / "bench/speed/peers/python_driver.py"]
    found["python"] = Driver("python", script, script)
    return found


# ---- checks

def check(driver, kind, file, expected):
    """None when the driver does no such work, else what it does not find, as a text."""
    try:
        output = driver.output(kind, file)
        if output is None:
            return None
        return ", ".join(checks.differences(kind, output, expected))
    except (RuntimeError, subprocess.TimeoutExpired, KeyError, ValueError) as failure:
        return f"fails: {failure}"


def check_peers(row, all_drivers, file, expected):
    """The peers that do the work, by name, each with what it does not find."""
    found = {name: check(driver, row.kind, file, expected)
             for name, driver in all_drivers.items() if name != "ours"}
    return {name: differs for name, differs in found.items() if differs is not None}


def check_ours(row, own, file, expected):
    """What ours does not find, guarded decoding included."""
    kinds = [row.kind] + (["parse_guarded"] if row.kind == "parse" else [])
    found = {kind: check(own, kind, file, expected) for kind in kinds}
    return [f"{row.title}: {kind} differs in {differs or 'all'}"
            for kind, differs in found.items() if differs != ""]


# ---- timing

def in_turns(calls, repetitions):
    """The results of all calls, by key: one of each, then again. What is slow is called once."""
    results = {key: [call()] for key, call in calls.items()}
    for _ in range(repetitions - 1):
        for key, call in calls.items():
            if results[key][0] < SLOW_SECONDS:
                results[key].append(call())
    return results


def measure(row, all_drivers, names, file, options):
    """Lists of seconds, by the name of the driver; "guarded" is ours too."""
    def call(driver, kind):
        return lambda: driver.seconds(kind, file, options.seconds)
    calls = {"ours": call(all_drivers["ours"], row.kind)}
    if row.kind == "parse":
        calls["guarded"] = call(all_drivers["ours"], "parse_guarded")
    calls |= {name: call(all_drivers[name], row.kind) for name in names}
    return in_turns(calls, options.repetitions)


def table_row(row, records, found, times):
    """As table.py wants it."""
    amount = row.amount(records)
    rates = {name: amount / statistics.median(seconds) for name, seconds in times.items()}
    made = {"row": row.title, "group": row.group, "unit": row.unit, "goal": row.goal, **row.more,
            "ours": rates.pop("ours")}
    if "guarded" in rates:
        made["also"] = {"guarded": rates.pop("guarded")}
    made["peers"] = rates
    made["marks"] = {name: differs if differs.startswith("fails") else f"differs in {differs}"
                     for name, differs in found.items() if differs}
    made["seconds"] = times
    return made


def guarded_row(rows):
    """What guarded decoding costs beyond plain decoding, each pair measured one behind the other.
    """
    costs = []
    for row in rows:
        if "guarded" in row.get("seconds", {}):
            times = row["seconds"]
            costs.append(100 * (statistics.median(
                guarded / plain for plain, guarded in zip(times["ours"], times["guarded"])) - 1))
    if not costs:
        return []
    return [{"row": "guarded decoding over plain, worst row", "group": "parse", "unit": "%",
             "ours": max(costs), "peers": {}, "goal": None, "at_most": 5}]


# ---- memory

def heap(options, name, kind, records):
    """The peak of building one tree, and the octets that the driver found in it."""
    file = options.out / "input"
    inputs.write_records(file, records)
    run = subprocess.run([options.build / "bench/speed" / f"{name}_heap", kind, file],
                         capture_output=True, check=True, text=True, timeout=MAX_SECONDS)
    return [int(number) for number in run.stdout.split()]


def beyond_content(options, row):
    """What our trees take beyond the message and its bodies, in MiB, plain and guarded."""
    records = row.make(1)[0][:1]
    found = [heap(options, "ours", kind, records) for kind in ("build", "build_guarded")]
    return [(peak - len(records[0]) - bodies) / inputs.MIB for peak, bodies in found]


def beyond_row(options):
    """Of the messages that are parsed, the worst."""
    beyond = [beyond_content(options, row) for row in ROWS if row.kind == "parse"]
    plain, guarded = (max(values) for values in zip(*beyond))
    return {"group": "memory", "unit": "MiB", "ours": plain, "also": {"guarded": guarded},
            "peers": {}, "goal": None, "at_most": 1}


def sibling_row(options):
    """libetpan's tree points into the message, so that it counts there."""
    records = inputs.siblings(1)[0]
    ours, guarded, etpan = (heap(options, name, kind, records)[0] / 1e6 for name, kind in (
        ("ours", "build"), ("ours", "build_guarded"), ("peers/etpan", "build")))
    return {"group": "memory", "unit": "MB", "lower": True, "ours": ours,
            "also": {"guarded": guarded}, "goal": 1,
            "peers": {"etpan": etpan + len(records[0]) / 1e6}}


MEMORY_ROWS = {"memory beyond text and bodies": beyond_row, "memory of 100,000 parts": sibling_row}


def memory_rows(options):
    return [{"row": title, **measure_it(options)} for title, measure_it in MEMORY_ROWS.items()
            if options.only in title]


# ---- the whole

def quick_row(row, all_drivers, options):
    """Prints what the drivers find in a small input, and has those timed that can be. Returns
    what ours does not find."""
    records, expected = row.make(QUICK_SCALE)
    file = options.out / "input"
    inputs.write_records(file, records)
    faults = check_ours(row, all_drivers["ours"], file, expected)
    found = check_peers(row, all_drivers, file, expected)
    shown = {"ours": ", ".join(faults), **found}
    print(f"{row.title:42}", "; ".join(f"{table.name_of(name)}: {differs or 'complete'}"
                                       for name, differs in shown.items()), flush=True)
    for name in shown:
        if all_drivers[name].can_be_timed():
            all_drivers[name].seconds(row.kind, file, 0.001)
    return faults


def measured_row(row, all_drivers, options):
    """The row, and what ours does not find."""
    records, expected = row.make(1)
    file = options.out / "input"
    inputs.write_records(file, records)
    faults = check_ours(row, all_drivers["ours"], file, expected)
    found = check_peers(row, all_drivers, file, expected)
    names = [name for name, differs in found.items() if not differs.startswith("fails")]
    made = table_row(row, records, found, measure(row, all_drivers, names, file, options))
    print(table.text_table([made]), end="\n\n", flush=True)
    return made, faults


def machine():
    """What the figures were measured on."""
    models = [line.split(":", 1)[1].strip()
              for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines()
              if line.startswith("model name")]
    return {"cpu": models[0] if models else platform.machine(), "cores": os.cpu_count(),
            "kernel": platform.release(), "load": os.getloadavg()[0]}


def write_results(rows, options):
    table.write_rows(options.out / "speed.json", rows, machine=machine())
    (options.out / "speed.svg").write_text(table.svg(rows), encoding="utf-8")
    (options.out / "speed.md").write_text(table.markdown_table(rows) + "\n", encoding="utf-8")
    print("\n" + table.text_table(rows))
    print(f"figures in {options.out}: speed.json, speed.svg, speed.md")


def publish(rows, where):
    """Puts table and picture into docs/performance.md, with the machine that they are of."""
    page = ROOT / "docs/performance.md"
    text = page.read_text(encoding="utf-8")
    head, tail = text.split(FIGURES[0])[0], text.split(FIGURES[1])[1]
    shown = (f"Measured on {where['cores']} cores of {where['cpu']}, Linux {where['kernel']}, load "
             f"{where['load']:.1f}.\n\n![ratios](performance.svg)\n\n{table.markdown_table(rows)}")
    page.write_text(f"{head}{FIGURES[0]}\n{shown}\n{FIGURES[1]}{tail}", encoding="utf-8")
    page.with_suffix(".svg").write_text(table.svg(rows), encoding="utf-8")


def run_measured(rows, all_drivers, options):
    """Measures, prints and writes. Returns what is wrong."""
    made, faults = [], []
    for row in rows:
        measured, missed = measured_row(row, all_drivers, options)
        made.append(measured)
        faults += missed
    made += guarded_row(made) + memory_rows(options)
    for file in options.merge:
        made += table.read_rows(file)
    write_results(made, options)
    if options.publish:
        publish(made, machine())
    return faults + [fault for row in made for fault in table.judge(row)]


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--only", default="", metavar="TEXT", help="rows whose name has TEXT")
    parser.add_argument("--own", action="store_true", help="leave the other libraries out")
    parser.add_argument("--quick", action="store_true", help="small inputs, checks, no timing")
    parser.add_argument("--merge", action="append", default=[], type=pathlib.Path, metavar="FILE",
                        help="rows of another source, as JSON (table.py)")
    parser.add_argument("--publish", action="store_true", help="put them into docs/performance.md")
    parser.add_argument("--repetitions", type=int, default=5, help="of each; the median counts")
    parser.add_argument("--seconds", type=float, default=0.1, help="at least, for a repetition")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/bench",
                        help="the folder of the built tree")
    parser.add_argument("--out", type=pathlib.Path, default=ROOT / "build/speed",
                        help="where the figures go, and the inputs while they are used")
    return parser.parse_args()


def main():
    options = parsed_arguments()
    rows = [row for row in ROWS if options.only in row.title]
    if not any(options.only in title for title in (*MEMORY_ROWS, *(row.title for row in ROWS))):
        sys.exit(f"no row has {options.only!r} in its name")
    all_drivers = drivers(options.build)
    if options.own:
        all_drivers = {"ours": all_drivers["ours"]}
    options.out.mkdir(parents=True, exist_ok=True)
    if options.quick:
        faults = [fault for row in rows for fault in quick_row(row, all_drivers, options)]
    else:
        faults = run_measured(rows, all_drivers, options)
    (options.out / "input").unlink(missing_ok=True)
    for fault in faults:
        print(f"FAILED: {fault}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
