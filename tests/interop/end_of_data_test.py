# SPDX-License-Identifier: Apache-2.0
"""end_of_data_test.py postfix|opensmtpd|exim SERVERS DELIVER_CASES [unittest arguments]

Bodies that hold what some server may take for the end of a message, followed by the commands of a
second one. However the dot and its line ends are written, one message arrives, and the commands
are text in it. The arguments are those of delivery_test.py.
"""

import itertools
import smtplib
import unittest

import mail_servers
import notification
import server_test
from notification import Mail, address

VICTIM, TARGET = "alice", "bob"
#: What readers of mail have taken for the end of a line.
LINE_ENDS = ["\r\n", "\n", "\r", "\r\r\n", "\n\r"]
#: What else readers have overlooked, or taken a dot for.
OTHERS = [
    "\r\n.\0\r\n", "\r\n\0.\r\n", "\r\0.\r\n", "\r\n.\r\0\n", "\n.\0\n", "\r\0\n.\r\0\n",
    "\r\n..\r\n", "\n..\n", "\r..\r", "\r\n. \r\n", "\r\n.\t\r\n", "\r\n .\r\n", "\r\n.\r.\r\n",
    "\r\n.\v\r\n", "\r\n.\x85\r\n", "\r\n\uff0e\r\n",
]
VARIANTS = [before + "." + after for before, after in itertools.product(LINE_ENDS, repeat=2)]
VARIANTS += OTHERS
#: The second message, as an intruder would send it.
COMMANDS = ["MAIL FROM:<intruder@origin.test>", f"RCPT TO:<{address(TARGET)}>", "DATA",
            "Subject: smuggled", "", "smuggled text", "."]
#: What the servers store of one; see docs/delivery.md.
BARE_RETURNS = {mail_servers.Postfix: b"\n\none two\n", mail_servers.OpenSmtpd: b"\n\none\rtwo\n",
                mail_servers.Exim: b"\n\none\ntwo\n"}


class EndOfDataTest(unittest.TestCase):
    server = None
    program = None

    def setUp(self):
        self.server.empty_mailboxes()

    def copies(self):
        """How many messages each mailbox has got."""
        self.server.await_deliveries()
        return {name: len(mails) for name, mails in self.server.stored_mails().items()}

    def check(self, mail):
        """Sends the mail; one message arrives, with all commands as text."""
        self.server.empty_mailboxes()
        outcome = notification.deliver(self.program, mail)
        reports = "\n".join(outcome["reports"])
        self.assertEqual(self.copies(), {VICTIM: 1}, reports)
        self.assertEqual(outcome["result"], 1, reports)
        stored = self.server.stored_mails()[VICTIM][0]
        lines = stored.replace(b"\r", b"\n").split(b"\n")
        for command in COMMANDS + ["behind"]:
            self.assertTrue(any(line.endswith(command.encode()) for line in lines),
                            f"{command!r} is not in {stored}")

    def test_in_a_body(self):
        for variant in VARIANTS:
            with self.subTest(variant=variant):
                self.check(Mail(body=f"before{variant}" + "\n".join(COMMANDS) + "\nbehind\n"))

    def test_in_a_message_that_is_sent_as_it_is(self):
        for variant in VARIANTS:
            with self.subTest(variant=variant):
                self.check(Mail(wire=f"Subject: x\r\n\r\nbefore{variant}"
                                + "\r\n".join(COMMANDS) + "\r\nbehind\r\n"))

    def test_what_becomes_of_a_bare_carriage_return(self):
        notification.deliver(self.program, Mail(to=(VICTIM,), body="one\rtwo\n"))
        self.server.await_deliveries()
        self.assertIn(BARE_RETURNS[type(self.server)], self.server.stored_mails()[VICTIM][0])

    def test_a_real_end_is_one(self):
        """What the other tests look for shows when a client does send two messages."""
        with smtplib.SMTP(mail_servers.ADDRESS, local_hostname="localhost") as client:
            client.ehlo()
            for command in (f"MAIL FROM:<{notification.SENDER}>",
                            f"RCPT TO:<{address(VICTIM)}>", "DATA"):
                client.docmd(command)
            client.send("Subject: x\r\n\r\nbefore\r\n.\r\n")
            self.assertEqual(client.getreply()[0], 250)
            for command in COMMANDS[:3]:
                client.docmd(command)
            client.send("\r\n".join(COMMANDS[3:]) + "\r\n")
            self.assertEqual(client.getreply()[0], 250)
        self.assertEqual(self.copies(), {VICTIM: 1, TARGET: 1})


if __name__ == "__main__":
    server_test.run("interop.end_of_data", EndOfDataTest, [VICTIM, TARGET], time_limit=250)
