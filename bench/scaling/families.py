# SPDX-License-Identifier: Apache-2.0
"""Messages that grow: families of mail, each in several shapes, of any size.

A shape is written as a message of a number of octets, in pieces, so that none has to be in memory.
Sizes are chosen so that a cell is long enough to measure, and below and beyond the default limits
of guarded decoding (a header block of 1 MiB, 20,000 entities, 100 levels).
"""

import base64
import itertools

KIB, MIB = 1 << 10, 1 << 20
#: The largest size of a shape, as in the table: 4N.
HEADER, HUGE_HEADER, BODY, HUGE_BODY = 900 * KIB, 16 * MIB, 16 * MIB, 64 * MIB
DEEP_BODY = 2 * MIB  # each octet goes through the filters of a hundred levels

#: Of 70 octets, the most that RFC 2046 allows; each of its prefixes occurs in it again and again.
LONG_BOUNDARY = b"a" * 69 + b"b"


#: Numbers from here are as long as each other: a boundary that begins another ends the other too.
SAME_WIDTH = 100000


class Shape:
    """One shape of a family: `write(file, octets)` makes a message of about so many octets."""

    def __init__(self, family, name, largest, pieces):
        self.family, self.name, self.largest, self.pieces = family, name, largest, pieces

    def __str__(self):
        return f"{self.family}: {self.name}"

    def write(self, file, octets):
        """Returns the number of octets written."""
        written = 0
        for piece in self.pieces(octets):
            file.write(piece)
            written += len(piece)
        return written


# ---- ways to fill a size

def repeated(head, piece, tail=b""):
    """A beginning, one piece as often as it fits, an end."""
    def pieces(octets):
        yield head
        count = max(1, (octets - len(head) - len(tail)) // len(piece))
        each = max(1, MIB // len(piece))
        for _ in range(count // each):
            yield piece * each
        yield piece * (count % each)
        yield tail
    return pieces


def numbered(head, template, tail=b"", first=0):
    """The same with a number, from `first`, in the place of each "%d"."""
    def pieces(octets):
        yield head
        left = octets - len(head) - len(tail)
        numbers = template.count(b"%d")
        for number in itertools.count(first):
            piece = template % ((number,) * numbers)
            left -= len(piece)
            if left < 0 and number > first:
                break
            yield piece
        yield tail
    return pieces


def mirrored(head, opening, middle, closing, tail):
    """Opening pieces, a middle, and as many closing ones."""
    def pieces(octets):
        count = max(1, (octets - len(head + middle + tail)) // len(opening + closing))
        yield head + opening * count + middle + closing * count + tail
    return pieces


def closed_levels(count, boundary, body):
    """`count` multiparts in each other, closed, around a text of the repeated `body`."""
    def pieces(octets):
        for level in range(count):
            name = boundary % level
            yield (b"Content-Type: multipart/mixed; boundary=%b\r\n\r\n--%b\r\n" % (name, name))
        yield from repeated(b"\r\n", body)(octets)
        for level in reversed(range(count)):
            yield b"\r\n--" + boundary % level + b"--\r\n"
    return pieces


def long_boundaries(part):
    """98 multiparts in each other, whose boundaries are an eighth of the size, and a part again and
    again in the innermost one: `part(filler)`, where the filler is as long as a boundary. That one
    begins with a field that spends what is left for fields without asking."""
    def pieces(octets):
        filler = b"a" * (octets // 8 // 98 // 2)
        for level in range(98):
            name = b"%02d" % level + filler
            yield b"Content-Type: multipart/mixed; boundary=%b\n\n--%b\n" % (name, name)
        head = b"a:b\na:" + b"," * 5500 + b"\n" + MULTIPART
        yield from repeated(head, part(filler))(octets // 8 * 7)
    return pieces


def short_and_long_fields(filler):
    """A part whose short fields ask for more to spend; the boundaries of all levels are looked for
    in the long ones."""
    fields = b"a:,\n" * 5000 + b"a:" + filler + b"\n"
    return b"--b\n" + fields * (700 * KIB // len(fields)) + b"\n\n"


def encoded_messages(octets):
    """Messages in messages, each level in base64 again; levels as many as fit."""
    message = b"Subject: innermost\r\n\r\ntext\r\n"
    head = b"Content-Type: message/rfc822\r\nContent-Transfer-Encoding: base64\r\n\r\n"
    while len(message) * 4 // 3 < octets:
        message = head + base64.encodebytes(message).replace(b"\n", b"\r\n")
    yield message + b" " * max(0, octets - len(message))


# ---- the families

def field(name, piece, tail=b"\r\n\r\ntext\r\n"):
    return repeated(name + b": ", piece, tail)


def to_line(piece, tail=b"z@example.org\r\n\r\ntext\r\n"):
    return field(b"To", piece, tail)


def typed(piece, tail=b"\r\n\r\ntext\r\n"):
    return repeated(b"Content-Type: text/plain", piece, tail)


def numbered_parameters(template):
    return numbered(b"Content-Type: text/plain", template, b"\r\n\r\ntext\r\n")


MULTIPART = b"Content-Type: multipart/mixed; boundary=b\r\n\r\n"
LONG_MULTIPART = b"Content-Type: multipart/mixed; boundary=" + LONG_BOUNDARY + b"\r\n\r\n"
BASE64 = b"Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n"
QUOTED = (b"Content-Type: text/plain; charset=utf-8\r\n"
          b"Content-Transfer-Encoding: quoted-printable\r\n\r\n")
USUAL_PART = (b"--b\r\nContent-Type: text/plain; charset=utf-8\r\n"
              b"Content-Disposition: attachment; filename=\"name.txt\"\r\n"
              b"Content-Transfer-Encoding: 8bit\r\n\r\nA short text.\r\n")
BASE64_LINE = base64.b64encode(b"Text of an attachment, in lines of 57 octets, as is usual")

ADDRESSES = (
    ("usual", HEADER, to_line(b"First Last <first.last@example.org>,\r\n ")),
    ("tiniest", HEADER, to_line(b"a@b,")),
    ("usual, huge", HUGE_HEADER, to_line(b"First Last <first.last@example.org>,\r\n ")),
    ("tiniest, huge", HUGE_HEADER, to_line(b"a@b,")),
    ("one field each", HEADER, repeated(b"", b"To: a@b,\r\n", b"\r\n")),
    ("colons", HEADER, to_line(b":")),
    ("groups", HEADER, to_line(b"g: a@b, c@d;, ")),
    ("groups in groups", HEADER, to_line(b"g:")),
    ("angle brackets", HEADER, to_line(b"<")),
    ("a phrase of words", HEADER, to_line(b"a ", b"<a@b>\r\n\r\ntext\r\n")),
    ("routes", HEADER, to_line(b"@a,", b":a@b\r\n\r\ntext\r\n")),
    ("at signs", HEADER, to_line(b"@")),
    ("commas", HEADER, to_line(b",")),
    ("encoded names", HEADER, to_line(b"=?utf-8?q?N=C3=A4me?= <a@example.org>,\r\n ")),
)
COMMENTS = (
    ("usual", HEADER, to_line(b"a@example.org (a comment),\r\n ")),
    ("before each address", HEADER, to_line(b"(c)a@b,")),
    ("unclosed", HEADER, to_line(b"(")),
    ("nested", HEADER, mirrored(b"To: ", b"(", b"x", b")", b"a@b\r\n\r\ntext\r\n")),
    ("one long", HEADER, field(b"To", b"a comment ", b"\r\n\r\ntext\r\n")),
    ("closing", HEADER, to_line(b")")),
    ("in a MIME field", HEADER, typed(b" (c)")),
    ("unclosed in a MIME field", HEADER, typed(b"(c ")),
    ("behind a parameter each", HEADER, typed(b"; a=b (c)")),
)
QUOTES = (
    ("usual", HEADER, to_line(b'"Last, First" <a@example.org>,\r\n ')),
    ("tiniest", HEADER, to_line(b'""@b,')),
    ("words", HEADER, to_line(b'"a" ')),
    ("unclosed", HEADER, to_line(b'a "', b"\r\n\r\n")),
    ("one long", HEADER, repeated(b'To: "', b"word ", b'" <a@b>\r\n\r\ntext\r\n')),
    ("backslashes", HEADER, repeated(b'To: "', b"\\\\", b'" <a@b>\r\n\r\ntext\r\n')),
    ("in a MIME field", HEADER, repeated(b'Content-Type: text/plain; name="', b"ab \\\" ",
                                         b'"\r\n\r\ntext\r\n')),
)
ENCODED_WORDS = (
    ("usual", HEADER, field(b"Subject", b"=?utf-8?b?w6TDtsO8IGFuZCBzbyBvbg==?=\r\n ")),
    ("tiniest", HEADER, field(b"Subject", b"=?utf-8?q?a?= ")),
    ("tiniest, huge", HUGE_HEADER, field(b"Subject", b"=?utf-8?q?a?= ")),
    ("without blanks", HEADER, field(b"Subject", b"=?utf-8?q?a?=")),
    ("empty", HEADER, field(b"Subject", b"=?a?q??=")),
    ("openings", HEADER, field(b"Subject", b"=?")),
    ("question marks", HEADER, field(b"Subject", b"=?a?b?c?")),
    ("one long", HEADER, repeated(b"Subject: =?utf-8?q?", b"=C3=A4", b"?=\r\n\r\ntext\r\n")),
    ("one long, malformed", HEADER,
     repeated(b"Subject: =?utf-8?q?", b"=zz", b"?=\r\n\r\ntext\r\n")),
    ("unknown charset", HEADER, field(b"Subject", b"=?no-such?q?a?= ")),
    ("unknown charsets, each its own", HEADER,
     numbered(b"Subject: ", b"=?x%d?q?a?= ", b"\r\n\r\ntext\r\n")),
    ("many charsets", HEADER,
     field(b"Subject", b"=?koi8-r?q?a?= =?iso-2022-jp?b?GyRCRnxLXBsoQg==?= =?big5?q?a?= "
                       b"=?windows-1251?q?a?= =?gb18030?q?a?= =?shift_jis?q?a?= ")),
    ("with text between", HEADER, field(b"Subject", b"a =?utf-8?q?a?= ")),
    ("blanks between", HEADER, field(b"Subject", b"=?" + b" " * 100)),
    ("as a name", HEADER, field(b"To", b"=?utf-8?q?a?= ", b"<a@b>\r\n\r\ntext\r\n")),
)
SECTIONS = (
    ("usual", HEADER, numbered_parameters(b";\r\n name*%d=\"a piece of the name \"")),
    ("tiniest", HEADER, numbered_parameters(b";a*%d=b")),
    ("tiniest, huge", HUGE_HEADER, numbered_parameters(b";a*%d=b")),
    ("extended", HEADER, numbered_parameters(b";a*%d*=%%C3%%A4")),
    ("the same number", HEADER, typed(b";a*0=b")),
    ("large numbers", HEADER, numbered_parameters(b";a*%d99999=b")),
    ("a name each", HEADER, numbered_parameters(b";a%d*0=b")),
    ("a name each, long", HEADER, numbered_parameters(b";a" + b"x" * 100 + b"%d*0=b")),
    ("stars", HEADER, typed(b";a" + b"*" * 1000 + b"=b")),
    ("escapes", HEADER, repeated(b"Content-Type: text/plain; a*=utf-8''", b"%C3%A4",
                                 b"\r\n\r\ntext\r\n")),
)
PARAMETERS = (
    ("usual", HEADER, numbered_parameters(b";\r\n parameter-%d=\"some value\"")),
    ("tiniest", HEADER, numbered_parameters(b";a%d=b")),
    ("tiniest, huge", HUGE_HEADER, numbered_parameters(b";a%d=b")),
    ("the same name", HEADER, typed(b";a=b")),
    ("extended", HEADER, typed(b";a*=utf-8''%C3%A4")),
    ("semicolons", HEADER, typed(b";")),
    ("one long value", HEADER, repeated(b"Content-Type: text/plain; name=", b"abc",
                                        b"\r\n\r\ntext\r\n")),
    ("one long name", HEADER, repeated(b"Content-Type: text/plain; ", b"abc",
                                       b"=value\r\n\r\ntext\r\n")),
    ("in many parts", BODY,
     repeated(MULTIPART, b"--b\r\nContent-Type: text/plain" + b"; a=b; c=d; e=f; g=h" * 20
              + b"\r\n\r\n\r\n", b"--b--\r\n")),
)
HEADER_LINES = (
    ("usual", HEADER, numbered(b"", b"X-Field-%d: some value of it\r\n", b"\r\ntext\r\n")),
    ("tiniest", HEADER, numbered(b"", b"%d:b\n", b"\ntext\r\n")),
    ("tiniest, huge", HUGE_HEADER, numbered(b"", b"%d:b\n", b"\ntext\r\n")),
    ("the same name", HEADER, repeated(b"", b"a:b\n", b"\ntext\r\n")),
    ("the same name, huge", HUGE_BODY, repeated(b"", b"a:b\n", b"\ntext\r\n")),
    ("without a colon", HEADER, repeated(b"", b"a\n", b"\ntext\r\n")),
    ("without a value", HEADER, repeated(b"", b"a:\n", b"\ntext\r\n")),
    ("folded", HEADER, repeated(b"Subject:\r\n", b" a\r\n", b"\r\ntext\r\n")),
    ("long names", HEADER, numbered(b"", b"x" * 1000 + b"%d:b\r\n", b"\r\ntext\r\n")),
    ("names of 8-bit octets", HEADER, numbered(b"", b"\xc3\xa4%d:b\r\n", b"\r\ntext\r\n")),
    ("in many parts", BODY, repeated(MULTIPART, b"--b\r\n" + b"".join(
        b"X-%d: some value\r\n" % number for number in range(40)) + b"\r\n\r\n", b"--b--\r\n")),
)
ONE_LONG_HEADER = (
    ("usual", HEADER, field(b"Subject", b"word ")),
    ("usual, huge", HUGE_BODY, field(b"Subject", b"word ")),
    ("octets of 0x80 and above", HEADER, field(b"Subject", b"\xff\xfe")),
    ("UTF-8", HEADER, field(b"Subject", "ä€".encode())),
    ("blanks", HEADER, field(b"Subject", b" ", b"a\r\n\r\ntext\r\n")),
    ("NUL", HEADER, field(b"Subject", b"\0")),
    ("without an end", HUGE_HEADER, field(b"Subject", b"word ", b"")),
    ("a long name", HEADER, repeated(b"", b"name", b": value\r\n\r\ntext\r\n")),
)
NESTED_MULTIPARTS = (
    ("usual", DEEP_BODY,
     numbered(b"", b"Content-Type: multipart/mixed; boundary=\"level-%d\"\r\n\r\n"
                   b"--level-%d\r\n", first=SAME_WIDTH)),
    ("tiniest", DEEP_BODY,
     numbered(b"", b"Content-Type:multipart/x;boundary=%d\n\n--%d\n", first=SAME_WIDTH)),
    ("boundaries that begin another", 4 * DEEP_BODY,
     numbered(b"", b"Content-Type:multipart/x;boundary=%d\n\n--%d\n")),
    ("the same boundary", BODY, repeated(b"", b"Content-Type:multipart/x;boundary=b\n\n--b\n")),
    ("the same boundary, small", 64 * KIB,
     repeated(b"", b"Content-Type:multipart/x;boundary=b\n\n--b\n")),
    ("98 around a long text", DEEP_BODY, closed_levels(98, b"level-%02d", b"A line of text.\r\n")),
    ("98 around line ends", DEEP_BODY, closed_levels(98, b"level-%02d", b"\r\n")),
    ("98 around hyphens", 4 * DEEP_BODY, closed_levels(98, b"level-%02d", b"\r\n--")),
    ("98, boundaries that begin another", DEEP_BODY,
     closed_levels(98, b"level%d", b"\r\n--level")),
    ("98 of long boundaries around fields", BODY, long_boundaries(short_and_long_fields)),
    ("98 of long boundaries around parts", BODY,
     long_boundaries(lambda filler: b"--b\n\n" + b"x" * 1000 + b"\n")),
)
NESTED_MESSAGES = (
    ("usual", BODY,
     repeated(b"", b"Subject: in a message\r\nContent-Type: message/rfc822\r\n\r\n")),
    ("tiniest", HUGE_BODY, repeated(b"", b"Content-Type:message\n\n")),
    ("tiniest, small", 64 * KIB, repeated(b"", b"Content-Type:message\n\n")),
    ("98 around a long text", BODY, repeated(b"Content-Type: message/rfc822\r\n\r\n" * 98 + b"\r\n",
                                             b"A line of text.\r\n")),
    ("each in base64", BODY, encoded_messages),
)
SIBLING_PARTS = (
    ("usual", 3 * MIB, repeated(MULTIPART, USUAL_PART, b"--b--\r\n")),
    ("tiniest", 72 * KIB, repeated(MULTIPART, b"--b\n", b"--b--\r\n")),
    ("usual, huge", HUGE_BODY, repeated(MULTIPART, USUAL_PART, b"--b--\r\n")),
    ("tiniest, huge", HUGE_BODY, repeated(MULTIPART, b"--b\n", b"--b--\r\n")),
    ("with an empty body", 128 * KIB, repeated(MULTIPART, b"--b\n\n\n", b"--b--\r\n")),
    ("messages", 320 * KIB, repeated(MULTIPART, b"--b\nContent-Type:message\n\n\n\n",
                                     b"--b--\r\n")),
    ("multiparts", 640 * KIB, repeated(
        MULTIPART, b"--b\nContent-Type:multipart/x;boundary=c\n\n--c--\n", b"--b--\r\n")),
    ("octet streams", 640 * KIB, repeated(
        MULTIPART, b"--b\nContent-Type:a/b\n\nx\n", b"--b--\r\n")),
    ("each with a defect", 640 * KIB, repeated(
        MULTIPART, b"--b\nContent-Type:text/plain;charset=x\n\nx\n", b"--b--\r\n")),
    ("not closed", 3 * MIB, repeated(MULTIPART, USUAL_PART)),
)
BASE64_BODY = (
    ("usual", HUGE_BODY, repeated(BASE64, BASE64_LINE + b"\r\n")),
    ("one line", BODY, repeated(BASE64, BASE64_LINE)),
    ("one octet a line", BODY, repeated(BASE64, b"Q\r\nU\r\nF\r\nB\r\n")),
    ("blanks", BODY, repeated(BASE64, b" ")),
    ("padding", BODY, repeated(BASE64, b"QQ==")),
    ("equals signs", BODY, repeated(BASE64, b"=")),
    ("no base64", BODY, repeated(BASE64, b"!")),
    ("in parts", BODY, repeated(MULTIPART, b"--b\r\n" + BASE64
                                + (BASE64_LINE + b"\r\n") * 100, b"--b--\r\n")),
)
QUOTED_PRINTABLE_BODY = (
    ("usual", HUGE_BODY, repeated(QUOTED, b"A line of text with an =C3=A4 and a soft line=\r\n end."
                                          b"\r\n")),
    ("one line", BODY, repeated(QUOTED, b"text")),
    ("escapes", BODY, repeated(QUOTED, b"=C3=A4")),
    ("soft line ends", BODY, repeated(QUOTED, b"=\r\n")),
    ("no escapes", BODY, repeated(QUOTED, b"=zz")),
    ("equals signs", BODY, repeated(QUOTED, b"=")),
    ("blanks", BODY, repeated(QUOTED, b" ", b"\r\n")),
    ("blanks in lines", BODY, repeated(QUOTED, b" " * 1000 + b"\r\n")),
)
BOUNDARY_LOOK_ALIKES = (
    ("all but the last octet", HUGE_BODY,
     repeated(LONG_MULTIPART, b"\r\n--" + LONG_BOUNDARY[:-1], b"\r\n--" + LONG_BOUNDARY + b"--")),
    ("a long run of its prefix", HUGE_BODY, repeated(LONG_MULTIPART, b"\r\n--" + b"a" * 1000)),
    ("hyphens", HUGE_BODY, repeated(MULTIPART, b"-")),
    ("line ends", BODY, repeated(MULTIPART, b"\r\n")),
    ("lines of hyphens", BODY, repeated(MULTIPART, b"\r\n--")),
    ("carriage returns", HUGE_BODY, repeated(MULTIPART, b"\r")),
    ("the boundary within lines", HUGE_BODY, repeated(MULTIPART, b" --b")),
    ("without a boundary", BODY, repeated(b"Content-Type: multipart/mixed\r\n\r\n",
                                          b"--a line\r\n")),
    ("in a part", BODY, repeated(LONG_MULTIPART + b"--" + LONG_BOUNDARY + b"\r\n\r\n",
                                 b"\r\n--" + LONG_BOUNDARY[:-1])),
    ("of the outer multipart", BODY, repeated(
        b"Content-Type: multipart/mixed; boundary=aa\r\n\r\n--aa\r\n"
        b"Content-Type: multipart/mixed; boundary=aaa\r\n\r\n--aaa\r\n\r\n", b"\r\n--a")),
    ("cut in a nested multipart", BODY, repeated(
        MULTIPART + b"--b\r\nContent-Type: multipart/mixed; boundary=bb\r\n\r\n", b"--bb")),
)
TEXT_BODY = (
    ("ASCII", HUGE_BODY, repeated(b"\r\n", b"A line of text.\r\n")),
    ("unlabelled 8-bit octets", BODY, repeated(b"\r\n", b"\xff")),
    ("UTF-8", BODY, repeated(b"Content-Type: text/plain; charset=utf-8\r\n\r\n",
                             "äöü €\r\n".encode())),
    ("malformed UTF-8", BODY, repeated(b"Content-Type: text/plain; charset=utf-8\r\n\r\n",
                                       b"\xf0\x9f\x98")),
    ("ISO-2022-JP", BODY, repeated(b"Content-Type: text/plain; charset=iso-2022-jp\r\n\r\n",
                                   b"\x1b$BF|K\\\x1b(B\r\n")),
    ("UTF-16", BODY, repeated(b"Content-Type: text/plain; charset=utf-16\r\n\r\n", b"\0a\0\n")),
)

FAMILIES = {
    "addresses": ADDRESSES,
    "comments": COMMENTS,
    "quotes": QUOTES,
    "encoded words": ENCODED_WORDS,
    "RFC 2231 sections": SECTIONS,
    "parameters": PARAMETERS,
    "header lines": HEADER_LINES,
    "one long header": ONE_LONG_HEADER,
    "nested multiparts": NESTED_MULTIPARTS,
    "nested messages": NESTED_MESSAGES,
    "sibling parts": SIBLING_PARTS,
    "base64 body": BASE64_BODY,
    "quoted-printable body": QUOTED_PRINTABLE_BODY,
    "boundary look-alikes": BOUNDARY_LOOK_ALIKES,
    "text body": TEXT_BODY,
}

SHAPES = [Shape(family, *row) for family, rows in FAMILIES.items() for row in rows]


# ---- levels

def levels(count, kind):
    """A message of `count` levels: count - 1 containers in each other, and a text."""
    pieces = []
    for level in range(1, count):
        is_message = kind == "messages" or kind == "both" and level % 2 == 0
        pieces.append(b"Content-Type: message/rfc822\r\n\r\n" if is_message else
                      b"Content-Type: multipart/mixed; boundary=b%d\r\n\r\n--b%d\r\n"
                      % (SAME_WIDTH + level, SAME_WIDTH + level))
    return b"".join(pieces) + b"\r\ninnermost text"
