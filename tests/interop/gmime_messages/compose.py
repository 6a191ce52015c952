#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Composes the messages of this folder with GMime; to be run by hand when a case is added.

Needs Debian's python3-gi and gir1.2-gmime-3.0, which the tests do without: they read the messages,
as GMime 3.2.13 has written them.
"""

import pathlib

import gi

gi.require_version("GMime", "3.0")
from gi.repository import GMime  # noqa: E402

EVERY_OCTET = bytes(range(256)) * 5
LONG_NAME = "Сводный отчёт о состоянии всех дисков и лент, весь второй квартал, часть 2.pdf"
ENCODINGS = GMime.ContentEncoding



def message(subject, content):
    result = GMime.Message.new(True)
    result.set_subject(subject, "utf-8")
    result.add_mailbox(GMime.AddressType.FROM, "Jürgen Größe", "j.groesse@example.test")
    result.add_mailbox(GMime.AddressType.TO, 'Fox, Anna "The"', "anna@example.test")
    result.add_mailbox(GMime.AddressType.TO, "", "bob@example.test")
    result.add_mailbox(GMime.AddressType.CC, "Anna F. Fox", "fox@example.test")
    result.set_mime_part(content)
    return result


def part(kind, octets, encoding):
    result = GMime.Part.new_with_type(*kind.split("/"))
    stream = GMime.StreamMem.new_with_buffer(octets)
    result.set_content(GMime.DataWrapper.new_with_stream(stream, ENCODINGS.DEFAULT))
    result.set_content_encoding(encoding)
    return result


def text(content, charset="utf-8", encoding=ENCODINGS.QUOTEDPRINTABLE, subtype="plain"):
    result = part(f"text/{subtype}", content.encode(charset), encoding)
    result.get_content_type().set_parameter("charset", charset)
    return result


def attachment(octets, name, encoding=ENCODINGS.BASE64):
    result = part("application/octet-stream", octets, encoding)
    result.set_filename(name)
    return result


def multipart(subtype, boundary, *parts):
    result = GMime.Multipart.new_with_subtype(subtype)
    result.set_boundary(boundary)
    for each in parts:
        result.add(each)
    return result


def cases():
    words = "Grüße aus Köln = 7 € für 日本語. \n.dot\nFrom here\n" + "long " * 60 + "\n"
    inner = message("Weitergeleitet: Größe", text(words))
    alternative = multipart("alternative", "alt=1", text(words),
                            text("<p>Größe</p>", "iso-8859-1", subtype="html"))
    long_name = message("To a long name", text(words))
    long_name.add_mailbox(GMime.AddressType.TO, "Иван Иванович Иванов из отдела сопровождения",
                          "ivan@example.test")
    return {
        "long name": long_name,
        "text in quoted-printable": message("Störung: Lüfter 3 🔥", text(words)),
        "text in base64": message("Предупреждение: диск почти полон, " * 9,
                                  text(words, encoding=ENCODINGS.BASE64)),
        "text in 8bit": message("plain words " * 20,
                                text(words, encoding=getattr(ENCODINGS, "8BIT"))),
        "text in koi8-r": message("=? no word ?=", text("Диск заполнен.\n" * 20, "koi8-r")),
        "text in iso-2022-jp": message("日本語", text(
            "日本語のテキスト。\n", "iso-2022-jp", getattr(ENCODINGS, "7BIT"))),
        "attachments": message("Attachments", multipart(
            "mixed", "=-mixed", alternative, attachment(EVERY_OCTET, LONG_NAME),
            attachment(EVERY_OCTET, 'a "b"; c.bin', ENCODINGS.QUOTEDPRINTABLE),
            attachment(b"", "empty.bin"))),
        "attachment in uuencode": message("Attachment", multipart(
            "mixed", "=-mixed", text("See.\n"), attachment(EVERY_OCTET, "a.bin",
                                                           ENCODINGS.UUENCODE))),
        "forwarded": message("Forwarded", multipart(
            "mixed", "outer", text("See below.\n"), GMime.MessagePart.new_with_message(
                "rfc822", inner))),
        "digest": message("Digest", multipart("digest", "digest", *(
            GMime.MessagePart.new_with_message("rfc822", inner) for _ in range(2)))),
        "without parts": message("Nothing", multipart("mixed", "empty")),
    }


if __name__ == "__main__":
    GMime.init()
    for name, case in cases().items():
        file = pathlib.Path(__file__).with_name(f"{name.replace(' ', '-')}.eml")
        stream = GMime.StreamMem.new()
        case.write_to_stream(None, stream)
        file.write_bytes(bytes(stream.get_byte_array()))
