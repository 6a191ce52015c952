# SPDX-License-Identifier: Apache-2.0
"""The rows of the speed benchmark: what is done, with which input, and what is to be reached."""

import inputs


class Row:
    """`kind` of the drivers' works over `make(scale)` (inputs.py). `per` is what is counted: the
    input's octets, or its records, `records` of them to a piece of work. For `more` see table.py.
    """

    def __init__(self, title, kind, make, goal, per="octets", records=1, **more):
        self.title, self.kind, self.make, self.goal = title, kind, make, goal
        self.per, self.records, self.more = per, records, more

    @property
    def unit(self):
        return "MB/s" if self.per == "octets" else "/s"

    @property
    def group(self):
        return self.kind if self.kind in ("parse", "compose", "memcpy") else "encode and decode"

    def amount(self, records):
        """How much work there is, in the unit of the row."""
        if self.per == "octets":
            return sum(map(len, records)) / 1e6
        return len(records) / self.records


ROWS = (
    Row("parse 2 KB notifications", "parse", inputs.notifications, 3.5, ahead_of=["mimetic"]),
    Row("parse 30 KB alternatives", "parse", inputs.alternatives, 3),
    Row("parse a base64 attachment, 10 MiB", "parse", inputs.attachment, 2),
    Row("parse text under 20 multiparts, 1 MiB", "parse", inputs.nested, 3),
    Row("parse 2,000 encoded names in To", "parse", inputs.recipients, 3),
    Row("parse quoted-printable, 5 MiB", "parse", inputs.quoted, 3),
    Row("parse 100 parts of 8-bit text, 5 MiB", "parse", inputs.many_parts, 3),
    Row("parse 5,000 header lines", "parse", inputs.many_headers, 1.5),
    Row("base64 encode, 16 MiB", "base64_encode", inputs.base64_to_encode, 2),
    Row("base64 decode, 16 MiB", "base64_decode", inputs.base64_to_decode, 4),
    Row("quoted-printable encode, 16 MiB", "quoted_encode", inputs.quoted_to_encode, 3),
    Row("quoted-printable decode, 16 MiB", "quoted_decode", inputs.quoted_to_decode, 3),
    Row("decode subjects in four charsets", "words_decode", inputs.words_to_decode, 3,
        per="records", counted=["gmime"]),
    Row("encode subjects", "words_encode", inputs.words_to_encode, 2, per="records"),
    Row("compose 2 KB notifications", "compose", inputs.mails_to_compose, 3,
        per="records", records=inputs.COMPOSED_RECORDS),
    Row("memcpy, 16 MiB", "memcpy", inputs.octets_to_copy, None),
)
