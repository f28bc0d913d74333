#!/usr/bin/env python3
"""Tests of the commands that read flowbooks.
usage: read_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import json
import sys
import unittest
import zipfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import RICH, Case, CommandTest, made

CASES = [
    Case("cat rich.tqx plain.tqx", 0, "größe = 2;\nx < y\na = 1;\nb = 2;\n"),
    Case("cat -", 0, "größe = 2;\nx < y\n", stdin="rich.tqx"),
    Case("cat --format=xml rich.tqx", 0, RICH.decode()),
    Case("cat --format=raw encrypted.tqx", 0, "\0\udcff cipher"),
    Case("cat --format=raw rich.tqx", 1, err="flowbook: rich.tqx: the code is not encrypted\n"),
    Case("cat encrypted.tqx", 5, err="flowbook: encrypted.tqx: the code is encrypted\n"),
    Case("cat absent.tqx", 3, err="flowbook: absent.tqx: there is no such file\n"),
    Case("cat damaged.tqx", 4, err="flowbook: damaged.tqx: "),
    Case("cat -", 4, err="flowbook: -: ", stdin="damaged.tqx"),
    Case("cat dangling.tqx", 4, err="dangling.tqx: there is no part"),
    Case("cat no_code.tqx", 4, err="there is no code in it"),
    Case("cat many.tqx", 6, err="flowbook: many.tqx: "),
    Case("cat", 2, err="flowbook: no file is named"),
    Case("cat b/\udcff.txt", 0, "a = 1;\nb = 2;\n"),
    Case("cat folder.tqx", 3, err="flowbook: folder.tqx: no flowbook is in this folder"),
    Case("cat folder.tqx --allow-empty", 0),
    Case("cat -0 plain.tqx", 2, err="--null requires --files-from"),
    Case("cat b -j 3", 0, "a = 1;\nb = 2;\na = 1;\nb = 2;\ngröße = 2;\nx < y\n"),
    Case("cat --files-from - b/b.tqx", 0, "a = 1;\nb = 2;\na = 1;\nb = 2;\n", stdin="list"),
    Case("cat -0 --files-from list", 3, err="\\nb/b.tqx\\n: there is no such file"),
    Case("cat --json rich.tqx damaged.tqx encrypted.tqx", 5,
         ('{"schema":2,"command":"cat","file":"rich.tqx","form":"rich","code":"größe = 2;\\nx < y\\n","exit":0}\n',
          '"file":"damaged.tqx","exit":4,"error":{"kind":"damaged","exit":4,"message":', '"kind":"encrypted"'),
         err="flowbook: 2 of 3 files failed (1 damaged, 1 encrypted)"),
    Case("cat --formta=xml rich.tqx", 2,
         err="there is no option '--formta'; did you mean '--format'? (see flowbook help cat)"),
    Case("cat encrypted.tqx damaged.tqx plain.tqx absent.tqx", 5, "a = 1;\nb = 2;\n", err="absent.tqx"),
    Case("info plain.tqx", 0, ("plain.tqx\n", "code        plain\n", 'title       "Running \\"mean\\"\\tµ"\n',
                               'description ""\n', "version     (absent)\n", "created     2024-05-01T09:30:00Z\n",
                               '/tarmic/document.xml  application/vnd.pellarion.tarmic.code.document+xml;plaincode="')),
    Case("info rich.tqx encrypted.tqx", 0, ("code        rich\n", "code        encrypted\n")),
    Case("info no_code.tqx", 1, ("code        none\n", "part        /tarmic/document.xml  application/vnd")),
    Case("parts tree.tqx", 1, "tree.tqx\n"
                              "  r1 first -> /a  text/a\n"
                              "    r1 down -> /b  text/b\n"
                              "      r1 up -> /a  (see above)\n"
                              "  r2 web -> http://x/\\u009b  (external)\n"
                              "  r3 gone -> none#x  (missing)\n"
                              f"  not reached: /tarmic/document.xml  {made.DOCUMENT_TYPE}\n"),
    Case("parts --json tree.tqx", 1, ('"http://x/\\u009b"',)),
    Case("info badprops.tqx", 4, ("title       (faulty)\n", "part        /tarmic/document.xml"), err="/core.xml"),
    Case("parts badrels.tqx", 4, ("r1 t -> /a  text/a\n", "r2 t -> /b  text/b\n"), err="/_rels/a.rels"),
    Case("parts --json badrels.tqx", 4, ('"unreached":["', '],"exit":4,"error":{"kind":"damaged"'),
         err="/_rels/a.rels"),
    Case("info bidi.tqx", 0, ('title       "a\\u202eb\\u200b\\U000e0041"\n',)),
]


class Read(CommandTest):
    def test_cases(self):
        self.assert_cases(CASES)

    def test_json(self):
        self.assert_info("plain.tqx", schema=2, file="plain.tqx", form="plain", title="Running \"mean\"\tµ",
                         description="", version=None, created="2024-05-01T09:30:00Z")
        with zipfile.ZipFile(self.folder / "plain.tqx") as package:
            for part in self.info("plain.tqx")["parts"]:
                entry = package.getinfo(part["name"][1:])
                self.assertEqual((part["size"], part["storedSize"]), (entry.file_size, entry.compress_size), part)
        tree = json.loads(self.flowbook("parts", "--json", "tree.tqx", code=1))
        rows = [(row["depth"], row["source"], row["targetKind"], row.get("part")) for row in tree["relationships"]]
        self.assertEqual(rows,
                         [(0, "/", "part", "/a"), (1, "/a", "part", "/b"), (2, "/b", "seen", "/a"),
                          (0, "/", "external", None), (0, "/", "missing", None)])
        self.assertEqual(tree["unreached"], ["/tarmic/document.xml"])
        self.assertEqual(len(self.flowbook("info", "--json", "plain.tqx", "rich.tqx").splitlines()), 2)


if __name__ == "__main__":
    unittest.main()
