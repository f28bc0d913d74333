#!/usr/bin/env python3
"""Tests that the programs of the guides do what the guides say, are shown as they are, and that the table of limits has
those of the sources. usage: guides_test.py FOLDER_OF_PROGRAMS"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PROGRAMS = Path(sys.argv.pop(1)).resolve()
UNITS = {"": 1, "bytes": 1, "KiB": 1 << 10, "MiB": 1 << 20, "GiB": 1 << 30}


def value_of(expression):
    return eval(re.sub(r"std::\w+\{(\d+)\}", r"\1", expression))  # our own sources


class Guides(unittest.TestCase):
    def run_in(self, folder, program, *arguments):
        done = subprocess.run([PROGRAMS / program, *arguments], cwd=folder, capture_output=True, text=True, check=False,
                              timeout=300)
        return done.returncode, done.stdout + done.stderr

    def test_programs_are_shown_as_they_are(self):
        for guide in ("README.md", "docs/hosts.md"):
            blocks = re.findall(r"```cpp\n(.*?)```", (ROOT / guide).read_text(), re.DOTALL)
            programs = [path.read_text() for path in (ROOT / "examples").glob("*.cpp")]
            self.assertNotEqual(blocks, [])
            for block in blocks:
                self.assertIn(block, programs, guide)

    def test_programs_do_what_is_said(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertEqual(self.run_in(folder, "guide_write"), (0, ""))
            Path(folder, "plot.png").write_bytes(b"\x89PNG")
            for number in (1, 2):
                self.assertEqual(self.run_in(folder, "guide_picture"), (0, f"/media/image{number}.png rId{number}\n"))
            self.assertEqual(self.run_in(folder, "guide_errors", "hello.tqx"), (0, ""))
            Path(folder, "odd.tqx").write_text("no package")
            for file, code, told in (("odd.tqx", 4, "flowbook repair"), ("none/a.tqx", 3, "none/a.tqx: ")):
                found, text = self.run_in(folder, "guide_errors", file)
                self.assertEqual((found, told in text), (code, True), text)

    def test_limits_are_those_of_the_sources(self):
        table = (ROOT / "docs/limits.md").read_text()
        rows = re.findall(r"^\| [^|]+ \| ([0-9,]+) ?(\w*) \| `(\w+)` in `([^`]+)` \|", table, re.MULTILINE)
        for number, unit, name, file in rows:
            found = re.search(rf"\b{name} = ([^;]+);", (ROOT / file).read_text())
            self.assertIsNotNone(found, (name, file))
            self.assertEqual(value_of(found[1]), int(number.replace(",", "")) * UNITS[unit], name)
        limits = (ROOT / "platform/include/opc/Limits.hpp").read_text()
        self.assertEqual(set(re.findall(r"(\w+) = ", limits)) - {name for _, _, name, _ in rows},
                         {"kDomBytesPerNode", "kDomBytesPerUnit"})

    def test_headers_of_a_host_are_those_that_are_used(self):
        used = {header for source in (ROOT / "src").rglob("*.[ch]pp")
                for header in re.findall(r'#include "((?:fl|foundation|opc|settings)/[^"]+)"', source.read_text())}
        used |= {header for source in (ROOT / "include").rglob("*.hpp")
                 for header in re.findall(r'#include "((?:fl|foundation|opc|settings)/[^"]+)"', source.read_text())}
        guide = (ROOT / "docs/hosts.md").read_text()
        listed = re.search(r"<!-- headers -->\n```\n(.*?)```", guide, re.DOTALL)[1].split()
        self.assertEqual(sorted(listed), sorted(used))


if __name__ == "__main__":
    unittest.main()
