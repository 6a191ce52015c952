# SPDX-License-Identifier: Apache-2.0
"""The frame of the tests that send to one real server."""

import os
import pathlib
import signal
import sys
import unittest

import mail_servers
import private_machine


def run(name, test_case, mailboxes, time_limit):
    """Runs a TestCase with its `server` and `program` set as the command line says.

    The command line: postfix|opensmtpd|exim SERVERS DELIVER_CASES [unittest arguments]. After
    `time_limit` seconds it ends the process, with the server's log: less than what the test runner
    allows, so that this one tells why.
    """
    private_machine.enter()
    server_name, servers, test_case.program = sys.argv[1:4]
    kind = mail_servers.MAIL_SERVERS[server_name]

    def give_up(_signal, _frame):
        print(f"not done within {time_limit} s; the server's log:",
              kind.log.read_text(errors="replace"), sep="\n", flush=True)
        os._exit(1)

    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(time_limit)
    private_machine.furnish([pathlib.Path(servers).resolve() / server_name], kind.users)
    test_case.server = kind(mailboxes)
    test_case.server.start()
    unittest.main(argv=[f"{name}.{server_name}", "-v"] + sys.argv[4:])
