# SPDX-License-Identifier: Apache-2.0
"""load_test.py SERVERS MAIL_LOAD [unittest arguments]

Many mails by AdMailMsg::Deliver from several processes into Postfix, and all of them fetched from
Dovecot by POP3Client: none is lost, none comes twice, and none of our processes grows. SERVERS is
the folder that scripts/fetch-mail-servers fills, MAIL_LOAD the program that sends and fetches.
"""

import json
import os
import pathlib
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "interop"))
import mail_servers  # noqa: E402
import private_machine  # noqa: E402
from mail_servers import ADDRESS, DOMAIN  # noqa: E402

USER = "alice"
SENDERS = 4
IS_FULL_EFFORT = os.environ.get("VTINETLIB_EFFORT") == "full"
MAILS = 20_000 if IS_FULL_EFFORT else 200
#: Seconds for everything: less than what the test runner allows, so that this one tells why.
TIME_LIMIT = 1500 if IS_FULL_EFFORT else 100
#: KiB that a process may take more at the end than after a quarter of its work.
GROWTH = 256


class LoadTest(unittest.TestCase):
    maxDiff = 2000
    postfix = None
    dovecot = None
    program = None

    def test_all_mails_arrive_once_and_no_process_grows(self):
        self.postfix.empty_mailboxes()
        self.timed("delivered", self.deliver_all)
        self.timed("stored", self.await_deliveries)
        fetched = self.timed("fetched", self.fetch_all)
        self.assertEqual(sorted(map(int, fetched)), list(range(MAILS)))

    def deliver_all(self):
        self.store_settings()
        each = MAILS // SENDERS
        senders = [self.start("deliver", f"{USER}@{DOMAIN}", number * each, each)
                   for number in range(SENDERS)]
        for sender in senders:
            self.finish(sender)

    def await_deliveries(self):
        """The queue may hold more than the server's own patience is for."""
        deadline = time.monotonic() + TIME_LIMIT
        while True:
            try:
                return self.postfix.await_deliveries()
            except AssertionError:
                if time.monotonic() > deadline:
                    raise

    def fetch_all(self):
        return self.finish(self.start("fetch", ADDRESS, USER, self.dovecot.PASSWORD)).split()

    def timed(self, what, work):
        start = time.monotonic()
        result = work()
        print(f"{MAILS} mails {what} in {time.monotonic() - start:.1f} s", flush=True)
        return result

    def store_settings(self):
        folder = private_machine.folder_of_caller("settings")
        os.environ["VTINETLIB_SETTINGS_DIR"] = str(folder)
        private_machine.run_as_caller([self.program, "settings", ADDRESS, f"monitor@{DOMAIN}"])

    def start(self, *arguments):
        user, group = private_machine.caller()
        return subprocess.Popen([self.program, *map(str, arguments)], user=user, group=group,
                                extra_groups=[], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True)

    def finish(self, process):
        """What the process printed; it has to succeed without growing."""
        output, said = process.communicate(timeout=TIME_LIMIT)
        self.assertEqual(process.returncode, 0, said)
        held = json.loads(said.splitlines()[-1])
        early, late = held["early"], held["late"]
        print(f"{process.args[1]}: {early['memory']} KiB, {early['descriptors']} descriptors "
              f"early; {late['memory']} KiB, {late['descriptors']} late", flush=True)
        self.assertLessEqual(late["memory"], early["memory"] + GROWTH)
        self.assertEqual(late["descriptors"], early["descriptors"])
        return output


def give_up(_signal, _frame):
    print(f"not done within {TIME_LIMIT} s; the servers' logs:",
          LoadTest.postfix.log.read_text(errors="replace")[-20000:],
          LoadTest.dovecot.log.read_text(errors="replace")[-20000:], sep="\n", flush=True)
    os._exit(1)


def main():
    private_machine.enter()
    signal.signal(signal.SIGALRM, give_up)
    signal.alarm(TIME_LIMIT)
    servers, LoadTest.program = sys.argv[1:3]
    kinds = mail_servers.Postfix, mail_servers.Dovecot
    trees = [pathlib.Path(servers).resolve() / name for name in ("postfix", "dovecot")]
    private_machine.furnish(trees, kinds[0].users | kinds[1].users)
    LoadTest.postfix = mail_servers.Postfix([USER])
    LoadTest.dovecot = mail_servers.Dovecot()
    LoadTest.postfix.start()
    LoadTest.dovecot.start()
    unittest.main(argv=["load", "-v"] + sys.argv[3:])


if __name__ == "__main__":
    main()
