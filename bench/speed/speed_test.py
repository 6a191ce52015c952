# SPDX-License-Identifier: Apache-2.0
"""Tests of the speed benchmark itself: its inputs, its checks, its table, and what our driver finds
in small inputs. The argument is that driver, ours_check."""

import copy
import hashlib
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

import checks
import inputs
import run_bench
import table
from rows import ROWS

FOLDER = pathlib.Path(__file__).resolve().parent
SCALE = run_bench.QUICK_SCALE
DIGEST_OF_INPUTS = """
import hashlib, sys
sys.path.insert(0, sys.argv[1])
from rows import ROWS
sum_of_all = hashlib.sha256()
for row in ROWS:
    records, found = row.make(float(sys.argv[2]))
    sum_of_all.update(repr((records, sorted(found.items()))).encode())
print(sum_of_all.hexdigest())
"""


def printed(fields):
    """As a driver prints them: pairs of name and octets."""
    return b"".join(b"%b 1 %d\n%b\n" % (name.encode(), len(octets), octets)
                    for name, octets in fields)


def fields_of_input(found):
    return [(name, value) for name, values in found.items() for value in values]


class Inputs(unittest.TestCase):
    def test_are_the_same_in_every_process(self):
        digests = {subprocess.run(
            [sys.executable, "-B", "-c", DIGEST_OF_INPUTS, FOLDER, str(SCALE)],
            env={**os.environ, "PYTHONHASHSEED": seed}, capture_output=True, check=True).stdout
            for seed in ("1", "2")}
        self.assertEqual(len(digests), 1)

    def test_differ_from_each_other(self):
        digests = {hashlib.sha256(b"".join(row.make(SCALE)[0])).digest()
                   for row in ROWS if row.kind == "parse"}
        self.assertEqual(len(digests), sum(row.kind == "parse" for row in ROWS))

    def test_have_the_sizes_of_their_names(self):
        notification = inputs.notifications(SCALE)[0][0]
        alternative = inputs.alternatives(SCALE)[0][0]
        self.assertTrue(1800 < len(notification) < 2800, len(notification))
        self.assertTrue(27 * inputs.KIB < len(alternative) < 34 * inputs.KIB, len(alternative))


class Checks(unittest.TestCase):
    def setUp(self):
        self.found = inputs.notifications(SCALE)[1]

    def differences(self, found):
        return checks.differences("parse", printed(fields_of_input(found)), self.found)

    def test_pass_what_was_put_in(self):
        self.assertEqual(self.differences(self.found), [])

    def test_notice_each_field_that_is_changed(self):
        for name, values in self.found.items():
            if values:
                changed = copy.deepcopy(self.found)
                changed[name][-1] += b"!"
                wanted = name if len(values) == 1 else f"{name} (1 of {len(values)})"
                self.assertEqual(self.differences(changed), [wanted])

    def test_notice_a_value_that_is_missing(self):
        self.found["name"].append(b"one more")
        found = copy.deepcopy(self.found)
        del found["name"][-1]
        self.assertEqual(self.differences(found), [f"name (1 of {len(self.found['name'])})"])

    def test_read_utf_16_as_utf_8(self):
        output = b"subject 2 2\n" + "é€".encode("utf-16-le") + b"\n"
        self.assertEqual(checks.fields_of(output), {"subject": ["é€".encode()]})

    def test_read_back_words_of_which_a_character_is_split(self):
        field = b"Subject: =?UTF-8?Q?a=C3?=\r\n =?utf-8?B?qQ==?= b\r\n"
        self.assertEqual(checks.read_words(field), "aé b".encode())


class Ours(unittest.TestCase):
    driver = ""

    def test_finds_all_that_is_in_small_inputs(self):
        own = run_bench.Driver("ours", [self.driver], None)
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "input"
            for row in ROWS:
                records, expected = row.make(SCALE)
                inputs.write_records(file, records)
                with self.subTest(row.title):
                    self.assertEqual(run_bench.check_ours(row, own, file, expected), [])

    def test_is_told_from_a_driver_that_finds_nothing(self):
        faults = run_bench.check_ours(ROWS[0], run_bench.Driver("ours", ["true"], None),
                                      "/dev/null", ROWS[0].make(SCALE)[1])
        self.assertEqual(len(faults), 2)
        self.assertIn("parse differs in subject", faults[0])

    def test_says_that_it_does_no_such_work(self):
        own = run_bench.Driver("ours", [self.driver], None)
        self.assertIsNone(own.output("juggle", "/dev/null"))


class Turns(unittest.TestCase):
    def test_alternate(self):
        order = []
        calls = {name: lambda name=name: order.append(name) or 0.1 for name in "ab"}
        self.assertEqual(run_bench.in_turns(calls, 2), {"a": [0.1, 0.1], "b": [0.1, 0.1]})
        self.assertEqual("".join(order), "abab")

    def test_repeat_nothing_slow(self):
        calls = {"slow": lambda: 10.0, "fast": lambda: 0.1}
        results = run_bench.in_turns(calls, 3)
        self.assertEqual({name: len(values) for name, values in results.items()},
                         {"slow": 1, "fast": 3})


class Table(unittest.TestCase):
    row = {"row": "parse", "unit": "MB/s", "ours": 30.0, "goal": 2,
           "peers": {"gmime": 10.0, "poco": 20.0, "mimetic": 40.0},
           "marks": {"mimetic": "no charsets"}}

    def test_ratio_is_to_the_fastest_complete_peer(self):
        self.assertEqual(table.ratio(self.row), 1.5)
        self.assertEqual(table.ratio({**self.row, "counted": ["mimetic"]}), 0.75)

    def test_less_is_better_where_a_row_says_so(self):
        self.assertEqual(table.ratio({**self.row, "lower": True}), 10 / 30)

    def test_what_is_not_reached_is_named(self):
        self.assertEqual(table.judge(self.row), ["parse: 1.50 x POCO, 2 x is the goal"])
        self.assertEqual(table.judge({**self.row, "goal": 1.5}), [])
        behind = table.judge({**self.row, "goal": None, "ahead_of": ["mimetic"]})
        self.assertEqual(behind, ["parse: behind mimetic"])

    def test_a_limit_is_judged(self):
        row = {"row": "cost", "unit": "%", "ours": 6.0, "peers": {}, "goal": None, "at_most": 5}
        self.assertEqual(table.judge(row), ["cost: 6.00 %, at most 5.00 is allowed"])
        self.assertEqual(table.judge({**row, "ours": 5.0}), [])

    def test_marks_show(self):
        text = table.text_table([self.row])
        self.assertIn("40.0*", text)
        self.assertIn("* mimetic: no charsets (parse)", text)

    def test_a_peer_that_fails_shows(self):
        text = table.text_table([{**self.row, "marks": {"vmime": "fails: no idea"}}])
        self.assertIn("* VMime: fails: no idea (parse)", text)

    def test_the_picture_is_well_formed_and_names_each_row(self):
        names = ["a < b", "c & d"]
        picture = table.svg([{**self.row, "row": name} for name in names])
        texts = [node.text for node in xml.etree.ElementTree.fromstring(picture).iter()]
        self.assertTrue(set(names) <= set(texts))

    def test_rows_come_back_from_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "rows.json"
            table.write_rows(file, [self.row], machine="here")
            self.assertEqual(table.read_rows(file), [self.row])


if __name__ == "__main__":
    Ours.driver = sys.argv.pop()
    unittest.main()
