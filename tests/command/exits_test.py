#!/usr/bin/env python3
"""Runs every command on every state that a file can be in.
usage: exits_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import os
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, CommandTest

STATES = {"whole": "plain.tqx", "no code": "no_code.tqx", "encrypted": "encrypted.tqx", "damaged": "damaged.tqx",
          "missing": "absent.tqx", "over a limit": "many.tqx", "directory": "folder.tqx", "nested": "nested.tqx"}
# How a command is called on @, and what it ends with for the states above.
EXITS = {
    "cat @": (0, 4, 5, 4, 3, 6, 3, 0),
    "cat @ --format=raw": (1, 4, 0, 4, 3, 6, 3, 1),
    "cat @ --format=md": (0, 4, 5, 4, 3, 6, 3, 0),
    "import @ -o out.tqx": (2, 2, 2, 0, 3, 2, 3, 2),
    "grep a @": (0, 4, 5, 4, 3, 6, 3, 0),
    "info @": (0, 1, 0, 4, 3, 6, 3, 0),
    "ls @": (0, 0, 0, 4, 3, 6, 3, 0),
    "parts @": (0, 0, 0, 4, 3, 6, 3, 0),
    "extract @ -d out": (0, 4, 0, 4, 3, 6, 3, 0),
    "extract @ -d out --code": (0, 4, 5, 4, 3, 6, 3, 0),
    "html @": (0, 0, 0, 4, 3, 6, 3, 0),
    "html @ -d out": (0, 0, 0, 4, 3, 6, 3, 0),
    "show @": (0, 0, 0, 4, 3, 6, 3, 0),
    "new @": (3, 3, 3, 3, 0, 3, 3, 3),
    "new @ --force": (0, 0, 0, 0, 0, 0, 3, 0),
    "set @ --title x": (0, 0, 0, 4, 3, 6, 3, 0),
    "replace z y @": (0, 4, 5, 4, 3, 6, 3, 0),
    "set @ --code same": (0, 3, 5, 4, 3, 6, 3, 0),
    "edit @": (0, 4, 5, 4, 3, 6, 3, 0),
    "pack @ -o out": (3, 3, 3, 3, 3, 3, 3, 3),
    "copy @ out.tqx": (0, 0, 0, 4, 3, 6, 3, 0),
    "copy @ -d out": (0, 0, 0, 4, 3, 6, 3, 0),
    "digest @": (0, 0, 0, 4, 3, 6, 3, 0),
    "git textconv @": (0, 0, 0, 0, 3, 0, 3, 0),
    "canon @": (0, 0, 0, 4, 3, 6, 3, 0),
    "strip @": (0, 0, 0, 4, 3, 6, 3, 0),
    "merge @ @ @ -o out.tqx": (0, 0, 0, 4, 3, 6, 3, 0),
    "check @": (0, 4, 0, 4, 3, 6, 3, 0),
    "resolve @": (0, 0, 0, 4, 3, 6, 3, 0),
    "repair @ -o out.tqx": (0, 1, 0, 4, 3, 6, 3, 0),
    "diff @ @": (0, 0, 0, 0, 3, 6, 3, 0),
}
WITHOUT_FILE = {"help"}


class Exits(CommandTest):
    def run_on(self, call, name):
        environment = {**os.environ, "EDITOR": "true", "VISUAL": "true", "TMPDIR": str(self.folder),
                       "PATH": f"{self.folder}/bin:{os.environ['PATH']}"}
        return subprocess.run([COMMAND, *(name if word == "@" else word for word in call.split())], cwd=self.folder,
                              stdin=subprocess.DEVNULL, capture_output=True, timeout=300, check=False, env=environment)

    def test_table(self):
        table = [json.loads(line)["name"] for line in self.flowbook("help", "--json").splitlines()]
        self.assertEqual(set(table) - {call.split()[0] for call in EXITS} - WITHOUT_FILE, set())
        (self.folder / "bin").mkdir()
        (self.folder / "bin/xdg-open").symlink_to("/bin/true")
        for call, codes in EXITS.items():
            for (state, name), code in zip(STATES.items(), codes):
                with self.subTest((call, state)):
                    done = self.run_on(call, name)
                    self.assertEqual(done.returncode, code, done.stderr)
                    # A failure is told, a finding and success need no words.
                    if done.returncode > 1 and not call.startswith("check"):
                        self.assertRegex(done.stderr, rb"^flowbook: [^\n]*[a-z]")
                    for left in ("out", "out.tqx", name):
                        path = self.folder / left
                        shutil.rmtree(path) if path.is_dir() and left == "out" else None
                        path.unlink() if path.is_file() else None
                    self.write({name: self.fixtures[name]} if name in self.fixtures else {})


if __name__ == "__main__":
    unittest.main()
