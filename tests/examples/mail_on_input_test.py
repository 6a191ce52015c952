# SPDX-License-Identifier: Apache-2.0
"""mail_on_input_test.py FOLDER MESSAGES: the examples in FOLDER that read standard input.

MESSAGES is the folder of the mails that they read.
"""

import base64
import pathlib
import quopri
import subprocess
import sys
import tempfile
import unittest

FORGED_NAMES = b"".join(
    b"--b\r\nContent-Disposition: attachment; filename=\"%s\"\r\n\r\n%d\r\n" % (name, number)
    for number, name in enumerate([b"../../up.txt", b"/etc/rooted.txt", b"plain.txt", b"..",
                                   b"plain.txt", b".hidden"]))
FORGED = (b"Subject: forged\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" +
          FORGED_NAMES + b"--b--\r\n")
OCTETS = bytes(range(256)) * 40


class MailOnInputTest(unittest.TestCase):
    programs = None
    messages = None

    def run_example(self, name, *arguments, mail=b"", status=0):
        run = subprocess.run([self.programs / name, *arguments], input=mail,
                             capture_output=True, timeout=60, check=False)
        self.assertEqual(run.returncode, status, run.stderr)
        return run.stdout

    def message(self, name):
        return (self.messages / name).read_bytes()

    def test_list_parts_shows_the_tree(self):
        mail = self.message("attachment.eml")
        text = mail.split(b"--cut\r\n\r\n")[1].split(b"\r\n--cut")[0]
        listed = self.run_example("list_parts", mail=mail).decode()
        self.assertEqual(listed.splitlines()[:4], [
            "Subject: Curves of last night", "To: Workshop <workshop@plant.example>",
            "multipart/mixed", f"  text/plain, {len(text)} octets"])

    def test_list_parts_goes_into_an_embedded_message(self):
        listed = self.run_example("list_parts", mail=self.message("forwarded.eml")).decode()
        self.assertRegex(listed, r"\n  message/rfc822\n    \w+/\w+")

    def test_save_attachments_writes_what_was_attached(self):
        with tempfile.TemporaryDirectory() as folder:
            told = self.run_example("save_attachments", folder,
                                    mail=self.message("attachment.eml")).decode()
            self.assertEqual(told, f"{folder}/curves.bin\n{folder}/values.csv\n")
            values = pathlib.Path(folder, "values.csv").read_bytes().splitlines()
            self.assertEqual(values[:3], [b"0,0", b"1,1", b"2,4"])
            curves = pathlib.Path(folder, "curves.bin").read_bytes()
            self.assertEqual(curves, self.attached(b"curves.bin"))

    def attached(self, name):
        part = self.message("attachment.eml").split(b'filename="' + name)[1]
        return base64.b64decode(part.split(b"\r\n\r\n")[1].split(b"--cut")[0])

    def test_save_attachments_follows_no_folder_and_replaces_nothing(self):
        with tempfile.TemporaryDirectory() as folder:
            inner = pathlib.Path(folder, "a", "b")
            inner.mkdir(parents=True)
            self.run_example("save_attachments", inner, mail=FORGED)
            saved = {path.relative_to(inner).as_posix(): path.read_bytes()
                     for path in pathlib.Path(folder).rglob("*") if path.is_file()}
        self.assertEqual(saved, {"up.txt": b"0", "rooted.txt": b"1", "plain.txt": b"2",
                                 "attachment..": b"3", "2-plain.txt": b"4",
                                 "attachment.hidden": b"5"})

    def test_transfer_encoding_agrees_with_python(self):
        encoded = self.run_example("transfer_encoding", "encode", "base64", mail=OCTETS)
        self.assertEqual(base64.b64decode(encoded), OCTETS)
        encoded = self.run_example("transfer_encoding", "encode", "quoted-printable",
                                   mail=OCTETS)
        self.assertEqual(quopri.decodestring(encoded.replace(b"\r\n", b"\n")), OCTETS)
        decoded = self.run_example("transfer_encoding", "decode", "base64",
                                   mail=base64.encodebytes(OCTETS))
        self.assertEqual(decoded, OCTETS)

    def test_transfer_encoding_of_nothing_is_nothing(self):
        self.assertEqual(self.run_example("transfer_encoding", "encode", "base64"), b"")
        self.assertEqual(self.run_example("transfer_encoding", "decode", "base64"), b"")

    def test_transfer_encoding_knows_two(self):
        self.run_example("transfer_encoding", "encode", "rot13", status=2)
        self.run_example("transfer_encoding", "code", "base64", status=2)

    def test_check_mail_has_nothing_to_say_of_a_good_one(self):
        told = self.run_example("check_mail", mail=self.message("attachment.eml"))
        self.assertEqual(told, b"")

    def test_check_mail_names_what_is_wrong(self):
        cut = self.message("attachment.eml").split(b"--cut\r\nContent-Type: text/csv")[0]
        told = self.run_example("check_mail", mail=cut, status=1).decode()
        self.assertRegex(told, r"^unclosedMultipart in entity 1 at octet \d+\n$")

    def test_check_mail_counts_beyond_its_limit(self):
        told = self.run_example("check_mail", mail=b"no colon\n" * 25, status=1).decode()
        self.assertEqual(told.count("lineWithoutColon in entity 1"), 20)
        self.assertTrue(told.endswith("and 5 more\n"), told)


if __name__ == "__main__":
    MailOnInputTest.messages = pathlib.Path(sys.argv.pop(2))
    MailOnInputTest.programs = pathlib.Path(sys.argv.pop(1))
    unittest.main()
