#!/usr/bin/env python3
"""What the command says of provoked errors: what was being done, to which file and part, and what was found.
usage: errors_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import shutil
import subprocess
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import COMMAND, CommandTest, made

TOO_DEEP = "abyss.tqx: part /tarmic/document.xml: elements are nested deeper than 1024"
FILES = {"empty": b"", "latin": b"a\n\xff", "bad.xml": b"<w:document>", "bad.csv": b"file,colour\na,1\n",
         "worse.csv": b'file,title\nplain.tqx,"x\n', "control.csv": b"title,file\na,b\n\x01,plain.tqx\n",
         "abyss.tqx": made.zipped(made.package(made.rich("<a>" * 1100 + "</a>" * 1100))),
         "largeprops.tqx": made.zipped(made.package(**made.core(made.title("x" * (16 << 20)))))}
# Arguments, exit code, and what stands on standard error, a line each.
ERRORS = [
    ("cta x", 2, "there is no command 'cta'; did you mean 'cat'? (see flowbook help)"),
    ("cat", 2, "no file is named"),
    ("cat --formt=md plain.tqx", 2, "there is no option '--formt'; did you mean '--format'? (see flowbook help cat)"),
    ("cat --format=pdf plain.tqx", 2, "--format takes text|md|xml|raw, not 'pdf' (see flowbook help cat)"),
    ("cat --format", 2, "--format takes text|md|xml|raw, which is missing (see flowbook help cat)"),
    ("cat -j x plain.tqx", 2, "--jobs takes a number, N, not 'x' (see flowbook help cat)"),
    ("cat -0 plain.tqx", 2, "--null requires --files-from (see flowbook help cat)"),
    ("cat --json=1 plain.tqx", 2, "--json takes no argument (see flowbook help cat)"),
    ("cat --json --format=md plain.tqx", 2, "--format and --json cannot be given together (see flowbook help cat)"),
    ("cat absent.tqx", 3, "absent.tqx: there is no such file"),
    ("cat folder", 3, "folder: no flowbook is in this folder; --allow-empty lets that pass"),
    ("cat --files-from empty", 3, "empty: this list names no file; --allow-empty lets that pass"),
    ("cat damaged.tqx", 4,
     "damaged.tqx: not a flowbook: not a zip container, or cut off: no end record in 19 bytes; try 'flowbook repair'"),
    ("cat encrypted.tqx", 5, "encrypted.tqx: the code is encrypted"),
    ("cat no_code.tqx", 4, "no_code.tqx: there is no code in it, or none that can be read"),
    ("cat many.tqx", 6, "many.tqx: the number of entries is 16385, the limit maxEntries is 16384"),
    ("cat abyss.tqx", 6, "abyss.tqx: its code is a document beyond the limits on what is parsed"),
    ("cat --format=md abyss.tqx", 6, TOO_DEEP), ("html abyss.tqx -o -", 6, TOO_DEEP), ("check abyss.tqx", 6),
    ("cat dangling.tqx", 4, "dangling.tqx: there is no part '/tarmic/gone.xml'"),
    ("cat - --files-from -", 3, "-: this list names no file; --allow-empty lets that pass"),
    ("cat --format=raw plain.tqx", 1, "plain.tqx: the code is not encrypted"),
    ("info badprops.tqx", 4, "badprops.tqx: part '/core.xml', line 1, column 247: not well-formed (invalid token)"),
    ("info largeprops.tqx", 6,
     "largeprops.tqx: part '/core.xml': its 16777499 bytes are more than the limit maxPackageXmlSize of 16777216 "
     "permits"),
    ("parts badrels.tqx", 4, "badrels.tqx: part '/_rels/a.rels', line 1, column 1: unclosed token"),
    ("grep ( plain.tqx", 2, "invalid pattern '(': missing )"),
    ("grep a --in=titles plain.tqx", 2,
     "--in takes code, prose, properties and outputs, with commas between, or all; not 'titles'"),
    ("replace a \\1 plain.tqx", 2, "invalid replacement '\\1': it names group 1, and the pattern has 0"),
    ("replace a \\q plain.tqx", 2, "invalid replacement '\\q': a digit or another backslash must follow a backslash"),
    ("ls --sort=colour plain.tqx", 2,
     "--sort takes name|size|lines|modified|title, not 'colour' (see flowbook help ls)"),
    ("extract plain.tqx", 2, "extract takes --directory FOLDER, which is missing (see flowbook help extract)"),
    ("extract badimage.tqx -d out", 4, "badimage.tqx: part /media/image1.png holds a malformed data URI"),
    ("extract plain.tqx ./plain.tqx -d out", 3,
     "./plain.tqx: would have the same name in the folder as 'plain.tqx'",
     "1 of 2 files failed (1 conflict)"),
    ("extract plain.tqx --part /none -d out", 1, "plain.tqx: there is no part /none"),
    ("new plain.tqx", 3, "plain.tqx: exists already; --force replaces it"),
    ("new x.txt", 2, "x.txt: the name of a flowbook ends in .tqx or .tqapp"),
    ("new x.tqx --code latin", 2, "latin: not UTF-8 text at byte 2"),
    ("new x.tqx --rich bad.xml", 2,
     "bad.xml: the XML document is not well-formed at line 1, column 13: prefix 'w' can not be resolved to "
     "namespace URI"),
    ("new x.tqx --image latin", 2, "latin: no PNG, JPEG, GIF, BMP, WebP or SVG picture"),
    ("set plain.tqx", 2, "'set' takes files and at least one thing to set (see flowbook help set)"),
    ("set --from bad.csv", 2,
     "bad.csv: line 1: there is no column 'colour'; columns are file, title, description and version"),
    ("set --from worse.csv", 2, "worse.csv: line 2: a cell has no closing quotation mark"),
    ("set --from control.csv", 2, "control.csv: line 3: a property cannot hold the character \\u0001"),
    ("set --from empty", 2, "empty: the table is empty"),
    ("set encrypted.tqx --code same", 5, "encrypted.tqx: the code is encrypted; --replace-encrypted replaces it"),
    ("copy plain.tqx", 2, "copy takes a FILE and the name of its copy, or -d FOLDER for many"),
    ("copy plain.tqx rich.tqx", 3, "rich.tqx: exists already; --force replaces it"),
    ("copy plain.tqx b/b.tqx ./plain.tqx -d out", 3,
     "./plain.tqx: would have the same name in the folder as 'plain.tqx'",
     "1 of 3 files failed (1 conflict)"),
    ("copy plain.tqx rich.tqx -o x.tqx", 2,
     "several flowbooks take a folder for what is made of them; name it with -d"),
    ("pack b -o x.tqx", 3, "b/flowbook.json: there is no such file"),
    ("diff plain.tqx", 2, "'diff' takes two flowbooks or two folders"),
    ("diff - -", 2, "standard input can be read only once, and '-' names it again"),
    ("merge plain.tqx plain.tqx", 2, "merge takes BASE, OURS and THEIRS; THEIRS is missing (see flowbook help merge)"),
    ("resolve plain.tqx colour", 2, "plain.tqx: what is to be settled is 'code', 'property NAME', 'part NAME', "
     "'relationship SOURCE#ID' or 'entry NAME'"),
    ("git colour", 2,
     "'git' takes 'setup', 'textconv FILE', 'hook', 'filter', 'clean', 'smudge', "
     "'mergetool BASE LOCAL REMOTE MERGED' or 'difftool LOCAL REMOTE MERGED' (see flowbook help git)"),
    ("repair damaged.tqx -o x.tqx", 4, "damaged.tqx: nothing of it can be saved"),
    ("html plain.tqx rich.tqx", 2, "several flowbooks take a folder for what is made of them; name it with -d"),
    ("import latin -o x.tqx", 2, "latin: not UTF-8 text at byte 2"),
    ("help colour", 2, "there is no command 'colour' (see flowbook help)"),
]


class Errors(CommandTest):
    def test_messages(self):
        self.write(FILES)
        for arguments, code, *lines in ERRORS:
            with self.subTest(arguments):
                done = subprocess.run([COMMAND, *arguments.split()], cwd=self.folder, capture_output=True, timeout=60,
                                      stdin=subprocess.DEVNULL, check=False)
                said = [line.removeprefix("flowbook: ") for line in done.stderr.decode().splitlines()]
                self.assertEqual((done.returncode, said), (code, lines))
                shutil.rmtree(self.folder / "out", ignore_errors=True)


if __name__ == "__main__":
    unittest.main()
