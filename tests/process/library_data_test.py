#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""library_data_test.py LIBRARY: what a process that loads libvtinetlib.so has to keep of it.

The library has no state of its own but five constant strings, which are made when it is loaded:
so several users of it in one process, and threads, have nothing to share.
"""

import re
import subprocess
import sys

#: The names of the settings. Their strings are the only thing that is made at load.
KEYS = {f"(anonymous namespace)::{name}"
        for name in ("hostKey", "senderAddressKey", "senderNameKey", "sendActiveKey", "charsetKey")}
CONSTRUCTOR = "_GLOBAL__sub_I_admailmsg.utf16.cpp"
#: What compiler and linker put there: the same in each shared object, and constant after load.
COMPILERS_OWN = re.compile(r"__dso_handle|__TMC_END__|completed\.0|DW\.ref\.\S+|"
                           r"_GLOBAL_OFFSET_TABLE_|_edata|_end|__bss_start|_fini|_init|"
                           r"__cpu_model|__cpu_features2")  # for __builtin_cpu_supports
CPU_CONSTRUCTOR = "__cpu_indicator_init"


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def sections(library):
    """Name of each section: (address, size)."""
    found = {}
    for line in output("readelf", "-SW", library).splitlines():
        match = re.match(r"\s*\[\s*\d+\]\s+(\S+)\s+\S+\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)",
                         line)
        if match:
            found[match[1]] = int(match[2], 16), int(match[3], 16)
    return found


def symbols(library):
    """(address, name) of all that the library defines."""
    lines = output("nm", "--defined-only", library).splitlines()
    names = [line.split(" ", 2)[2] for line in lines]
    readable = output("nm", "--defined-only", "--demangle", library).splitlines()
    return [(int(line.split(" ", 2)[0], 16), name, raw)
            for line, name, raw in zip(lines, (text.split(" ", 2)[2] for text in readable), names)]


def within(section, address):
    return section[0] <= address < section[0] + section[1]


def writable_data(library):
    """The names of what stays writable, but for compiler's and linker's own."""
    kept = [section for name, section in sections(library).items()
            if re.match(r"\.(data|bss|tdata|tbss)(\.(?!rel\.ro)|$)", name)]
    return sorted(name for address, name, raw in symbols(library)
                  if any(within(section, address) for section in kept)
                  and not COMPILERS_OWN.fullmatch(raw))


def constructors(library):
    """The names of the functions that run when the library is loaded."""
    tables = [section for name, section in sections(library).items()
              if name in (".init_array", ".preinit_array", ".ctors")]
    started = []
    for line in output("readelf", "-rW", library).splitlines():
        fields = line.split()
        if len(fields) >= 4 and fields[2] == "R_X86_64_RELATIVE" and \
                any(within(table, int(fields[0], 16)) for table in tables):
            started.append(int(fields[3], 16))
    entries = sum(size for _, size in tables) // 8
    if len(started) != entries:
        raise ValueError(f"{entries} functions run at load, {len(started)} of them known")
    names = {address: raw for address, _, raw in symbols(library)}
    return sorted(names[address] for address in started)


def complaints(library):
    data, started = writable_data(library), constructors(library)
    found = [f"writable data: {name}" for name in data if name not in KEYS]
    found += [f"no longer there: {name}" for name in KEYS - set(data)]
    found += [f"runs at load: {name}" for name in started
              if name not in (CONSTRUCTOR, CPU_CONSTRUCTOR, "frame_dummy")]
    if CONSTRUCTOR not in started:
        found.append(f"no longer runs at load: {CONSTRUCTOR}")
    return found


if __name__ == "__main__":
    sys.exit("\n".join(complaints(sys.argv[1])) or 0)
