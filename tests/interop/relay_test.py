# SPDX-License-Identifier: Apache-2.0
"""relay_test.py SERVERS EXAMPLES DELIVER_CASES FETCH_CASES [unittest arguments]

Mails that go out by way of a local Postfix, and by stunnel, to a provider that wants TLS and a
login; and that are fetched by stunnel. The files in EXAMPLES are those of the documentation.
"""

import email
import email.policy
import json
import os
import pathlib
import signal
import subprocess
import sys
import unittest

import notification
import private_machine
import relay_servers
from mail_servers import ADDRESS
from notification import Mail
from relay_servers import Mailbox, Provider, Relay, Tunnel

MAILBOX = "alice"
#: Seconds for everything: less than what the test runner allows, so that this one tells why.
TIME_LIMIT = 200


class RelayTest(unittest.TestCase):
    maxDiff = 2000
    provider = None
    examples = None
    sender = None
    fetcher = None

    def setUp(self):
        self.provider.empty_mailboxes()
        relay_servers.trust("good")

    def start(self, server):
        server.start()
        self.addCleanup(server.stop)
        return server

    def send(self, result=1):
        mail = Mail(subject="Lot 7", body="Grüße\n")
        outcome = notification.deliver(self.sender, mail)
        self.assertEqual(outcome["result"], result, f"{outcome['reports']}\n{logs()}")

    def arrived(self):
        """The one mail that the provider has stored."""
        self.provider.await_deliveries()
        (octets,), = self.provider.stored_mails().values()
        mail = email.message_from_bytes(octets, policy=email.policy.default)
        self.assertEqual((mail["subject"].strip(), mail.get_content()), ("Lot 7", "Grüße\n"))
        return mail

    def fetch(self):
        """The subjects of what the mailbox holds, or None when it cannot be reached."""
        folder = private_machine.folder_of_caller("fetched")
        command = [self.fetcher, ADDRESS, MAILBOX, Mailbox.PASSWORD, folder]
        try:
            output = private_machine.run_as_caller(command)
        except subprocess.CalledProcessError:
            return None
        return [json.loads(line)["subject"] for line in output.splitlines()[1:]]

    def test_postfix_sends_by_tls_and_with_the_login(self):
        relay = self.start(Relay(self.examples, Mailbox.PASSWORD))
        self.send()
        relay.await_deliveries()
        received = self.arrived().get_all("received")[0]
        self.assertIn("using TLSv1.3", received)
        self.assertIn(f"Authenticated sender: {relay_servers.USER}", received)

    def test_postfix_keeps_what_the_provider_refuses_to_take(self):
        relay = self.start(Relay(self.examples, "another password"))
        self.send()
        relay.await_in_log("SASL authentication failed")
        self.check_that_it_waits(relay)

    def test_postfix_keeps_what_would_go_to_a_server_that_it_does_not_trust(self):
        relay_servers.trust("other")
        relay = self.start(Relay(self.examples, Mailbox.PASSWORD))
        self.send()
        relay.await_in_log("Server certificate not verified")
        self.check_that_it_waits(relay)

    def check_that_it_waits(self, relay):
        relay.await_deferral()
        self.assertEqual(self.provider.stored_mails(), {})

    def test_stunnel_sends_by_tls(self):
        self.start(Tunnel(self.examples, "smtp", 25))
        self.send()
        self.assertIn("using TLSv1.3", self.arrived().get_all("received")[0])

    def test_stunnel_fetches_by_tls(self):
        self.start(Tunnel(self.examples, "smtp", 25))
        self.start(Tunnel(self.examples, "pop3", 110))
        self.send()
        self.arrived()
        self.assertEqual(self.fetch(), ["Lot 7"])

    def test_stunnel_reaches_no_server_that_it_does_not_trust(self):
        relay_servers.trust("other")
        self.start(Tunnel(self.examples, "smtp", 25))
        self.start(Tunnel(self.examples, "pop3", 110))
        self.send(result=0)
        self.assertIsNone(self.fetch())


def logs():
    return "\n".join(f"{file}:\n{file.read_text(errors='replace')}"
                     for file in sorted(private_machine.SCRATCH.glob("*.log")))


def give_up(_signal, _frame):
    print(f"not done within {TIME_LIMIT} s; the logs:", logs(), sep="\n", flush=True)
    os._exit(1)


def main():
    private_machine.enter()
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(TIME_LIMIT)
    servers, examples, RelayTest.sender, RelayTest.fetcher = sys.argv[1:5]
    RelayTest.examples = pathlib.Path(examples).resolve()
    trees = [pathlib.Path(servers).resolve() / name for name in ("postfix", "dovecot", "relay")]
    private_machine.furnish(trees, relay_servers.USERS)
    relay_servers.name_the_provider()
    relay_servers.make_certificates()
    RelayTest.provider = Provider([MAILBOX])
    RelayTest.provider.start()
    Mailbox().start()
    unittest.main(argv=["interop.relay", "-v"] + sys.argv[5:])


if __name__ == "__main__":
    main()
