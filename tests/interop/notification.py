# SPDX-License-Identifier: Apache-2.0
"""Mails that the library sends: what goes into AdMailMsg, and what becomes of it on the way."""

import dataclasses
import json
import re

import private_machine
from mail_servers import ADDRESS, DOMAIN

SENDER = "notifier@origin.test"


def address(name):
    return f"{name}@{DOMAIN}"


@dataclasses.dataclass
class Mail:
    """What goes in, in the words of AdMailMsg; recipients are names of mailboxes."""

    to: tuple = ("alice",)
    cc: tuple = ()
    bcc: tuple = ()
    subject: str = "A plain subject"
    body: str = "A plain body.\n"
    real_name: str = ""
    charset: str = "UTF-8"
    override_sender: str = ""
    host: str = ADDRESS
    wire: str = None  # a whole message to send as it is, in place of what AdMailMsg would make

    @property
    def recipients(self):
        return self.to + self.cc + self.bcc

    @property
    def sender(self):
        return self.override_sender or SENDER

    def as_case(self):
        if self.wire is not None:
            return {"host": self.host, "from": self.sender, "wire": self.wire,
                    "to": [address(name) for name in self.to]}
        return {
            "settings": {"SMTPHost": self.host, "SendActive": "1", "ReplyTo": SENDER,
                         "RealName": self.real_name, "Charset": self.charset},
            "to": [address(name) for name in self.to],
            "cc": [address(name) for name in self.cc],
            "bcc": [address(name) for name in self.bcc],
            "from": self.override_sender, "subject": self.subject, "body": self.body,
        }


def with_longer_runs_of_dots(text):
    """What arrives: the library doubles all dots that begin a line, and servers drop one."""
    return re.sub(r"^\.+", lambda run: "." * (2 * len(run[0]) - 1), text, flags=re.MULTILINE)


def deliver(program, mail):
    """What deliver_cases, which is `program`, says of the mail: {"result": , "reports": [...]}."""
    case_file = private_machine.SCRATCH / "case.json"
    case_file.write_text(json.dumps([mail.as_case()]), encoding="ascii")
    settings = private_machine.folder_of_caller("settings")
    output = private_machine.run_as_caller([program, case_file], VTINETLIB_SETTINGS_DIR=settings)
    return json.loads(output)[0]
