#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""completion_test.py VTMAIL FOLDER: bash, zsh and fish complete command lines of vtmail."""

import os
import pathlib
import pty
import select
import subprocess
import sys
import tempfile
import time
import unittest

from help_text import Command

VTMAIL, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2])
LIMIT = 20  # seconds that a shell may take
KEYS = ["Charset", "RealName", "ReplyTo", "SMTPHost", "SendActive"]


class Shell(unittest.TestCase):
    """In a folder with two files and a folder."""

    def setUp(self):
        self.home = tempfile.TemporaryDirectory()
        self.addCleanup(self.home.cleanup)
        self.folder = pathlib.Path(self.home.name, "here")
        self.folder.mkdir()
        for name in ("a mail.eml", "article.eml"):
            (self.folder / name).touch()
        (self.folder / "attachments").mkdir()
        self.environment = {"HOME": self.home.name, "PATH": os.environ["PATH"], "TERM": "dumb",
                            "LC_ALL": "C.UTF-8"}

    def output(self, *command):
        run = subprocess.run(command, cwd=self.folder, env=self.environment, text=True, check=True,
                             capture_output=True, timeout=LIMIT)
        self.assertEqual(run.stderr, "")
        return run.stdout.splitlines()


class Bash(Shell):
    SCRIPT = """source "$1"
        shift
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
        _vtmail
        ((${#COMPREPLY[@]} == 0)) || printf '%s\\n' "${COMPREPLY[@]}" """

    def completed(self, *words):
        return sorted(self.output("bash", "--norc", "-uc", self.SCRIPT, "bash",
                                  FOLDER / "bash/vtmail", "vtmail", *words))

    def test_all_options_of_each_command(self):
        for command in Command(VTMAIL).all():
            self.assertEqual(self.completed(*command.words, "-"), sorted(command.names()))

    def test_commands(self):
        for command in Command(VTMAIL).all():
            if command.below:
                names = sorted(each.words[-1] for each in command.below)
                self.assertEqual(self.completed(*command.words, ""), names)
        self.assertEqual(self.completed("se"), ["send", "settings"])

    def test_values_of_enumerations(self):
        self.assertEqual(self.completed("send", "--stop-after", ""), ["ehlo", "mail", "rcpt"])
        self.assertEqual(self.completed("send", "--stop-after", "=", "r"), ["rcpt"])
        self.assertEqual(self.completed("send", "--stop-after", "="), ["ehlo", "mail", "rcpt"])
        self.assertEqual(self.completed("settings", "get", ""), KEYS)
        self.assertEqual(self.completed("settings", "set", "Re"), ["RealName", "ReplyTo"])

    def test_files_and_folders(self):
        files = ["a mail.eml", "article.eml", "attachments"]
        self.assertEqual(self.completed("show", "a"), files)
        self.assertEqual(self.completed("show", "--message", "2", "a"), files)
        self.assertEqual(self.completed("show", "--message", "=", "2", "a"), files)
        self.assertEqual(self.completed("send", "--file", "ar"), ["article.eml"])
        self.assertEqual(self.completed("show", "x", "--extract", "a"), ["attachments"])

    def test_nothing_for_a_value_that_only_the_user_knows(self):
        self.assertEqual(self.completed("send", "--to", ""), [])
        self.assertEqual(self.completed("send", "--subject", "--"), [])

    def test_the_name_of_a_command_as_a_value_is_none(self):
        self.assertEqual(self.completed("send", "--subject", "show", "--wh"), ["--whole-mail"])

    def test_the_place_behind_a_key_is_for_its_value(self):
        self.assertEqual(self.completed("settings", "set", "ReplyTo", "S"), [])

    def test_it_is_registered(self):
        script = 'source "$1"; complete -p vtmail'
        registered = self.output("bash", "--norc", "-c", script, "bash", FOLDER / "bash/vtmail")
        self.assertEqual(registered, ["complete -F _vtmail vtmail"])


class Fish(Shell):
    def completed(self, line):
        script = f"source {FOLDER}/fish/vtmail.fish; complete -C '{line}'"
        lines = self.output("fish", "--no-config", "-c", script)
        return sorted(line.partition("\t")[0] for line in lines)

    def test_all_options_of_each_command(self):
        for command in Command(VTMAIL).all():
            names = [name for name in command.names() if name.startswith("--")]
            line = " ".join(("vtmail", *command.words, "--"))
            self.assertEqual(self.completed(line), sorted(names))

    def test_commands_and_values(self):
        self.assertEqual(self.completed("vtmail se"), ["send", "settings"])
        self.assertEqual(self.completed("vtmail send --stop-after "), ["ehlo", "mail", "rcpt"])
        self.assertEqual(self.completed("vtmail settings get "), KEYS)

    def test_files_and_folders(self):
        files = ["a mail.eml", "article.eml", "attachments/"]
        self.assertEqual(self.completed("vtmail show a"), files)
        self.assertEqual(self.completed("vtmail send --file ar"), ["article.eml"])
        self.assertEqual(self.completed("vtmail show x --extract a"), ["attachments/"])
        self.assertEqual(self.completed("vtmail send --to a"), [])


class Terminal:
    """zsh at a terminal, which completes where a line is typed."""

    def __init__(self, folder, environment):
        self.result = folder.parent / "line"
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.execvpe("zsh", ["zsh", "-f", "-i"], environment)
        self.type(f"fpath=({FOLDER}/zsh $fpath); autoload -Uz compinit; compinit -D -u\n"
                  f"tell() {{ print -rn -- $BUFFER >{self.result}.new; zle kill-buffer;"
                  f" mv {self.result}.new {self.result} }}\n"
                  "zle -N tell; bindkey '^T' tell; bindkey '^I' complete-word\n")

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)

    def type(self, keys):
        os.write(self.terminal, keys.encode())

    def completed(self, line):
        """What becomes of the line by the key TAB."""
        self.result.unlink(missing_ok=True)
        self.type(line + "\t\x14")
        end = time.monotonic() + LIMIT
        while not self.result.exists():
            if time.monotonic() > end:
                raise TimeoutError(line)
            self._read()
        return self.result.read_text(encoding="utf-8")

    def _read(self):
        """Takes what the shell shows, lest it waits for that."""
        if select.select([self.terminal], [], [], 0.01)[0]:
            os.read(self.terminal, 65536)


class Zsh(Shell):
    def test_lines(self):
        terminal = Terminal(self.folder, self.environment)
        self.addCleanup(terminal.close)
        for line, wanted in (("vtmail sen", "vtmail send "),
                             ("vtmail sett", "vtmail settings "),
                             ("vtmail settings pa", "vtmail settings path "),
                             ("vtmail settings get SM", "vtmail settings get SMTPHost "),
                             ("vtmail send --who", "vtmail send --whole-mail "),
                             ("vtmail send --stop-after r", "vtmail send --stop-after rcpt "),
                             ("vtmail send --stop-after=m", "vtmail send --stop-after=mail "),
                             ("vtmail send --file art", "vtmail send --file article.eml "),
                             ("vtmail show a\\ ", "vtmail show a\\ mail.eml "),
                             ("vtmail fetch --maildir a", "vtmail fetch --maildir attachments/"),
                             ("vtmail fetch --user a", "vtmail fetch --user a")):
            self.assertEqual(terminal.completed(line), wanted)

    def test_all_options_of_each_command(self):
        terminal = Terminal(self.folder, self.environment)
        self.addCleanup(terminal.close)
        for command in Command(VTMAIL).all():
            names = command.names()
            for name in names:
                if sum(other.startswith(name) for other in names) > 1:
                    continue  # the key adds nothing
                line = " ".join(("vtmail", *command.words, name))
                self.assertIn(terminal.completed(line), (line + " ", line + "="))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
