#!/usr/bin/env python3
"""Tests of the flowbook command. usage: tool_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import os
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile
from collections import namedtuple
from pathlib import Path

import flowbook_files as files

COMMAND = None
FIXTURES = None
# The examples of "new" make the file that those of the others work on.
COMMANDS = ["new", "cat", "info", "parts", "extract", "set", "copy"]

# out: None for nothing, a text for exactly this, a tuple for fragments in their order; err: a fragment, "" for nothing.
Case = namedtuple("Case", "args code out err stdin", defaults=[None, "", None])

READING = [
    Case("cat plain.tqx", 0, "a = 1;\nb = 2;\n"),
    Case("cat rich.tqx plain.tqx", 0, "größe = 2;\nx < y\na = 1;\nb = 2;\n"),
    Case("cat empty.tqx", 0),
    Case("cat -", 0, "größe = 2;\nx < y\n", stdin="rich.tqx"),
    Case("cat --format=xml rich.tqx", 0, files.rich_code("größe = 2;", "x < y")),
    Case("cat --format=raw encrypted.tqx", 0, files.SECRET),
    Case("cat --format=raw rich.tqx", 1, err="flowbook: rich.tqx: Encrypted TARMIC Code cannot"),
    Case("cat encrypted.tqx", 5, err="flowbook: encrypted.tqx: TARMIC Code cannot be read from an encrypted"),
    Case("cat absent.tqx", 3, err="flowbook: absent.tqx: FlowbookFileReader cannot find package to open\n"),
    Case("cat folder.tqx", 3, err="flowbook: folder.tqx: "),
    Case("cat damaged.tqx", 4, err="flowbook: damaged.tqx: "),
    Case("cat torn.tqx", 4, err="flowbook: torn.tqx: "),
    Case("cat -", 4, err="flowbook: -: ", stdin="damaged.tqx"),
    Case("cat nocode.tqx", 4, err="TARMIC Code not found"),
    Case("cat notxml.tqx", 4, err="TARMIC Code not found"),
    Case("cat dangling.tqx", 4, err="/tarmic/document.xml"),
    Case("cat many.tqx", 6, err="flowbook: many.tqx: "),
    Case("cat plain.txt", 2, err="flowbook: plain.txt: Not a valid flowbook filename\n"),
    Case("cat encrypted.tqx damaged.tqx plain.tqx absent.tqx", 5, "a = 1;\nb = 2;\n", err="absent.tqx"),
    Case("info plain.tqx", 0, ("plain.tqx\n", "code        plain\n", 'title       "Running \\"mean\\"\\tµ"\n',
                               'description ""\n', "version     (absent)\n", "created     2024-05-01T09:30:00Z\n",
                               '/tarmic/document.xml  application/vnd.pellarion.tarmic.code.document+xml;plaincode="')),
    Case("info rich.tqx encrypted.tqx", 0, ("code        rich\n", "code        encrypted\n")),
    Case("info nocode.tqx", 1, ("code        none\n", "part        /a.txt  text/plain  0 bytes")),
    Case("info damaged.tqx", 4, err="damaged.tqx"),
    Case("parts tree.tqx", 1, "tree.tqx\n"
                              "  r1 first -> /a  text/a\n"
                              "    r1 down -> /b  text/b\n"
                              "      r1 up -> /a  (see above)\n"
                              "  r2 web -> http://x/\\u009b  (external)\n"
                              "  r3 gone -> none#x  (missing)\n"
                              "  not reached: /alone  text/c\n"),
    Case("parts rich.tqx", 0, ("rId1 document -> /tarmic/document.xml",
                               "\n    rId1 image -> /media/image1.png  image/png")),
    Case("parts many.tqx", 6, err="many.tqx"),
    Case("extract rich.tqx -d out --part /none", 1, err="there is no part /none"),
    Case("extract rich.tqx -d out --part none", 2, err="none is no part name"),
    Case("extract rich.tqx -d plain.tqx/out", 3, err="plain.tqx/out: cannot write: Not a directory"),
    Case("set absent.tqx --title x", 3, err="cannot find package"),
    Case("set plain.tqx", 2, err="at least one thing to set"),
    Case("set plain.tqx --title a\x01b", 2, err="cannot hold the character \\u0001"),
    Case("set damaged.tqx --title x", 4, err="damaged.tqx"),
    Case("new none/a.tqx", 3, err="none/a.tqx"),
    Case("new a.tqx --code plain.tqx", 4, err="flowbook: plain.tqx: not UTF-8 text at byte"),
    Case("new a.tqx --code absent", 3, err="flowbook: absent: cannot read: No such file"),
    Case("new a.tqx --rich damaged.tqx", 4, err="flowbook: damaged.tqx: "),
    Case("new a.tqx --image damaged.tqx", 4, err="no PNG, JPEG"),
    Case("new a.txt", 2, err="flowbook: a.txt: Not a valid flowbook filename"),
    Case("new a.tqx --code x --rich y", 2, err="excludes"),
    Case("copy damaged.tqx a.tqx", 4, err="flowbook: damaged.tqx: "),
    Case("copy dangling.tqx a.tqx", 4, err="dangling.tqx"),
    Case("copy plain.tqx a.txt", 2, err="flowbook: a.txt: "),
    Case("", 2, err="flowbook: A subcommand is required"),
    Case("cat --format=pdf plain.tqx", 2, err="--format"),
    Case("cat", 2, err="FILE is required"),
    Case("--version", 0, ("flowbook 1.", "(")),
    Case("--help", 0, ("\n  cat ", "\n  info ", "\n  copy ", "4 not a flowbook or damaged")),
]


def run(*arguments, folder, **more):
    return subprocess.run([COMMAND, *arguments], cwd=folder, capture_output="stdout" not in more, timeout=60,
                          check=False, **more)


class InFolder(unittest.TestCase):
    """Each test works in a copy of the fixtures, which it may change."""

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="flowbook-tool-"))
        self.addCleanup(shutil.rmtree, self.folder)
        shutil.copytree(FIXTURES, self.folder, dirs_exist_ok=True)

    def flowbook(self, *arguments, code=0, **more):
        done = run(*arguments, folder=self.folder, **more)
        self.assertEqual(done.returncode, code, (arguments, done.stdout, done.stderr))
        return done

    def output(self, *arguments, **more):
        return self.flowbook(*arguments, **more).stdout.decode()

    def names(self):
        return sorted(os.listdir(self.folder))

    def info(self, name):
        return json.loads(self.output("info", "--json", name))


class Reading(InFolder):
    def test_cases(self):
        before = self.names()
        for case in READING:
            with self.subTest(case.args):
                self.check(case)
                shutil.rmtree(self.folder / "out", ignore_errors=True)
                self.assertEqual(self.names(), before)

    def check(self, case):
        stdin = (self.folder / case.stdin).read_bytes() if case.stdin else b""
        done = self.flowbook(*case.args.split(" ") if case.args else (), code=case.code, input=stdin)
        if isinstance(case.out, tuple):
            rest = done.stdout.decode()
            for fragment in case.out:
                self.assertIn(fragment, rest)
                rest = rest.partition(fragment)[2]
        else:
            expected = case.out or b""
            self.assertEqual(done.stdout, expected if isinstance(expected, bytes) else expected.encode())
        error = done.stderr.decode()
        self.assertIn(case.err, error)
        self.assertEqual(error == "", case.err == "", error)

    def test_json(self):
        info = self.info("plain.tqx")
        keys = ("schema", "file", "code", "title", "description", "version", "created")
        self.assertEqual([info[key] for key in keys],
                         [1, "plain.tqx", "plain", "Running \"mean\"\tµ", "", None, "2024-05-01T09:30:00Z"])
        document = next(part for part in info["parts"] if part["name"] == "/tarmic/document.xml")
        with zipfile.ZipFile(self.folder / "plain.tqx") as package:
            entry = package.getinfo("tarmic/document.xml")
        self.assertEqual((document["size"], document["storedSize"]), (entry.file_size, entry.compress_size))
        tree = json.loads(self.output("parts", "--json", "tree.tqx", code=1))
        self.assertEqual([(row["depth"], row["source"], row["kind"], row.get("part")) for row in tree["relationships"]],
                         [(0, "/", "part", "/a"), (1, "/a", "part", "/b"), (2, "/b", "seen", "/a"),
                          (0, "/", "external", None), (0, "/", "missing", None)])
        self.assertEqual(tree["unreached"], [{"part": "/alone", "contentType": "text/c"}])
        self.assertEqual(len(self.output("info", "--json", "plain.tqx", "rich.tqx").splitlines()), 2)

    def test_full_device(self):
        for arguments in (("cat", "plain.tqx"), ("info", "rich.tqx"), ("--help",)):
            with open("/dev/full", "wb") as full, self.subTest(arguments):
                done = self.flowbook(*arguments, code=3, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(done.stderr, b"flowbook: standard output: No space left on device\n")

    def test_file_name_that_is_not_utf_8(self):
        error = self.flowbook("cat", b"\xff.tqx", code=2).stderr
        self.assertIn(b"not UTF-8 text at byte 0", error)

    def test_help_examples_work(self):
        for name, content in (("analysis.txt", b"x"), ("report.xml", files.rich_code("x").encode()),
                              ("plot.png", files.PICTURE), ("map.svg", b"<svg/>")):
            (self.folder / name).write_bytes(content)
        for command in COMMANDS:
            examples = re.findall(r"(?:^  |\| )(flowbook [^|\n]*)", self.output(command, "--help"), re.MULTILINE)
            self.assertTrue(examples, command)
            for example in examples:
                with self.subTest(example):
                    self.flowbook(*shlex.split(example.replace("*.tqx", "plain.tqx rich.tqx"))[1:], input=b"x")

    def test_progress_is_for_terminals(self):
        master, slave = pty.openpty()
        with subprocess.Popen([COMMAND, "cat", "-", "plain.tqx"], cwd=self.folder, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=slave) as process:
            time.sleep(0.8)
            process.communicate((self.folder / "rich.tqx").read_bytes(), timeout=60)
        os.close(slave)
        shown = os.read(master, 65536)
        os.close(master)
        self.assertIn(b"] 1/2 files", shown)
        self.assertTrue(shown.endswith(b"\x1b[K"), shown)


class Writing(InFolder):
    def test_new_holds_what_it_was_given(self):
        code = "\ufeffa = \"ä\";\r\n]]>&\n"
        self.flowbook("new", "new.tqx", "--code", "-", "--title", "T<>", "--description", "", input=code.encode())
        self.assertEqual(self.output("cat", "new.tqx"), code[1:].replace("\r\n", "\n"))
        info = self.info("new.tqx")
        self.assertEqual([info[key] for key in ("code", "title", "description", "version")], ["plain", "T<>", "", None])
        self.flowbook("new", "void.tqx")
        self.assertEqual((self.output("cat", "void.tqx"), self.info("void.tqx")["code"]), ("", "rich"))
        made = self.flowbook("new", "-", "--code", "-", input=b"x").stdout
        self.assertEqual(self.output("cat", "-", input=made), "x\n")

    def test_pictures_there_and_back(self):
        pictures = {"a.png": files.PICTURE, "b.PNG": files.PICTURE + b"1", "c": b"\xff\xd8\xff" + bytes(9),
                    "d.svg": b"<svg/>", "e.webp": b"RIFF\0\0\0\0WEBP12"}
        for name, content in pictures.items():
            (self.folder / name).write_bytes(content)
        images = [argument for name in pictures for argument in ("--image", name)]
        for source in (["--code", "-"], ["--rich", "doc.xml"]):
            (self.folder / "doc.xml").write_text(files.rich_code("x"), encoding="utf-8")
            self.flowbook("new", "new.tqx", "--force", *source, *images, input=b"x")
            self.assertEqual(self.output("cat", "new.tqx"), "x\n")
            self.flowbook("extract", "new.tqx", "-d", "out", "--images", "--force")
            stored = ["image1.png", "image2.png", "image1.jpeg", "image1.svg", "image1.webp"]
            self.assertEqual([(self.folder / "out/media" / name).read_bytes() for name in stored],
                             list(pictures.values()))
            self.assertEqual(sorted(os.listdir(self.folder / "out/media")), sorted(stored))

    def test_what_is_there_is_kept_or_replaced_whole(self):
        target = self.folder / "rich.tqx"
        (self.folder / "link.tqx").symlink_to("rich.tqx")
        before, names = target.read_bytes(), self.names()
        for arguments, code in ((("new", "rich.tqx"), 3), (("copy", "plain.tqx", "rich.tqx"), 3),
                                (("new", "rich.tqx", "--force", "--code", "torn.tqx"), 4),
                                (("copy", "damaged.tqx", "rich.tqx", "--force"), 4)):
            error = self.flowbook(*arguments, code=code).stderr.decode()
            self.assertEqual("rich.tqx: exists already; --force" in error, code == 3, error)
            self.assertEqual((target.read_bytes(), self.names()), (before, names))
        self.flowbook("copy", "plain.tqx", "link.tqx", "--force")
        self.assertEqual((self.output("cat", "rich.tqx"), self.names()), ("a = 1;\nb = 2;\n", names))
        self.assertTrue((self.folder / "link.tqx").is_symlink())

    def test_set_changes_what_is_named(self):
        self.flowbook("set", "plain.tqx", "--version", "2", "--title", "")
        info = self.info("plain.tqx")
        self.assertEqual([info[key] for key in ("title", "description", "version", "created")],
                         ["", "", "2", "2024-05-01T09:30:00Z"])
        self.assertEqual(self.output("cat", "plain.tqx"), "a = 1;\nb = 2;\n")
        self.flowbook("set", "encrypted.tqx", "--code", "-", input=b"clear")
        self.assertEqual(self.output("cat", "encrypted.tqx"), "clear\n")
        self.assertEqual(self.info("encrypted.tqx")["code"], "plain")

    def test_copy_carries_the_flowbook(self):
        for name in ("plain", "rich", "encrypted"):
            self.flowbook("copy", f"{name}.tqx", "copy.tqx", "--force")
            old, new = self.info(f"{name}.tqx"), self.info("copy.tqx")
            for key in ("code", "title", "description", "version"):
                self.assertEqual(new[key], old[key])
            contents = []
            for source in (f"{name}.tqx", "copy.tqx"):
                with zipfile.ZipFile(self.folder / source) as package:
                    contents.append({entry: package.read(entry) for entry in package.namelist()
                                     if entry.startswith(("tarmic/d", "tarmic/o", "media/"))})
            self.assertEqual(*contents)
        self.flowbook("copy", "rich.tqx", "-", code=0)


class Extracting(InFolder):
    def content(self, name):
        return (self.folder / "out" / name).read_bytes()

    def test_all_and_chosen(self):
        self.flowbook("extract", "rich.tqx", "-d", "out")
        self.assertEqual(self.content("code.txt").decode(), "größe = 2;\nx < y\n")
        self.assertEqual(self.content("media/image1.png"), files.PICTURE)
        self.assertEqual(self.content("media/image1.svg"), b"<svg/>")
        self.assertEqual(self.content("tarmic/output.xml"), b"<o/>")
        shutil.rmtree(self.folder / "out")
        self.flowbook("extract", "rich.tqx", "-d", "out", "--part", "/media/IMAGE1.png")
        self.assertEqual(self.content("media/image1.png"), files.DATA_URI)
        self.assertEqual(os.listdir(self.folder / "out"), ["media"])
        self.flowbook("extract", "encrypted.tqx", "-d", "out", code=5)
        self.assertEqual(self.content("tarmic/document.xml"), files.SECRET)
        self.flowbook("extract", "badimage.tqx", "-d", "out", code=4)
        self.assertEqual(self.content("media/image2.png"), files.PICTURE)

    def test_nothing_is_overwritten_or_written_elsewhere(self):
        (self.folder / "out").mkdir()
        (self.folder / "elsewhere").mkdir()
        victim = self.folder / "victim"
        victim.write_text("mine")
        (self.folder / "out/media").symlink_to("../elsewhere")
        (self.folder / "out/code.txt").symlink_to("../victim")
        error = self.flowbook("extract", "rich.tqx", "-d", "out", code=3).stderr.decode()
        self.assertIn("out/code.txt: cannot write: File exists; --force replaces it", error)
        self.flowbook("extract", "rich.tqx", "-d", "out", "--force", code=3)
        self.assertEqual(self.content("code.txt").decode(), "größe = 2;\nx < y\n")
        self.assertFalse((self.folder / "out/code.txt").is_symlink())
        self.assertEqual((victim.read_text(), os.listdir(self.folder / "elsewhere")), ("mine", []))


if __name__ == "__main__":
    COMMAND = os.path.abspath(sys.argv.pop(1))
    with tempfile.TemporaryDirectory(prefix="flowbook-fixtures-") as fixtures:
        FIXTURES = Path(fixtures)
        files.write_all(FIXTURES)
        unittest.main()
