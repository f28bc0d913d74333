#!/usr/bin/env python3
"""Tests of how the command is called: help, faults of usage, examples.
usage: usage_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, PICTURE, RICH, Case, CommandTest

# The examples of "new" make the file that those of the others work on.
COMMANDS = ("new import cat grep info parts extract pack html set edit copy digest diff merge git check canon "
            "repair").split()
# What the examples take from elsewhere.
STUBS = {"jq": "cat", "pandoc": "cat", "make-code": "echo x"}

CASES = [
    Case("cta rich.tqx", 2, err="there is no command 'cta'; did you mean 'cat'? (see flowbook help)"),
    Case("cat -- plain.tqx", 0, ("a = 1;",)),
    Case("help cat", 0, ("Examples:", "flowbook cat analysis.tqx")),
    Case("help", 0, ("\n  cat ",)),
    Case("", 2, err="flowbook: no command is named (see flowbook help)"),
    Case("--version", 0, ("flowbook 1.", "(")),
    Case("--help", 0, ("\n  cat ", "\n  info ", "\n  copy ", "5 encrypted")),
]


class Usage(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def prepare_for_examples(self):
        (self.folder / "bin").mkdir()
        (self.folder / "work/folder").mkdir(parents=True)
        for name, script in STUBS.items():
            (self.folder / "bin" / name).write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            (self.folder / "bin" / name).chmod(0o755)
        self.folder /= "work"
        code = {"folder/a": b"mean of lag", "old": b"a", "new": b"b", "base": b"a\nb\nc", "mine": b"a\nb\nC",
                "yours": b"A\nb\nc"}
        for name, text in code.items():
            self.flowbook("new", f"{name}.tqx", "--code", "-", input=text)
        self.flowbook("canon", "folder")
        for folder in ("yesterday", "today"):
            (self.folder / folder).mkdir()
            self.flowbook("new", f"{folder}/a.tqx", "--title", folder)
        self.write({"analysis.txt": b"x", "report.xml": RICH, "notes.md": b"# A",
                    "report.docx": b"", "plot.png": PICTURE, "map.svg": b"<svg/>",
                    "titles.csv": b"file,title\nanalysis.tqx,New\n",
                    "damaged.tqx": self.fixtures["plain.tqx"].partition(b"PK\1\2")[0]})
        commit = ["-c", "user.name=a", "-c", "user.email=a", "commit", "-qm", "a"]
        for action in (["init", "-q", "-b", "main"], ["add", ".", ":!damaged.tqx"], commit, ["switch", "-qc", "topic"],
                       ["mv", "-f", "mine.tqx", "yours.tqx"], commit, ["switch", "-q", "main"]):
            subprocess.run(["git", *action], cwd=self.folder, timeout=300, check=True)

    def test_examples_work(self):
        self.prepare_for_examples()
        path = f"{self.folder.parent}/bin:{Path(COMMAND).parent}:{os.environ['PATH']}"
        texts = [self.flowbook(command, "--help").partition("Examples")[2] for command in COMMANDS]
        examples = re.compile(r"^  ((?:.*\| |EDITOR=.* )?(?:flowbook|git) .*)", re.MULTILINE)
        for example in examples.findall("".join(texts)):
            with self.subTest(example):
                done = subprocess.run(["bash", "-o", "pipefail", "-c", example], cwd=self.folder, capture_output=True,
                                      timeout=300, check=False, env={**os.environ, "PATH": path})
                differs = "flowbook diff" in example and "--git" not in example
                self.assertEqual(done.returncode, int(differs), done)


if __name__ == "__main__":
    unittest.main()
