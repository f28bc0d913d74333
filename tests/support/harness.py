"""What the tests of the flowbook command share: a folder of fixtures for each test, and rows of cases."""

import base64
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from collections import namedtuple
from pathlib import Path

import make_fixtures as made

# A shell that runs the tests in its background has them ignore these, and the command would inherit that.
for number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP):
    if signal.getsignal(number) == signal.SIG_IGN:
        signal.signal(number, signal.SIG_DFL)

# Sanitizers make the frames of the deepest documents larger than the stack that there is.
if "ASAN_OPTIONS" in os.environ:
    resource.setrlimit(resource.RLIMIT_STACK, (64 << 20, resource.getrlimit(resource.RLIMIT_STACK)[1]))

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
    "nested": dict(document=made.rich(made.paragraph("<a>" * 1018 + "a" + "</a>" * 1018))),
    "badprops": made.core("<cut"),
    "bidi": made.core(made.title("a\u202eb\u200b\U000e0041")),
    "torn": dict(root=[made.TO_DOCUMENT, ("rId1", "t", "a"), ("r3", "t", "%zz"), ("r4", "t", "gone.png")]),
    "deep": dict(parts={"d/" * 65 + "d": ("text/a", b"")}), "deepest": dict(parts={"d/" * 64 + "d": ("text/a", b"")}),
    "badrels": dict(root=[("r1", "t", "a"), ("r2", "t", "b")],
                    parts={"a": ("text/a", b"a"), "_rels/a.rels": (None, b"<cut"), "b": ("text/b", b"b")}),
    "tree": dict(root=[("r1", "http://types/first", "a"), ("r2", "http://types/web", "http://x/\u009b", "External"),
                       ("r3", "gone", "none#x")],
                 parts={"a": ("text/a", b"a"), "_rels/a.rels": (None, made.relationships(("r1", "down", "b"))),
                        "b": ("text/b", b"b"), "_rels/b.rels": (None, made.relationships(("r1", "up", "/A")))}),
}

# out: exactly this, or a tuple of fragments in their order; err: a fragment, "" for nothing.
Case = namedtuple("Case", "args code out err stdin", defaults=["", "", None])

# The command under test.
COMMAND = os.path.abspath(sys.argv.pop(1))


class CommandTest(unittest.TestCase):
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
        done = subprocess.run([COMMAND, *arguments], cwd=self.folder, stderr=subprocess.PIPE, timeout=300, check=False,
                              **{"stdout": subprocess.PIPE, **more})
        error = done.stderr.decode()
        self.assertEqual((done.returncode, err in error, error == ""), (code, True, err == ""), (arguments, error))
        return (done.stdout or b"").decode(errors="surrogateescape")

    def info(self, name):
        """The record of a file, with its properties beside the other fields."""
        record = json.loads(self.flowbook("info", "--json", name))
        return {**record, **record["properties"]}

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

    def assert_cases(self, cases):
        """That each row gives what it says, and leaves no file behind but in the folder `out`."""
        before = self.names()
        for case in cases:
            with self.subTest(case.args):
                out = self.flowbook(*case.args.split(), code=case.code, err=case.err,
                                    input=self.fixtures.get(case.stdin, b""))
                if isinstance(case.out, tuple):
                    self.assertRegex(out, "(?s)" + ".*".join(map(re.escape, case.out)))
                else:
                    self.assertEqual(out, case.out)
                shutil.rmtree(self.folder / "out", ignore_errors=True)
                self.assertEqual(self.names(), before)
