#!/usr/bin/env python3
"""Tests of changing code in an editor and by set, beside prose and among other programs.

usage: edit_test.py FLOWBOOK_COMMAND"""

import os
import shlex
import signal
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made

# A shell that runs the tests in its background, or nohup(1), has them ignore these; the command would do so too.
for number in (signal.SIGINT, signal.SIGHUP):
    if signal.getsignal(number) == signal.SIG_IGN:
        signal.signal(number, signal.SIG_DFL)

COMMAND = None
# The shell that runs the editor lies between it and the command.
COMMANDS_ID = "$(cut -d' ' -f4 /proc/$PPID/stat)"
PROSE = [made.paragraph("Why", "Text"), made.paragraph("a = 1;"), made.paragraph("And then", "Text"),
         made.paragraph("b = 2;|beside")]
CONFLICT = [made.paragraph("Why", "Text")]
CONFLICT += map(made.paragraph, ["&lt;" * 7 + " ours", "a = 1;", "=======", "a = 2;", "&gt;" * 7 + " theirs"])


class Edit(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        (self.folder / "tmp").mkdir()
        self.put("prose", document=made.rich(*PROSE))
        self.put("plain", document=made.rich(made.paragraph("a\nb")), parameters=";plaincode=true")
        self.put("secret", document=b"\0cipher", parameters=";encryption=AES")

    def put(self, name, **package):
        (self.folder / f"{name}.tqx").write_bytes(made.zipped(made.package(**package)))

    def run_in(self, *arguments, code=0, err="", editor=None, **more):
        environment = {**os.environ, "TMPDIR": str(self.folder / "tmp"), "VISUAL": "",
                       "EDITOR": f"sh -c {shlex.quote(editor or 'true')} editor"}
        done = subprocess.run(arguments, cwd=self.folder, timeout=300, capture_output=True, check=False,
                              env=environment, encoding="utf-8", **more)
        self.assertEqual((done.returncode, err in done.stderr, done.stderr == ""), (code, True, err == ""), done)
        return done.stdout

    def flowbook(self, *arguments, **more):
        return self.run_in(COMMAND, *arguments, **more)

    def stored(self, name):
        return self.flowbook("cat", "--format=xml", name)

    def test_other_encodings_become_utf8(self):
        xml = made.rich(made.paragraph("Wh\u00e4", "Text"), made.paragraph("a = 1;"), made.paragraph("\u00e4 = 1;"))
        for encoding in ("utf-16", "iso-8859-1"):
            document = f'<?xml version="1.0" encoding="{encoding}"?>{xml.decode()}'.encode(encoding)
            self.put("a", document=document)
            self.flowbook("edit", "a.tqx")
            with zipfile.ZipFile(self.folder / "a.tqx") as archive:
                self.assertEqual(archive.read(made.DOCUMENT), document)
            self.assertIn("not in UTF-8", self.flowbook("check", "a.tqx", code=4))
            for arguments, shown in (("cat", "\u00e4 = 1;"), ("cat --format=xml", xml.decode()),
                                     ("grep \u00e4", "2:\u00e4"), ("grep --in prose Wh", "Wh\u00e4"),
                                     ("git textconv", "Wh\u00e4"), ("cat --format=md", "Wh\u00e4")):
                self.assertIn(shown, self.flowbook(*arguments.split(), "a.tqx"))
            self.flowbook("copy", "a.tqx", "-o", "b.tqx", "--force")
            for arguments in ("replace 1 3", "set --code -"):
                self.flowbook(*arguments.split(), "b.tqx", input="a = 3;\n\u00e4 = 3;\n")
                self.assertEqual(self.flowbook("cat", "b.tqx"), "a = 3;\n\u00e4 = 3;\n")
            self.flowbook("edit", "a.tqx", editor="sed -i 's/a = 1/a = 2/' $1")
            self.assertEqual(self.stored("a.tqx"), '<?xml version="1.0" encoding="UTF-8"?>' +
                             xml.decode().replace("a = 1;", "a = 2;", 1))
            self.flowbook("check", "a.tqx")

    def test_no_editor_and_no_terminal(self):
        self.assertIn("no terminal for vi", self.run_in("sh", "-c", f"EDITOR= '{COMMAND}' edit plain.tqx 2>&1", code=2))

    def kept(self):
        """What an edit left behind, which is removed."""
        texts = [path.read_text(encoding="utf-8") for path in (self.folder / "tmp").glob("*/*")]
        for path in (self.folder / "tmp").iterdir():
            subprocess.run(["rm", "-r", path], check=True)
        return texts

    def test_code_beside_prose(self):
        for editor, changed in (("sed -i s/1/7/ $1", [PROSE[0], made.paragraph("a = 7;"), *PROSE[2:]]),
                                ("sed -i 1d $1; echo new >>$1", [*PROSE[1:], made.paragraph("new")])):
            with self.subTest(editor):
                self.put("prose", document=made.rich(*PROSE))
                self.flowbook("edit", "prose.tqx", editor=editor)
                self.assertEqual((self.stored("prose.tqx"), self.kept()), (made.rich(*changed).decode(), []))
        self.put("conflict", document=made.rich(*CONFLICT))
        self.flowbook("edit", "conflict.tqx", editor="sed -i '/<<<</d; /====/,/>>>>/d' $1")
        self.assertEqual(self.stored("conflict.tqx"), made.rich(*PROSE[:2]).decode())

    def test_what_is_refused_loses_nothing(self):
        before = (self.folder / "prose.tqx").read_bytes()
        self.flowbook("edit", "prose.tqx", editor="sed -i 's/ then/ now/; s/1;/3;/' $1", code=1,
                      err="prose.tqx: line 3: this is prose")
        self.assertIn("a = 3;", self.kept()[0])
        for editor, code, err in (("kill -9 $$", 3, "ended with 137"), ("exit 3", 3, "ended with 3"),
                                  (f"kill -TERM {COMMANDS_ID}; exec sleep 2 >&- 2>&-", -signal.SIGTERM, "")):
            self.flowbook("edit", "prose.tqx", editor=editor, code=code, err=err)
            self.assertEqual(self.kept(), [], editor)
        self.flowbook("edit", "prose.tqx", code=-signal.SIGHUP, err="prose.tqx: interrupted, and left as it was; the "
                      "edited text is kept in ", editor=f"echo x >>$1; kill -HUP {COMMANDS_ID}; exec sleep 2 >&- 2>&-")
        self.assertEqual((len(self.kept()), (self.folder / "prose.tqx").read_bytes()), (1, before))

    def test_a_file_that_was_moved_is_a_conflict(self):
        before = (self.folder / "plain.tqx").read_bytes()
        for move, err in (("mv plain.tqx backup.tqx", "no longer leads to"),
                          ("mv plain.tqx backup.tqx; cp backup.tqx plain.tqx", "no longer leads to")):
            self.flowbook("edit", "plain.tqx", editor=f"echo x >>$1; {move}", code=3, err="plain.tqx: the name " + err)
            self.assertEqual((self.folder / "backup.tqx").read_bytes(), before)
            self.assertEqual(len(self.kept()), 1)
            (self.folder / "backup.tqx").rename(self.folder / "plain.tqx")
        self.flowbook("edit", "plain.tqx", editor=f"echo x >>$1; echo y | {COMMAND} set plain.tqx --code - --title t",
                      code=3, err="no longer leads to")
        self.flowbook("edit", "--force", "plain.tqx", editor=f"echo z >>$1; {COMMAND} set plain.tqx --title new")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "y\nz\n")
        self.assertIn('"title":"new"', self.flowbook("info", "--json", "plain.tqx"))
        (self.folder / "plain.tqx").write_bytes(before)
        (self.folder / "link.tqx").symlink_to("plain.tqx")
        self.flowbook("edit", "link.tqx", editor="echo c >>$1")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "a\nb\nc\n")

    def test_set_keeps_what_it_can(self):
        for code, changed in (("x\nb = 2;\n", "x"), ("1\n2\n\nb = 2;", "1\n2\n")):
            self.flowbook("set", "prose.tqx", "--code", "-", input=code)
            self.assertEqual(self.stored("prose.tqx"),
                             made.rich(PROSE[0], made.paragraph(changed), *PROSE[2:]).decode())
        self.flowbook("set", "prose.tqx", "--code", "-", input="x\ny\n", code=1, err="would drop 2 paragraphs of prose")
        (self.folder / "doc.xml").write_bytes(made.rich(*PROSE))
        before = (self.folder / "secret.tqx").read_bytes()
        for option in (["--code", "-"], ["--code", "-", "--flatten"], ["--rich", "doc.xml"]):
            self.flowbook("set", "secret.tqx", *option, input="x", code=5, err="the code is encrypted; --replace-enc")
            self.assertEqual((self.folder / "secret.tqx").read_bytes(), before)
            self.flowbook("set", "secret.tqx", *option, "--replace-encrypted", input="x")
            (self.folder / "secret.tqx").write_bytes(before)
        self.flowbook("set", "secret.tqx", "--title", "x")

    def test_children_get_the_signals_as_they_were(self):
        ignored = {signal.SIGHUP, signal.SIGINT}

        def ignore():
            for number in (*ignored, signal.SIGCHLD):  # which a shell sets for itself
                signal.signal(number, signal.SIG_IGN)
            for number in (signal.SIGXFSZ, signal.SIGPIPE, signal.SIGQUIT):
                signal.signal(number, signal.SIG_DFL)
        self.flowbook("edit", "plain.tqx", editor="grep -h Sig[BI] /proc/self/status >state; echo c >>$1",
                      preexec_fn=ignore)
        blocked, found = ((self.folder / "state").read_text(encoding="utf-8").split()[i] for i in (1, 3))
        self.assertEqual((int(blocked, 16), int(found, 16)), (0, sum(1 << number - 1 for number in ignored)))
        self.assertIn("\n+  c\n", self.flowbook("diff", "prose.tqx", "plain.tqx", code=1, preexec_fn=ignore))
        self.flowbook("merge", "plain.tqx", "plain.tqx", "plain.tqx", preexec_fn=ignore)


if __name__ == "__main__":
    COMMAND = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
