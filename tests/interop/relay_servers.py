# SPDX-License-Identifier: Apache-2.0
"""A provider that takes and hands out mail with TLS and a login, and what stands in front of it on
the machine that sends: Postfix and stunnel, with the files of examples/relay.

The provider is at 127.0.0.2, under its two names; its certificate is good for both.
"""

import os
import pathlib
import shutil
import signal
import socket
import subprocess

from mail_servers import ADDRESS, DOMAIN, MAILBOX_OWNER, Dovecot, MailServer, Server
from mail_servers import make_folder, unindented
from private_machine import SCRATCH

PROVIDER = "127.0.0.2"
NAMES = ("smtp.provider.example", "pop3.provider.example")
USER = "tracker@provider.example"
CERTIFICATES = SCRATCH / "certificates"
TRUSTED = pathlib.Path("/etc/ssl/certs/ca-certificates.crt")
USERS = {"postfix": 61001, "postdrop": 61002, MAILBOX_OWNER: 61000, "dovecot": 61003,
         "dovenull": 61004, "stunnel4": 61005}


def make_certificates():
    """An authority, "good", and the provider's certificate by it; another authority, "other"."""
    CERTIFICATES.mkdir()
    names = ",".join(f"DNS:{name}" for name in NAMES)
    (CERTIFICATES / "openssl.cnf").write_text(unindented(f"""
        [req]
        distinguished_name = name
        [name]
        [authority]
        basicConstraints = critical,CA:true
        [server]
        basicConstraints = CA:false
        subjectAltName = {names}
        """), encoding="ascii")
    for authority in ("good", "other"):
        _openssl(f"-extensions authority -subj /CN={authority} -keyout {authority}.key "
                 f"-out {authority}.pem")
    _openssl("-extensions server -subj /CN=provider -keyout server.key -out server.pem "
             "-CA good.pem -CAkey good.key")


def _openssl(arguments):
    command = ["openssl", "req", "-x509", "-config", "openssl.cnf", "-newkey", "ec", "-pkeyopt",
               "ec_paramgen_curve:prime256v1", "-noenc", "-days", "2", *arguments.split()]
    subprocess.run(command, cwd=CERTIFICATES, check=True, capture_output=True)


def name_the_provider():
    with open("/etc/hosts", "a", encoding="ascii") as hosts:
        hosts.write(f"{PROVIDER} {' '.join(NAMES)}\n")


def trust(authority):
    """From now on started programs trust this authority and no other."""
    TRUSTED.parent.mkdir(parents=True, exist_ok=True)
    TRUSTED.unlink(missing_ok=True)
    TRUSTED.write_bytes((CERTIFICATES / f"{authority}.pem").read_bytes())


def _is_open(address, port):
    try:
        socket.create_connection((address, port), timeout=5).close()
        return True
    except ConnectionRefusedError:
        return False


class _Listener(Server):
    """A server that is there when its ports are."""

    ports = ()

    def _complete(self):
        for address, port in self.ports:
            self._await(lambda place=(address, port): _is_open(*place), f"port {port}")

    def stop(self):
        self._process.send_signal(signal.SIGTERM)
        self._process.wait(60)


#: In a process group of its own, which it tells to end as it ends itself.
MASTER = ["setsid", "/usr/lib/postfix/sbin/master", "-d", "-c"]


class _Postfix(_Listener, MailServer):
    """One of two, each with folders of its own."""

    etc = None
    queue = None
    data = None

    def _make_folders(self):
        """All empty: what one has not delivered is not for the next."""
        shutil.rmtree(self.queue, ignore_errors=True)
        self.etc.mkdir(exist_ok=True)
        for name in ("active", "bounce", "corrupt", "defer", "deferred", "hold", "incoming",
                     "maildrop", "private", "public", "saved", "trace"):
            make_folder(self.queue / name, "postfix")
        make_folder(self.queue / "pid", "root")
        make_folder(self.data, "postfix")

    def stop(self):
        """The next one can have the ports: what only has been told to end may still hold them."""
        super().stop()
        self._await_end_of_group()

    def _await_end_of_group(self):
        """Orphans come to this process, which is the first of its namespace."""
        try:
            while True:
                os.waitpid(-self._process.pid, 0)
        except ChildProcessError:
            pass

    # service type private unprivileged chroot wakeup maxproc command
    SERVICES = """
        tlsmgr unix - - n 1000? 1 tlsmgr
        cleanup unix n - n - 0 cleanup
        qmgr unix n - n 300 1 qmgr
        rewrite unix - - n - - trivial-rewrite
        bounce unix - - n - 0 bounce
        defer unix - - n - 0 bounce
        trace unix - - n - 0 bounce
        error unix - - n - - error
        retry unix - - n - - error
        proxymap unix - - n - - proxymap
        smtp unix - - n - - smtp
        virtual unix - n n - - virtual
        anvil unix - - n - 1 anvil
        postlog unix-dgram n - n - 1 postlogd
        """


class Provider(_Postfix):
    """Takes mail for DOMAIN: on port 587 after a login, on port 465 from anybody."""

    etc = pathlib.Path("/etc/provider")
    queue = SCRATCH / "provider"
    data = SCRATCH / "provider-data"
    log = SCRATCH / "provider.log"
    command = [*MASTER, str(etc)]
    queues = [queue / "incoming", queue / "active", queue / "deferred"]
    ports = ((PROVIDER, 587), (PROVIDER, 465))

    def _prepare(self):
        self._make_folders()
        (self.etc / "main.cf").write_text(unindented(f"""
            compatibility_level = 3.6
            queue_directory = {self.queue}
            data_directory = {self.data}
            maillog_file = {self.log}
            maillog_file_prefixes = {SCRATCH}
            myhostname = {NAMES[0]}
            mydestination =
            inet_protocols = ipv4
            smtpd_peername_lookup = no
            alias_maps =
            virtual_mailbox_domains = {DOMAIN}
            virtual_mailbox_base = {self.mailboxes}
            virtual_mailbox_maps = static:alice/
            virtual_uid_maps = static:{USERS[MAILBOX_OWNER]}
            virtual_gid_maps = static:{USERS[MAILBOX_OWNER]}
            smtpd_tls_cert_file = {CERTIFICATES}/server.pem
            smtpd_tls_key_file = {CERTIFICATES}/server.key
            smtpd_tls_received_header = yes
            smtpd_sasl_type = dovecot
            smtpd_sasl_path = private/auth
            smtpd_sasl_authenticated_header = yes
            """))
        (self.etc / "master.cf").write_text(unindented(f"""
            {PROVIDER}:587 inet n - n - - smtpd -o smtpd_tls_security_level=encrypt""" +
            " -o smtpd_sasl_auth_enable=yes -o smtpd_tls_auth_only=yes"
            " -o smtpd_client_restrictions=permit_sasl_authenticated,reject" + f"""
            {PROVIDER}:465 inet n - n - - smtpd -o smtpd_tls_wrappermode=yes
            {self.SERVICES}"""))


class Mailbox(_Listener, Dovecot):
    """The provider's POP3, and the logins of its SMTP."""

    ports = ((PROVIDER, 995),)

    def _prepare(self):
        super()._prepare()
        with open("/etc/dovecot/dovecot.conf", "a", encoding="ascii") as conf:
            conf.write(unindented(f"""
                listen = {PROVIDER}
                ssl = required
                ssl_cert = <{CERTIFICATES}/server.pem
                ssl_key = <{CERTIFICATES}/server.key
                disable_plaintext_auth = yes
                service auth {{
                  unix_listener {Provider.queue}/private/auth {{
                    mode = 0600
                    user = postfix
                  }}
                }}
                """))


class Relay(_Postfix):
    """Postfix with main.cf and sasl_passwd of examples/relay/postfix.

    Added is what only a test wants: its log, names from /etc/hosts.
    """

    etc = pathlib.Path("/etc/postfix")
    queue = SCRATCH / "postfix"
    data = pathlib.Path("/var/lib/postfix")
    log = SCRATCH / "relay.log"
    command = [*MASTER, str(etc)]
    queues = [queue / "incoming", queue / "active", queue / "deferred"]
    ports = ((ADDRESS, 25),)

    def __init__(self, examples, password):
        super().__init__([])
        self.examples, self.password = examples / "postfix", password

    def _prepare(self):
        self._make_folders()
        self.log.unlink(missing_ok=True)
        (self.etc / "main.cf").write_text((self.examples / "main.cf").read_text() + unindented(f"""
            maillog_file = {self.log}
            maillog_file_prefixes = {SCRATCH}
            smtp_host_lookup = native
            inet_protocols = ipv4
            """))
        (self.etc / "master.cf").write_text(unindented(f"""
            smtp inet n - n - - smtpd
            {self.SERVICES}"""))
        passwords = (self.examples / "sasl_passwd").read_text()
        (self.etc / "sasl_passwd").write_text(passwords.replace("secret", self.password))
        (self.etc / "sasl_passwd").chmod(0o600)

    def await_deferral(self):
        """Returns when one mail waits to be sent again."""
        deferred = self.queue / "deferred"
        self._await(lambda: sum(len(files) for _, _, files in os.walk(deferred)) == 1,
                    "deferred mail")

    def await_in_log(self, text):
        self._await(lambda: text in self.log.read_text(errors="replace"), f"'{text}' in the log")


class Tunnel(_Listener):
    """stunnel with a file of examples/relay/stunnel."""

    def __init__(self, examples, name, port):
        self.file = examples / "stunnel" / f"{name}.conf"
        self.log = SCRATCH / f"tunnel-{name}.log"
        self.command = ["/usr/bin/stunnel4", str(self.file)]
        self.ports = ((ADDRESS, port),)

    def _prepare(self):
        pass
