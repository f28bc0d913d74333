#!/usr/bin/env python3
"""Tests of ls. usage: ls_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import Case, CommandTest

FILES = "prose.tqx", "encrypted.tqx", "no_code.tqx", "plain.tqx", "long.tqx"
CASES = [
    Case("ls plain.tqx encrypted.tqx no_code.tqx", 0,
         "encrypted  encrypted.tqx\nnone       no_code.tqx\nplain      plain.tqx\n"),
    Case("ls plain.tqx damaged.tqx", 4, "damaged    damaged.tqx\nplain      plain.tqx\n", "flowbook: damaged.tqx: "),
    Case("ls many.tqx", 6, "limit      many.tqx\n", "the limit maxEntries"),
    Case("ls badprops.tqx", 4, "damaged    badprops.tqx\n", "flowbook: badprops.tqx: "),
    Case("ls absent.tqx", 3, "", "absent.tqx"),
    Case("ls --sort=colour plain.tqx", 2, "", "colour"),
    Case("ls --sort=size --json plain.tqx", 2, "", "--json"),
]


class Ls(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def test_sorted_by_what_is_listed(self):
        self.write({"code": b"a\n\nb\nc"})
        self.flowbook("new", "long.tqx", "--code=code", "--title=A title")
        records = [json.loads(line) for line in self.flowbook("ls", "--json", *FILES).splitlines()]
        for record in records:
            if "lines" in record:
                self.assertEqual(self.flowbook("cat", record["file"]).count("\n"), record["lines"])
        for key, isLargestFirst in (("name", False), ("size", True), ("lines", True), ("modified", True),
                                    ("title", False)):
            values = {record["file"]: record["file"] if key == "name" else record.get(key, 0)
                      if key in ("size", "lines") else record["properties"][key] or "" for record in records}
            expected = sorted(sorted(FILES), key=values.get, reverse=isLargestFirst)
            rows = self.flowbook("ls", "-l", f"--sort={key}", *FILES).splitlines()
            self.assertEqual([next(word for word in row.split() if word in FILES) for row in rows], expected)
            for row in rows:
                self.assertIn(str((self.folder / next(w for w in row.split() if w in FILES)).stat().st_size),
                              row.split())


if __name__ == "__main__":
    unittest.main()
