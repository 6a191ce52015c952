# SPDX-License-Identifier: Apache-2.0
"""own_host_test.py PAGE LIBRARY HOST OWN_HOST PROGRAM

Holds the table of docs/hosting.md against what libvtinetlib.so asks of its host, and runs a program
on a host that has replaced a part of ours.
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PAGE, LIBRARY, HOST, OWN_HOST, PROGRAM = sys.argv[1:]


def symbols(library, *options):
    """The demangled names of symbols, without their parameters."""
    lines = subprocess.run(["nm", "-DC", *options, library], capture_output=True, check=True,
                           text=True).stdout.splitlines()
    names = (re.sub(r"^[0-9a-f]* *\w ", "", line) for line in lines)
    return {re.split(r"[(\[@]", name.replace("operator()", ""))[0].split(" ")[-1]
            for name in names}


def named_on_the_page():
    rows = [line.split("|")[1] for line in pathlib.Path(PAGE).read_text("utf-8").splitlines()
            if line.startswith("| `")]
    return {name for row in rows for name in re.findall(r"`([^`]+)`", row)}


class Hosting(unittest.TestCase):
    def test_the_page_has_every_function_that_the_library_calls(self):
        called = symbols(LIBRARY, "--undefined-only") & symbols(HOST, "--defined-only")
        self.assertGreater(len(called), 20)
        self.assertEqual({name for name in called if name in named_on_the_page()}, called)

    def test_the_page_has_no_function_that_is_not_there(self):
        self.assertEqual(named_on_the_page() - symbols(HOST, "--defined-only"), set())

    def test_a_program_runs_on_a_host_of_its_own(self):
        self.assertEqual(self.run_with(OWN_HOST), ("mail.example.org, locked\n", False))

    def test_the_program_tells_the_two_hosts_apart(self):
        self.assertEqual(self.run_with(HOST), ("mail.example.org\n", True))

    def run_with(self, host):
        """What the program prints, and whether it has written a file."""
        with tempfile.TemporaryDirectory() as folder:
            environment = dict(os.environ, VTINETLIB_SETTINGS_DIR=folder)
            environment["LD_LIBRARY_PATH"] = os.path.dirname(host)
            done = subprocess.run([PROGRAM], env=environment, capture_output=True, text=True,
                                  check=True, timeout=60)
            return done.stdout, bool(os.listdir(folder))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
