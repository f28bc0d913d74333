#!/usr/bin/env python3
"""Tests of the subcommands that stand on the kit, in git where git uses them.

usage: command_test.py FLOWBOOK_COMMAND"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made
import tour

COMMAND = None
REPORT = "The mean(x, lag) of the lag:\n\n![](p.png)\n\n    lag = 5\n    mean(x, lag)\n"


class KitCommands(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def run_in(self, *arguments, code=0, text=None):
        environment = {**os.environ, "HOME": str(self.folder), "GIT_CONFIG_NOSYSTEM": "1", "GIT_PAGER": "cat",
                       "PATH": f"{Path(COMMAND).parent}:{os.environ['PATH']}"}
        done = subprocess.run(arguments, cwd=self.folder, capture_output=True, input=text, timeout=300, check=False,
                              env=environment, encoding="utf-8")
        self.assertEqual(done.returncode, code, (arguments, done.stdout, done.stderr))
        return done.stdout, done.stderr

    def flowbook(self, *arguments, **more):
        return self.run_in(COMMAND, *arguments, **more)

    def git(self, *arguments, **more):
        return self.run_in("git", *arguments, **more)[0]

    def new(self, name, code, *options):
        self.flowbook("new", name, "--force", "--code", "-", *options, text=code)

    def test_git_shows_and_merges(self):
        self.git("init", "-q", "-b", "main")
        self.git("config", "user.name", "t")
        self.git("config", "user.email", "t@t")
        self.assertEqual(self.flowbook("git", "setup")[0].count("\n"), 10)
        self.assertEqual(self.flowbook("git", "setup")[0], "")
        self.assertEqual(self.git("check-attr", "diff", "a.TQX"), "a.TQX: diff: flowbook\n")
        self.new("a.tqx", "a\nb\nc\nd\n", "--title", "One")
        self.git("add", ".")
        self.git("commit", "-qm", "base")
        self.git("checkout", "-qb", "side")
        self.flowbook("set", "a.tqx", "--title", "Two")
        self.assertRegex(self.git("diff"), r"(?s)-title: One\n\+title: Two\n")
        self.git("commit", "-qam", "title")
        self.git("checkout", "-q", "main")
        self.flowbook("set", "a.tqx", "--code", "-", text="a\nB\nc\nd\n")
        self.git("commit", "-qam", "code")
        self.git("merge", "-q", "side", "-m", "merge")
        self.assertEqual(self.flowbook("cat", "a.tqx")[0], "a\nB\nc\nd\n")
        self.assertEqual(json.loads(self.flowbook("info", "--json", "a.tqx")[0])["properties"]["title"], "Two")
        self.git("checkout", "-qb", "other", "HEAD~2")
        self.flowbook("set", "a.tqx", "--code", "-", text="a\nX\nc\nd\n")
        self.git("commit", "-qam", "other")
        self.git("merge", "-q", "main", code=1)
        self.assertRegex(self.flowbook("cat", "a.tqx")[0], "(?s)^a\n<<<<<<< ours\nX\n=======\nB\n>>>>>>> main\nc\nd")
        self.git("commit", "-qam", "merged with markers")
        (self.folder / "a.tqx").write_bytes(b"no flowbook")
        self.git("commit", "-qam", "damage")
        self.assertIn("+[damaged: ", self.git("log", "-p", "-1"))
        self.flowbook("git", "setup", "--undo")
        self.assertNotIn("flowbook ", (self.folder / ".git/config").read_text())
        self.assertFalse((self.folder / ".gitattributes").exists())

    def follow(self, document):
        names = {f"GIT_{who}_{what}": "t@t" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")}
        with unittest.mock.patch.dict(os.environ, names):
            for command, code, pattern in tour.steps(document):
                with self.subTest(command):
                    told = self.run_in("bash", "-o", "pipefail", "-c", f"exec 2>&1; {command}", code=code)[0]
                    self.assertRegex(told, "(?s)\\A" + pattern + "\\Z")

    def test_tour(self):
        self.follow("git.md")

    def make_books(self):
        (self.folder / "books").mkdir()
        (self.folder / "p.png").write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(2000))
        codes = {"mean": "lag = 5\nmean(x, lag)\n", "job": "echo done\n", "notes": "a = 1;\nb = a;\nlag = a;\n"}
        with unittest.mock.patch.dict(os.environ, {"SOURCE_DATE_EPOCH": "1714546800"}):
            for name, code in codes.items():
                self.new(f"books/{name}.tqx", code)
            self.run_in("cp", "-r", "books", "yesterday")
            self.new("yesterday/old.tqx", "")
            self.flowbook("set", "books/mean.tqx", "--title", "Mean")
            self.run_in("cp", "books/mean.tqx", "books/copy.tqx")
            self.flowbook("canon", "books/copy.tqx")
        with unittest.mock.patch.dict(os.environ, {"SOURCE_DATE_EPOCH": "1714633200"}):
            self.flowbook("import", "-", "-o", "books/report.tqx", text=REPORT)
        secret = made.package(document=b"\0\xff cipher", parameters=";encryption=AES")
        (self.folder / "books/secret.tqx").write_bytes(made.zipped(secret))
        (self.folder / "cut.tqx").write_bytes((self.folder / "books/mean.tqx").read_bytes()[:-22])
        self.run_in("cp", "books/copy.tqx", "books/report.tqx", "books/secret.tqx", "yesterday")
        (self.folder / "p.png").unlink()

    def test_cookbook(self):
        self.make_books()
        self.follow("cookbook.md")

    def test_digest_diff_and_canon(self):
        self.new("a.tqx", "x\n")
        self.run_in("cp", "a.tqx", "b.tqx")
        self.flowbook("canon", "b.tqx")
        self.flowbook("canon", "--check", "b.tqx")
        digests = self.flowbook("digest", ".")[0].split("\n")
        self.assertRegex(digests[0], r"^[0-9a-f]{64}  \./a\.tqx$")
        self.assertEqual(digests[0][:64], digests[1][:64])
        self.assertEqual(self.flowbook("digest", "--code", "a.tqx")[0].split()[0],
                         self.run_in("sha256sum", text="x\n")[0].split()[0])
        self.assertEqual(self.flowbook("diff", "a.tqx", "b.tqx")[0], "")
        self.flowbook("set", "b.tqx", "--title", "T")
        self.assertRegex(self.flowbook("diff", "a.tqx", "b.tqx", code=1)[0],
                         r"(?s)^--- a.tqx\n\+\+\+ b.tqx\n.*\n\+title: T\n")

    def test_check_and_repair(self):
        self.new("a.tqx", "x\n")
        self.assertEqual(self.flowbook("check", "a.tqx"), ("", ""))
        whole = (self.folder / "a.tqx").read_bytes()
        (self.folder / "b.tqx").write_bytes(whole[:whole.index(b"PK\1\2")])
        self.assertIn("[package.unreadable]", self.flowbook("check", "b.tqx", code=4)[0])
        record = json.loads(self.flowbook("check", "--json", "b.tqx", code=4)[0])
        self.assertEqual(record["findings"][0]["id"], "package.unreadable")
        self.flowbook("repair", "b.tqx", "-o", "c.tqx")
        self.assertEqual(self.flowbook("digest", "a.tqx")[0][:64], self.flowbook("digest", "c.tqx")[0][:64])
        self.flowbook("repair", "b.tqx", "-o", "c.tqx", code=3)
        (self.folder / "d.tqx").write_bytes(b"nothing")
        self.flowbook("repair", "d.tqx", "-o", "e.tqx", code=4)
        self.assertFalse((self.folder / "e.tqx").exists())


if __name__ == "__main__":
    COMMAND = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
