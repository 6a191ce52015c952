# SPDX-License-Identifier: Apache-2.0
"""What "vtmail --help" says, command by command."""

import re
import subprocess

#: In a group they are indented further.
OPTION = re.compile(r"^(?: {2}){1,2}(-\S+).*$")
#: What stands before a description, which has a line of its own where that is too short.
WIDTH = 30


class Command:
    """One command: its words, options with their descriptions, and the commands below it."""

    def __init__(self, vtmail, words=()):
        self.words = words
        text = subprocess.run([vtmail, *words, "--help"], check=True, capture_output=True,
                              text=True, timeout=20).stdout
        self.options = dict(self._options(text.splitlines()))
        self.below = [Command(vtmail, (*words, name)) for name in self._names_below(text)]

    def all(self):
        """Itself and those below it."""
        return [self] + [each for command in self.below for each in command.all()]

    def names(self):
        """Each name of each option, as it is typed."""
        return [name for names in self.options for name in names]

    @staticmethod
    def _options(lines):
        for line, following in zip(lines, lines[1:] + [""]):
            option = OPTION.match(line)
            if not option:
                continue
            indent = option.start(1) - 2
            is_below = following.startswith(" " * (WIDTH + indent))
            description = following.strip() if is_below else line[WIDTH + indent:]
            yield tuple(option[1].split(",")), description

    @staticmethod
    def _names_below(text):
        _, _, commands = text.partition("\nSubcommands:\n")
        return re.findall(r"^  (\w+)", commands.partition("\n\n")[0], re.MULTILINE)
