#!/usr/bin/env python3
"""Tests of grep. usage: grep_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import Case, CommandTest

CASES = [
    Case("grep -i R.SSE|A rich.tqx plain.tqx", 0, "plain.tqx:1:a = 1;\n"),
    Case("grep -c ; b rich.tqx", 0, "b/B.TQX:2\nb/b.tqx:2\nb/c.tqapp:1\nrich.tqx:1\n"),
    Case("grep -lv ; b rich.tqx -j2", 0, "b/c.tqapp\nrich.tqx\n"),
    Case("grep -w gr rich.tqx", 1),
    Case("grep -w x|größe rich.tqx", 0, "rich.tqx:1:größe = 2;\nrich.tqx:2:x < y\n"),
    Case("grep -F [a prose.tqx", 1),
    Case("grep [a prose.tqx absent.tqx", 2, err="flowbook: invalid pattern '[a': missing ]"),
    Case("grep -w a)|(b plain.tqx", 2, err="invalid pattern 'a)|(b': unexpected )"),
    Case("grep b encrypted.tqx plain.tqx", 5, "plain.tqx:2:b = 2;\n", err="encrypted.tqx: the code is encrypted"),
    Case("grep --json 2 plain.tqx prose.tqx", 0,
         '{"schema":2,"command":"grep","file":"plain.tqx","matches":['
         '{"place":"code","line":2,"text":"b = 2;"}],"count":1,"exit":0}\n'
         '{"schema":2,"command":"grep","file":"prose.tqx","matches":[],"count":0,"exit":1}\n'),
    Case("grep --in=all -e two -e created: -e ^title prose.tqx plain.tqx", 0,
         'prose.tqx:prose:2:two\nplain.tqx:properties:1:title: Running "mean"\tµ\n'
         "plain.tqx:properties:2:created: 2024-05-01T09:30:00Z\n"),
    Case("grep --in=code,tales a plain.tqx", 2, err="--in takes code, prose, properties and outputs"),
    Case("grep -o -i A|2 plain.tqx", 0, "plain.tqx:1:a\nplain.tqx:2:2\n"),
    Case("grep -lZ = plain.tqx b/b.tqx", 0, "plain.tqx\0b/b.tqx\0"),
    Case("grep -qnrH = plain.tqx", 0),
    Case("grep -m1 -A1 a plain.tqx b/b.tqx", 0, "plain.tqx:1:a = 1;\nplain.tqx-2-b = 2;\n--\n"
                                                "b/b.tqx:1:a = 1;\nb/b.tqx-2-b = 2;\n"),
    Case("grep --color=always a plain.tqx", 0,
         "\x1b[0m\x1b[35mplain.tqx\x1b[0m:\x1b[0m\x1b[32m1\x1b[0m:\x1b[0m\x1b[1m\x1b[31ma\x1b[0m = 1;\n"),
    Case("grep -e -x -- plain.tqx", 1),
]


class Grep(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)


if __name__ == "__main__":
    unittest.main()
