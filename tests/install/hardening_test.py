#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reads ELF files and fails for one that was built without hardening.

    hardening_test.py FILE...

Needs readelf. Every file: all relocations done at the start and read-only from then on, no memory
that is both writable and executable, stack protector, fortified C functions, assertions of the C++
library. Programs also: position independent.
"""

import re
import subprocess
import sys


def readelf(file, *options):
    """What readelf prints, in wide lines."""
    return subprocess.run(["readelf", "--wide", *options, file], check=True, capture_output=True,
                          text=True).stdout


def segments(file):
    """(type, flags) of each program header; flags are of "R", "W" and "E"."""
    line = re.compile(r"^  (\S+) +(?:0x\w+ +){5}([RWE ]{3}) 0x\w+$", re.MULTILINE)
    return [(kind, flags.replace(" ", "")) for kind, flags in line.findall(readelf(file, "-l"))]


def undefined(file):
    """The names of the functions that the file takes from others, without versions."""
    return {line.split()[7].split("@")[0] for line in readelf(file, "--dyn-syms").splitlines()
            if " UND " in line and len(line.split()) > 7}


def faults(file):
    """What the file lacks, one text each."""
    found = segments(file)
    kinds = dict(found)
    dynamic = readelf(file, "-d")
    names = undefined(file)
    is_program = "INTERP" in kinds
    checks = {
        "no GNU_RELRO segment": "GNU_RELRO" in kinds,
        "relocations are done late": re.search(r"\(FLAGS(_1)?\).*\b(BIND_)?NOW\b", dynamic),
        "the stack is executable": kinds.get("GNU_STACK") == "RW",
        "a segment is writable and executable": not any({"W", "E"} <= set(flags)
                                                        for _, flags in found),
        "no stack protector": "__stack_chk_fail" in names,
        "no fortified function": any(re.fullmatch(r"__(?!stack)\w+_chk", name) for name in names),
        "no assertions of the C++ library": "_ZSt21__glibcxx_assert_failPKciS0_S0_" in names,
        "not position independent": not is_program or re.search(r"\(FLAGS_1\).*\bPIE\b", dynamic),
    }
    return [text for text, holds in checks.items() if not holds]


def main():
    """Prints each fault; exit status 1 when there is one."""
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    lines = [f"{file}: {fault}" for file in sys.argv[1:] for fault in faults(file)]
    sys.exit("\n".join(lines) or 0)


if __name__ == "__main__":
    main()
