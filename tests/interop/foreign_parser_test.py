# SPDX-License-Identifier: Apache-2.0
"""foreign_parser_test.py DECODE_CASES FOLDER [unittest arguments]

Messages as our decoder and Python's email package read them: those of foreign_messages, and all
files in the folder that VTINETLIB_CORPUS names, each with LF and with CRLF line ends. FOLDER is
for scratch files.

Where the two differ, differences.json names the rule of ours that is the reason. Its "messages"
are those of foreign_messages by name, and others by the SHA-256 of their octets with LF line ends.
A difference is one of both forms unless it begins with the name of one. The test fails for a
difference without a reason, and for a reason without a difference. Our side of a difference has
nothing to be compared with: so "ours" is a digest of our whole reading, and a change of that
fails the test too.
"""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

import foreign_messages
import foreign_reader

LIST = pathlib.Path(__file__).parent / "differences.json"
LINE_ENDS = {"lf": b"\n", "crlf": b"\r\n"}
#: Seconds for decoding all messages.
TIME_LIMIT = 120


def corpus_messages():
    """The octets, with LF line ends, of all messages of the corpus by digest."""
    files = sorted(file for file in pathlib.Path(os.environ["VTINETLIB_CORPUS"]).rglob("*")
                   if file.is_file() and file.suffix != ".md")
    contents = [file.read_bytes().replace(b"\r\n", b"\n") for file in files]
    return {hashlib.sha256(octets).hexdigest(): octets for octets in contents}


def decoded(program, folder, messages):
    """What `program` makes of each of the messages."""
    files = [folder / str(number) for number in range(len(messages))]
    for file, octets in zip(files, messages):
        file.write_bytes(octets)
    run = subprocess.run([program] + files, stdout=subprocess.PIPE, timeout=TIME_LIMIT, check=True)
    return [json.loads(line) for line in run.stdout.splitlines()]


def with_forms_joined(found):
    """{what: values} from {form: {what: values}}; what only one form has, or each in its own way,
    begins with the form's name."""
    lf, crlf = found["lf"], found["crlf"]
    shared = {what for what in lf.keys() & crlf.keys() if with_lf(lf[what]) == with_lf(crlf[what])}
    joined = {what: lf[what] for what in shared}
    for form, differences in found.items():
        joined |= {f"{form}: {what}": differences[what] for what in differences.keys() - shared}
    return joined


def with_lf(values):
    return json.dumps(values).replace(r"\r\n", r"\n")


class ForeignParserTest(unittest.TestCase):
    program = None
    folder = None
    differences = None

    def check(self, messages, explained):
        """Compares all readings of messages {name: octets}, and the differences with the list."""
        self.assertTrue(messages)
        forms = [(name, form, octets.replace(b"\n", end)) for name, octets in messages.items()
                 for form, end in LINE_ENDS.items()]
        readings = decoded(self.program, self.folder, [octets for *_, octets in forms])
        self.assertEqual(len(readings), len(forms))
        found = {name: {} for name in messages}
        ours = {name: hashlib.sha256() for name in messages}
        for (name, form, octets), reading in zip(forms, readings):
            self.assertTrue(reading["plain"], f"{name}: the plain decoder reads otherwise")
            found[name][form] = foreign_reader.differences(octets, reading)
            ours[name].update(json.dumps(foreign_reader.ours(reading), sort_keys=True).encode())
        self.assertLessEqual(explained.keys(), messages.keys(), "listed, but no message")
        for name in messages:
            with self.subTest(message=name):
                known = explained.get(name, {"reasons": {}})
                self.compare(with_forms_joined(found[name]), known["reasons"])
                if name in explained:
                    self.assertEqual(known["ours"], ours[name].hexdigest(), "our reading changed")

    def compare(self, found, explained):
        unexplained = [f"{what}\nours   {values[0]!r:.300}\ntheirs {values[1]!r:.300}"
                       for what, values in sorted(found.items()) if what not in explained]
        self.assertEqual(unexplained, [], "\n".join(["no reason is listed for:"] + unexplained))
        self.assertEqual(sorted(explained.keys() - found.keys()), [], "listed, but no difference")

    def listed(self, of_corpus):
        """The part of the list that is about the corpus, or about foreign_messages."""
        return {name: listed for name, listed in self.differences["messages"].items()
                if bool(re.fullmatch("[0-9a-f]{64}", name)) == of_corpus}

    def test_foreign_messages(self):
        self.check(foreign_messages.all_messages(), self.listed(of_corpus=False))

    def test_corpus(self):
        self.check(corpus_messages(), self.listed(of_corpus=True))

    def test_every_reason_is_a_rule_and_every_rule_is_used(self):
        reasons = {reason for listed in self.differences["messages"].values()
                   for reason in listed["reasons"].values()}
        self.assertEqual(sorted(reasons), sorted(self.differences["rules"]))


def main():
    ForeignParserTest.program, folder = sys.argv[1:3]
    ForeignParserTest.folder = pathlib.Path(folder)
    ForeignParserTest.folder.mkdir(parents=True, exist_ok=True)
    ForeignParserTest.differences = json.loads(LIST.read_text(encoding="utf-8"))
    if not os.environ.get("VTINETLIB_CORPUS"):
        del ForeignParserTest.test_corpus
    unittest.main(argv=["interop.foreign_parser", "-v"] + sys.argv[3:])


if __name__ == "__main__":
    main()
