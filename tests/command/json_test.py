#!/usr/bin/env python3
"""Validates what every command prints with --json. usage: json_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

import jsonschema

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, CommandTest

SCHEMA = Path(__file__).resolve().parents[2] / "docs/flowbook.schema.json"
# What a command takes before its inputs.
ARGUMENTS = {"grep": ["-i", "A"], "replace": ["a", "b", "--dry-run"], "set": ["--title", "x", "--dry-run"],
             "canon": ["--check"], "strip": ["--check"], "repair": ["--dry-run"]}


class Json(CommandTest):
    def test_every_line_follows_the_schema(self):
        validator = jsonschema.Draft7Validator(json.loads(SCHEMA.read_text(encoding="utf-8")))
        table = [json.loads(line) for line in self.flowbook("help", "--json").splitlines()]
        inputs = sorted(self.fixtures.keys() - {"same", "list"}) + [
            "absent.tqx", "folder", os.fsdecode(b"b/\xff.txt"), "b/c.tqapp"]
        for command in table:
            names = {option["name"] for option in command["options"]}
            if "--json" not in names or "INPUT..." not in names:
                continue
            with self.subTest(command["name"]):
                done = subprocess.run(
                    [COMMAND, command["name"], *ARGUMENTS.get(command["name"], []), "--json", *inputs],
                    cwd=self.folder, capture_output=True, timeout=300, check=False)
                records = [json.loads(line) for line in done.stdout.splitlines()]
                self.assertEqual([record["file"] for record in records],
                                 [name.encode(errors="surrogateescape").decode(errors="replace") for name in inputs])
                for record in records:
                    self.assertEqual([fault.message for fault in validator.iter_errors(record)], [], record)
                    error = record.get("error", record)
                    self.assertLessEqual(error["exit"], record["exit"])
                    named = re.match(r"part '?(/[^',: ]+)", error.get("message", ""))
                    self.assertEqual(named and named[1], named and error.get("part"), record)
                self.assertEqual(max(record["exit"] for record in records), done.returncode)
                self.assertEqual(records[-2]["fileBase64"], "Yi//LnR4dA==")


if __name__ == "__main__":
    unittest.main()
