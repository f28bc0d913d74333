#!/usr/bin/env python3
"""Tests of the commands that make and change flowbooks.
usage: write_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import os
import shlex
import shutil
import sys
import unittest
import unittest.mock
import zipfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import RICH, Case, CommandTest

CASES = [
    Case("set absent.tqx --title x", 3, err="absent.tqx: there is no such file"),
    Case("set plain.tqx", 2, err="at least one thing to set"),
    Case("set plain.tqx --title a\x01b", 2, err="cannot hold the character \\u0001"),
    Case("set - --title x", 0, ("PK",), stdin="plain.tqx"),
    Case("set - --title x", 4, err="not a zip container"),
    Case("set prose.tqx --code -", 1, err="prose.tqx: plain code would drop 1 paragraph of prose, 1 text beside code"),
    Case("set prose.tqx --code -", 0, stdin="same"),
    Case("set prose.tqx --flatten", 2, err="--flatten requires --code"),
    Case("new none/a.tqx", 3, err="none/a.tqx"),
    Case("new a.tqx --code plain.tqx", 2, err="flowbook: plain.tqx: not UTF-8 text at byte"),
    Case("new a.tqx --code absent", 3, err="flowbook: absent: there is no such file"),
    Case("new a.tqx --rich damaged.tqx", 2, err="flowbook: damaged.tqx: "),
    Case("new a.tqx --image damaged.tqx", 2, err="no PNG, JPEG"),
    Case("new a.txt", 2, err="flowbook: a.txt: the name of a flowbook ends in .tqx or .tqapp"),
]


class Write(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def test_new_holds_what_it_was_given(self):
        code = "\ufeffa = \"ä\";\r\n]]>&\n"
        self.flowbook("new", "new.tqx", "--code", "-", "--title", "T<>", "--description", "", input=code.encode())
        self.assertEqual(self.flowbook("cat", "new.tqx"), code[1:].replace("\r\n", "\n"))
        self.assert_info("new.tqx", form="plain", title="T<>", description="", version=None)
        self.flowbook("new", "void.tqx")
        self.assertEqual((self.flowbook("cat", "void.tqx"), self.info("void.tqx")["form"]), ("", "rich"))
        made_here = self.flowbook("new", "-", "--code", "-", input=b"x").encode(errors="surrogateescape")
        self.assertEqual(self.flowbook("cat", "-", input=made_here), "x\n")

    def test_what_is_there_is_kept_or_replaced_whole(self):
        (self.folder / "link.tqx").symlink_to("rich.tqx")
        names = self.names()
        exists = "rich.tqx: exists already; --force"
        for arguments, code, err in (("new rich.tqx", 3, exists), ("copy plain.tqx rich.tqx", 3, exists),
                                     ("new rich.tqx --force --code plain.tqx", 2, "not UTF-8"),
                                     ("copy damaged.tqx rich.tqx --force", 4, "damaged.tqx: ")):
            self.flowbook(*arguments.split(), code=code, err=err)
            found = (self.folder / "rich.tqx").read_bytes(), self.names()
            self.assertEqual(found, (self.fixtures["rich.tqx"], names))
        self.flowbook("copy", "plain.tqx", "link.tqx", "--force")
        self.assertEqual((self.flowbook("cat", "rich.tqx"), self.names()), ("a = 1;\nb = 2;\n", names))
        self.assertTrue((self.folder / "link.tqx").is_symlink())

    def test_set_changes_what_is_named(self):
        self.flowbook("set", "plain.tqx", "--version", "2", "--title", "")
        self.assert_info("plain.tqx", title="", description="", version="2", created="2024-05-01T09:30:00Z")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "a = 1;\nb = 2;\n")

    def essence(self, name):
        with zipfile.ZipFile(self.folder / name) as package:
            own = {entry: package.read(entry) for entry in package.namelist()
                   if entry.startswith(("tarmic/d", "tarmic/o", "media/"))}
        return own, [self.info(name)[key] for key in ("form", "title", "description", "version")]

    def test_set_writes_only_what_differs(self):
        def state():
            return {path: (path.stat().st_mtime_ns, path.read_bytes()) for path in self.folder.rglob("*.tq*")
                    if path.is_file()}
        change = "set plain.tqx b -q -j2 --description x --title y".split()
        self.flowbook(*change)
        before = state()
        self.flowbook(*change)
        self.flowbook("set", "plain.tqx", "--code", "-", input=b"a = 1;\r\nb = 2;")
        self.assertEqual(state(), before)
        self.assertEqual([self.info(name)["title"] for name in ("plain.tqx", "b/b.tqx", "b/c.tqapp")], ["y"] * 3)

    def test_rich_code_comes_and_goes_with_its_pictures(self):
        for arguments, form in ((["--code", "-", "--flatten"], "plain"), (["--rich", "doc.xml"], "rich")):
            self.write({"doc.xml": RICH})
            self.flowbook("set", "rich.tqx", *arguments, input=b"x")
            self.assert_info("rich.tqx", form=form)
            self.flowbook("copy", "rich.tqx", "copy.tqx", "--force")
            self.assertIn("rId1 image -> /media/image1.png", self.flowbook("parts", "copy.tqx"))
        self.assertEqual(self.flowbook("cat", "--format=xml", "copy.tqx"), RICH.decode())

    def test_stamps_can_be_fixed(self):
        made_twice = []
        for name in ("one.tqx", "two.tqx"):
            with unittest.mock.patch.dict(os.environ, SOURCE_DATE_EPOCH="1000000000"):
                self.flowbook("new", name, "--code", "-", input=b"x")
            made_twice.append((self.folder / name).read_bytes())
        self.assertEqual(made_twice[0], made_twice[1])
        self.assert_info("one.tqx", created="2001-09-09T01:46:40Z", modified="2001-09-09T01:46:40Z")

    def test_copy_carries_the_flowbook(self):
        for name in ("plain.tqx", "rich.tqx", "encrypted.tqx"):
            self.flowbook("copy", name, "copy.tqx", "--force")
            self.assertEqual(self.essence("copy.tqx"), self.essence(name))
        self.assertTrue(self.flowbook("copy", "rich.tqx", "-"))

    def edit(self, script, *arguments, **more):
        with unittest.mock.patch.dict(os.environ, {"VISUAL": "", "EDITOR": f"sh -c {shlex.quote(script)} editor"}):
            return self.flowbook("edit", *arguments, **more)

    def test_edit(self):
        before = (self.folder / "plain.tqx").stat().st_ctime_ns
        self.edit("true", "plain.tqx")
        self.assertEqual((self.folder / "plain.tqx").stat().st_ctime_ns, before)
        self.edit("sed -i s/b/x/ $1", "plain.tqx")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "a = 1;\nx = 2;\n")
        self.edit("true", "encrypted.tqx", code=5, err="the code is encrypted")
        for script, code, message in (("echo y >$1; exit 3", 3, "the editor ended with 3"),
                                      ("echo y >$1; cp rich.tqx plain.tqx", 3, "the code was changed meanwhile"),
                                      ("echo y >$1; printf '\\377' >>$1", 2, "not UTF-8"),
                                      ("echo y >$1; cp rich.tqx r; mv r plain.tqx", 3, "the name no longer")):
            with self.subTest(script), unittest.mock.patch.dict(os.environ, TMPDIR=str(self.folder / "b")):
                self.edit(script, "plain.tqx", code=code, err=message)
                kept = next((self.folder / "b").glob("*/code.txt"))
                self.assertTrue(kept.read_bytes().startswith(b"y\n"))
                shutil.rmtree(kept.parent)
            self.assertIn(self.flowbook("cat", "plain.tqx"), ("a = 1;\nx = 2;\n", "größe = 2;\nx < y\n"))


if __name__ == "__main__":
    unittest.main()
