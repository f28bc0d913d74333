#!/usr/bin/env python3
"""Tests of the process around the command: its signals, terminals and system calls.
usage: process_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import os
import pty
import random
import re
import signal
import subprocess
import time
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, RICH, CommandTest, made


class Process(CommandTest):
    def test_full_device(self):
        message = "flowbook: standard output: No space left on device\n"
        for arguments in (("cat", "plain.tqx"), ("info", "rich.tqx"), ("--help",)):
            with open("/dev/full", "wb") as full, self.subTest(arguments):
                self.flowbook(*arguments, code=3, err=message, stdout=full)

    def opened_by_reading(self, content):
        """The paths that reading a flowbook names in system calls, and the calls about the network."""
        self.write({"victim.tqx": made.zipped(content)})
        calls = ""
        for command in ("cat", "parts"):
            subprocess.run(["strace", "-f", "-qq", "-o", "trace", "-e", "trace=%file,%network", COMMAND, command,
                            "victim.tqx"], cwd=self.folder, capture_output=True, timeout=60, check=False,
                           env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})
            calls += (self.folder / "trace").read_text()
        self.assertIn('(AT_FDCWD, "victim.tqx"', calls)
        return set(re.findall(r'^[^"\n]*"([^"\n]+)"|(socket|connect)\(', calls, re.MULTILINE))

    def test_opens_nothing_outside_the_package(self):
        # What is unusual has the DOM decide, whose libraries are loaded then.
        usual = self.opened_by_reading(made.package(document=RICH.replace(b"<w:body>", b"<w:body><b c = ''/>")))
        for name, arguments in made.hostile((self.folder / "canary").as_uri()):
            with self.subTest(name):
                self.assertEqual(self.opened_by_reading(made.package(**arguments)) - usual, set())

    def test_progress_is_for_terminals(self):
        master, slave = pty.openpty()
        with subprocess.Popen([COMMAND, "cat", "-", "plain.tqx"], cwd=self.folder, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=slave) as process:
            time.sleep(0.8)
            process.communicate(self.fixtures["rich.tqx"], timeout=60)
        os.close(slave)
        shown = os.read(master, 65536)
        os.close(master)
        self.assertRegex(shown, rb"(?s)\] 1/2 files.*\x1b\[K\Z")

    def test_a_signal_discards_what_is_under_way(self):
        big = {"media/image1.png": ("image/png", random.Random(1).randbytes(400000))}
        rels = made.relationships(("rId1", "image", "../media/image1.png"))
        old = {"big.tqx": made.zipped(made.package(parts=big, document_rels=rels)), "media/image1.png": b"old"}
        (self.folder / "old/media").mkdir(parents=True)
        self.write({f"old/{name}": content for name, content in old.items()})
        for name in ("SIGINT", "SIGTERM", "SIGHUP"):
            for arguments in ("set old/big.tqx --title x", "copy old/big.tqx old/new.tqx",
                              "extract old/big.tqx -d old --force --images"):
                with self.subTest((name, arguments)):
                    done = subprocess.run(
                        ["strace", "-f", "-qq", "-o", "trace", "-e", "trace=write,copy_file_range", "-e",
                         f"inject=write,copy_file_range:signal={name}:when=1", COMMAND, *arguments.split()],
                        cwd=self.folder, capture_output=True, timeout=60, check=False)
                    self.assertEqual(done.returncode, -getattr(signal, name), done)
                    self.assert_files("old", old)

    def test_a_file_that_may_not_grow_costs_nothing(self):
        (self.folder / "out").mkdir()
        self.write({"out/code.txt": b"old", "code": b"x" * 5000})
        self.flowbook("new", "big.tqx", "--code", "code")
        big = (self.folder / "big.tqx").read_bytes()
        for arguments in ("set big.tqx --title x", "extract big.tqx -d out --force --code"):
            done = subprocess.run(["prlimit", "--fsize=1000", COMMAND, *arguments.split()], cwd=self.folder,
                                  capture_output=True, timeout=60, check=False)
            self.assertEqual((done.returncode, b"File too large" in done.stderr), (3, True), done)
            self.assert_files("out", {"code.txt": b"old"})
            self.assertEqual((self.folder / "big.tqx").read_bytes(), big)


if __name__ == "__main__":
    unittest.main()
