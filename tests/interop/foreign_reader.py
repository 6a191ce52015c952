# SPDX-License-Identifier: Apache-2.0
"""Messages as Python's email package reads them and as ours does, in one form to compare.

A reading is a dictionary: "1 subject", "1 from", "1 to", "1 cc" of the message, and for each entity
"PATH type" and "PATH file name", of a leaf "PATH octets" and of a text "PATH text". Paths are those
that our decoder uses: "1" is the message's own entity, "1.2" the second part of it; an embedded
message at "1.2" has its subject there and its entity at "1.2.1".
"""

import email
import email.policy
from email.header import decode_header, make_header
from email.utils import getaddresses

ADDRESS_FIELDS = ("from", "to", "cc")


def theirs(octets):
    """The reading of Python's email package."""
    message = email.message_from_bytes(octets, policy=email.policy.default)
    reading = {}
    _add_their_message(message, "1", "1", reading)
    return reading


def ours(decoded):
    """The reading that a line of decode_cases or fetch_cases holds."""
    reading = {}
    _add_our_message(decoded, "1", "1", reading)
    return reading


def differences(octets, decoded):
    """{what: (ours, theirs)} for all that is read in two ways.

    "tree" stands for the types of all entities; where it differs, the rest is compared as far as
    it is there in both. A text is compared where its octets are the same.
    """
    our_reading, their_reading = ours(decoded), theirs(octets)
    found = {what: (our_reading[what], their_reading[what])
             for what in our_reading.keys() & their_reading.keys()
             if our_reading[what] != their_reading[what]}
    for octets_differ in [what for what in found if what.endswith(" octets")]:
        found.pop(octets_differ.replace("octets", "text"), None)
    trees = _tree(our_reading), _tree(their_reading)
    return found | ({"tree": trees} if trees[0] != trees[1] else {})


def _tree(reading):
    """Path and type of each entity; a leaf has a star."""
    return [what.removesuffix("type") + reading[what] +
            ("*" if what.replace("type", "octets") in reading else "")
            for what in sorted(reading) if what.endswith(" type")]


def _add_our_message(message, path, entity_path, reading):
    reading[f"{path} subject"] = message["subject"]
    for field in ADDRESS_FIELDS:
        reading[f"{path} {field}"] = message[field]
    _add_our_entity(message["tree"], entity_path, reading)


def _add_our_entity(entity, path, reading):
    reading[f"{path} type"] = entity["type"].lower()
    reading[f"{path} file name"] = entity["file name"]
    if "message" in entity:
        _add_our_message(entity["message"], path, f"{path}.1", reading)
    elif "parts" in entity:
        for number, part in enumerate(entity["parts"], 1):
            _add_our_entity(part, f"{path}.{number}", reading)
    else:
        reading[f"{path} octets"] = entity["octets"]
        if "text" in entity:
            reading[f"{path} text"] = entity["text"]


def _add_their_message(message, path, entity_path, reading):
    reading[f"{path} subject"] = _attempt(lambda: str(message["subject"] or ""))
    for field in ADDRESS_FIELDS:
        reading[f"{path} {field}"] = _attempt(lambda: _their_addresses(message, field))
    _add_their_entity(message, entity_path, reading)


def _add_their_entity(entity, path, reading):
    reading[f"{path} type"] = entity.get_content_type()
    reading[f"{path} file name"] = _attempt(lambda: entity.get_filename(""))
    if not entity.is_multipart():
        octets = entity.get_payload(decode=True) or b""
        reading[f"{path} octets"] = octets.decode("latin-1")
        if entity.get_content_maintype() == "text":
            charset = entity.get_content_charset("ascii")
            reading[f"{path} text"] = _attempt(lambda: octets.decode(charset, "replace"))
    elif entity.get_content_maintype() == "multipart":
        for number, part in enumerate(entity.get_payload(), 1):
            _add_their_entity(part, f"{path}.{number}", reading)
    else:
        _add_their_message(entity.get_payload(0), path, f"{path}.1", reading)


def _their_addresses(message, field):
    """By the package's older reader: the newer one parts the encoded words of a name by blanks."""
    values = [value for name, value in message.raw_items() if name.lower() == field]
    return [[str(make_header(decode_header(name))), address]
            for name, address in getaddresses(values) if address]


def _attempt(read):
    """What `read` returns, or what their parser fails with: that too is what it makes of it."""
    try:
        return read()
    except Exception as error:
        return repr(error)
