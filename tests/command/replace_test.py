#!/usr/bin/env python3
"""Tests of replace. usage: replace_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import Case, CommandTest

CASES = [
    Case("replace ( x plain.tqx", 2, err="invalid pattern '(': missing )"),
    Case("replace a \\1 plain.tqx", 2, err="invalid replacement '\\1': "),
    Case("replace none x plain.tqx", 0),
    Case("replace (\\w)\\s= <\\1>= plain.tqx --dry-run", 0,
         "--- plain.tqx\n+++ plain.tqx\n@@ -1,2 +1,2 @@\n-a = 1;\n-b = 2;\n+<a>= 1;\n+<b>= 2;\n"),
]


class Replace(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def test_only_code_changes(self):
        prose = self.flowbook("grep", "--in=prose", "", "prose.tqx")
        self.flowbook("replace", "-w", "a", r"total\0", "prose.tqx", "plain.tqx", "b", err=" changed, ")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "totala = 1;\nb = 2;\n")
        self.assertIn("totala = 1;", self.flowbook("cat", "prose.tqx"))
        self.assertEqual(self.flowbook("grep", "--in=prose", "", "prose.tqx"), prose)
        self.flowbook("replace", "-F", "b = 2", r"\1", "plain.tqx")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "totala = 1;\n\\1;\n")


if __name__ == "__main__":
    unittest.main()
