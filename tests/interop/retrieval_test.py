# SPDX-License-Identifier: Apache-2.0
"""retrieval_test.py SERVERS DELIVER_CASES FETCH_CASES [unittest arguments]

Mails that Dovecot hands out by POP3: those that were laid into its mailbox, and those that the
library itself has sent by way of Postfix. SERVERS is the folder that scripts/fetch-mail-servers
fills; the programs send mails and empty a mailbox.
"""

import email.message
import email.policy
import itertools
import json
import os
import pathlib
import random
import re
import shutil
import signal
import sys
import unittest

import foreign_reader
import mail_servers
import notification
import private_machine
from mail_servers import ADDRESS, ADDRESS_WITHOUT_8BITMIME, MAILBOX_OWNER
from notification import Mail, address, with_longer_runs_of_dots

USER = "alice"
MESSAGES = 1000
LARGE = 50 << 20
#: Seconds for everything: less than what the test runner allows, so that this one tells why.
TIME_LIMIT = 500


def arrived(octets):
    """A message as POP3Client hands it out, by the form in which it was stored.

    Lines lose their blanks at the end; only a blank line keeps them, and the server's CR. They are
    joined by LF, and the last one is not ended.
    """
    lines = octets.split(b"\n")
    if not lines[-1]:
        lines.pop()
    return b"\n".join(line.rstrip(b" \t\r") or line.removesuffix(b"\r") + b"\r" for line in lines)


# Messages by kind, without a subject.

def plain():
    message = email.message.EmailMessage()
    message["From"] = '"Monitor, Hall 3" <monitor@example.test>'
    message["To"] = "alice@example.test, Bob <bob@example.test>"
    message.set_content("Disk 7 is full.\n\nTrailing blanks:  \t\n \t \nPlease look.\n")
    return message


def multipart():
    message = plain()
    message.add_alternative("<p>Größe: 7 €</p>\n", subtype="html", cte="quoted-printable")
    message.add_attachment(bytes(range(256)) * 3, maintype="application", subtype="octet-stream",
                           filename="Größe.bin")
    return message


def nested():
    message = plain()
    inner = multipart()
    inner["Subject"] = "Störung weitergeleitet"
    message.add_attachment(inner)
    message.add_attachment("a,b\n1,2\n", subtype="csv", filename="table.csv")
    return message


def dot_lines():
    message = plain()
    message.set_content(".\n..\n...\n.leading\n\n. \n..trailing\n.\n", cte="7bit")
    return message


def long_lines():
    message = plain()
    message.set_content("\n".join(letter * 20_000 + "." for letter in "abc"), cte="8bit")
    return message


def eight_bit():
    message = plain()
    message.set_content("Grüße aus Köln: 7 € für 日本語.\n" * 9, cte="8bit")
    return message


def empty_body():
    message = plain()
    message.set_content("")
    return message


KINDS = [plain, multipart, nested, dot_lines, long_lines, eight_bit, empty_body]


def stored_messages():
    """The octets of the mailbox's messages by their subject.

    Every other one has CRLF line ends, every third one ends without a line end; of an empty body
    the blank line before it is what is missing then.
    """
    random.seed(1)
    composed = [(kind, linesep, kind().as_bytes(policy=email.policy.default.clone(
        linesep=linesep, cte_type="8bit"))) for kind in KINDS for linesep in ("\n", "\r\n")]
    messages = {}
    for number, (kind, linesep, octets) in zip(range(MESSAGES - 1), itertools.cycle(composed)):
        subject = f"{number}: {kind.__name__.replace('_', ' ')}"
        octets = f"Subject: {subject}{linesep}".encode() + octets
        messages[subject] = octets.removesuffix(linesep.encode()) if number % 3 == 0 else octets
    large = plain()
    large["Subject"] = "large"
    large.add_attachment(random.randbytes(LARGE), maintype="application", subtype="zip")
    messages["large"] = large.as_bytes()
    return messages


class RetrievalTest(unittest.TestCase):
    maxDiff = 2000
    dovecot = None
    postfix = None
    sender = None
    fetcher = None

    def setUp(self):
        self.postfix.empty_mailboxes()

    def fetch_all(self):
        """The octets and the decoded form of all messages by subject; the mailbox is empty then."""
        folder = private_machine.folder_of_caller("fetched")
        output = private_machine.run_as_caller(
            [self.fetcher, ADDRESS, USER, self.dovecot.PASSWORD, folder])
        count, *messages = map(json.loads, output.splitlines())
        self.assertEqual(count["count"], len(messages))
        self.assertTrue(all(decoded["plain"] for decoded in messages))
        fetched = {decoded["subject"]: ((folder / str(number)).read_bytes(), decoded)
                   for number, decoded in enumerate(messages, 1)}
        self.assertEqual(len(fetched), len(messages), "a subject came twice")
        shutil.rmtree(folder)
        return fetched

    def store(self, messages):
        maildir = self.dovecot.mailboxes / USER
        for folder in (maildir, maildir / "new", maildir / "cur", maildir / "tmp"):
            folder.mkdir()
            shutil.chown(folder, MAILBOX_OWNER, MAILBOX_OWNER)
        for number, octets in enumerate(messages.values()):
            file = maildir / "new" / f"1700000000.M{number:06}.origin"
            file.write_bytes(octets)
            shutil.chown(file, MAILBOX_OWNER, MAILBOX_OWNER)

    def test_mailbox_of_1000_messages(self):
        stored = stored_messages()
        self.assertEqual(len(stored), MESSAGES)
        self.store(stored)
        fetched = self.fetch_all()
        self.assertEqual(fetched.keys(), stored.keys())
        for subject, (octets, decoded) in fetched.items():
            self.assertTrue(octets == arrived(stored[subject]), f"{subject}: the octets differ")
            self.assertEqual(decoded["defects"], [], subject)
            found = foreign_reader.differences(octets, decoded)
            self.assertEqual(list(found), [], subject)
        self.assertEqual(self.fetch_all(), {}, "deleted messages are still there")

    def check_circle(self, mail):
        """Sends the mail, fetches it and compares what the decoder says with what went in."""
        outcome = notification.deliver(self.sender, mail)
        self.assertEqual(outcome["result"], 1, outcome["reports"])
        self.postfix.await_deliveries()
        (_, decoded), = self.fetch_all().values()
        self.assertEqual(decoded["subject"], mail.subject)
        self.assertEqual(decoded["sender"], [mail.real_name, mail.sender])
        self.assertEqual(decoded["to"], [["", address(name)] for name in sorted(mail.to)])
        self.assertEqual(decoded["cc"], [["", address(name)] for name in sorted(mail.cc)])
        self.assertEqual(decoded["tree"]["type"], "text/plain")
        self.assertEqual(decoded["defects"], [])
        return re.sub("\r\n?", "\n", decoded["tree"]["text"])

    def test_full_circle_of_an_ascii_mail(self):
        mail = Mail(body="Disk 7 is full.\n\n.dots and ..dots\n..\nPlease look.")
        self.assertEqual(self.check_circle(mail), with_longer_runs_of_dots(mail.body))

    def test_full_circle_of_an_8bit_mail(self):
        mail = Mail(subject="Störung: Lüfter 3 🔥", real_name='Jürgen "Größe" 日本',
                    body="Grüße aus Köln: 7 € für 日本語.\n\nEnde")
        self.assertEqual(self.check_circle(mail), mail.body)

    def test_full_circle_with_a_long_name(self):
        mail = Mail(real_name="Очень длинное имя отправителя уведомлений " * 6 + "и конец")
        self.assertEqual(self.check_circle(mail), mail.body.rstrip("\n"))

    def test_full_circle_in_quoted_printable(self):
        mail = Mail(subject="Предупреждение: диск почти полон, " * 12 + "日本語の件名です。",
                    body="Trailing blanks, kept by the encoding  \n = caffè " + "latte " * 40,
                    host=ADDRESS_WITHOUT_8BITMIME)
        self.assertEqual(self.check_circle(mail), mail.body)

    def test_full_circle_in_base64(self):
        mail = Mail(subject="Backup of volume " + "x1 " * 200 + "ended", real_name="O\\Neil, Anna",
                    body="Диск заполнен, проверьте сервер. \n\n" * 20,
                    host=ADDRESS_WITHOUT_8BITMIME)
        self.assertEqual(self.check_circle(mail), mail.body)

    def test_full_circle_in_latin1(self):
        mail = Mail(subject="Größe", charset="ISO-8859-1", body="Größe übermäßig\nendet")
        self.assertEqual(self.check_circle(mail), mail.body)

    def test_full_circle_to_many_recipients(self):
        mail = Mail(to=(USER, "bob", "carol", "dave"), cc=("erin", "frank"))
        self.assertEqual(self.check_circle(mail), mail.body.rstrip("\n"))

    def test_full_circle_as_blind_recipient_with_an_override_sender(self):
        mail = Mail(to=("bob",), bcc=(USER,), override_sender="other@origin.test")
        self.assertEqual(self.check_circle(mail), mail.body.rstrip("\n"))


def give_up(_signal, _frame):
    print(f"not done within {TIME_LIMIT} s; the servers' logs:",
          RetrievalTest.postfix.log.read_text(errors="replace"),
          RetrievalTest.dovecot.log.read_text(errors="replace"), sep="\n", flush=True)
    os._exit(1)


def main():
    private_machine.enter()
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(TIME_LIMIT)
    servers, RetrievalTest.sender, RetrievalTest.fetcher = sys.argv[1:4]
    kinds = mail_servers.Postfix, mail_servers.Dovecot
    trees = [pathlib.Path(servers).resolve() / name for name in ("postfix", "dovecot")]
    private_machine.furnish(trees, kinds[0].users | kinds[1].users)
    RetrievalTest.postfix = mail_servers.Postfix([USER, "bob", "carol", "dave", "erin", "frank"])
    RetrievalTest.dovecot = mail_servers.Dovecot()
    RetrievalTest.postfix.start()
    RetrievalTest.dovecot.start()
    unittest.main(argv=["interop.retrieval", "-v"] + sys.argv[4:])


if __name__ == "__main__":
    main()
