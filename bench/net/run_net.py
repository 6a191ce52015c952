#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Delivering and fetching mail over loopback, ours beside other libraries.

    run_net.py BUILD [--rounds N] [--json FILE] [--quick]

BUILD is a build folder with the drivers of bench/net. The drivers take turns at each row, and a
value is the median of their rounds. Writes the rows to FILE in the form of bench/speed/table.py,
and prints them. --quick only checks each driver, with small mails.
"""

import argparse
import json
import pathlib
import statistics
import subprocess
import sys

OURS = "ours"
PEERS = ("etpan", "curl", "poco")
LIMIT = "limit"

#: Row of the drivers, text, unit, what of theirs is shown, by what it is divided; our value by the
#: fastest peer's, at least.
RATE, OCTETS, CPU = "mails_per_second", "octets_per_second", "cpu_us_per_mail"
ROWS = (
    ("deliver_4k", "deliver 4 KB mails, a connection each", "/s", RATE, 1, 1),
    ("deliver_4k", "deliver 4 KB mails, CPU per mail", "us", CPU, 1, 1),
    ("deliver_50m", "deliver one mail of 50 MiB", "MB/s", OCTETS, 1e6, 1),
    ("deliver_50m", "deliver one mail of 50 MiB, CPU", "us", CPU, 1, None),
    ("fetch_4k", "fetch 2,000 mails of 4 KB", "/s", RATE, 1, 1.2),
    ("fetch_4k", "fetch 2,000 mails of 4 KB, CPU per mail", "us", CPU, 1, 1),
    ("fetch_50m", "fetch one mail of 50 MiB", "MB/s", OCTETS, 1e6, 1.5),
    ("fetch_50m", "fetch one mail of 50 MiB, CPU", "us", CPU, 1, None),
    ("tcp_64k", "limit: loopback TCP, writes of 64 KiB", "MB/s", OCTETS, 1e6, None),
    ("tcp_1k", "limit: loopback TCP, writes of 1 KiB", "MB/s", OCTETS, 1e6, None),
)
LIMITS = {"tcp_64k", "tcp_1k"}


def drivers_in(build):
    """The programs that were built, by name."""
    found = {OURS: build / "own_net_driver", LIMIT: build / "limit_net_driver"}
    found.update({peer: build / "peers" / f"{peer}_net_driver" for peer in PEERS})
    return {name: path for name, path in found.items() if path.exists()}


def run(driver, argument):
    """What a driver prints; its failure is ours."""
    done = subprocess.run([driver, argument], check=True, text=True, stdout=subprocess.PIPE,
                          timeout=120)
    return done.stdout


def measure(drivers, rounds):
    """For each row and driver the values of all rounds."""
    values = {}
    for _ in range(rounds):
        for row in dict.fromkeys(entry[0] for entry in ROWS):
            for name, driver in drivers.items():
                if (name == LIMIT) == (row in LIMITS):
                    values.setdefault((row, name), []).append(json.loads(run(driver, row)))
    return values


def table_row(entry, values, names):
    """One row of the table, from the medians."""
    row, text, unit, key, divisor, goal = entry
    median = {name: statistics.median(value[key] for value in values[row, name]) / divisor
              for name in names if (row, name) in values}
    ours = median.pop(LIMIT if row in LIMITS else OURS)
    made = {"group": "network", "row": text, "unit": unit, "ours": ours, "peers": median,
            "goal": goal}
    if unit == "us":
        made["lower"] = True
    return made


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--json", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    arguments = parser.parse_args()
    drivers = drivers_in(arguments.build / "bench" / "net")
    if arguments.quick:
        for name in drivers.keys() - {LIMIT}:
            run(drivers[name], "--quick")
            print(f"{name}: every octet came through")
        return 0
    values = measure(drivers, arguments.rounds)
    rows = [table_row(entry, values, drivers) for entry in ROWS]
    if arguments.json:
        arguments.json.write_text(json.dumps({"rows": rows}, indent=1) + "\n", encoding="utf-8")
    for row in rows:
        peers = "".join(f"  {name} {value:,.1f}" for name, value in row["peers"].items())
        print(f"{row['row']:42} {row['unit']:>5}  ours {row['ours']:,.1f}{peers}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
