#!/usr/bin/env python3
"""Tests of diff on folders, and of its records. usage: diff_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import shutil
import sys
import unittest
from pathlib import Path

import jsonschema

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made
from harness import Case, CommandTest

SCHEMA = Path(__file__).resolve().parents[2] / "docs/flowbook.schema.json"
CASES = [
    Case("diff old new", 1, "changed  new/c.tqx\nadded    new/d/e.tqx\nremoved  old/r.tqx\n"),
    Case("diff -q old new", 1),
    Case("diff -q old old", 0),
    Case("diff old old", 0),
    Case("diff -q plain.tqx rich.tqx", 1),
    Case("diff -q plain.tqx b/b.tqx", 0),
    Case("diff -q plain.tqx many.tqx", 6),
    Case("diff old folder", 3, ("removed  old/c.tqx",), "flowbook: folder: no flowbook is in this folder"),
    Case("diff old folder --allow-empty", 1, "".join(f"removed  old/{name}.tqx\n" for name in "crsx")),
    Case("diff old plain.tqx", 3, err="old: cannot read"),
    Case("diff old new other", 2, err="takes two flowbooks or two folders"),
    Case("diff --html --json old new", 2, err="--json"),
]

# git caches these texts by the number of their form: one that changes here needs another number.
CORE = made.core(made.title("Mean"), "<dc:description>two\nlines</dc:description>",
                 made.time("created", "2024-05-01T09:30:00Z"))
BOOK = dict(
    document=made.rich(made.paragraph("Why", "text"), made.paragraph("a = 1;"),
                       made.paragraph("odd", "text").replace("<w:p>", '<w:p n="1">')),
    root=[*CORE["root"], ("r8", "output", "tarmic/output.xml"), ("r9", "web", "http://x/", "External")],
    parts={**CORE["parts"], "tarmic/output.xml": ("text/xml", b"<o>\n 1</o>"),
           "media/image1.png": ("image/png", b"data:image/png;base64,iVBORw0K"),
           "media/image2.png": ("image/png", b"data:image/png,%89PNG")},
    document_rels=made.relationships(("rId1", "image", "../media/image1.png")))
TEXT = """\
code: rich
title: Mean
description: two
             lines
created: 2024-05-01T09:30:00Z
part /core.xml application/vnd.openxmlformats-package.core-properties+xml
picture /media/image1.png image/png, 6 bytes, sha256 823ceb99fcef5252333ede1b2202341c3b287b6d47571963e6b0ddf393a24f82
picture /media/image2.png image/png, 4 bytes, sha256 0f4636c78f65d3639ece5a064b5ae753e3408614a14fb18ab4d7540d2c248543, \
stored 21 bytes, sha256 7de271d100770bb5b5ab82bd582a923adc8c99b3cae0b97a66aab41791243b3d
part /tarmic/document.xml application/vnd.pellarion.tarmic.code.document+xml, \
markup sha256 2225941845caa92d60f65a82eeb05f6b2a259a0a2c4ead35c66c3daf4c82ca0f
part /tarmic/output.xml text/xml
relationship / http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties -> core.xml
relationship / http://schemas.pellarion.com/tarmic/code/2013/relationships/document -> /tarmic/document.xml
relationship / http://schemas.pellarion.com/tarmic/code/2013/relationships/output -> tarmic/output.xml
relationship / http://schemas.pellarion.com/tarmic/code/2013/relationships/web => http://x/
relationship /tarmic/document.xml rId1 http://schemas.pellarion.com/tarmic/code/2013/relationships/image \
-> ../media/image1.png

[text] Why
  a = 1;
[text] odd [markup d1d9a812115df297]

output /tarmic/output.xml
| <o>
|  1</o>
"""


class Diff(CommandTest):
    def setUp(self):
        super().setUp()
        for name in ("old", "new", "new/d"):
            (self.folder / name).mkdir()
        plain, rich = self.fixtures["plain.tqx"], self.fixtures["rich.tqx"]
        # What holds the same and is another container is the same.
        self.write({"old/c.tqx": plain, "new/c.tqx": rich, "old/s.tqx": plain, "new/s.tqx": plain + b"\n",
                    "old/r.tqx": rich, "new/d/e.tqx": rich, "old/x.tqx": b"no zip", "new/x.tqx": b"no zip"})

    def test_cases(self):
        self.assert_cases(CASES)

    def test_text_form(self):
        self.write({"book.tqx": made.zipped(made.package(**BOOK))})
        self.assertEqual(self.flowbook("git", "textconv", "book.tqx"), TEXT)
        self.assertIn("output.xml text/xml, 10 bytes, sha256 374ad4a5",
                      self.flowbook("git", "textconv", "--no-outputs", "book.tqx"))
        self.assertRegex(self.flowbook("git", "textconv", "badprops.tqx"),
                         r"(?s)\ntitle: \[damaged: .*\nproperties: \[damaged: .*part /core.xml [^,]*\n")

    def test_records(self):
        validator = jsonschema.Draft7Validator(json.loads(SCHEMA.read_text(encoding="utf-8")))
        shutil.rmtree(self.folder / "new/d")
        (self.folder / "new/gone.tqx").symlink_to("nowhere")
        for arguments, code, expected in (
                (("old", "new"), 3, {"new/c.tqx": "changed", "new/s.tqx": "none", "new/x.tqx": "none",
                                     "old/r.tqx": "removed", "new/gone.tqx": None}),
                (("plain.tqx", "b/b.tqx"), 0, {"b/b.tqx": "none"}),
                (("plain.tqx", "rich.tqx"), 1, {"rich.tqx": "changed"})):
            err = "there is no such file" if code == 3 else ""
            lines = self.flowbook("diff", "--json", *arguments, code=code, err=err).splitlines()
            records = [json.loads(line) for line in lines]
            self.assertEqual({record["file"]: record.get("difference") for record in records}, expected)
            for record in records:
                self.assertEqual([fault.message for fault in validator.iter_errors(record)], [], record)


if __name__ == "__main__":
    unittest.main()
