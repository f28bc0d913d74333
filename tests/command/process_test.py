#!/usr/bin/env python3
"""Tests of the process around the command: its signals, terminals and system calls.
usage: process_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import base64
import fcntl
import os
import pty
import random
import re
import shutil
import signal
import struct
import subprocess
import sys
import termios
import time
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
                            "victim.tqx"], cwd=self.folder, capture_output=True, timeout=300, check=False,
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

    def feed_slowly(self, process):
        """Has a process that has begun to read wait for the rest as long as it takes to show what it has done."""
        content = self.fixtures["rich.tqx"]
        process.stdin.write(content[:1])
        process.stdin.flush()
        while struct.unpack("i", fcntl.ioctl(process.stdin, termios.FIONREAD, b"\0\0\0\0"))[0] != 0:
            time.sleep(0.01)
        time.sleep(0.6)
        process.communicate(content[1:], timeout=300)

    def test_progress_is_for_terminals(self):
        master, slave = pty.openpty()
        with subprocess.Popen([COMMAND, "cat", "-", "plain.tqx"], cwd=self.folder, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=slave) as process:
            self.feed_slowly(process)
        os.close(slave)
        shown = os.read(master, 65536)
        os.close(master)
        self.assertRegex(shown, rb"(?s)\] 1/2 files.*\x1b\[K\Z")

    def test_progress_fits_the_terminal(self):
        for terminal, columns, shown in (("dumb", 80, rb""), ("xterm", 40, rb"\r\x1b\[K[^\r\n]{1,39}\r\x1b\[K"),
                                         ("xterm", 5, rb"\r\x1b\[K[^\r\n]{1,4}\r\x1b\[K")):
            master, slave = pty.openpty()
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            with self.subTest((terminal, columns)), subprocess.Popen(
                    [COMMAND, "cat", "-", "plain.tqx"], cwd=self.folder, stdin=subprocess.PIPE, stderr=slave,
                    stdout=subprocess.PIPE, env={**os.environ, "TERM": terminal}) as process:
                self.feed_slowly(process)
                os.write(slave, b"!")
                told = b""
                while not told.endswith(b"!"):
                    told += os.read(master, 65536)
                self.assertRegex(told, rb"\A" + shown + rb"!\Z")
            os.close(slave)
            os.close(master)

    def shell(self, script, code, *arguments):
        done = subprocess.run(["bash", "-c", script, "bash", COMMAND, *arguments], cwd=self.folder, timeout=300,
                              capture_output=True, check=False)
        self.assertEqual(done.returncode, code, done)
        return done.stdout, done.stderr

    def test_descriptors_threads_and_names(self):
        self.write({f"x{i}.tqx": self.fixtures["plain.tqx"] for i in range(4)})
        self.shell('"$1" set --title T x?.tqx none.tqx -j 4 2>&-', 3)
        self.shell('"$1" check x?.tqx >/dev/null', 0)
        self.shell('"$1" cat plain.tqx >&-', 3)
        # A sanitizer looks for leaks by a trace of its own, which strace stands in the way of.
        none = "ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o trace -e inject=clone,clone3:error=EAGAIN "
        self.shell(none + '"$1" set --title U x?.tqx -j 4', 0)
        odd = os.fsdecode(b"\xff.tqx")
        for arguments, code in ((["new", odd], 0), (["new", odd], 3), (["new", odd, "--force"], 0),
                                (["repair", odd, "-o", "b/" + odd], 0), (["copy", "plain.tqx", "b/2" + odd], 0)):
            self.shell('"$@" </dev/null', code, *arguments)
        self.flowbook("check", "b/" + odd)

    def test_threads_in_one_large_file_change_nothing(self):
        parts = {f"media/image{i}.png": ("image/png", b"data:image/png;base64," + base64.b64encode(
            random.Random(i).randbytes(600_000))) for i in range(9)}
        whole = made.zipped(made.package(parts=parts))
        flaw = whole.index(b"media/image5.png") + 400_000
        self.write({"whole.tqx": whole, "torn.tqx": whole[:flaw] + bytes(3) + whole[flaw + 3:]})

        def run(job, file, threads):
            done = subprocess.run([COMMAND, *job.split(), "-j", threads, file], cwd=self.folder, timeout=60,
                                  check=False, capture_output=True)
            out = {path.name: path.read_bytes() for path in self.folder.glob("out/**/*") if path.is_file()}
            shutil.rmtree(self.folder / "out", ignore_errors=True)
            return done.returncode, done.stdout, done.stderr, out

        for job in ("digest", "check", "canon --dry-run", "extract -d out"):
            for file, code in (("whole.tqx", (0, 1)), ("torn.tqx", (4,))):
                with self.subTest(job, file=file):
                    alone = run(job, file, "1")
                    self.assertIn(alone[0], code)
                    self.assertEqual(run(job, file, "4"), alone)

    def test_large_files_that_print_much_come_to_an_end(self):
        text = base64.b85encode(random.Random(1).randbytes(1 << 20)).decode()
        (self.folder / "code").write_text("\n".join("x" + text[at:at + 99] for at in range(0, len(text), 99)))
        names = [f"l{i}.tqx" for i in range(9)]
        for name in names:
            self.flowbook("new", name, "--code", "code")
        done = subprocess.run([COMMAND, "replace", "--dry-run", "^x", "y", *names], cwd=self.folder, timeout=300,
                              check=False, capture_output=True)
        self.assertEqual(re.findall(r"^--- (.*)$", done.stdout.decode(), re.MULTILINE), names)

    def test_a_folder_that_cannot_be_entered_is_told(self):
        (self.folder / "shut").mkdir()
        self.write({"shut/a.tqx": self.fixtures["plain.tqx"], "shut/b.tqx": b""})
        self.folder.chmod(0o755)
        (self.folder / "shut").chmod(0o644 if os.geteuid() == 0 else 0o400)
        other = "setpriv --reuid 65534 --regid 65534 --clear-groups " if os.geteuid() == 0 else ""
        told = self.shell(other + '"$1" cat shut', 3)[1].decode()
        (self.folder / "shut").chmod(0o755)
        self.assertIn("shut: cannot read: Permission denied\n", told)
        # Two calls list the first folder, to its end.
        cut = "ASAN_OPTIONS=detect_leaks=0 strace -f -qq -o trace -e inject=getdents64:error=EIO:when=3+ "
        self.assertIn(b"shut: cannot read: Input/output error\n", self.shell(cut + '"$1" ls b shut', 3)[1])

    @unittest.skipIf("ASAN_OPTIONS" in os.environ, "the first write is the sanitizer's own")
    def test_a_pipe_is_read_when_a_program_writes_to_it(self):
        os.mkfifo(pipe := self.folder / "pipe.tqx")
        self.flowbook("cat", "pipe.tqx", code=3, err="pipe.tqx: cannot read: no program writes to this pipe")
        writer = os.open(pipe, os.O_RDWR)
        with subprocess.Popen([COMMAND, "cat", "pipe.tqx"], cwd=self.folder, stdout=subprocess.PIPE) as reader:
            os.write(writer, self.fixtures["plain.tqx"])
            while struct.unpack("i", fcntl.ioctl(writer, termios.FIONREAD, b"\0\0\0\0"))[0] != 0:
                time.sleep(0.01)
            os.close(writer)
            self.assertEqual(reader.communicate(timeout=300)[0], b"a = 1;\nb = 2;\n")

    def test_an_interruption_cuts_no_line(self):
        self.write({f"t{i}.tqx": self.fixtures["tree.tqx"] for i in range(60)})
        # Only what is written to the file counts: sanitizers write, too.
        with open(self.folder / "lines", "wb") as lines:
            done = subprocess.run(["strace", "-f", "-qq", "-o", "trace", "-P", lines.name, "-e", "trace=write", "-e",
                                   "inject=write:signal=SIGINT:when=1", COMMAND, "parts", "--json", "."],
                                  cwd=self.folder, stdout=lines, timeout=300, check=False)
        self.assertEqual((done.returncode, Path(lines.name).read_bytes()[-1:]), (-signal.SIGINT, b"\n"))

    def test_an_interruption_tells_what_was_changed(self):
        for jobs, name in (("1", "SIGTERM"), ("4", "SIGTERM"), ("4", "SIGPIPE")):
            names = [f"b{i:03}.tqx" for i in range(90)]
            self.write({name: self.fixtures["plain.tqx"] for name in names})
            done = subprocess.run(["strace", "-f", "-qq", "-o", "trace", "-e", "trace=/^rename", "-e",
                                   f"inject=/^rename:signal={name}:when=5", COMMAND, "replace", "-j", jobs, "a",
                                   "total", *names], cwd=self.folder, capture_output=True, timeout=300, check=False)
            told = done.stderr.decode()
            self.assertEqual(done.returncode, -signal.Signals[name])
            first = re.search("interrupted: (.*) and what comes after it is as it was\n", told)[1]
            left = set(re.findall("flowbook: (.*): interrupted, and left as it was\n", told))
            changed = {name for name in names if (self.folder / name).read_bytes() != self.fixtures["plain.tqx"]}
            self.assertEqual(changed, {name for name in names if name < first} - left, told)
            self.assertIn(f"flowbook: {len(changed)} files changed, 0 not\n", told)

    def test_damaged_files_differ_by_their_bytes(self):
        self.write({"one": b"This is no package", "two": b"This is no packagE"})
        self.assertRegex(self.flowbook("diff", "one", "two", code=1), r"\n-\[the file: 18 bytes, sha256 ")
        self.assertEqual(self.flowbook("diff", "one", "one"), "")

    def test_a_signal_discards_what_is_under_way(self):
        big = {"media/image1.png": ("image/png", random.Random(1).randbytes(400000))}
        rels = made.relationships(("rId1", "image", "../media/image1.png"))
        old = {"big.tqx": made.zipped(made.package(parts=big, document_rels=rels)), "media/image1.png": b"old"}
        (self.folder / "old/media").mkdir(parents=True)
        self.write({f"old/{name}": content for name, content in old.items()})
        for name in ("SIGINT", "SIGTERM", "SIGHUP", "SIGQUIT"):
            for arguments in ("set old/big.tqx --title x", "copy old/big.tqx old/new.tqx",
                              "extract old/big.tqx -d old --force --images"):
                with self.subTest((name, arguments)):
                    done = subprocess.run(
                        ["strace", "-f", "-qq", "-o", "trace", "-e", "trace=write,copy_file_range", "-e",
                         f"inject=write,copy_file_range:signal={name}:when=1", COMMAND, *arguments.split()],
                        cwd=self.folder, capture_output=True, timeout=300, check=False)
                    self.assertEqual(done.returncode, -getattr(signal, name), done)
                    self.assert_files("old", old)

    def test_a_file_that_may_not_grow_costs_nothing(self):
        (self.folder / "out").mkdir()
        self.write({"out/code.txt": b"old", "code": b"x" * 5000})
        self.flowbook("new", "big.tqx", "--code", "code")
        big = (self.folder / "big.tqx").read_bytes()
        for arguments in ("set big.tqx --title x", "extract big.tqx -d out --force --code"):
            done = subprocess.run(["prlimit", "--fsize=1000", COMMAND, *arguments.split()], cwd=self.folder,
                                  capture_output=True, timeout=300, check=False)
            self.assertEqual((done.returncode, b"File too large" in done.stderr), (3, True), done)
            self.assert_files("out", {"code.txt": b"old"})
            self.assertEqual((self.folder / "big.tqx").read_bytes(), big)


if __name__ == "__main__":
    unittest.main()
