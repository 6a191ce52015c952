# SPDX-License-Identifier: Apache-2.0
"""Postfix, OpenSMTPD and Exim, each set up to take mail for example.test into one Maildir per user,
and Dovecot, which hands it out by POP3.

The three listen on 127.0.0.1 as they are, on 127.0.0.2 without announcing 8BITMIME, and on
127.0.0.3 behind a relay that takes in little at a time, so that clients have to wait for it. All
run in the private view of the machine that private_machine.furnish() has made, and end with it.
"""

import os
import pathlib
import shutil
import smtplib
import socket
import socketserver
import subprocess
import threading
import time

from private_machine import SCRATCH

DOMAIN = "example.test"
ADDRESS = "127.0.0.1"
ADDRESS_WITHOUT_8BITMIME = "127.0.0.2"
SLOW_ADDRESS = "127.0.0.3"
MAILBOX_OWNER = "vmail"
#: Seconds that a server may take to start, and to deliver what it has accepted.
PATIENCE = 60


class Server:
    """A program that serves one folder of mailboxes."""

    #: The accounts that the server wants to find, by name.
    users = {}
    #: Runs the server in the foreground.
    command = []
    log = SCRATCH / "server.log"
    mailboxes = SCRATCH / "mailboxes"
    mailbox_owner = MAILBOX_OWNER

    def start(self):
        """Returns when the server greets at every address."""
        self._prepare()
        with self.log.open("ab") as log:
            self._process = subprocess.Popen(self.command, stdin=subprocess.DEVNULL, stdout=log,
                                             stderr=log)
        self._complete()

    def empty_mailboxes(self):
        shutil.rmtree(self.mailboxes, ignore_errors=True)
        make_folder(self.mailboxes, self.mailbox_owner)

    def _await(self, condition, what):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            if self._process.poll() is not None:
                self._fail(f"the server has ended ({self._process.returncode}) without {what}")
            if time.monotonic() > deadline:
                self._fail(f"no {what} within {PATIENCE} s")
            time.sleep(0.01)

    def _fail(self, reason):
        raise AssertionError(f"{reason}; its log:\n{self.log.read_text(errors='replace')}")

    def _prepare(self):
        """Makes the folders and files that the server wants to find."""
        raise NotImplementedError

    def _complete(self):
        """Adds to the running server what it has no setting for, and waits for its greetings."""
        raise NotImplementedError


class MailServer(Server):
    """What Postfix, OpenSMTPD and Exim have in common."""

    #: Folders in which a mail lies between its acceptance and its delivery, in the order in which
    #: it passes through them.
    queues = []

    def __init__(self, mailbox_names):
        self.mailbox_names = mailbox_names

    def await_deliveries(self):
        """Returns when every mail that the server has accepted is in its mailbox.

        No server tells of it, so this looks again and again; a queue that does not empty is
        an error.
        """
        self._await(self._is_idle, "empty queue")

    def stored_mails(self):
        """The octets of all mails, as a list for each mailbox that has any."""
        mails = {}
        for file in sorted(self.mailboxes.glob("*/new/*")):
            mails.setdefault(file.parts[-3], []).append(file.read_bytes())
        return mails

    def _is_idle(self):
        return not any(files for queue in self.queues for _, _, files in os.walk(queue))

    def _complete(self):
        _Relay(SLOW_ADDRESS, buffer_size=4096)
        for address in (ADDRESS, ADDRESS_WITHOUT_8BITMIME, SLOW_ADDRESS):
            self._await(lambda address=address: _greets(address), f"greeting from {address}")


class Postfix(MailServer):
    users = {"postfix": 61001, "postdrop": 61002, MAILBOX_OWNER: 61000}
    _QUEUE = SCRATCH / "postfix"
    command = ["/usr/lib/postfix/sbin/master", "-c", "/etc/postfix", "-d"]
    queues = [_QUEUE / "incoming", _QUEUE / "active", _QUEUE / "deferred"]

    _MAIN = f"""
        compatibility_level = 3.6
        queue_directory = {_QUEUE}
        data_directory = {SCRATCH}/postfix-data
        maillog_file = {SCRATCH}/server.log
        maillog_file_prefixes = {SCRATCH}
        myhostname = mail.{DOMAIN}
        mydestination =
        inet_protocols = ipv4
        smtpd_peername_lookup = no
        alias_maps =
        message_size_limit = 0
        virtual_mailbox_limit = 0
        virtual_mailbox_domains = {DOMAIN}
        virtual_mailbox_base = {SCRATCH}/mailboxes
        virtual_mailbox_maps = texthash:/etc/postfix/mailboxes
        virtual_uid_maps = static:{users[MAILBOX_OWNER]}
        virtual_gid_maps = static:{users[MAILBOX_OWNER]}
        """

    # service type private unprivileged chroot wakeup maxproc command
    _MASTER = f"""
        {ADDRESS}:smtp inet n - n - - smtpd
        {ADDRESS_WITHOUT_8BITMIME}:smtp inet n - n - - smtpd -o smtpd_discard_ehlo_keywords=8bitmime
        cleanup unix n - n - 0 cleanup
        qmgr unix n - n 300 1 qmgr
        rewrite unix - - n - - trivial-rewrite
        bounce unix - - n - 0 bounce
        defer unix - - n - 0 bounce
        trace unix - - n - 0 bounce
        error unix - - n - - error
        retry unix - - n - - error
        discard unix - - n - - discard
        proxymap unix - - n - - proxymap
        virtual unix - n n - - virtual
        anvil unix - - n - 1 anvil
        postlog unix-dgram n - n - 1 postlogd
        """

    def _prepare(self):
        etc = pathlib.Path("/etc/postfix")
        etc.mkdir(exist_ok=True)
        (etc / "main.cf").write_text(unindented(self._MAIN))
        (etc / "master.cf").write_text(unindented(self._MASTER))
        (etc / "mailboxes").write_text(
            "".join(f"{name}@{DOMAIN} {name}/\n" for name in self.mailbox_names))
        for name in ("active", "bounce", "corrupt", "defer", "deferred", "hold", "incoming",
                     "private", "public", "saved", "trace"):
            make_folder(self._QUEUE / name, "postfix")
        make_folder(self._QUEUE / "maildrop", "postfix")
        make_folder(self._QUEUE / "pid", "root")
        make_folder(SCRATCH / "postfix-data", "postfix")


class OpenSmtpd(MailServer):
    users = {"opensmtpd": 61001, "opensmtpq": 61002, MAILBOX_OWNER: 61000}
    command = ["/usr/sbin/smtpd", "-d"]
    queues = [SCRATCH / "smtpd/incoming", SCRATCH / "smtpd/queue"]

    def _prepare(self):
        accounts = ", ".join(f'"{name}@{DOMAIN}" = "{MAILBOX_OWNER}"'
                             for name in self.mailbox_names)
        pathlib.Path("/etc/smtpd.conf").write_text(unindented(f"""
            table accounts {{ {accounts} }}
            smtp max-message-size "100M"
            listen on {ADDRESS} port 25 hostname "mail.{DOMAIN}"
            action "store" maildir "{SCRATCH}/mailboxes/%{{rcpt.user}}" virtual <accounts>
            match from any for domain "{DOMAIN}" action "store"
            """))

    def _complete(self):
        # OpenSMTPD always announces 8BITMIME: somebody has to keep it back.
        _Relay(ADDRESS_WITHOUT_8BITMIME, hidden_line=b"250-8BITMIME\r\n")
        super()._complete()


class Exim(MailServer):
    # The number of the user is free; the name is compiled in.
    users = {"Debian-exim": 61001}
    # Unpacked by some user, the program is not set to run as root: it stays what it drops to.
    mailbox_owner = "Debian-exim"
    _SPOOL = SCRATCH / "exim"
    command = ["/usr/sbin/exim4", "-bdf"]
    queues = [_SPOOL / "input"]

    def _prepare(self):
        make_folder(self._SPOOL, "Debian-exim")
        etc = pathlib.Path("/etc/exim4")
        etc.mkdir(exist_ok=True)
        (etc / "exim4.conf").write_text(unindented(f"""
            primary_hostname = mail.{DOMAIN}
            spool_directory = {self._SPOOL}
            log_file_path = {self._SPOOL}/%s.log
            local_interfaces = {ADDRESS}
            daemon_smtp_ports = 25
            message_size_limit = 100M
            tls_advertise_hosts =
            host_lookup =
            keep_environment =
            rfc1413_query_timeout = 0s
            smtp_accept_max = 0
            deliver_drop_privilege
            acl_smtp_rcpt = known_mailbox
            acl_smtp_data = accept

            begin acl
            known_mailbox:
            require verify = recipient
            accept

            begin routers
            mailboxes:
            driver = accept
            domains = {DOMAIN}
            local_parts = {" : ".join(self.mailbox_names)}
            transport = maildir

            begin transports
            maildir:
            driver = appendfile
            directory = {self.mailboxes}/$local_part_data
            maildir_format
            return_path_add
            """))

    def _complete(self):
        # Exim announces 8BITMIME to all or to nobody.
        _Relay(ADDRESS_WITHOUT_8BITMIME, hidden_line=b"250-8BITMIME\r\n")
        super()._complete()


class Dovecot(Server):
    """Every name is a user, with the password PASSWORD."""

    PASSWORD = "secret"
    users = {"dovecot": 61003, "dovenull": 61004, MAILBOX_OWNER: 61000}
    command = ["/usr/sbin/dovecot", "-F"]
    log = SCRATCH / "dovecot.log"

    def _prepare(self):
        etc = pathlib.Path("/etc/dovecot")
        etc.mkdir(exist_ok=True)
        (etc / "dovecot.conf").write_text(unindented(f"""
            protocols = pop3
            listen = {ADDRESS}
            ssl = no
            disable_plaintext_auth = no
            log_path = {self.log}
            default_internal_group = dovecot
            mail_location = maildir:{self.mailboxes}/%n
            userdb {{
              driver = static
              args = uid={MAILBOX_OWNER} gid={MAILBOX_OWNER} home={self.mailboxes}/%n
            }}
            passdb {{
              driver = static
              args = password={self.PASSWORD}
            }}
            """))

    def _complete(self):
        self._await(lambda: _is_open(ADDRESS, 110), f"greeting from {ADDRESS}")


#: The servers that take mail, by their names on command lines.
MAIL_SERVERS = {"postfix": Postfix, "opensmtpd": OpenSmtpd, "exim": Exim}


class _Relay(socketserver.ThreadingTCPServer):
    """Passes connections to `address` on to the server, as long as this process lives.

    `hidden_line` is a line of the server that clients do not get to see. `buffer_size` is how many
    octets of a client the system holds for the relay (0: as many as it likes).
    """

    daemon_threads = True

    def __init__(self, address, hidden_line=b"", buffer_size=0):
        super().__init__((address, 25), _RelayedConnection, bind_and_activate=False)
        self.hidden_line = hidden_line
        if buffer_size:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer_size)
        self.server_bind()
        self.server_activate()
        threading.Thread(target=self.serve_forever, daemon=True).start()


class _RelayedConnection(socketserver.BaseRequestHandler):
    def handle(self):
        with socket.create_connection((ADDRESS, 25)) as upstream:
            sending = threading.Thread(target=self._pass_up, args=(upstream,), daemon=True)
            sending.start()
            for line in upstream.makefile("rb"):
                if line != self.server.hidden_line:
                    self.request.sendall(line)
            sending.join(PATIENCE)

    def _pass_up(self, upstream):
        while octets := self.request.recv(65536):
            upstream.sendall(octets)
        upstream.shutdown(socket.SHUT_WR)


def _greets(address):
    try:
        with smtplib.SMTP(address, timeout=PATIENCE, local_hostname="localhost"):
            return True
    except (ConnectionRefusedError, smtplib.SMTPServerDisconnected):
        return False


def _is_open(address, port):
    try:
        with socket.create_connection((address, port), timeout=PATIENCE) as connection:
            return connection.recv(3) == b"+OK"
    except ConnectionRefusedError:
        return False


def make_folder(path, owner):
    path.mkdir(parents=True, exist_ok=True)
    shutil.chown(path, owner, owner)


def unindented(text):
    return "".join(line.strip() + "\n" for line in text.splitlines())
