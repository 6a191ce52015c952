# SPDX-License-Identifier: Apache-2.0
"""delivery_test.py postfix|opensmtpd|exim SERVERS DELIVER_CASES [unittest arguments]

Mails that AdMailMsg::Deliver sends, as a real server stores them and Python's email package
reads them. SERVERS is the folder that scripts/fetch-mail-servers fills, DELIVER_CASES the program
that sends.
"""

import email
import email.policy
import unittest

import notification
import server_test
from mail_servers import ADDRESS_WITHOUT_8BITMIME, SLOW_ADDRESS
from notification import Mail, address, with_longer_runs_of_dots

MAILBOXES = ["alice", "bob", "carol", "dave", "erin", "frank"]
#: What a server writes into each copy about its own delivery of it.
TRACE_FIELDS = {"return-path", "x-original-to", "delivered-to", "received"}


class DeliveryTest(unittest.TestCase):
    maxDiff = 2000
    server = None
    program = None

    def setUp(self):
        self.server.empty_mailboxes()

    # The pieces that the tests are made of.

    def deliver(self, mail):
        """The result of Deliver; afterwards the mail is in its mailboxes."""
        outcome = notification.deliver(self.program, mail)
        self.reports = "\n".join(outcome["reports"])
        self.server.await_deliveries()
        return outcome["result"]

    def stored_copies(self, recipients):
        """One message for each mailbox; exactly `recipients` have got one, and one each."""
        stored = self.server.stored_mails()
        self.assertEqual({name: len(copies) for name, copies in stored.items()},
                         {name: 1 for name in recipients}, self.reports)
        return {name: email.message_from_bytes(copies[0], policy=email.policy.default)
                for name, copies in stored.items()}

    def check_delivery(self, mail, transfer_encoding):
        """Sends the mail, and compares what every recipient has got with what went in."""
        self.assertEqual(self.deliver(mail), 1, self.reports)
        for name, copy in self.stored_copies(mail.recipients).items():
            self.check_headers(mail, copy)
            self.check_text(mail, copy, transfer_encoding)
            self.check_blindness(mail, name, copy)

    def check_headers(self, mail, copy):
        self.assertEqual(copy["subject"].rstrip(" "), mail.subject)
        author, = copy["from"].addresses
        self.assertEqual((author.display_name, author.addr_spec), (mail.real_name, mail.sender))
        self.assertEqual(copy["return-path"], f"<{mail.sender}>")
        for field, names in (("to", mail.to), ("cc", mail.cc)):
            mailboxes = copy[field].addresses if copy[field] else ()
            self.assertEqual([(mailbox.display_name, mailbox.addr_spec) for mailbox in mailboxes],
                             [("", address(name)) for name in sorted(names)])
        self.assertEqual(copy.defects, [])

    def check_text(self, mail, copy, transfer_encoding):
        self.assertEqual(copy.get_content_type(), "text/plain")
        self.assertEqual(copy["content-transfer-encoding"], transfer_encoding)
        self.assertEqual(copy.get_content_charset(), mail.charset.lower())
        octets = copy.get_payload(decode=True).replace(b"\r\n", b"\n")
        expected = mail.body
        # Without an encoding to hide in, a last line that does not end gets its end on the way.
        if transfer_encoding in ("7bit", "8bit") and not expected.endswith("\n"):
            expected += "\n"
        if transfer_encoding != "base64":
            expected = with_longer_runs_of_dots(expected)
        received = octets.decode(mail.charset)
        if len(expected) < 100_000:
            self.assertEqual(received, expected)
        self.assertTrue(received == expected, "a large text differs")

    def check_blindness(self, mail, mailbox, copy):
        """No blind recipient stands anywhere, but in a server's notes on its own copy."""
        self.assertNotIn("bcc", copy)
        for blind in mail.bcc:
            for field, value in copy.raw_items():
                if blind != mailbox or field.lower() not in TRACE_FIELDS:
                    self.assertNotIn(address(blind), value, field)

    # Transfer encodings.

    def test_ascii_body(self):
        self.check_delivery(Mail(body="Disk 7 is full.\nPlease look.\n"), "8bit")

    def test_ascii_body_without_8bitmime(self):
        self.check_delivery(Mail(body="Disk 7 is full.\nPlease look.\n",
                                 host=ADDRESS_WITHOUT_8BITMIME), "7bit")

    def test_8bit_body(self):
        self.check_delivery(Mail(body="Grüße aus Köln: 7 € für 日本語.\n" * 9), "8bit")

    def test_mostly_ascii_8bit_body_without_8bitmime(self):
        body = "Trailing blank \nEquals = sign, and a long line: " + "caffè latte " * 40 + "\n"
        self.check_delivery(Mail(body=body, host=ADDRESS_WITHOUT_8BITMIME),
                            "quoted-printable")

    def test_mostly_8bit_body_without_8bitmime(self):
        self.check_delivery(Mail(body="Диск заполнен, проверьте сервер.\n" * 20,
                                 host=ADDRESS_WITHOUT_8BITMIME), "base64")

    def test_body_in_latin1(self):
        self.check_delivery(Mail(body="Größe übermäßig\n", charset="ISO-8859-1"),
                            "8bit")

    def test_body_in_latin1_without_8bitmime(self):
        self.check_delivery(Mail(body="Die Größe übersteigt das Maß.\n",
                                 charset="ISO-8859-1", host=ADDRESS_WITHOUT_8BITMIME),
                            "quoted-printable")

    def test_unended_last_line_in_quoted_printable(self):
        self.check_delivery(Mail(body="The café is open, and the line is not ended",
                                 host=ADDRESS_WITHOUT_8BITMIME), "quoted-printable")

    def test_unended_last_line_in_base64(self):
        self.check_delivery(Mail(body="Конец без конца строки",
                                 host=ADDRESS_WITHOUT_8BITMIME), "base64")

    def test_empty_body(self):
        self.assertEqual(self.deliver(Mail(body="")), 1, self.reports)
        copy = self.stored_copies(["alice"])["alice"]
        self.assertEqual(copy.get_payload(decode=True).strip(b"\r\n"), b"")

    # Subjects and names.

    def test_long_ascii_subject(self):
        self.check_delivery(Mail(subject="Backup of volume " + "x1 " * 200 + "ended"), "8bit")

    def test_short_non_ascii_subject(self):
        self.check_delivery(Mail(subject="Störung: Lüfter 3 🔥"), "8bit")

    def test_long_non_ascii_subject(self):
        self.check_delivery(Mail(subject="Предупреждение: диск почти полон, " * 12
                                 + "日本語の件名です。"), "8bit")

    def test_plain_display_name(self):
        self.check_delivery(Mail(real_name="Notification Service"), "8bit")

    def test_display_name_with_quotes(self):
        self.check_delivery(Mail(real_name='Anna "The Fox" O\\Neil <admin>'), "8bit")

    # No test has both: OpenSMTPD takes a comma behind an escaped quote for the end of a mailbox.
    def test_display_name_with_comma(self):
        self.check_delivery(Mail(real_name="O\\Neil, Anna"), "8bit")

    def test_non_ascii_display_name(self):
        self.check_delivery(Mail(real_name="Jürgen Größe 日本"), "8bit")

    def test_non_ascii_display_name_in_latin1(self):
        self.check_delivery(Mail(real_name='Jürgen "Größe"', charset="ISO-8859-1"),
                            "8bit")

    def test_override_sender(self):
        self.check_delivery(Mail(override_sender="other@origin.test"), "8bit")

    # Recipients.

    def test_to_cc_and_bcc(self):
        self.check_delivery(Mail(to=("bob", "alice"), cc=("carol", "dave"), bcc=("erin", "frank")),
                            "8bit")

    def test_only_bcc(self):
        self.check_delivery(Mail(to=(), bcc=("erin",)), "8bit")

    def test_folded_recipients(self):
        self.check_delivery(Mail(to=tuple(MAILBOXES)), "8bit")

    def test_one_refused_recipient_among_three(self):
        self.assertEqual(self.deliver(Mail(to=("alice", "nobody", "carol"))), 0)
        self.stored_copies(["alice", "carol"])
        self.assertRegex(self.reports, "RCPT TO:<nobody@example.test>\n(?:.*\n)*?SMTP<-5")

    def test_refused_blind_recipient(self):
        self.assertEqual(self.deliver(Mail(bcc=("nobody", "erin"))), 0)
        self.stored_copies(["alice", "erin"])

    def test_only_refused_recipients(self):
        self.assertEqual(self.deliver(Mail(to=("nobody",))), 0)
        self.stored_copies([])

    # Dots and sizes.

    def test_lines_that_begin_with_dots(self):
        body = ".\n..\n...\n.leading\n..leading\nmiddle . dot\n\n.\n\nend.\n"
        self.check_delivery(Mail(body=body), "8bit")

    def test_lines_that_begin_with_dots_in_quoted_printable(self):
        body = ".\n..\n.café\n\n.\nthe end of a line of the café.\n."
        self.check_delivery(Mail(body=body, host=ADDRESS_WITHOUT_8BITMIME),
                            "quoted-printable")

    def test_body_of_one_dot(self):
        self.check_delivery(Mail(body="."), "8bit")

    def test_unended_last_line_of_dots(self):
        for dots in (".", "..", "..."):
            with self.subTest(dots=dots):
                self.server.empty_mailboxes()
                self.check_delivery(Mail(body="text\n" + dots), "8bit")

    def test_last_line_of_dots(self):
        self.check_delivery(Mail(body="text\n..\n.\n"), "8bit")

    def test_unended_last_line(self):
        self.check_delivery(Mail(body="text\nnot ended"), "8bit")

    def test_body_of_20_mebibytes(self):
        self.check_delivery(Mail(cc=("bob",), bcc=("erin",), body=large_body()),
                            "8bit")

    def test_body_of_20_mebibytes_to_a_slow_server(self):
        self.check_delivery(Mail(body=large_body(), host=SLOW_ADDRESS), "8bit")

    def test_body_of_20_mebibytes_in_base64(self):
        self.check_delivery(Mail(body=large_body("Ж" * 30),
                                 host=ADDRESS_WITHOUT_8BITMIME), "base64")


def large_body(filling="a line of a large mail, größer als alle anderen"):
    """A little more than 20 MiB in UTF-8; no two lines are equal, some begin with a dot."""
    size = len(filling.encode()) + 10
    lines = (20 << 20) // size + 1
    return "".join(f"{'.' if number % 3 == 0 else ' '}{number:08}{filling}\n"
                   for number in range(lines))


if __name__ == "__main__":
    server_test.run("interop", DeliveryTest, MAILBOXES, time_limit=500)
