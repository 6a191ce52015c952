# SPDX-License-Identifier: Apache-2.0
"""Whether a driver has found what is in its input."""

import base64
import binascii
import collections
import email
import hashlib
import re

ENCODED_WORD = re.compile(rb"=\?([^?*]+)(?:\*[^?]*)?\?([bBqQ])\?([^?]*)\?=")
MAILBOX = re.compile(r"([^,<>]*)<([^<>]*)>")
FOLDED_BLANK = re.compile(rb"\?=\s+=\?")


def fields_of(output):
    """What a driver printed, by name of field: octets, texts in UTF-8 with lines that end with LF.
    """
    found, at = collections.defaultdict(list), 0
    while at < len(output):
        end = output.index(b"\n", at)
        name, unit, count = output[at:end].split()
        size = int(unit) * int(count)
        octets = output[end + 1:end + 1 + size]
        if unit == b"2":
            octets = octets.decode("utf-16-le", errors="replace").encode()
        found[name.decode()].append(octets)
        at = end + 1 + size + 1
    return dict(found)


def with_line_feeds(text):
    return text.replace(b"\r\n", b"\n")


# ---- reading back what was encoded

def word_octets(match):
    charset, encoding, text = match.groups()
    if encoding in b"bB":
        octets = base64.b64decode(text)
    else:
        octets = binascii.a2b_qp(text, header=True)
    return charset.decode().lower(), octets


def read_words(field):
    """The text of a header field. What two words of a charset hold belongs together."""
    text = field.removeprefix(b"Subject: ").strip()
    text = FOLDED_BLANK.sub(b"?==?", re.sub(rb"\r?\n(?=[ \t])", b"", text))
    pieces, last = [], 0
    for match in ENCODED_WORD.finditer(text):
        pieces.append(("us-ascii", text[last:match.start()]))
        pieces.append(word_octets(match))
        last = match.end()
    pieces.append(("us-ascii", text[last:]))
    joined = []
    for charset, octets in (piece for piece in pieces if piece[1]):
        if joined and joined[-1][0] == charset:
            joined[-1] = (charset, joined[-1][1] + octets)
        else:
            joined.append((charset, octets))
    return "".join(octets.decode(charset, "replace") for charset, octets in joined).encode()


def read_mailboxes(value):
    """Pairs of name and address, of names that are encoded words or plain. Some encoders put
    quotation marks around encoded words, which is let pass."""
    found = []
    for match in MAILBOX.finditer(re.sub(r"\r?\n(?=[ \t])", "", value)):
        name = read_words(match[1].strip().strip('"').encode())
        found.append((name, match[2].encode()))
    return found


def read_mail(octets):
    """The fields of a composed mail. The encoder may put the recipients in any order."""
    message = email.message_from_bytes(octets)
    mailboxes = read_mailboxes(message["From"])
    for name in ("To", "Cc"):
        mailboxes += sorted(read_mailboxes(message[name]), key=lambda mailbox: mailbox[1])
    text = message.get_payload(decode=True).decode(message.get_content_charset("us-ascii"))
    return {"name": [name for name, _ in mailboxes],
            "address": [address for _, address in mailboxes],
            "subject": [read_words(message["Subject"].encode())],
            "text": [text.encode()]}


def read_mails(found):
    fields = collections.defaultdict(list)
    for octets in found["mail"]:
        for name, texts in read_mail(octets).items():
            fields[name] += texts
    return fields


READ_BACK = {
    "base64_encode": lambda found: {"result": [b"".join(found["result"][0].split())]},
    "quoted_encode": lambda found: {"result": [with_line_feeds(
        binascii.a2b_qp(found["result"][0]))]},
    "quoted_decode": lambda found: {"result": [with_line_feeds(found["result"][0])]},
    "words_encode": lambda found: {"subject": [*map(read_words, found["subject"])]},
    "compose": read_mails,
}


# ---- comparing

def normalised(name, value):
    """Line ends are each library's own, and so is one at the very end of a text."""
    return with_line_feeds(value).rstrip(b"\n") if name == "text" else value


def digest(name, values):
    sum_of_all = hashlib.sha256()
    for value in values:
        octets = normalised(name, value)
        sum_of_all.update(b"%d\n" % len(octets) + octets)
    return sum_of_all.hexdigest()


def wrong_values(name, values, expected):
    pairs = zip(values, expected)
    wrong = sum(normalised(name, value) != normalised(name, wanted) for value, wanted in pairs)
    return wrong + abs(len(values) - len(expected))


def differences(kind, output, expected):
    """What is not as expected: names of fields, with how many values where it is not all."""
    found = fields_of(output)
    if kind in READ_BACK and found:
        found = READ_BACK[kind](found)
    differing = []
    for name, values in expected.items():
        if digest(name, found.get(name, [])) != digest(name, values):
            wrong = wrong_values(name, found.get(name, []), values)
            differing.append(name if wrong >= len(values) else f"{name} ({wrong} of {len(values)})")
    return differing
