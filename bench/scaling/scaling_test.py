# SPDX-License-Identifier: Apache-2.0
"""Tests of the picture of the scaling table."""

import unittest
import xml.etree.ElementTree

import picture

MIB = 1 << 20
QUICK = {"seconds": 0.001, "peak": 2 * MIB}


def row(family="addresses", **peers):
    return {"family": family, "octets": [MIB // 4, MIB // 2, MIB], "seconds": [0, 0, 0.002],
            "peaks": [0, 0, 4 * MIB],
            "peers": {name: QUICK for name in picture.NAMES if name != "ours"} | peers}


class CellTest(unittest.TestCase):
    def test_the_worst_shape_counts(self):
        rows = [row(gmime={"seconds": 0.5, "peak": MIB}),
                row(gmime={"seconds": 0.1, "peak": 5 * MIB})]
        self.assertEqual(picture.cell_of(rows, "gmime"), ("good", ["477 ns, 4.0 x"]))

    def test_ours_is_that_of_the_largest_size(self):
        self.assertEqual(picture.cell_of([row()], "ours"), ("good", ["2 ns, 3.0 x"]))

    def test_much_time_or_memory_is_marked(self):
        for figures in ({"seconds": 1.1, "peak": MIB}, {"seconds": 0.001, "peak": 10 * MIB}):
            self.assertEqual(picture.cell_of([row(gmime=figures)], "gmime")[0], "much")

    def test_failures_are_counted_and_the_worst_colours_the_cell(self):
        rows = [row(), row(gmime={"failure": "> 5 s"}), row(gmime={"failure": "> 5 s"}),
                row(gmime={"failure": "crash SEGV"})]
        kind, lines = picture.cell_of(rows, "gmime")
        self.assertEqual(kind, "crash")
        self.assertEqual(lines[:2], ["1 of 4: crash SEGV", "2 of 4: > 5 s"])

    def test_a_failure_of_ours_shows(self):
        failed = {"family": "addresses", "octets": [1, 2, 4], "failure": "> 60 s", "peers": {}}
        self.assertEqual(picture.cell_of([failed], "ours"), ("limit", ["1 of 1: > 60 s"]))


class PictureTest(unittest.TestCase):
    def test_has_a_line_for_each_family_and_a_column_for_each_library(self):
        root = xml.etree.ElementTree.fromstring(picture.svg([row("addresses"), row("a < b")]))
        texts = [element.text for element in root.iter("{http://www.w3.org/2000/svg}text")]
        for wanted in ("addresses", "a < b", *picture.NAMES.values()):
            self.assertEqual(texts.count(wanted), 1)
        self.assertEqual(texts.count("2 ns, 3.0 x"), 2)


if __name__ == "__main__":
    unittest.main()
