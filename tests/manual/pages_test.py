#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""pages_test.py VTMAIL FOLDER: the manual pages in FOLDER, as a reader sees them."""

import pathlib
import re
import subprocess
import sys
import unittest

from help_text import Command

TREE = pathlib.Path(__file__).resolve().parents[2]
VTMAIL, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2])
PAGES = ("vtmail.1", "vtmail-settings.5", "libvtinetlib.3")
#: What is explained. A short one has its text on the same line.
TERM = re.compile(r"^ {5,7}(?P<term>(?:-\S+, )*-\S+(?: [A-Z]+)?|\S.*)(?P<text>.*)$", re.MULTILINE)
ROW = re.compile(r"^\| (\S+) \| (.*) \|$", re.MULTILINE)


def shown(page):
    """The text of a page, without its head and foot."""
    text = subprocess.run(["mandoc", "-Tutf8", "-Owidth=1000", FOLDER / page], check=True,
                          capture_output=True, text=True, timeout=20).stdout
    return re.sub(".\b", "", text).replace("\N{HYPHEN}", "-")


def sections(text, indent):
    """The text below each heading."""
    parts = re.split(rf"^ {{{indent}}}(\S.*)$", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def terms(text):
    """What is explained, with what is said of it."""
    found = list(TERM.finditer(text))
    ends = [term.start() for term in found[1:]] + [len(text)]
    return {term["term"]: " ".join(text[term.start("text"):end].split())
            for term, end in zip(found, ends)}


def table(file, heading):
    """The rows of the first table below a heading: first cell and the rest."""
    text = (TREE / file).read_text(encoding="utf-8").partition(heading)[2]
    return ROW.findall(text.partition("\n\n## ")[0])[1:]


class Form(unittest.TestCase):
    def test_pages_are_well_formed(self):
        for page in PAGES:
            run = subprocess.run(["mandoc", "-Tlint", FOLDER / page], capture_output=True,
                                 text=True, check=False, timeout=20)
            self.assertEqual((run.stdout, run.returncode), ("", 0))

    def test_pages_name_each_other(self):
        for page in PAGES:
            name, section = page.rsplit(".", 1)
            for other in set(PAGES) - {page}:
                self.assertIn(f"{name}({section})", sections(shown(other), 0)["SEE ALSO"])

    def test_nothing_is_left_to_fill_in(self):
        for page in PAGES:
            self.assertNotRegex((FOLDER / page).read_text(encoding="utf-8"), "(?m)^@|@[A-Z]+@")


class CommandLine(unittest.TestCase):
    def setUp(self):
        self.page = sections(sections(shown("vtmail.1"), 0)["COMMANDS"], 3)
        self.commands = Command(VTMAIL).all()

    def test_each_command_has_a_section(self):
        titles = ["vtmail " + " ".join(each.words) for each in self.commands if each.words]
        self.assertGreater(len(titles), 8)
        self.assertEqual(list(self.page), ["Options of all commands"] + titles)

    def test_options_are_those_of_help(self):
        for command in self.commands:
            title = " ".join(("vtmail", *command.words))
            text = self.page[title if command.words else "Options of all commands"]
            found = {re.sub(" [A-Z]+$", "", head) for head in terms(text) if head[0] == "-"}
            wanted = {", ".join(names) for names in command.options}
            common = {"-h, --help"} if command.words else set()
            self.assertEqual(found, wanted - common, title)

    def test_descriptions_are_those_of_help(self):
        for command in self.commands:
            text = self.page[" ".join(("vtmail", *command.words))] if command.words else ""
            told = {re.sub(" [A-Z]+$", "", head): body for head, body in terms(text).items()}
            for names, description in command.options.items():
                if text and "--help" not in names:
                    self.assertTrue(told[", ".join(names)].startswith(description), names)

    def test_values_limits_and_standards_are_told(self):
        text = terms(self.page["vtmail fetch"])
        self.assertTrue(text["--timeout SECONDS"].endswith("(1 to 86400; by default 300)"))
        self.assertTrue(text["--host HOST"].endswith("(required)"))
        self.assertTrue(text["--quiet"].endswith("(not with --json)"))
        self.assertTrue(text["--trace-password"].endswith("(with --trace only)"))
        self.assertIn("(ehlo, mail or rcpt;", terms(self.page["vtmail send"])["--stop-after PHASE"])


class ExitStatus(unittest.TestCase):
    def setUp(self):
        told = terms(sections(shown("vtmail.1"), 0)["EXIT STATUS"])
        self.page = [(*re.fullmatch(r"(\d+) \((\w+)\)", head).groups(), meaning)
                     for head, meaning in told.items() if head[0].isdigit()]

    def test_table_is_that_of_the_document(self):
        rows = [(code, *rest.replace("`", "").split(" | ", 1))
                for code, rest in table("docs/vtmail.md", "## Exit codes")]
        self.assertEqual(self.page, rows)

    def test_table_has_what_the_program_ends_with(self):
        used = set()
        for file in (TREE / "tools/vtmail").glob("*.[ch]*"):
            if file.name != "exit_codes.h":
                used |= set(re.findall(r"\bEX_[A-Z]+", file.read_text(encoding="utf-8")))
        self.assertEqual({name for _, name, _ in self.page}, used)

    def test_codes_are_those_of_the_system(self):
        header = pathlib.Path("/usr/include/sysexits.h").read_text(encoding="ascii")
        for code, name, _ in self.page:
            self.assertRegex(header, rf"#define {name}\s+{code}\s")


class Settings(unittest.TestCase):
    def test_keys_are_those_of_help_and_of_the_document(self):
        told = terms(sections(shown("vtmail-settings.5"), 0)["KEYS"])
        keys = [head for head, body in told.items() if re.fullmatch(r"\w+", head)]
        rows = [key.strip("`") for key, _ in table("docs/settings.md", "## Keys")]
        help_text = subprocess.run([VTMAIL, "settings", "--help"], check=True, text=True,
                                   capture_output=True, timeout=20).stdout
        listed = re.findall(r"^  (\w+)  ", help_text.partition("\nSettings:\n")[2], re.MULTILINE)
        self.assertEqual(keys, rows)
        self.assertEqual(keys, listed)

    def test_places_and_example_are_those_of_the_document(self):
        document = (TREE / "docs/settings.md").read_text(encoding="utf-8")
        page = sections(shown("vtmail-settings.5"), 0)
        places = re.findall(r"^\d\. `([^`]+)`", document, re.MULTILINE)
        self.assertEqual([head for head in terms(page["FILES"]) if head[0] in "$~"], places)
        example = document.partition("```text\n")[2].partition("```")[0]
        lines = [line.strip() for line in page["EXAMPLES"].strip().splitlines()]
        self.assertEqual(lines, example.strip().splitlines())


class Filling(unittest.TestCase):
    def test_pages_that_ask_for_what_is_not_there_are_refused(self):
        for page, words in (("@nothing\n", "there is nothing for @nothing"),
                            ("@command sing\n", "there is no command for @command sing"),
                            ("@command\n", "the page leaves out vtmail send")):
            run = subprocess.run([VTMAIL, "--print-manual", "/dev/stdin"], input=page, text=True,
                                 capture_output=True, check=False, timeout=20)
            self.assertEqual(run.returncode, 65)
            self.assertIn(words, run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
