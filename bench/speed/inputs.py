# SPDX-License-Identifier: Apache-2.0
"""The inputs of the speed benchmark, and what is to be found in them: the same octets each time.

An input is a list of records, octets each, and a dictionary of what a driver that does the whole
work reports: for each name of a field its values, in the order of the input, as octets (texts are
UTF-8, lines end with LF). `scale` is 1 for measuring, less for checks only.
"""

import base64
import binascii
import quopri
import random

KIB, MIB = 1 << 10, 1 << 20

ASCII_WORDS = ("the order invoice number has been shipped to your address please find attached "
               "a summary of all open positions and the date on which they are due with kind "
               "regards from our service department = 2*2 (see: https://example.org/a?b=c&d)"
               ).split()
ACCENTED_WORDS = ("Grüße für Größe Straße Änderung über déjà-vu garçon façade naïve señor mañana "
                  "Übermäßig Ölfässer coûte être").split()
#: Characters of each charset that subjects are written in.
SUBJECT_WORDS = {
    "utf-8": ("Zustellung", "fällig", "Überweisung", "100 €", "Žluťoučký", "заказ", "見積書"),
    "iso-8859-1": ("Größe", "déjà", "señor", "façade", "Straße", "invoice"),
    "koi8-r": ("Заказ", "отправлен", "счёт", "сегодня", "спасибо"),
    "iso-2022-jp": ("ご注文", "確認", "発送", "お知らせ", "見積書"),
}
NAMES = ("Jürgen Müller", "Zoë Brontë", "José Núñez", "Søren Ångström", "Łukasz Żak",
         "Renée Lefèvre", "Παύλος Νικολάου", "Ирина Орлова", "山田太郎")


def generator(name):
    """The same numbers each time, for each input others."""
    return random.Random(f"speed {name}")


# ---- pieces

def line_of(rng, accented):
    """A line of about 70 characters, a share of its words not ASCII."""
    words = [rng.choice(ACCENTED_WORDS if rng.random() < accented else ASCII_WORDS)
             for _ in range(rng.randint(8, 11))]
    return " ".join(words)


def text_of(rng, octets, accented=0.1):
    """About so many octets of UTF-8, lines that end with CR LF; what is long repeats itself."""
    lines, size = [], 0
    while size < min(octets, 256 * KIB):
        lines.append((line_of(rng, accented) + "\r\n").encode())
        size += len(lines[-1])
    return b"".join(lines) * max(1, octets // size)


def base64_lines(octets):
    return base64.encodebytes(octets).replace(b"\n", b"\r\n")


def encoded_word(text, charset, encoding):
    octets = text.encode(charset)
    if encoding == "B":
        coded = base64.b64encode(octets)
    else:
        coded = quopri.encodestring(octets, header=True).replace(b"=\n", b"").replace(b"?", b"=3F")
    return b"=?%b?%b?%b?=" % (charset.encode(), encoding.encode(), coded)


def mailbox(rng, number):
    """The raw text of a mailbox with an encoded name, the name, and the address."""
    name, address = f"{rng.choice(NAMES)} {number}", f"user{number}@mail{number % 7}.example.org"
    charset, encoding = "utf-8", "B"
    if name.isascii() or all(ord(letter) < 256 for letter in name):
        charset, encoding = "iso-8859-1", "Q"
    return b"%b <%b>" % (encoded_word(name, charset, encoding), address.encode()), name, address


def subject_of(rng, charset, words):
    return " ".join(rng.choice(SUBJECT_WORDS[charset]) for _ in range(words))


def as_found(octets):
    return octets.replace(b"\r\n", b"\n")


class Message:
    """A message that is being written, with what is in it."""

    def __init__(self, rng):
        self.rng = rng
        self.found = {"subject": [], "name": [], "address": [], "headers": [], "entities": [],
                      "text": [], "binary": []}
        self.fields = []
        self.entities = 0

    def add(self, name, value):
        self.found[name].append(value.encode() if isinstance(value, str) else value)

    def add_header(self, recipients, more=()):
        """From, To, Subject and what a message has else."""
        rng, number = self.rng, self.rng.randint(1, 10**6)
        self.fields = [
            b"Received: from relay.example.net (relay.example.net [192.0.2.7])\r\n"
            b"\tby mx.example.org with ESMTPS id %08d;\r\n"
            b"\tMon, 2 Mar 2026 10:20:30 +0100" % number,
            b"Date: Mon, 2 Mar 2026 10:20:30 +0100",
            b"Message-ID: <%08d.2026@example.net>" % number]
        mailboxes = [mailbox(rng, number + i) for i in range(recipients + 1)]
        for _, name, address in mailboxes:
            self.add("name", name)
            self.add("address", address)
        raw = [text for text, _, _ in mailboxes]
        self.fields += [b"From: " + raw[0], b"To: " + b",\r\n ".join(raw[1:]), *more]
        subject = subject_of(rng, "utf-8", 3) + f" {number}"
        self.add("subject", subject)
        self.fields += [b"Subject: " + encoded_word(subject, "utf-8", "B"), b"MIME-Version: 1.0"]

    def leaf(self, media_type, transfer, raw, name, decoded):
        self.entities += 1
        self.add(name, as_found(decoded) if name == "text" else decoded)
        return [b"Content-Type: " + media_type, b"Content-Transfer-Encoding: " + transfer], raw

    def text(self, octets, accented=0.1):
        """A text as it is, in UTF-8."""
        body = text_of(self.rng, octets, accented)
        return self.leaf(b"text/plain; charset=utf-8", b"8bit" if accented else b"7bit", body,
                         "text", body)

    def quoted_text(self, octets):
        body = text_of(self.rng, octets)
        return self.leaf(b"text/plain; charset=utf-8", b"quoted-printable",
                         binascii.b2a_qp(body), "text", body)

    def html(self, octets):
        """Latin-1, in base64."""
        body = b"<html>\r\n" + text_of(self.rng, octets) + b"</html>\r\n"
        return self.leaf(b"text/html; charset=iso-8859-1", b"base64",
                         base64_lines(body.decode().encode("iso-8859-1")), "text", body)

    def attachment(self, octets):
        body = self.rng.randbytes(octets)
        return self.leaf(b"application/octet-stream; name=data.bin", b"base64",
                         base64_lines(body), "binary", body)

    def multipart(self, subtype, boundary, *parts):
        """The line end in front of a delimiter is not the body's."""
        self.entities += 1
        pieces = [b"--%b\r\n%b\r\n\r\n%b\r\n" % (boundary, b"\r\n".join(fields), body)
                  for fields, body in parts]
        return ([b'Content-Type: multipart/%b; boundary="%b"' % (subtype, boundary)],
                b"".join(pieces) + b"--%b--\r\n" % boundary)

    def whole(self, fields, body):
        """The record, with what is to be found in it."""
        fields = self.fields + fields
        self.add("headers", str(len(fields)))
        self.add("entities", str(self.entities))
        return b"\r\n".join(fields) + b"\r\n\r\n" + body, self.found


def joined(messages):
    """Records, and what is found in all of them."""
    records, found = [], {}
    for record, fields in messages:
        records.append(record)
        for name, values in fields.items():
            found.setdefault(name, []).extend(values)
    return records, found


# ---- mail to parse

def notification(rng):
    message = Message(rng)
    message.add_header(2)
    return message.whole(*message.quoted_text(1100))


def notifications(scale):
    rng = generator("notifications")
    return joined(notification(rng) for _ in range(max(5, int(500 * scale))))


def alternative(rng):
    message = Message(rng)
    message.add_header(1)
    parts = message.quoted_text(9 * KIB), message.html(14 * KIB)
    return message.whole(*message.multipart(b"alternative", b"=_alternative_1", *parts))


def alternatives(scale):
    rng = generator("alternatives")
    return joined(alternative(rng) for _ in range(max(2, int(50 * scale))))


def attachment(scale):
    message = Message(generator("attachment"))
    message.add_header(1)
    parts = message.text(300), message.attachment(int(10 * MIB * scale * 57 / 78))
    return joined([message.whole(*message.multipart(b"mixed", b"=_mixed_1", *parts))])


def nested(scale):
    message = Message(generator("nested"))
    message.add_header(1)
    part = message.text(int(MIB * scale), accented=0)
    for level in range(20):
        part = message.multipart(b"mixed", b"=_level_%02d" % level, part)
    return joined([message.whole(*part)])


def recipients(scale):
    message = Message(generator("recipients"))
    message.add_header(int(2000 * scale))
    return joined([message.whole(*message.text(300))])


def quoted(scale):
    message = Message(generator("quoted"))
    message.add_header(1)
    return joined([message.whole(*message.quoted_text(int(4.4 * MIB * scale)))])


def many_parts(scale):
    message = Message(generator("many parts"))
    message.add_header(1)
    parts = [message.text(int(5 * MIB * scale) // 100) for _ in range(100)]
    return joined([message.whole(*message.multipart(b"mixed", b"=_mixed_1", *parts))])


def many_headers(scale):
    rng = generator("many headers")
    message = Message(rng)
    more = [b"X-Trace-%05d: hop %d; %b" % (i, i, line_of(rng, 0).encode()[:40].strip())
            for i in range(int(5000 * scale))]
    message.add_header(1, more)
    return joined([message.whole(*message.text(300))])


def siblings(scale):
    """Tiny parts, for memory."""
    message = Message(generator("siblings"))
    message.add_header(1)
    parts = []
    for _ in range(int(100000 * scale)):
        message.entities += 1
        message.add("text", b"x")
        parts.append(([b"Content-Type: text/plain; charset=utf-8",
                       b"Content-Transfer-Encoding: 7bit"], b"x"))
    return joined([message.whole(*message.multipart(b"mixed", b"b", *parts))])


# ---- encodings

def binary_octets(scale):
    return generator("octets").randbytes(int(16 * MIB * scale))


def long_text(scale):
    return text_of(generator("text"), int(16 * MIB * scale))


def base64_to_encode(scale):
    octets = binary_octets(scale)
    return [octets], {"result": [base64.b64encode(octets)]}


def base64_to_decode(scale):
    octets = binary_octets(scale)
    return [base64_lines(octets)], {"result": [octets]}


def quoted_to_encode(scale):
    text = long_text(scale)
    return [text], {"result": [as_found(text)]}


def quoted_to_decode(scale):
    text = long_text(scale)
    return [binascii.b2a_qp(text)], {"result": [as_found(text)]}


def octets_to_copy(scale):
    octets = binary_octets(scale)
    return [octets], {"result": [octets]}


def subjects(scale, charsets):
    """Subjects of one or two encoded words, the second of which goes on with the first."""
    rng = generator("subjects")
    for number in range(int(20000 * scale)):
        charset = charsets[number % len(charsets)]
        encoding = "Q" if charset == "iso-8859-1" else "B"
        first = subject_of(rng, charset, 2)
        second = f" {subject_of(rng, charset, 1)} {number}"
        yield (encoded_word(first, charset, encoding) + b" " +
               encoded_word(second, charset, encoding), first + second)


def words_to_decode(scale):
    pairs = list(subjects(scale, list(SUBJECT_WORDS)))
    return [raw for raw, _ in pairs], {"subject": [text.encode() for _, text in pairs]}


def words_to_encode(scale):
    texts = [text.encode() for _, text in subjects(scale, ["utf-8"])]
    return texts, {"subject": texts}


# ---- mail to compose

#: The records of one mail: sender, three To, one Cc as address and name each, subject, body.
COMPOSED_RECORDS = 12


def composed_mail(rng):
    mailboxes = [mailbox(rng, rng.randint(1, 10**6))[1:] for _ in range(5)]
    subject = subject_of(rng, "utf-8", 3)
    body = text_of(rng, 1500).decode()
    listed = [mailboxes[0], *sorted(mailboxes[1:4], key=lambda pair: pair[1]), mailboxes[4]]
    found = {"name": [name for name, _ in listed], "address": [address for _, address in listed],
             "subject": [subject], "text": [body.replace("\r\n", "\n")]}
    records = [text for name, address in mailboxes for text in (address, name)]
    records += [subject, body]
    return records, {name: [text.encode() for text in texts] for name, texts in found.items()}


def mails_to_compose(scale):
    rng = generator("compose")
    mails = [composed_mail(rng) for _ in range(max(5, int(500 * scale)))]
    records, found = joined(mails)
    return [text.encode() for mail in records for text in mail], found


# ---- files

def write_records(file, records):
    """Each behind its length on a line of its own."""
    with file.open("wb") as out:
        for record in records:
            out.write(b"%d\n%b" % (len(record), record))
