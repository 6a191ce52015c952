# SPDX-License-Identifier: Apache-2.0
"""read_mail_test.py PROGRAM: the example that takes a mail apart does so."""

import subprocess
import sys
import unittest

PLAIN = ("From: Ines <ines@example.org>\r\nSubject: =?UTF-8?B?R3LDvMOfZQ==?=\r\n\r\n"
         "Hello\r\n")
CUT_OFF = ("From: ines@example.org\r\nSubject: Two\r\n"
           "Content-Type: multipart/mixed; boundary=b\r\n\r\n"
           "--b\r\n\r\none\r\n--b\r\n\r\ntwo\r\n")


class ReadMailTest(unittest.TestCase):
    program = None

    def read(self, mail):
        return subprocess.run([self.program], input=mail, capture_output=True, text=True,
                              timeout=60, check=True)

    def test_a_plain_mail(self):
        run = self.read(PLAIN)
        self.assertEqual(run.stdout, "Grüße\nines@example.org\n7 octets of text\n")
        self.assertEqual(run.stderr, "")

    def test_a_multipart_that_was_cut_off(self):
        run = self.read(CUT_OFF)
        self.assertEqual(run.stdout, "Two\nines@example.org\n2 parts\n")
        self.assertIn("entity 1, octet", run.stderr)


if __name__ == "__main__":
    ReadMailTest.program = sys.argv.pop(1)
    unittest.main()
