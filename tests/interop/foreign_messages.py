# SPDX-License-Identifier: Apache-2.0
"""Messages that foreign programs have composed, by name.

"gmime" ones are the files in gmime_messages/, all others are of Python's email package: "legacy"
ones are composed with its older interface (compat32), the rest with the newer one. Boundaries
come from the seeded generator of random numbers, so that a case is the same octets in each run.
"""

import email.message
import email.mime.audio
import email.mime.base
import email.mime.message
import email.mime.multipart
import email.mime.text
import email.policy
import email.utils
import pathlib
import random
from email.header import Header

GMIME_MESSAGES = pathlib.Path(__file__).parent / "gmime_messages"
EVERY_OCTET = bytes(range(256)) * 5
LONG_SUBJECT = "Предупреждение: диск почти полон, " * 9 + "日本語の件名です。"


def modern(subject="A subject", sender="Anna <anna@example.test>", to="bob@example.test", cc=None):
    message = email.message.EmailMessage()
    message["Subject"] = subject
    message["From"] = sender
    message["To"] = to
    if cc:
        message["Cc"] = cc
    return message


def modern_text(text="A text.\n", subject="A subject", **options):
    message = modern(subject)
    message.set_content(text, **options)
    return message


def modern_senders():
    senders = {
        "bare": "anna@example.test",
        "quoted": '"Fox, Anna \\"The\\" (x)" <anna@example.test>',
        "non-ascii": "Jürgen Größe 日本 <j.groesse@example.test>",
        "long non-ascii": "Очень длинное имя отправителя " * 6 + "<anna@example.test>",
        "dotted": "Anna F. Fox <anna@example.test>",
        "with quoted local part": 'Anna <"anna fox"@example.test>',
        "two": "Anna <anna@example.test>, bob@example.test",
    }
    return {f"sender {name}": with_content(modern(sender=sender))
            for name, sender in senders.items()}


def modern_recipients():
    many = ", ".join(f"Recipient Number {number} <r{number}@example.test>" for number in range(30))
    mixed = "Zoë <zoe@example.test>, bob@example.test, \"Doe, John\" <doe@example.test>"
    return {
        "recipients many": with_content(modern(to=many, cc=mixed)),
        "recipients mixed": with_content(modern(to=mixed, cc="last@example.test")),
        "recipients in a group": with_content(modern(to="Team: a@example.test, b@example.test;")),
        "recipients undisclosed": with_content(modern(to="undisclosed-recipients:;")),
    }


def with_content(message, text="A text.\n"):
    message.set_content(text)
    return message


def modern_subjects():
    subjects = {"long ascii": "word " * 80 + "end", "non-ascii": "Störung: Lüfter 3 🔥",
                "long non-ascii": LONG_SUBJECT, "like an encoded word": "=? not one ?=",
                "mixed": "Re: Größe, then plain words, then 日本語, and plain again" * 3,
                "empty": "", "with blanks": "two  blanks   three"}
    return {f"subject {name}": modern_text(subject=subject) for name, subject in subjects.items()}


def modern_texts():
    cases = {
        "ascii": ("A line.\n\nAnother one.\n", {}),
        "empty": ("", {}),
        "8bit": ("Grüße: 7 €\n", {"cte": "8bit"}),
        "quoted-printable": ("Grüße = 7 €  \n" + "long " * 60 + "\n", {"cte": "quoted-printable"}),
        "base64": ("日本語のテキスト。\n" * 90, {"cte": "base64"}),
        "latin1": ("Größe\n", {"charset": "iso-8859-1"}),
        "html": ("<p>Größe</p>\n", {"subtype": "html"}),
        "dashes": ("--\nsignature\n--a\n-- \n", {}),
        "long line": ("x" * 5000 + "\n", {"cte": "7bit"}),
    }
    return {f"text {name}": modern_text(text, **options) for name, (text, options) in cases.items()}


def modern_attachments():
    names = {"ascii name": "a.bin", "quoted name": 'a "b"; c.bin', "non-ascii name": "Größe €.bin",
             "long name": "very long name " * 12 + ".bin"}
    cases = {f"attachment {name}": modern_text() for name in names}
    for message, name in zip(cases.values(), names.values()):
        message.add_attachment(EVERY_OCTET, maintype="application", subtype="octet-stream",
                               filename=name)
    message = cases["attachment in quoted-printable"] = modern_text()
    message.add_attachment(EVERY_OCTET, maintype="application", subtype="x-test",
                           cte="quoted-printable")
    message = cases["attachment empty"] = modern_text()
    message.add_attachment(b"", maintype="application", subtype="x-empty")
    return cases


def modern_structures():
    full = modern_text("Plain.\n")
    full.add_alternative("<p>HTML</p>\n", subtype="html")
    full.get_payload()[1].add_related(EVERY_OCTET, maintype="image", subtype="png", cid="<a@b>")
    full.add_attachment("a,b\n", subtype="csv", filename="table.csv")
    forwarded = modern_text("See below.\n")
    forwarded.add_attachment(full)
    forwarded_twice = modern_text("See further below.\n")
    forwarded_twice.add_attachment(forwarded)
    surrounded = modern_text("Plain.\n")
    surrounded.add_attachment("x\n")
    surrounded.preamble, surrounded.epilogue = "A preamble.\n", "An epilogue.\n--not a delimiter\n"
    deep = modern_text("Deep.\n")
    for _ in range(20):
        outer = modern()
        outer.make_mixed()
        outer.attach(deep)
        deep = outer
    return {"structure full": full, "structure forwarded": forwarded, "structure deep": deep,
            "structure forwarded twice": forwarded_twice, "structure surrounded": surrounded}


def legacy_message(content):
    content["Subject"] = Header("Größe der Störung", "iso-8859-1")
    content["From"] = email.utils.formataddr(("Jürgen Größe", "j@example.test"), "iso-8859-1")
    content["To"] = email.utils.formataddr(("Fox, Anna", "anna@example.test"))
    return content


def legacy_multipart(subtype, *parts):
    container = legacy_message(email.mime.multipart.MIMEMultipart(subtype))
    for part in parts:
        container.attach(part)
    return container


def legacy_report():
    status = email.mime.base.MIMEBase("message", "delivery-status")
    for name, value in (("Reporting-MTA", "dns; mail.test"), ("Action", "failed")):
        group = email.message.Message()
        group[name] = value
        status.attach(group)
    return legacy_multipart("report", email.mime.text.MIMEText("Bounced.\n"), status)


def legacy():
    text = email.mime.text.MIMEText
    embedded = email.mime.message.MIMEMessage(legacy_message(text("Embedded.\n")))
    with_comment = text("A text.\n")
    with_comment["From"] = "anna@example.test (Anna Fox)"
    with_two_cc_lines = legacy_message(text("A text.\n"))
    with_two_cc_lines["Cc"] = "bob@example.test"
    with_two_cc_lines["Cc"] = "carol@example.test"
    digest = [email.mime.message.MIMEMessage(legacy_message(text(f"{n}\n"))) for n in range(3)]
    return {
        "legacy ascii": legacy_message(text("A text.\n")),
        "legacy latin1": legacy_message(text("Größe\n", "plain", "iso-8859-1")),
        "legacy utf-8": legacy_message(text("Größe €\n", "plain", "utf-8")),
        "legacy iso-2022-jp": legacy_message(text("日本語\n", "plain", "iso-2022-jp")),
        "legacy sender with comment": with_comment,
        "legacy two Cc lines": with_two_cc_lines,
        "legacy alternative": legacy_multipart("alternative", text("a\n"), text("<p>", "html")),
        "legacy audio": legacy_multipart("mixed", email.mime.audio.MIMEAudio(EVERY_OCTET, "wav")),
        "legacy digest": legacy_multipart("digest", *digest),
        "legacy embedded": legacy_multipart("mixed", text("See:\n"), embedded),
        "legacy no parts": legacy_multipart("mixed"),
        "legacy report": legacy_report(),
    }


def all_messages():
    """The octets of each case, with LF line ends."""
    gmime = {f"gmime {file.stem}": file.read_bytes() for file in GMIME_MESSAGES.glob("*.eml")}
    random.seed(2)
    cases = (modern_senders() | modern_recipients() | modern_subjects() | modern_texts() |
             modern_attachments() | modern_structures())
    policy = email.policy.default.clone(cte_type="8bit")
    octets = {name: case.as_bytes(policy=policy) for name, case in cases.items()}
    with_raw_utf8 = modern_text("Größe\n", LONG_SUBJECT)
    octets["raw utf-8 header"] = with_raw_utf8.as_bytes(policy=email.policy.SMTPUTF8.clone(
        linesep="\n"))
    return octets | gmime | {name: case.as_bytes() for name, case in legacy().items()}
