# SPDX-License-Identifier: Apache-2.0
"""Clients of Python's own library: independent_clients.py (send|fetch|refused) PORT

send       sends the message below to two recipients
refused    the same, and wants the server to refuse the second recipient
fetch      wants to find just that message, gets and deletes it
"""

import poplib
import smtplib
import sys

SENDER = "a@example.org"
RECIPIENTS = ["b@example.org", "no@example.org"]
MESSAGE = b"Subject: dots\r\n\r\n.\r\n..a\r\n\xe4\xff\r\n" + (b"x" * 70 + b"\r\n") * 1000
TIME_LIMIT = 10


def send(port):
    with smtplib.SMTP("127.0.0.1", port, timeout=TIME_LIMIT) as client:
        client.ehlo("localhost")
        assert client.esmtp_features["size"] == "10240000", client.esmtp_features
        options = ["BODY=8BITMIME", f"SIZE={len(MESSAGE)}"]
        return client.sendmail(SENDER, RECIPIENTS, MESSAGE, options)


def fetch(port):
    client = poplib.POP3("127.0.0.1", port, timeout=TIME_LIMIT)
    client.user("any")
    client.pass_("any")
    assert client.stat() == (1, len(MESSAGE)), client.stat()
    assert client.top(1, 1)[1] == [b"Subject: dots", b"", b"."]
    _, lines, _ = client.retr(1)
    assert b"\r\n".join(lines) + b"\r\n" == MESSAGE, lines[:5]
    client.dele(1)
    client.quit()


def main(task, port):
    if task == "fetch":
        fetch(port)
        return
    refused = send(port)
    expected = {RECIPIENTS[1]: (550, b"no such user")} if task == "refused" else {}
    assert refused == expected, refused


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
