# SPDX-License-Identifier: Apache-2.0
"""The work of own_driver.cpp, done by Python's email; prints the same line.

The memory is what the process grew by, as far as it is resident.
"""

import email
import email.policy
import json
import resource
import sys
import time


def resident():
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss * 1024


def read_addresses(entity):
    return sum(len(entity[name].addresses) for name in ("From", "To", "Cc")
               if entity[name] is not None)


def read_leaf(entity, found):
    entity.get_filename()
    try:
        found["octets"] += len(entity.get_content())
    except (LookupError, ValueError):  # a charset that it does not know, say
        found["octets"] += len(entity.get_payload(decode=True) or b"")


def read(file):
    found = {"entities": 0, "levels": 0, "octets": 0, "addresses": 0}
    with open(file, "rb") as octets:
        message = email.message_from_binary_file(octets, policy=email.policy.default)
    waiting = [(message, 1)]
    while waiting:
        entity, level = waiting.pop()
        found["entities"] += 1
        found["levels"] = max(found["levels"], level)
        str(entity["Subject"])
        found["addresses"] += read_addresses(entity)
        if entity.is_multipart():
            waiting += [(part, level + 1) for part in entity.get_payload()]
        else:
            read_leaf(entity, found)
    return found


def main():
    before, start = resident(), time.process_time()
    found = read(sys.argv[1])
    found |= {"seconds": time.process_time() - start, "peak": resident() - before, "defects": {}}
    print(json.dumps(found))


if __name__ == "__main__":
    try:
        main()
    except MemoryError:
        sys.exit(3)
