#!/usr/bin/env python3
"""Tests of extract, pack and repair. usage: unpack_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import os
import shutil
import subprocess
import sys
import unittest
import zipfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, DATA_URI, PICTURE, RICH, Case, CommandTest, made

CASES = [
    Case("extract rich.tqx -d out --part /none", 1, err="there is no part /none"),
    Case("extract rich.tqx -d out --part none", 2, err="none is no part name"),
    Case("extract rich.tqx -d plain.tqx/out", 3, err="plain.tqx/out: cannot write: Not a directory"),
    Case("extract deep.tqx -d out", 6, err="more than 64 folders deep"), Case("extract deepest.tqx -d out", 0),
    Case("repair torn.tqx -o - --binary", 1, ("PK",), err="lost: a faulty relationship of /: rId1 to a\n"),
    Case("repair torn.tqx", 2, err="repair takes -o FILE for the result, or -d FOLDER or --in-place for many"),
    Case("pack out", 2, err="pack takes one FOLDER and -o FILE, or -d FOLDER for many"), Case("show", 2, err="no file"),
    Case("repair torn.tqx -o -", 1, ("PK",), err="lost: /gone.png: only a relationship to it is left"),
]


class Unpack(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def test_extract_all_and_chosen(self):
        self.flowbook("extract", "rich.tqx", "-d", "all")
        self.assert_files("all", {"code.txt": "größe = 2;\nx < y\n".encode(), "tarmic/document.xml": RICH,
                                  "media/image1.png": PICTURE, "media/image1.svg": b"<svg/>",
                                  "tarmic/output.xml": b"<o/>",
                                  "flowbook.json": (self.folder / "all/flowbook.json").read_bytes()})
        self.flowbook("extract", "rich.tqx", "-d", "one", "--part", "/media/IMAGE1.png")
        self.assert_files("one", {"media/image1.png": DATA_URI})
        self.flowbook("extract", "encrypted.tqx", "-d", "encrypted")
        self.flowbook("extract", "encrypted.tqx", "-d", "code", "--code", code=5, err="the code is encrypted")
        self.assertEqual((self.folder / "encrypted/tarmic/document.xml").read_bytes(), b"\0\xff cipher")
        self.flowbook("extract", "badimage.tqx", "-d", "bad", "--images", code=4, err="image1.png")
        self.assert_files("bad", {"media/image2.png": PICTURE})

    def test_pack_is_the_inverse_of_extract(self):
        packed = 0
        for name in sorted(self.fixtures.keys() - {"many.tqx", "damaged.tqx"}):
            subprocess.run([COMMAND, "extract", name, "-d", "out"], cwd=self.folder, stderr=subprocess.DEVNULL,
                           timeout=300, check=False)
            if (self.folder / "out/flowbook.json").exists():
                with self.subTest(name):
                    self.flowbook("pack", "out", "-o", "again.tqx", "--force")
                    one, other = self.flowbook("digest", name, "again.tqx").splitlines()
                    self.assertEqual(one[:64], other[:64])
                packed += 1
            shutil.rmtree(self.folder / "out", ignore_errors=True)
        self.assertGreater(packed, 25)

    def test_what_is_unusual_goes_there_and_back(self):
        entries = made.package(root=[made.TO_DOCUMENT, ("r2", "t", "%zz"), ("r3", "t", "code.txt")],
                               document_rels=made.relationships(("r1", "t", "%zz")),
                               parts={"code.txt": ("text/plain", b"mine"), "flowbook.json": ("text/json", b"1"),
                                      "a.png": ("image/png", b"data:,")})
        entries.update({"no part": b"loose", "loose.png": b"no part either", "media/x.unknown": b"?",
                        "gone/_rels/x.xml.rels": b"<cut"})
        self.write({"odd.tqx": made.zipped(entries)})
        self.flowbook("extract", "odd.tqx", "-d", "out")
        self.assertEqual((self.folder / "out/code.txt~2").read_bytes(), b"mine")
        self.flowbook("pack", "out", "-o", "again.tqx")
        self.flowbook("merge", "odd.tqx", "odd.tqx", "again.tqx", "-o", "merged.tqx")
        digests = self.flowbook("digest", "odd.tqx", "again.tqx", "merged.tqx").splitlines()
        self.assertEqual(len({line[:64] for line in digests}), 1)
        self.flowbook("repair", "odd.tqx", "-o", "repaired.tqx", err="saved: /no part\n")
        self.flowbook("copy", "odd.tqx", "copied.tqx")
        with zipfile.ZipFile(self.folder / "copied.tqx") as file:
            self.assertIn(b'Target="%zz"', file.read("tarmic/_rels/document.xml.rels"))
        for name in ("canon again.tqx", "canon odd.tqx", "set again.tqx --code same"):
            self.flowbook(*name.split())
        for name in ("again", "merged", "repaired", "odd"):
            with self.subTest(name), zipfile.ZipFile(self.folder / f"{name}.tqx") as file:
                self.assertEqual({each: file.read(each) for each in entries.keys() & {
                    "code.txt", "flowbook.json", "no part", "media/x.unknown", "gone/_rels/x.xml.rels"}},
                    {"code.txt": b"mine", "flowbook.json": b"1", "no part": b"loose", "media/x.unknown": b"?",
                     "gone/_rels/x.xml.rels": b"<cut"})
                self.assertIn(b'Target="%zz"', file.read("_rels/.rels"))
        (self.folder / "out/no part").unlink()
        os.mkfifo(self.folder / "out/no part")
        self.flowbook("pack", "out", "-o", "b.tqx", code=3, err="out/no part: cannot read: not a regular file")

    def test_pack_takes_changes_and_leaves_nothing_unsaid(self):
        self.flowbook("extract", "rich.tqx", "-d", "out")
        self.write({"out/media/image1.png": b"another", "out/media/image1.svg": b"<svg>\xff</svg>", "out/new.png": b""})
        self.flowbook("pack", "out", "-o", "a.tqx", code=1, err="flowbook: out/new.png: not packed\n")
        self.flowbook("extract", "a.tqx", "-d", "again")
        self.write({"out/flowbook.json": (self.folder / "again/flowbook.json").read_bytes()})
        (self.folder / "out/new.png").unlink()
        self.assert_files("again", {str(path.relative_to(self.folder / "out")): path.read_bytes()
                                    for path in (self.folder / "out").rglob("*") if path.is_file()})
        manifest = (self.folder / "out/flowbook.json").read_bytes()
        for name, content, code, err in (
                ("flowbook.json", b"{", 4, "flowbook.json"), ("flowbook.json", b"{}", 4, "missing or of another type"),
                ("flowbook.json", manifest.replace(b"/media/image1.png", b"/../rich.tqx"), 4, "no part name"),
                ("flowbook.json", manifest.replace(b"/tarmic/output.xml", b"/none"), 3, "out/none: there is no such"),
                ("code.txt", b"changed", 1, "code.txt: not the code of the document beside it")):
            old = (self.folder / "out" / name).read_bytes()
            self.write({f"out/{name}": content})
            self.flowbook("pack", "out", "-o", "b.tqx", code=code, err=err)
            self.write({f"out/{name}": old})
        (self.folder / "out/tarmic/output.xml").unlink()
        (self.folder / "out/tarmic/output.xml").symlink_to(self.folder / "rich.tqx")
        self.flowbook("pack", "out", "-o", "b.tqx", code=3, err="out/tarmic/output.xml: cannot read")
        self.assertFalse((self.folder / "b.tqx").exists())

    def test_pack_takes_many(self):
        (self.folder / "books/sub").mkdir(parents=True)
        self.write({"books/" + name: self.fixtures[file] for name, file in (
            ("a.tqx", "plain.tqx"), ("sub/b.tqx", "rich.tqx"))})
        self.flowbook("extract", "books", "-d", "out")
        (self.folder / "out/empty").mkdir()
        self.flowbook("pack", "out", "-d", "again")
        self.flowbook("diff", "books", "again")
        self.flowbook("pack", "out/a.tqx", "out/sub/", "out/a.tqx/.", "-d", "some", code=3,
                      err="out/a.tqx/.: would have the same name in the folder as 'out/a.tqx'")
        self.assertEqual(sorted(os.listdir(self.folder / "some")), ["a.tqx", "b.tqx"])
        self.flowbook("pack", "out/empty", "out/a.tqx", "-d", "more", code=3,
                      err="out/empty/flowbook.json: there is no such file")
        self.assertEqual(os.listdir(self.folder / "more"), ["a.tqx"])

    def test_repair_takes_many(self):
        cut = self.fixtures["plain.tqx"][:-30]
        files = {"cut.tqx": cut, "gone.tqx": b"junk", "sub/torn.tqx": self.fixtures["torn.tqx"],
                 "whole.tqx": self.fixtures["rich.tqx"]}
        (self.folder / "books/sub").mkdir(parents=True)
        self.write({"books/" + name: content for name, content in files.items()})
        (self.folder / "books/cut.tqx").chmod(0o640)
        self.flowbook("repair", "books", "-d", "out", code=4, err="2 repaired, 1 as they were\n")
        self.assertEqual({str(path.relative_to(self.folder / "out")) for path in (self.folder / "out").rglob("*.tqx")},
                         files.keys() - {"gone.tqx"})
        self.flowbook("repair", "books", "--dry-run", code=4, err="flowbook: books/sub/torn.tqx: lost: ")
        self.assert_files("books", files)
        self.flowbook("repair", "books", "--in-place", "-q", code=4, err="books/gone.tqx: nothing of it can be saved")
        made_anew = {name: (self.folder / "out" / name).read_bytes() for name in ("cut.tqx", "sub/torn.tqx")}
        after = {**files, **made_anew, **{name + ".damaged": files[name] for name in made_anew}}
        self.assert_files("books", after)
        self.assertEqual((self.folder / "books/cut.tqx.damaged").stat().st_mode & 0o777, 0o640)
        self.flowbook("repair", "books", "--in-place", code=4, err="0 repaired, 3 as they were\n")
        self.write({"books/cut.tqx": cut})
        self.flowbook("repair", "books/cut.tqx", "--in-place", code=3, err="'books/cut.tqx.damaged' is there already")
        self.assert_files("books", {**after, "cut.tqx": cut})
        # A run that was ended when it had given the second name, and not replaced the file yet.
        (self.folder / "books/cut.tqx.damaged").unlink()
        os.link(self.folder / "books/cut.tqx", self.folder / "books/cut.tqx.damaged")
        self.flowbook("repair", "books/cut.tqx", "--in-place", "-q")
        self.assert_files("books", after)

    def test_extract_overwrites_nothing_and_writes_nowhere_else(self):
        for name in ("out", "elsewhere"):
            (self.folder / name).mkdir()
        self.write({"victim": b"mine"})
        (self.folder / "out/media").symlink_to("../elsewhere")
        (self.folder / "out/code.txt").symlink_to("../victim")
        self.flowbook("extract", "rich.tqx", "-d", "out", code=3, err="out/code.txt: cannot write: File exists; ")
        self.flowbook("extract", "rich.tqx", "-d", "out", "--force", code=3, err="out/media")
        self.assertFalse((self.folder / "out/code.txt").is_symlink())
        self.assertEqual((self.folder / "out/code.txt").read_text(encoding="utf-8"), "größe = 2;\nx < y\n")
        self.assertEqual(((self.folder / "victim").read_bytes(), os.listdir(self.folder / "elsewhere")), (b"mine", []))

    def test_pictures_there_and_back(self):
        pictures = {"a.png": PICTURE, "b.PNG": PICTURE + b"1", "c": b"\xff\xd8\xff" + bytes(9), "d.svg": b"<svg/>",
                    "e.webp": b"RIFF\0\0\0\0WEBP12"}
        self.write({**pictures, "doc.xml": RICH})
        images = [argument for name in pictures for argument in ("--image", name)]
        stored = ["image1.png", "image2.png", "image1.jpeg", "image1.svg", "image1.webp"]
        for source, code in ((["--code", "-"], "x\n"), (["--rich", "doc.xml"], "größe = 2;\nx < y\n")):
            self.flowbook("new", "new.tqx", "--force", *source, *images, input=b"x")
            self.assertEqual(self.flowbook("cat", "new.tqx"), code)
            self.flowbook("extract", "new.tqx", "-d", "out", "--images", "--force")
            self.assert_files("out/media", dict(zip(stored, pictures.values())))


if __name__ == "__main__":
    unittest.main()
