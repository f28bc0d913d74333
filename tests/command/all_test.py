#!/usr/bin/env python3
"""Tests of the flowbook command. usage: tool_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import base64
import json
import os
import pty
import random
import re
import shlex
import shutil
import signal as signals
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock
import zipfile
from collections import namedtuple
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made

COMMAND = None
# The examples of "new" make the file that those of the others work on.
COMMANDS = "new cat grep info parts extract pack html set edit copy digest diff merge git check canon repair".split()
# What the examples take from elsewhere.
STUBS = {"jq": "cat", "make-code": "echo x"}
RICH = made.rich(made.paragraph("größe = 2;"), made.paragraph("x &lt; y"))
PICTURE = b"\x89PNG\r\n\x1a\n" + bytes(range(256))
DATA_URI = b"data:image/png;base64," + base64.b64encode(PICTURE)

FIXTURES = {
    "plain": dict(document=made.rich(made.paragraph("a = 1;\nb = 2;")), parameters=";plaincode=&quot;true&quot;",
                  **made.core(made.title('Running "mean"\tµ'), "<dc:description/>",
                              made.time("created", "2024-05-01T09:30:00Z"))),
    "rich": dict(document=RICH, root=[made.TO_DOCUMENT, ("rId2", "output", "tarmic/output.xml")], parts={
        "media/image1.png": ("image/png", DATA_URI), "tarmic/output.xml": ("text/xml", b"<o/>"),
        "media/image1.svg+xml": ("image/svg+xml", b"data:image/svg+xml,%3Csvg/%3E")},
        document_rels=made.relationships(("rId1", "image", "../media/image1.png"),
                                         ("rId2", "image", "/media/image1.svg+xml"))),
    "badimage": dict(parts={"media/image1.png": ("image/png", b"data:image/png;base64,A*=="),
                            "media/image2.png": ("image/png", PICTURE)}),
    "prose": dict(document=made.rich(made.paragraph("Why", "text"), made.paragraph("a = 1;"), made.paragraph("b|two"))),
    "badprops": made.core("<cut"),
    "bidi": made.core(made.title("a\u202eb\u200b\U000e0041")),
    "torn": dict(root=[made.TO_DOCUMENT, ("rId1", "t", "a"), ("r3", "t", "%zz"), ("r4", "t", "gone.png")]),
    "deep": dict(parts={"/".join("d" * 70): ("text/a", b"")}),
    "badrels": dict(root=[("r1", "t", "a"), ("r2", "t", "b")],
                    parts={"a": ("text/a", b"a"), "_rels/a.rels": (None, b"<cut"), "b": ("text/b", b"b")}),
    "tree": dict(root=[("r1", "http://types/first", "a"), ("r2", "http://types/web", "http://x/\u009b", "External"),
                       ("r3", "gone", "none#x")],
                 parts={"a": ("text/a", b"a"), "_rels/a.rels": (None, made.relationships(("r1", "down", "b"))),
                        "b": ("text/b", b"b"), "_rels/b.rels": (None, made.relationships(("r1", "up", "/A")))}),
}

# out: exactly this, or a tuple of fragments in their order; err: a fragment, "" for nothing.
Case = namedtuple("Case", "args code out err stdin", defaults=["", "", None])

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
    Case("cat dangling.tqx", 4, err="dangling.tqx': there is no part"),
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
         ('{"schema":1,"file":"rich.tqx","form":"rich","code":"größe = 2;\\nx < y\\n"}\n',
          '"file":"damaged.tqx","error":{"code":4,"kind":"damaged","message":', '"kind":"encrypted"'),
         err="flowbook: 2 of 3 files failed (1 damaged, 1 encrypted)"),
    Case("cat --formta=xml rich.tqx", 2,
         err="there is no option '--formta'; did you mean '--format'? (see flowbook help cat)"),
    Case("cta rich.tqx", 2, err="there is no command 'cta'; did you mean 'cat'? (see flowbook help)"),
    Case("cat encrypted.tqx damaged.tqx plain.tqx absent.tqx", 5, "a = 1;\nb = 2;\n", err="absent.tqx"),
    Case("grep -i R.SSE|A rich.tqx plain.tqx", 0, "plain.tqx:1:a = 1;\n"),
    Case("grep -c ; b rich.tqx", 0, "b/B.TQX:2\nb/b.tqx:2\nb/c.tqapp:1\nrich.tqx:1\n"),
    Case("grep -lv ; b rich.tqx -j2", 0, "b/c.tqapp\nrich.tqx\n"),
    Case("grep -w gr rich.tqx", 1),
    Case("grep -w x|größe rich.tqx", 0, "rich.tqx:1:größe = 2;\nrich.tqx:2:x < y\n"),
    Case("grep -F [a prose.tqx", 1),
    Case("grep [a prose.tqx absent.tqx", 2, err="flowbook: the pattern is none: missing ]: [a"),
    Case("grep -w a)|(b plain.tqx", 2, err="the pattern is none: unexpected )"),
    Case("grep b encrypted.tqx plain.tqx", 5, "plain.tqx:2:b = 2;\n", err="encrypted.tqx: the code is encrypted"),
    Case("grep --json 2 plain.tqx prose.tqx", 0,
         '{"schema":1,"file":"plain.tqx","matches":[{"line":2,"text":"b = 2;"}],"count":1}\n'
         '{"schema":1,"file":"prose.tqx","matches":[],"count":0}\n'),
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
    Case("extract rich.tqx -d out --part /none", 1, err="there is no part /none"),
    Case("extract rich.tqx -d out --part none", 2, err="none is no part name"),
    Case("extract rich.tqx -d plain.tqx/out", 3, err="plain.tqx/out: cannot write: Not a directory"),
    Case("set absent.tqx --title x", 3, err="absent.tqx: there is no such file"),
    Case("set plain.tqx", 2, err="at least one thing to set"),
    Case("set plain.tqx --title a\x01b", 2, err="cannot hold the character \\u0001"),
    Case("set - --title x", 2, err="standard input is no file"),
    Case("set prose.tqx --code -", 1, err="prose.tqx: plain code would drop 1 paragraph of prose, 1 text beside code"),
    Case("set prose.tqx --code -", 0, stdin="same"),
    Case("set prose.tqx --flatten", 2, err="--flatten requires --code"),
    Case("info badprops.tqx", 4, ("title       (faulty)\n", "part        /tarmic/document.xml"), err="/core.xml"),
    Case("parts badrels.tqx", 4, ("r1 t -> /a  text/a\n", "r2 t -> /b  text/b\n"), err="/_rels/a.rels"),
    Case("parts --json badrels.tqx", 4, ('"unreached":[{', '],"error":{"code":4,"kind":"damaged"'),
         err="/_rels/a.rels"),
    Case("info bidi.tqx", 0, ('title       "a\\u202eb\\u200b\\U000e0041"\n',)),
    Case("extract deep.tqx -d out", 6, err="more than 64 folders deep"),
    Case("repair torn.tqx -o - --binary", 1, ("PK",), err="lost: a faulty relationship of /: r3 to %zz\n"),
    Case("repair torn.tqx -o -", 1, ("PK",), err="lost: /gone.png: only a relationship to it is left"),
    Case("help cat", 0, ("Examples:", "flowbook cat analysis.tqx")),
    Case("help", 0, ("\n  cat ",)),
    Case("new none/a.tqx", 3, err="none/a.tqx"),
    Case("new a.tqx --code plain.tqx", 4, err="flowbook: plain.tqx: not UTF-8 text at byte"),
    Case("new a.tqx --code absent", 3, err="flowbook: absent: there is no such file"),
    Case("new a.tqx --rich damaged.tqx", 4, err="flowbook: damaged.tqx: "),
    Case("new a.tqx --image damaged.tqx", 4, err="no PNG, JPEG"),
    Case("new a.txt", 2, err="flowbook: a.txt: the name of a flowbook ends in .tqx or .tqapp"),
    Case("", 2, err="flowbook: no command is named (see flowbook help)"),
    Case("--version", 0, ("flowbook 1.", "(")),
    Case("--help", 0, ("\n  cat ", "\n  info ", "\n  copy ", "5 encrypted")),
]


class Tool(unittest.TestCase):
    """Each test works in a folder of its own with all the fixtures."""

    @classmethod
    def setUpClass(cls):
        packages = {**dict(made.plain_packages()), **FIXTURES}
        cls.fixtures = {f"{name}.tqx": made.zipped(made.package(**arguments)) for name, arguments in packages.items()}
        cls.fixtures["many.tqx"] = made.zipped({f"part{number}": b"" for number in range(16385)})
        cls.fixtures["same"] = b"a = 1;\r\nb"
        cls.fixtures["list"] = b"\nb/b.tqx\n"
        cls.fixtures["damaged.tqx"] = b"This is no package."

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="flowbook-tool-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.write(self.fixtures)
        for name in ("folder.tqx", "folder", "b", "b/.hidden"):
            (self.folder / name).mkdir()
        plain = self.fixtures["plain.tqx"]
        self.write({"b/.hidden/c.tqx": plain, "b/b.tqx": plain, "b/B.TQX": plain,
                    "b/c.tqapp": self.fixtures["rich.tqx"],
                    os.fsdecode(b"b/\xff.txt"): plain})
        (self.folder / "b/link.tqx").symlink_to("../folder.tqx")

    def flowbook(self, *arguments, code=0, err="", **more):
        """The output of a run that ends with that code and says that, or nothing, on standard error."""
        done = subprocess.run([COMMAND, *arguments], cwd=self.folder, stderr=subprocess.PIPE, timeout=60, check=False,
                              **{"stdout": subprocess.PIPE, **more})
        error = done.stderr.decode()
        self.assertEqual((done.returncode, err in error, error == ""), (code, True, err == ""), (arguments, error))
        return (done.stdout or b"").decode(errors="surrogateescape")

    def info(self, name):
        return json.loads(self.flowbook("info", "--json", name))

    def assert_info(self, name, **expected):
        self.assertEqual(self.info(name), {**self.info(name), **expected})

    def names(self):
        return sorted(os.listdir(self.folder))

    def write(self, files):
        for name, content in files.items():
            (self.folder / name).write_bytes(content)

    def assert_files(self, folder, files):
        """That the folder holds these files and no others."""
        folder = self.folder / folder
        found = {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}
        self.assertEqual(found, files)

    def test_cases(self):
        before = self.names()
        for case in CASES:
            with self.subTest(case.args):
                out = self.flowbook(*case.args.split(), code=case.code, err=case.err,
                                    input=self.fixtures.get(case.stdin, b""))
                if isinstance(case.out, tuple):
                    self.assertRegex(out, "(?s)" + ".*".join(map(re.escape, case.out)))
                else:
                    self.assertEqual(out, case.out)
                shutil.rmtree(self.folder / "out", ignore_errors=True)
                self.assertEqual(self.names(), before)

    def test_json(self):
        self.assert_info("plain.tqx", schema=1, file="plain.tqx", code="plain", title="Running \"mean\"\tµ",
                         description="", version=None, created="2024-05-01T09:30:00Z")
        with zipfile.ZipFile(self.folder / "plain.tqx") as package:
            for part in self.info("plain.tqx")["parts"]:
                entry = package.getinfo(part["name"][1:])
                self.assertEqual((part["size"], part["storedSize"]), (entry.file_size, entry.compress_size), part)
        tree = json.loads(self.flowbook("parts", "--json", "tree.tqx", code=1))
        self.assertEqual([(row["depth"], row["source"], row["kind"], row.get("part")) for row in tree["relationships"]],
                         [(0, "/", "part", "/a"), (1, "/a", "part", "/b"), (2, "/b", "seen", "/a"),
                          (0, "/", "external", None), (0, "/", "missing", None)])
        self.assertEqual(tree["unreached"], [{"part": "/tarmic/document.xml", "contentType": made.DOCUMENT_TYPE}])
        self.assertEqual(len(self.flowbook("info", "--json", "plain.tqx", "rich.tqx").splitlines()), 2)

    def test_full_device(self):
        message = "flowbook: standard output: No space left on device\n"
        for arguments in (("cat", "plain.tqx"), ("info", "rich.tqx"), ("--help",)):
            with open("/dev/full", "wb") as full, self.subTest(arguments):
                self.flowbook(*arguments, code=3, err=message, stdout=full)

    def opened_by_reading(self, content):
        """The paths that reading a flowbook names in system calls, and the calls about the network."""
        self.write({"victim.tqx": made.zipped(content)})
        calls = ""
        for command in ("cat", "parts"):
            subprocess.run(["strace", "-f", "-qq", "-o", "trace", "-e", "trace=%file,%network", COMMAND, command,
                            "victim.tqx"], cwd=self.folder, capture_output=True, timeout=60, check=False,
                           env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"})
            calls += (self.folder / "trace").read_text()
        self.assertIn('(AT_FDCWD, "victim.tqx"', calls)
        return set(re.findall(r'^[^"\n]*"([^"\n]+)"|(socket|connect)\(', calls, re.MULTILINE))

    def test_opens_nothing_outside_the_package(self):
        # What is unusual has the DOM decide, whose libraries are loaded then.
        usual = self.opened_by_reading(made.package(document=RICH.replace(b"<w:body>", b"<w:body><!-- -->")))
        for name, arguments in made.hostile((self.folder / "canary").as_uri()):
            with self.subTest(name):
                self.assertEqual(self.opened_by_reading(made.package(**arguments)) - usual, set())

    def prepare_for_examples(self):
        (self.folder / "bin").mkdir()
        (self.folder / "work/folder").mkdir(parents=True)
        for name, script in STUBS.items():
            (self.folder / "bin" / name).write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            (self.folder / "bin" / name).chmod(0o755)
        self.folder /= "work"
        code = {"folder/a": b"mean of lag", "old": b"a", "new": b"b", "base": b"a\nb\nc", "mine": b"a\nb\nC",
                "yours": b"A\nb\nc"}
        for name, text in code.items():
            self.flowbook("new", f"{name}.tqx", "--code", "-", input=text)
        self.flowbook("canon", "folder")
        self.write({"analysis.txt": b"x", "report.xml": RICH, "plot.png": PICTURE, "map.svg": b"<svg/>",
                    "damaged.tqx": self.fixtures["plain.tqx"].partition(b"PK\1\2")[0]})
        for action in (["init", "-q"], ["add", ".", ":!damaged.tqx"]):
            subprocess.run(["git", *action], cwd=self.folder, timeout=60, check=True)

    def test_examples_work(self):
        self.prepare_for_examples()
        path = f"{self.folder.parent}/bin:{Path(COMMAND).parent}:{os.environ['PATH']}"
        texts = [self.flowbook(command, "--help").partition("Examples")[2] for command in COMMANDS]
        examples = re.compile(r"^  ((?:.*\| |EDITOR=.* )?(?:flowbook|git) .*)", re.MULTILINE)
        for example in examples.findall("".join(texts)):
            with self.subTest(example):
                done = subprocess.run(["bash", "-o", "pipefail", "-c", example], cwd=self.folder, capture_output=True,
                                      timeout=60, check=False, env={**os.environ, "PATH": path})
                self.assertEqual(done.returncode, int("flowbook diff" in example), done)

    def test_progress_is_for_terminals(self):
        master, slave = pty.openpty()
        with subprocess.Popen([COMMAND, "cat", "-", "plain.tqx"], cwd=self.folder, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=slave) as process:
            time.sleep(0.8)
            process.communicate(self.fixtures["rich.tqx"], timeout=60)
        os.close(slave)
        shown = os.read(master, 65536)
        os.close(master)
        self.assertRegex(shown, rb"(?s)\] 1/2 files.*\x1b\[K\Z")

    def test_new_holds_what_it_was_given(self):
        code = "\ufeffa = \"ä\";\r\n]]>&\n"
        self.flowbook("new", "new.tqx", "--code", "-", "--title", "T<>", "--description", "", input=code.encode())
        self.assertEqual(self.flowbook("cat", "new.tqx"), code[1:].replace("\r\n", "\n"))
        self.assert_info("new.tqx", code="plain", title="T<>", description="", version=None)
        self.flowbook("new", "void.tqx")
        self.assertEqual((self.flowbook("cat", "void.tqx"), self.info("void.tqx")["code"]), ("", "rich"))
        made_here = self.flowbook("new", "-", "--code", "-", input=b"x").encode(errors="surrogateescape")
        self.assertEqual(self.flowbook("cat", "-", input=made_here), "x\n")

    def test_pictures_there_and_back(self):
        pictures = {"a.png": PICTURE, "b.PNG": PICTURE + b"1", "c": b"\xff\xd8\xff" + bytes(9), "d.svg": b"<svg/>",
                    "e.webp": b"RIFF\0\0\0\0WEBP12"}
        self.write({**pictures, "doc.xml": RICH})
        images = [argument for name in pictures for argument in ("--image", name)]
        stored = ["image1.png", "image2.png", "image1.jpeg", "image1.svg", "image1.webp"]
        for source, code in ((["--code", "-"], "x\n"), (["--rich", "doc.xml"], "größe = 2;\nx < y\n")):
            self.flowbook("new", "new.tqx", "--force", *source, *images, input=b"x")
            self.assertEqual(self.flowbook("cat", "new.tqx"), code)
            self.flowbook("extract", "new.tqx", "-d", "out", "--images", "--force")
            self.assert_files("out/media", dict(zip(stored, pictures.values())))

    def test_what_is_there_is_kept_or_replaced_whole(self):
        (self.folder / "link.tqx").symlink_to("rich.tqx")
        names = self.names()
        exists = "rich.tqx: exists already; --force"
        for arguments, code, err in (("new rich.tqx", 3, exists), ("copy plain.tqx rich.tqx", 3, exists),
                                     ("new rich.tqx --force --code plain.tqx", 4, "not UTF-8"),
                                     ("copy damaged.tqx rich.tqx --force", 4, "damaged.tqx: ")):
            self.flowbook(*arguments.split(), code=code, err=err)
            found = (self.folder / "rich.tqx").read_bytes(), self.names()
            self.assertEqual(found, (self.fixtures["rich.tqx"], names))
        self.flowbook("copy", "plain.tqx", "link.tqx", "--force")
        self.assertEqual((self.flowbook("cat", "rich.tqx"), self.names()), ("a = 1;\nb = 2;\n", names))
        self.assertTrue((self.folder / "link.tqx").is_symlink())

    def test_set_changes_what_is_named(self):
        self.flowbook("set", "plain.tqx", "--version", "2", "--title", "")
        self.assert_info("plain.tqx", title="", description="", version="2", created="2024-05-01T09:30:00Z")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "a = 1;\nb = 2;\n")
        self.flowbook("set", "encrypted.tqx", "--code", "-", input=b"clear")
        self.assertEqual(self.flowbook("cat", "encrypted.tqx"), "clear\n")

    def essence(self, name):
        with zipfile.ZipFile(self.folder / name) as package:
            own = {entry: package.read(entry) for entry in package.namelist()
                   if entry.startswith(("tarmic/d", "tarmic/o", "media/"))}
        return own, [self.info(name)[key] for key in ("code", "title", "description", "version")]

    def test_set_writes_only_what_differs(self):
        def state():
            return {path: (path.stat().st_mtime_ns, path.read_bytes()) for path in self.folder.rglob("*.tq*")
                    if path.is_file()}
        change = "set plain.tqx b -j2 --description x --title y".split()
        self.flowbook(*change)
        before = state()
        self.flowbook(*change)
        self.flowbook("set", "plain.tqx", "--code", "-", input=b"a = 1;\r\nb = 2;")
        self.assertEqual(state(), before)
        self.assertEqual([self.info(name)["title"] for name in ("plain.tqx", "b/b.tqx", "b/c.tqapp")], ["y"] * 3)

    def test_rich_code_comes_and_goes_with_its_pictures(self):
        for arguments, form in ((["--code", "-", "--flatten"], "plain"), (["--rich", "doc.xml"], "rich")):
            self.write({"doc.xml": RICH})
            self.flowbook("set", "rich.tqx", *arguments, input=b"x")
            self.assert_info("rich.tqx", code=form)
            self.flowbook("copy", "rich.tqx", "copy.tqx", "--force")
            self.assertIn("rId1 image -> /media/image1.png", self.flowbook("parts", "copy.tqx"))
        self.assertEqual(self.flowbook("cat", "--format=xml", "copy.tqx"), RICH.decode())

    def test_stamps_can_be_fixed(self):
        made_twice = []
        for name in ("one.tqx", "two.tqx"):
            with unittest.mock.patch.dict(os.environ, SOURCE_DATE_EPOCH="1000000000"):
                self.flowbook("new", name, "--code", "-", input=b"x")
            made_twice.append((self.folder / name).read_bytes())
        self.assertEqual(made_twice[0], made_twice[1])
        self.assert_info("one.tqx", created="2001-09-09T01:46:40Z", modified="2001-09-09T01:46:40Z")

    def test_a_signal_discards_what_is_under_way(self):
        big = {"media/image1.png": ("image/png", random.Random(1).randbytes(400000))}
        rels = made.relationships(("rId1", "image", "../media/image1.png"))
        old = {"big.tqx": made.zipped(made.package(parts=big, document_rels=rels)), "media/image1.png": b"old"}
        (self.folder / "old/media").mkdir(parents=True)
        self.write({f"old/{name}": content for name, content in old.items()})
        for signal in ("SIGINT", "SIGTERM", "SIGHUP"):
            for arguments in ("set old/big.tqx --title x", "copy old/big.tqx old/new.tqx",
                              "extract old/big.tqx -d old --force --images"):
                with self.subTest((signal, arguments)):
                    done = subprocess.run(
                        ["strace", "-f", "-qq", "-o", "trace", "-e", "trace=write,copy_file_range", "-e",
                         f"inject=write,copy_file_range:signal={signal}:when=1", COMMAND, *arguments.split()],
                        cwd=self.folder, capture_output=True, timeout=60, check=False)
                    self.assertEqual(done.returncode, -getattr(signals, signal), done)
                    self.assert_files("old", old)

    def test_a_file_that_may_not_grow_costs_nothing(self):
        (self.folder / "out").mkdir()
        self.write({"out/code.txt": b"old", "code": b"x" * 5000})
        self.flowbook("new", "big.tqx", "--code", "code")
        big = (self.folder / "big.tqx").read_bytes()
        for arguments in ("set big.tqx --title x", "extract big.tqx -d out --force --code"):
            done = subprocess.run(["prlimit", "--fsize=1000", COMMAND, *arguments.split()], cwd=self.folder,
                                  capture_output=True, timeout=60, check=False)
            self.assertEqual((done.returncode, b"File too large" in done.stderr), (3, True), done)
            self.assert_files("out", {"code.txt": b"old"})
            self.assertEqual((self.folder / "big.tqx").read_bytes(), big)

    def test_copy_carries_the_flowbook(self):
        for name in ("plain.tqx", "rich.tqx", "encrypted.tqx"):
            self.flowbook("copy", name, "copy.tqx", "--force")
            self.assertEqual(self.essence("copy.tqx"), self.essence(name))
        self.assertTrue(self.flowbook("copy", "rich.tqx", "-"))

    def test_extract_all_and_chosen(self):
        self.flowbook("extract", "rich.tqx", "-d", "all")
        self.assert_files("all", {"code.txt": "größe = 2;\nx < y\n".encode(), "tarmic/document.xml": RICH,
                                  "media/image1.png": PICTURE, "media/image1.svg": b"<svg/>",
                                  "tarmic/output.xml": b"<o/>",
                                  "flowbook.json": (self.folder / "all/flowbook.json").read_bytes()})
        self.flowbook("extract", "rich.tqx", "-d", "one", "--part", "/media/IMAGE1.png")
        self.assert_files("one", {"media/image1.png": DATA_URI})
        self.flowbook("extract", "encrypted.tqx", "-d", "encrypted", code=5, err="the code is encrypted")
        self.assertEqual((self.folder / "encrypted/tarmic/document.xml").read_bytes(), b"\0\xff cipher")
        self.flowbook("extract", "badimage.tqx", "-d", "bad", "--images", code=4, err="image1.png")
        self.assert_files("bad", {"media/image2.png": PICTURE})

    def test_pack_is_the_inverse_of_extract(self):
        packed = 0
        for name in sorted(self.fixtures.keys() - {"many.tqx", "damaged.tqx"}):
            subprocess.run([COMMAND, "extract", name, "-d", "out"], cwd=self.folder, stderr=subprocess.DEVNULL,
                           timeout=60, check=False)
            if (self.folder / "out/flowbook.json").exists():
                with self.subTest(name):
                    self.flowbook("pack", "out", "-o", "again.tqx", "--force")
                    one, other = self.flowbook("digest", name, "again.tqx").splitlines()
                    self.assertEqual(one[:64], other[:64])
                packed += 1
            shutil.rmtree(self.folder / "out", ignore_errors=True)
        self.assertGreater(packed, 25)

    def test_pack_takes_changes_and_leaves_nothing_unsaid(self):
        self.flowbook("extract", "rich.tqx", "-d", "out")
        self.write({"out/media/image1.png": b"another", "out/media/image1.svg": b"<svg>\xff</svg>", "out/new.png": b""})
        self.flowbook("pack", "out", "-o", "a.tqx", code=1, err="flowbook: out/new.png: not packed\n")
        self.flowbook("extract", "a.tqx", "-d", "again")
        self.write({"out/flowbook.json": (self.folder / "again/flowbook.json").read_bytes()})
        (self.folder / "out/new.png").unlink()
        self.assert_files("again", {str(path.relative_to(self.folder / "out")): path.read_bytes()
                                    for path in (self.folder / "out").rglob("*") if path.is_file()})
        manifest = (self.folder / "out/flowbook.json").read_bytes()
        for name, content, code, err in (
                ("flowbook.json", b"{", 4, "flowbook.json"), ("flowbook.json", b"{}", 4, "missing or of another type"),
                ("flowbook.json", manifest.replace(b"/media/image1.png", b"/../rich.tqx"), 4, "no part name"),
                ("flowbook.json", manifest.replace(b"/tarmic/output.xml", b"/none"), 3, "out/none: there is no such"),
                ("code.txt", b"changed", 1, "code.txt: not the code of the document beside it")):
            old = (self.folder / "out" / name).read_bytes()
            self.write({f"out/{name}": content})
            self.flowbook("pack", "out", "-o", "b.tqx", code=code, err=err)
            self.write({f"out/{name}": old})
        (self.folder / "out/tarmic/output.xml").unlink()
        (self.folder / "out/tarmic/output.xml").symlink_to(self.folder / "rich.tqx")
        self.flowbook("pack", "out", "-o", "b.tqx", code=3, err="out/tarmic/output.xml: cannot read")
        self.assertFalse((self.folder / "b.tqx").exists())

    def edit(self, script, *arguments, **more):
        with unittest.mock.patch.dict(os.environ, {"VISUAL": "", "EDITOR": f"sh -c {shlex.quote(script)} editor"}):
            return self.flowbook("edit", *arguments, **more)

    def test_edit(self):
        before = (self.folder / "plain.tqx").stat().st_ctime_ns
        self.edit("true", "plain.tqx")
        self.assertEqual((self.folder / "plain.tqx").stat().st_ctime_ns, before)
        self.edit("sed -i s/b/x/ $1", "plain.tqx")
        self.assertEqual(self.flowbook("cat", "plain.tqx"), "a = 1;\nx = 2;\n")
        self.edit("true", "prose.tqx", code=1, err="prose.tqx: plain code would drop 1 paragraph of prose")
        self.edit("true", "encrypted.tqx", code=5, err="the code is encrypted")
        for script, code, message in (("echo y >$1; exit 3", 3, "the editor ended with 3"),
                                      ("echo y >$1; cp rich.tqx plain.tqx", 3, "the code was changed meanwhile"),
                                      ("echo y >$1; printf '\\377' >>$1", 4, "not UTF-8"),
                                      ("echo y >$1; cp rich.tqx r; mv r plain.tqx", 3, "plain.tqx")):
            with self.subTest(script), unittest.mock.patch.dict(os.environ, TMPDIR=str(self.folder / "b")):
                self.edit(script, "plain.tqx", code=code, err=message)
                kept = next((self.folder / "b").glob("*/code.txt"))
                self.assertTrue(kept.read_bytes().startswith(b"y\n"))
                shutil.rmtree(kept.parent)
            self.assertIn(self.flowbook("cat", "plain.tqx"), ("a = 1;\nx = 2;\n", "größe = 2;\nx < y\n"))

    def test_extract_overwrites_nothing_and_writes_nowhere_else(self):
        for name in ("out", "elsewhere"):
            (self.folder / name).mkdir()
        self.write({"victim": b"mine"})
        (self.folder / "out/media").symlink_to("../elsewhere")
        (self.folder / "out/code.txt").symlink_to("../victim")
        self.flowbook("extract", "rich.tqx", "-d", "out", code=3, err="out/code.txt: cannot write: File exists; ")
        self.flowbook("extract", "rich.tqx", "-d", "out", "--force", code=3, err="out/media")
        self.assertFalse((self.folder / "out/code.txt").is_symlink())
        self.assertEqual((self.folder / "out/code.txt").read_text(encoding="utf-8"), "größe = 2;\nx < y\n")
        self.assertEqual(((self.folder / "victim").read_bytes(), os.listdir(self.folder / "elsewhere")), (b"mine", []))


if __name__ == "__main__":
    COMMAND = os.path.abspath(sys.argv.pop(1))
    unittest.main()
