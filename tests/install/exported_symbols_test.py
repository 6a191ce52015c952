#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Holds what a library exports against the list in the tree.

    exported_symbols_test.py LIBRARY LIST            fails where they differ
    exported_symbols_test.py --update LIBRARY LIST   writes the list anew
"""

import subprocess
import sys

def exported(library):
    """The symbols of a library, sorted, each name once."""
    listing = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library],
                             check=True, capture_output=True, text=True).stdout
    return sorted({line.split(" ", 2)[2] for line in listing.splitlines()})


def difference(found, wanted, listing, library):
    """What to tell of a difference; empty when there is none."""
    lines = [f"exported, but not in {listing}: {symbol}" for symbol in found
             if symbol not in wanted]
    lines += [f"in {listing}, but no longer exported: {symbol}" for symbol in wanted
              if symbol not in found]
    if lines:
        lines.append("Products link to these names. If the change is meant, write the list anew:\n"
                     f"    {sys.argv[0]} --update {library} {listing}")
    return "\n".join(lines)


def main():
    """Compares or updates; exit status 1 for a difference."""
    arguments = [argument for argument in sys.argv[1:] if argument != "--update"]
    if len(arguments) != 2:
        sys.exit(__doc__)
    library, listing = arguments
    found = exported(library)
    if "--update" in sys.argv:
        with open(listing, "w", encoding="utf-8") as file:
            file.writelines(symbol + "\n" for symbol in found)
        return
    with open(listing, encoding="utf-8") as file:
        wanted = file.read().splitlines()
    if not wanted:
        sys.exit(f"{listing} is empty")
    sys.exit(difference(found, wanted, listing, library) or 0)


if __name__ == "__main__":
    main()
