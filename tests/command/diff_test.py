#!/usr/bin/env python3
"""Tests of diff on folders, and of its records. usage: diff_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import shutil
import sys
import unittest
from pathlib import Path

import jsonschema

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
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
