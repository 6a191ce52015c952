#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Prints what reading mail takes as it grows, as a table, ours and that of other libraries.

Fails, and names what fails, when our time more than doubles as the size doubles, when we take more
memory than the limits below, when we do not decode deep nesting, or do not say where we cut it.
docs/scaling.md tells how to read the table. Needs a built tree, best of the preset "release".
"""

import argparse
import concurrent.futures
import itertools
import json
import pathlib
import signal
import statistics
import subprocess
import sys
import time

import families
import picture

ROOT = pathlib.Path(__file__).resolve().parents[2]

MAX_TIME_RATIO = 2.3
MAX_MEMORY_RATIO, MEMORY_ALLOWANCE = picture.MOST_MEMORY, picture.ALLOWANCE
MIN_LEVELS = 100

#: What one process may take.
MAX_SECONDS, MAX_OWN_SECONDS, MAX_MEMORY = 5, 60, 4 << 30
STACK = 8 << 20
OUT_OF_MEMORY = 3  # the exit code of a driver

LARGEST_IN_CACHES = 4 << 20
ROUNDS, SECONDS_A_ROUND = 3, 0.05
#: When a ratio is too large: so many further tries, with longer rounds each.
RETRIES, SECONDS_A_RETRY = 4, 0.2

PEERS = ("gmime", "vmime", "etpan", "poco", "python")


class Failure(Exception):
    """Why a cell has no figures, as it stands in the table."""


# ---- one cell

def limits(seconds):
    """The command that sets limits for the one behind it; no core file, no half-dead process."""
    return ["prlimit", f"--cpu={seconds}:{seconds + 1}", f"--as={MAX_MEMORY}", f"--stack={STACK}",
            "--core=0", "--"]


def why_failed(run, seconds):
    if -run.returncode in (signal.SIGXCPU, signal.SIGKILL):
        return f"> {seconds} s"
    if run.returncode == OUT_OF_MEMORY or "failed to allocate" in run.stderr:
        return f"> {MAX_MEMORY >> 30} GiB"
    if run.returncode < 0:
        return f"crash {signal.Signals(-run.returncode).name.removeprefix('SIG')}"
    return "error"


def cell(driver, file, seconds, *arguments):
    """What `driver` prints for `file`; it may take so many seconds of CPU time."""
    try:
        run = subprocess.run([*limits(seconds), *driver, file, *arguments], capture_output=True,
                             check=False, text=True, errors="replace", timeout=10 * seconds)
    except subprocess.TimeoutExpired as slow:
        raise Failure(f"> {seconds} s") from slow
    if run.returncode != 0:
        raise Failure(why_failed(run, seconds))
    return json.loads(run.stdout)


# ---- ours

class Files:
    """The messages of one shape: N, 2N and 4N octets. Removed at the end."""

    def __init__(self, shape, folder):
        self.shape, self.folder = shape, folder
        self.paths, self.octets = [], []

    def __enter__(self):
        for part in (4, 2, 1):
            path = self.folder / f"{time.monotonic_ns()}.eml"
            with path.open("wb") as file:
                self.octets.append(self.shape.write(file, self.shape.largest // part))
            self.paths.append(path)
        return self

    def __exit__(self, *_):
        for path in self.paths:
            path.unlink()


def round_of(driver, paths, seconds):
    """The CPU time for each size, one measured right behind the other."""
    # What fits into the processor's caches would be read faster than what does not.
    caches = ["cold"] if paths[-1].stat().st_size > LARGEST_IN_CACHES else []
    return [cell(driver, path, MAX_OWN_SECONDS, str(seconds), *caches)["seconds"]
            for path in paths]


def ratios_of(rounds):
    """The median of the ratios of the rounds: 2N to N, and 4N to 2N."""
    return [statistics.median(times[i + 1] / times[i] for times in rounds) for i in (0, 1)]


def measure_time(driver, paths):
    """The times of the sizes and their ratios, those of the best of several tries."""
    best = None
    for attempt in range(1 + RETRIES):
        seconds = SECONDS_A_ROUND if attempt == 0 else SECONDS_A_RETRY
        rounds = [round_of(driver, paths, seconds) for _ in range(ROUNDS)]
        ratios = ratios_of(rounds)
        if best is None or max(ratios) < max(best["ratios"]):
            times = [statistics.median(column) for column in zip(*rounds)]
            best = {"seconds": times, "ratios": ratios, "tries": attempt + 1}
        if max(ratios) <= MAX_TIME_RATIO:
            break
    return best


def measure_ours(driver, files):
    counted = [cell(driver, path, MAX_OWN_SECONDS) for path in files.paths]
    return {"octets": files.octets, "peaks": [run["peak"] for run in counted],
            "found": {key: counted[-1][key] for key in
                      ("entities", "levels", "octets", "addresses", "defects")},
            **measure_time(driver, files.paths)}


def judge(ours):
    """What is wrong with our figures of a shape."""
    wrong = []
    for ratio, sizes in zip(ours["ratios"], (ours["octets"][:2], ours["octets"][1:])):
        if ratio > MAX_TIME_RATIO:
            wrong.append(f"time ratio {ratio:.2f} from {sizes[0]} to {sizes[1]} octets")
    excess, octets = max(((peak - MEMORY_ALLOWANCE) / octets, octets)
                         for octets, peak in zip(ours["octets"], ours["peaks"]))
    if excess > MAX_MEMORY_RATIO:
        wrong.append(f"peak of {excess:.1f} times the {octets} octets + 1 MiB")
    return wrong


def check_levels(driver, folder):
    """Levels that are not decoded though they have to be, or are cut in silence."""
    wrong = []
    for kind, count in itertools.product(("multiparts", "messages", "both"),
                                         (MIN_LEVELS, MIN_LEVELS + 1, 1000, 100000)):
        path = folder / "levels.eml"
        path.write_bytes(families.levels(count, kind))
        try:
            found = cell(driver, path, MAX_OWN_SECONDS)
        except Failure as failure:
            wrong.append(f"{count} levels, {kind}: {failure}")
            continue
        if found["levels"] < min(count, MIN_LEVELS):
            wrong.append(f"{count} levels, {kind}: {found['levels']} decoded")
        if found["levels"] < count and "tooDeep" not in found["defects"]:
            wrong.append(f"{count} levels, {kind}: cut at {found['levels']} without a defect")
    path.unlink()
    return wrong


# ---- the others

def drivers(build):
    """By name; Python's needs no building."""
    folder = build / "bench/scaling"
    found = {name: [folder / "peers" / f"{name}_driver"] for name in PEERS if name != "python"}
    found["python"] = [sys.executable, "-B", ROOT / "bench/scaling/peers/python_driver.py"]
    return found


def peer_cell(driver, file):
    try:
        return cell(driver, file, MAX_SECONDS)
    except Failure as failure:
        return {"failure": str(failure)}


def measure_peers(shape, peers, folder):
    """All of them on the largest message of a shape."""
    path = folder / f"peers-{time.monotonic_ns()}.eml"
    with path.open("wb") as file:
        shape.write(file, shape.largest)
    figures = {name: peer_cell(driver, path) for name, driver in peers.items()}
    path.unlink()
    return figures


# ---- the table

def size_text(octets):
    return f"{octets / (1 << 20):.1f} MiB" if octets >= 1 << 20 else f"{octets / 1024:.1f} KiB"


def time_text(seconds):
    return f"{seconds:.2f} s" if seconds >= 1 else f"{seconds * 1000:.2f} ms"


def peer_text(figures, octets):
    return figures.get("failure") or \
        f"{time_text(figures['seconds'])} {figures['peak'] / octets:.1f}x"


def print_own(shape, row):
    octets = row["octets"][-1]
    print(f"{str(shape):50} {size_text(octets):>10}", end=" ")
    if "failure" in row:
        print(f"{row['failure']:>10} {'':20}", end="")
    else:
        print(f"{time_text(row['seconds'][-1]):>10} {row['ratios'][0]:5.2f} {row['ratios'][1]:5.2f}"
              f" {row['peaks'][-1] / octets:6.1f}x", end="")
    print(" <-- " + "; ".join(row["wrong"]) if row["wrong"] else "", flush=True)


def print_peers(shape, row):
    octets = row["octets"][-1]
    ours = {"failure": row["failure"]} if "failure" in row else \
        {"seconds": row["seconds"][-1], "peak": row["peaks"][-1]}
    print(f"{str(shape):50} {size_text(octets):>10}",
          *(f"{peer_text(figures, octets):>16}" for figures in (ours, *row["peers"].values())),
          flush=True)


# ---- the whole

def measure_shape(shape, own, folder):
    with Files(shape, folder) as files:
        try:
            row = measure_ours(own, files)
            wrong = judge(row)
        except Failure as failure:
            row = {"octets": files.octets, "failure": str(failure)}
            wrong = [str(failure)]
    return {"family": shape.family, "shape": shape.name, **row, "wrong": wrong}


def measure_own(shapes, own, folder):
    """Prints the table of our figures. Returns its rows."""
    print(f"{'family: shape':50} {'4N':>10} {'ours':>10} {'2N/N':>5} {'4N/2N':>5} {'memory':>7}")
    rows = []
    for shape in shapes:
        rows.append(measure_shape(shape, own, folder))
        print_own(shape, rows[-1])
    return rows


def add_peers(shapes, rows, peers, folder):
    """Adds the figures of the others to the rows and prints them, two shapes at a time."""
    print(f"\n{'family: shape':50} {'4N':>10} {'ours':>16}", *(f"{name:>16}" for name in peers))
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        measured = pool.map(lambda shape: measure_peers(shape, peers, folder), shapes)
        for shape, row, figures in zip(shapes, rows, measured):
            row["peers"] = figures
            print_peers(shape, row)


def draw(rows, folders):
    for folder in folders:
        (folder / "scaling.svg").write_text(picture.svg(rows), encoding="utf-8")


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--own", action="store_true", help="leave the other libraries out")
    parser.add_argument("--only", default="", metavar="TEXT", help="shapes whose name has TEXT")
    parser.add_argument("--publish", action="store_true", help="put the picture into docs")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release",
                        help="the folder of the built tree")
    parser.add_argument("--out", type=pathlib.Path, default=ROOT / "build/scaling",
                        help="where the figures and the picture go, and the messages while they "
                             "are measured")
    options = parser.parse_args()
    if options.publish and (options.own or options.only):
        parser.error("--publish wants all shapes and all libraries")
    return options


def main():
    options = parsed_arguments()
    shapes = [shape for shape in families.SHAPES if options.only in str(shape)]
    own = [options.build / "bench/scaling/own_driver"]
    options.out.mkdir(parents=True, exist_ok=True)
    start = time.monotonic()
    wrong = [f"nesting: {fault}" for fault in check_levels(own, options.out)]
    rows = measure_own(shapes, own, options.out)
    wrong += [f"{shape}: {fault}" for shape, row in zip(shapes, rows) for fault in row["wrong"]]
    if not options.own:
        add_peers(shapes, rows, drivers(options.build), options.out)
        draw(rows, [options.out] + [ROOT / "docs"] * options.publish)
    (options.out / "scaling.json").write_text(
        json.dumps({"rows": rows, "wrong": wrong}, indent=1) + "\n", encoding="utf-8")
    print(f"{len(rows)} shapes in {time.monotonic() - start:.0f} s; "
          f"figures in {options.out / 'scaling.json'}")
    for fault in wrong if rows else ["no such shape"]:
        print(f"FAILED: {fault}")
    return 1 if wrong or not rows else 0


if __name__ == "__main__":
    sys.exit(main())
