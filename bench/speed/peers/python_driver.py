# SPDX-License-Identifier: Apache-2.0
"""The works of the speed benchmark, done by Python's standard library: KIND FILE [OPTION...].

With options it is timed, and prints what Google Benchmark would, as far as it is read.
"""

import base64
import email
import email.header
import email.headerregistry
import email.message
import email.policy
import email.utils
import json
import quopri
import sys
import time

NO_SUCH_WORK = 3
MAILBOX_FIELDS = ("From", "To", "Cc")


def read_records(file):
    records = []
    with open(file, "rb") as octets:
        while line := octets.readline():
            records.append(octets.read(int(line)))
    return records


# ---- the works: each yields fields and their values

def parse(messages):
    for octets in messages:
        message = email.message_from_bytes(octets, policy=email.policy.default)
        yield "subject", str(message["Subject"])
        for name in MAILBOX_FIELDS:
            for mailbox in message[name].addresses if message[name] else ():
                yield "name", mailbox.display_name
                yield "address", mailbox.addr_spec
        yield "headers", str(len(message))
        entities = list(message.walk())
        for entity in entities:
            if not entity.is_multipart():
                is_text = entity.get_content_maintype() == "text"
                yield "text" if is_text else "binary", entity.get_content()
        yield "entities", str(len(entities))


def words_decode(subjects):
    for octets in subjects:
        pieces = email.header.decode_header(octets.decode("ascii"))
        yield "subject", str(email.header.make_header(pieces))


def words_encode(subjects):
    for octets in subjects:
        yield "subject", email.header.Header(octets.decode(), "utf-8").encode()


def compose(records):
    texts = [record.decode() for record in records]
    for at in range(0, len(texts), 12):
        mail = texts[at:at + 12]
        mailboxes = [email.headerregistry.Address(name, addr_spec=address)
                     for address, name in zip(mail[0:10:2], mail[1:10:2])]
        message = email.message.EmailMessage(policy=email.policy.SMTP)
        message["From"], message["To"], message["Cc"] = \
            mailboxes[0], mailboxes[1:4], mailboxes[4]
        message["Date"] = email.utils.localtime()
        message["Subject"] = mail[10]
        message.set_content(mail[11], cte="quoted-printable")
        yield "mail", message.as_bytes()


def converted(convert):
    def work(records):
        yield "result", convert(records[0])
    return work


WORKS = {
    "parse": parse, "words_decode": words_decode, "words_encode": words_encode,
    "compose": compose,
    "base64_encode": converted(base64.encodebytes), "base64_decode": converted(base64.b64decode),
    "quoted_encode": converted(quopri.encodestring),
    "quoted_decode": converted(quopri.decodestring),
}


# ---- what a driver does with its work

def show(work, records):
    for name, value in work(records):
        octets = value.encode("utf-8", "replace") if isinstance(value, str) else value
        sys.stdout.buffer.write(b"%b 1 %d\n%b\n" % (name.encode(), len(octets), octets))


def go(work, records):
    for _ in work(records):
        pass


def seconds_of(work, records, least):
    """The CPU time of one go. Python has nothing to warm up that takes long."""
    count, start = 0, time.process_time()
    while count == 0 or time.process_time() - start < least:
        go(work, records)
        count += 1
    return (time.process_time() - start) / count


def main():
    kind, file, *options = sys.argv[1:]
    if kind not in WORKS:
        return NO_SUCH_WORK
    records = read_records(file)
    if not options:
        show(WORKS[kind], records)
        return 0
    least = next(float(option.split("=")[1]) for option in options if "min_time" in option)
    nanoseconds = 1e9 * seconds_of(WORKS[kind], records, least)
    print(json.dumps({"benchmarks": [{"cpu_time": nanoseconds}]}))
    return 0


if __name__ == "__main__":
    sys.exit(main())
