#!/usr/bin/env python3
"""Tests that help, man page, completions and docs/commands.md say what the table of options says.
usage: documents_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import os
import pty
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COMPLETIONS = ROOT / "packaging/completions"
COMMAND = None

# What is typed, and some of what every shell then offers.
TYPED = {"flowbook gr": {"grep"}, "flowbook cat --fo": {"--format"}, "flowbook cat --format ": {"text", "xml", "raw"},
         "flowbook help ex": {"extract"}, "flowbook info b": {"book.tqx"}, "flowbook extract -d ": {"folder"},
         "flowbook set --files-from l": {"list"}}


def output(*arguments, **more):
    return subprocess.run(arguments, check=True, capture_output=True, text=True, timeout=300, **more).stdout


class Documents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.table = [json.loads(line) for line in output(COMMAND, "help", "--json").splitlines()]

    def test_generated_files_are_up_to_date(self):
        output(sys.executable, ROOT / "packaging/generate.py", COMMAND, "--check")

    def test_help_fits_a_terminal_and_lists_all_options(self):
        widths = set()
        for command in self.table:
            for text in (output(COMMAND, "help", command["name"]), output(COMMAND, command["name"], "-h")):
                widths.update(map(len, text.splitlines()))
                for option in command["options"]:
                    self.assertEqual(option["name"] in text, not option["hidden"], option)
        self.assertEqual(max(widths), 80)
        self.assertLessEqual(max(map(len, output(COMMAND, "help").splitlines())), 80)

    def test_manual_has_no_faults(self):
        lint = subprocess.run(["mandoc", "-T", "lint", "-W", "all", ROOT / "packaging/flowbook.1"], text=True,
                              capture_output=True, timeout=300, check=False)
        # Pages that are not installed here are no fault of the page.
        self.assertEqual([line for line in (lint.stdout + lint.stderr).splitlines() if "mandoc.db" not in line], [])

    def complete_in_bash(self, line, folder, _):
        words = " ".join(f"'{word}'" for word in line.split(" "))
        script = (f"source {COMPLETIONS}/flowbook.bash; compopt() {{ :; }}; COMP_WORDS=({words}); "
                  "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _flowbook; printf '%s\\n' \"${COMPREPLY[@]}\"")
        return output("bash", "-c", script, cwd=folder)

    def complete_in_fish(self, line, folder, _):
        return output("fish", "--no-config", "-c", f"source {COMPLETIONS}/flowbook.fish; complete -C '{line}'",
                      cwd=folder, env={**os.environ, "HOME": str(folder)})

    def complete_in_zsh(self, line, folder, expected):
        master, slave = pty.openpty()
        setup = f"fpath=({COMPLETIONS} $fpath); autoload -U compinit; compinit -u -D; LISTMAX=999; PS1=; echo ready\n"
        with subprocess.Popen(["zsh", "-f", "-i"], cwd=folder, stdin=slave, stdout=slave, stderr=slave,
                              start_new_session=True, env={**os.environ, "TERM": "dumb"}) as shell:
            os.write(master, setup.encode())
            self.read_until(master, ["\r\nready"])
            os.write(master, line.encode() + b"\t\t")
            # What the line has become is printed rather than run.
            shown = self.read_until(master, expected)
            shell.kill()
        os.close(slave)
        os.close(master)
        return shown

    @staticmethod
    def read_until(master, words, seconds=30.0):
        """What comes until all of the words are there, or for so long."""
        os.set_blocking(master, False)
        end, shown = time.monotonic() + seconds, ""
        while not all(word in shown for word in words) and time.monotonic() < end:
            try:
                shown += os.read(master, 65536).decode(errors="replace")
            except BlockingIOError:
                time.sleep(0.02)
        return shown

    def test_completions_in_shells(self):
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            (folder / "folder").mkdir()
            for file in ("book.tqx", "list"):
                (folder / file).touch()
            for line, expected in TYPED.items():
                for complete in (self.complete_in_bash, self.complete_in_fish, self.complete_in_zsh):
                    offered = complete(line, folder, expected)
                    with self.subTest((complete.__name__, line)):
                        self.assertEqual([word for word in expected if word not in offered], [], offered)


if __name__ == "__main__":
    COMMAND = os.path.abspath(sys.argv.pop(1))
    unittest.main()
