#!/usr/bin/env python3
"""A table of merges: what each shows, and what it shows once its conflicts are settled with either side.

usage: merge_test.py FLOWBOOK_COMMAND"""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made
import merge_random_test as random_test

COMMAND = None
CLEAN, CODE = 0, "conflict in code: both versions stand between markers"
WHOLE = "conflict in code: kept as ours has it; theirs is added as /tarmic/document-theirs1.xml"


def book(*paragraphs, pictures="", encoding=None, secret=None, props=(), outputs=(), link="", **more):
    """A flowbook of the paragraphs, "<" for pictures by letter; `secret` is encrypted code with those pictures."""
    parameters = ";encryption=AES" if secret else ";plaincode=true" if more.pop("plain", False) else ""
    body = "".join(line if line[0] == "<" else made.paragraph(line, "text" if line.istitle() else "code")
                   for line in paragraphs)
    xml = (f'<w:document xmlns:w="{made.WORD}" xmlns:r="{random_test.OFFICE}"><w:body>{body}</w:body></w:document>')
    if encoding:
        xml = f'<?xml version="1.0" encoding="{encoding}"?>{xml}'
    core = made.core(*(f"<{key}>{value}</{key.split()[0]}>" for key, value in props))
    parts = {f"media/{each}.png": ("image/png", each.encode()) for each in pictures}
    rows = [(f"rId{i + 1}", "image", f"/media/{each}.png") for i, each in enumerate(pictures)]
    rows += [("rId1", random_test.KINDS["link"], "http://" + link, "External")] if link else []
    for number, content in enumerate(outputs):
        name = ("results/" if content.isupper() else "") + f"out{number}.xml"
        parts[name] = ("text/xml", content.encode())
        core["root"].append((f"o{number}", "output", name))
    core["root"] += more.pop("root", [])
    if gone := more.pop("gone", False):
        core["root"].remove(made.TO_DOCUMENT)
    entries = more.pop("entries", {})
    parts.update((name, ("application/x-data", content)) for name, content in more.pop("more", {}).items())
    core["parts"]["core.xml"] = (made.CORE_TYPE, made.utf16(core["parts"]["core.xml"][1])
                                 if more.pop("wide", False) else core["parts"]["core.xml"][1])
    xml = xml.replace("<w:body>", more.pop("frame", "") + "<w:body>")
    package = made.package(document=secret.encode() if secret else xml.encode(encoding or "utf-8"),
                           parameters=parameters, root=core["root"], parts={**core["parts"], **parts},
                           document_rels=made.relationships(*rows))
    return made.zipped({name: content for name, content in {**package, **entries}.items()
                        if not gone or made.DOCUMENT not in name and not name.startswith("tarmic/_rels")})


def drawn(number, text="Figure"):
    return made.paragraph(text, "text").replace("</w:p>", f'<w:r><w:drawing r:embed="rId{number}"/></w:r></w:p>')


def beside(text):
    return made.paragraph(text).replace("</w:p>", '<w:r><w:drawing r:embed="rId1"/></w:r></w:p>')


BASE = ("Why", "a\nb\nc\nd", "End")
TITLE, CREATOR = "dc:title", "dc:creator"
SITE, OTHER = ("s", "http://example.com/site"), ("o", "http://example.com/site", "x")
# What it is, BASE (None for an empty file), OURS, THEIRS, options, the words or CLEAN, and what is shown then, or with
# ours and with theirs chosen: texts, pictures at paragraphs, properties, outputs.
MERGES = [
    ("figures under one id", book(*BASE), book(*BASE, drawn(1), pictures="o"),
     book(drawn(1, "First"), *BASE, pictures="t"), [], CLEAN, "First<t> Why a/b/c/d End Figure<o>"),
    ("one figure changed by both", book(*BASE, drawn(1), pictures="b"), book(*BASE, drawn(1), pictures="o"),
     book(*BASE, drawn(1), pictures="t"), [], CODE, "Why a/b/c/d End Figure<o>", "Why a/b/c/d End Figure<t>"),
    ("a picture beside code, which both change", book(*BASE), book("Why", beside("A\nb\nc\nd"), "End", pictures="o"),
     book("Why", "x\nb\nc\nD", "End"), [], CODE, "Why A/b/c/D<o> End", "Why x/b/c/D End"),
    ("the same code, with a picture and without", book("Why", "a", "End"),
     book("Why", beside("b"), "End", pictures="o"), book("Why", "b", "End"), [], CODE, "Why b<o> End", "Why b End"),
    ("a paragraph that one divides", book(*BASE), book("Why", "a\nb", "C\nd", "End"),
     book("Why", "a\nb\nx\nd", "End"), [], CODE, "Why a/b C/d End", "Why a/b/x/d End"),
    ("UTF-16", book(*BASE, "\u00c4", drawn(1), pictures="b", encoding="utf-16"),
     book("Why", "A\nb\nc\nd", "End", "\u00c4", drawn(1), drawn(2, "More"), pictures="bo", encoding="utf-16"),
     book(drawn(2, "Other"), "Why", "a\nb\nc\nD", "End", "\u00c4", drawn(1), pictures="bt", encoding="utf-16"), [],
     CLEAN, "Other<t> Why A/b/c/D End \u00c4 Figure<b> More<o>"),
    ("other encodings", book(*BASE, "\u00c4"), book("Why", "a\nb\nc\nD", "End", "\u00c4", encoding="iso-8859-1"),
     book("Why", "A\nb\nc\nd", "End", "\u00c4", encoding="utf-16"), [], CLEAN, "Why A/b/c/D End \u00c4"),
    ("encrypted against rich", book(*BASE, drawn(1), pictures="b"), book(secret="cipher", pictures="o"),
     book("Why", "a", drawn(1), pictures="t"), [], WHOLE, "cipher |<o>", "Why a Figure<t>"),
    ("no base", None, book("Why", "a\nb", props=[(TITLE, "O")]), book("Why", "a\nB", props=[(TITLE, "T")]), [], CODE,
     "Why a/b |title=O", "Why a/B |title=T"),
    ("properties in UTF-16", book("a", props=[(TITLE, "B"), (CREATOR, "B")]),
     book("a", props=[(TITLE, "O"), (CREATOR, "B")]), book("a", props=[(TITLE, "B"), (CREATOR, "T")], wide=True), [],
     CLEAN, "a |title=O creator=T"),
    ("a property that ours removed", book("a", props=[(TITLE, "B"), (CREATOR, "B")]), book("a", props=[(CREATOR, "O")]),
     book("a", props=[(TITLE, "T"), (CREATOR, "T")]), [],
     'conflict in title: ours has (none), theirs "T"; kept as theirs has it', "a |creator=O", "a |creator=T title=T"),
    ("outputs, code of theirs", book("a", outputs="bb"), book("a", outputs="op"), book("t", outputs="tu"), [],
     "outputs /out0.xml: kept as theirs has them", "t |t u"),
    ("outputs, code of both", book(*BASE, outputs="b"), book("x", *BASE, outputs="o"), book(*BASE, "y", outputs="t"),
     [], "they are older than the merged code", "x Why a/b/c/d End y |o"),
    *((f"outputs, {way}", book(*BASE, outputs="b"), book("x", *BASE, outputs="o"), book(*BASE, "y", outputs="t"),
       ["--outputs=" + way], words, *shown) for way, words, *shown in [
           ("ours", "kept as ours", "x Why a/b/c/d End y |o"), ("theirs", "kept as theirs", "x Why a/b/c/d End y |t"),
           ("drop", "dropped", "x Why a/b/c/d End y"),
           ("conflict", "theirs is added as /out0-theirs1.xml", "x Why a/b/c/d End y |o", "x Why a/b/c/d End y |t")]),
    ("outputs, code in conflict", book("a", outputs="b"), book("o", outputs="o"), book("t", outputs="t"), [],
     "outputs /out0.xml: kept as ours has them until the code is settled", "o |o", "t |t"),
    ("outputs, code whole", book("a", outputs="b"), book(secret="cipher1", outputs="o"),
     book(secret="cipher2", outputs="t"), [], "until the code is settled", "cipher | |o", "cipher | |t"),
    ("a link of encrypted code whose id had a picture", book("a", drawn(1), pictures="b"),
     book(secret="cipher", link="o"), book("a", drawn(1), pictures="b"), [], CLEAN, "cipher |"),
    ("a picture that plain code of theirs has", book("a", plain=True, pictures="b"),
     book(beside("o"), pictures="b"), book("t", plain=True, pictures="b"), [], CODE, "o<b>", "t (b)"),
    ("a picture beside code that one has as plain", book("a\nb\nc\nd", plain=True),
     book("Why", beside("a\nb\nc\nd"), pictures="o"), book("a\nb\nc\nD\ne", plain=True), [], CLEAN, "Why a/b/c/D/e<o>"),
    ("the same in conflict", book("a\nb", plain=True), book(beside("o\nb"), pictures="o"), book("t\nb", plain=True),
     [], WHOLE, "o/b<o>", "t/b"),
    ("outputs that theirs deleted", book("a", outputs="b"), book("a", outputs="o"), book("a"), ["--outputs=conflict"],
     "conflict in /out0.xml: theirs deleted it; kept as the other changed it", "a |o", "a"),
    ("outputs of other names, code in conflict", book("a", outputs="b"), book("o", outputs="o"),
     book("t", outputs="T"), [], "until the code is settled", "o |o", "t |T"),
    ("outputs that theirs deleted, code in conflict", book("a", outputs="b"), book("o", outputs="o"), book("t"), [],
     "until the code is settled", "o |o", "t"),
    ("links of the package", book("a", root=[SITE + ("b", "External")]), book("a", root=[SITE + ("o", "External")]),
     book("a", root=[SITE + ("t", "External")]), [],
     "conflict in relationship /#s: ours leads to o, theirs to t; both are kept", "a |o", "a |t"),
    ("a link that theirs deleted", book("a", root=[SITE + ("b", "External")]),
     book("a", root=[SITE + ("o", "External")]), book("a"), [],
     "conflict in relationship /#s: theirs deleted it", "a |o", "a"),
    ("one of two relationships to a part deleted", book("a", root=[SITE + ("x",), OTHER], more={"x": b"b"}),
     book("a", root=[OTHER], more={"x": b"b"}), book("a", root=[SITE + ("x",), OTHER], more={"x": b"t"}), [],
     "conflict in /x: ours deleted it", "a |t", "a |t t"),
    ("a second relationship to a part that theirs changed", book("a", root=[SITE + ("x",)], more={"x": b"b"}),
     book("a", root=[SITE + ("x",), OTHER], more={"x": b"b"}), book("a", root=[SITE + ("x",)], more={"x": b"t"}), [],
     CLEAN, "a |t t"),
    ("code that theirs deleted", book("a"), book("o"), book("a", gone=True), [],
     "conflict in code: theirs deleted it", "o", ""),
    ("entries that are no parts", book("a", entries={"r.x": b"b", "s.x": b"b", "u.x": b"b"}),
     book("a", entries={"r.x": b"o", "u.x": b"b"}), book("a", entries={"r.x": b"t", "s.x": b"t"}), [],
     "conflict in entry r.x: kept as ours has it; theirs is added as r-theirs1.x", "a |r.x=o", "a |r.x=t s.x=t"),
    ("the language of a property", book("a", props=[(TITLE, "T")]), book("a", props=[(TITLE + ' xml:lang="de"', "T")]),
     book("a", props=[(TITLE + ' xml:lang="fr"', "T")]), [], "conflict in title", "a |title=T (de)",
     "a |title=T (fr)"),
    ("two properties of one local name", book("a", props=[(TITLE, "B"), ('x:title xmlns:x="y"', "B")]),
     book("a", props=[(TITLE, "O"), ('x:title xmlns:x="y"', "X")]),
     book("a", props=[(TITLE, "T"), ('x:title xmlns:x="y"', "B")]), [],
     'conflict in title: ours has "O", theirs "T"', "a |title=O title=X", "a |title=T title=X"),
    ("a paragraph that both moved", book(*"abcde"), book(*"cabde"), book(*"abdec"), [], CODE + ", in 2 places",
     "c a b d e", "a b d e c"),
    ("lines that both moved", book("a\nb\nf\n}\nx\n}\ny\nz", plain=True), book("f\n}\na\nb\nx\n}\ny\nz", plain=True),
     book("a\nb\nx\n}\ny\nf\n}\nz", plain=True), [], CODE + ", in 2 places", "f/}/a/b/x/}/y/z", "a/b/x/}/y/f/}/z"),
    ("a line above the first one", book("a\nb\nc", plain=True), book("X\na\nb\nc", plain=True),
     book("a\nB\nc", plain=True), [], CLEAN, "X/a/B/c"),
    ("plain against rich, with a picture in conflict", book("a\nb\nc", plain=True), book("a\nb\no", plain=True),
     book("a", "b", beside("t"), pictures="t"), [], CODE, "a b o", "a b t<t>"),
    ("what stands around the paragraphs", book("a"), book("o", frame='<w:background w:color="o"/>'),
     book("t", frame='<w:background w:color="t"/>'), [], WHOLE, "o", "t"),
    ("labels", book("a"), book("b"), book("c"), ["--ours-label=my side", "--theirs-label=y\u00f6u", "--file=x/y.tqx"],
     "x/y.tqx: " + CODE, "b", "c"),
]


def shown(path):
    """What a flowbook shows, in the form of MERGES; raises for orphans, and for what leads nowhere."""
    found = Found(path.read_bytes())
    if found.faults:
        raise AssertionError(found.faults)
    return found.text


class Found(random_test.Found):
    def read_code(self):
        self.text, self.code = "", ""
        if self.code_name is None:
            words = ""
        elif b"cipher" in self.entries[self.code_name]:
            self.hanging = [target for kind, target, _ in self.links(self.code_name).values() if kind.endswith("image")]
            words = "cipher |" + "".join(f"<{self.entries[name].decode()}>" for name in self.hanging)
        else:
            super().read_code()
            shown = [thing for things in self.shown.values() for thing in things]
            hanging = "".join(f" ({name})" for thing in self.hanging for name in thing[1:] if thing not in shown)
            pictures = {text: "".join(f"<{name}>" for _, name in things) for text, things in self.shown.items()}
            words = " ".join(text.replace("\n", "/") + pictures[text] for text in self.texts) + hanging
        root = self.links("").values()
        core = self.package[random_test.CORE_TYPE_OF_LINK]
        values = [f"{each.tag.partition('}')[2]}={each.text}" + "".join(f" ({lang})" for lang in each.attrib.values())
                  for each in random_test.tree.fromstring(core) if each.text and "W3CDTF" not in str(each.attrib)]
        values += [self.entries[target].decode() for kind, target, _ in root if kind.endswith("/output")]
        values += [self.entries[target].decode() if target in self.entries else target
                   for kind, target, _ in root if kind == SITE[1]]
        values += [f"{name}={text.decode()}" for name, text in sorted(self.entries.items()) if name.endswith(".x")]
        self.text = words + (" |" + " ".join(values) if values else "")


class Merges(unittest.TestCase):
    def flowbook(self, *arguments, codes=(0,)):
        done = subprocess.run([COMMAND, *arguments], cwd=self.folder, capture_output=True, check=False, timeout=300)
        self.assertIn(done.returncode, codes, (arguments, done.stdout, done.stderr))
        return done.returncode, (done.stdout + done.stderr).decode()

    def test_table(self):
        for name, base, ours, theirs, options, words, *wanted in MERGES:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                self.folder = Path(folder)
                for file, content in (("b", base), ("o", ours), ("t", theirs)):
                    (self.folder / file).write_bytes(content or b"")
                code, told = self.flowbook("merge", *(["/dev/null"] if base is None else ["b"]), "o", "t", "-o", "m",
                                           *options, codes=(len(wanted) - 1,))
                self.assertEqual(told, "") if words == CLEAN else self.assertIn(words, told)
                merged = (self.folder / "m").read_bytes()
                if not code:
                    self.assertEqual(shown(self.folder / "m"), wanted[0])
                for side, text in zip(("--ours", "--theirs"), wanted if code else ()):
                    (self.folder / "m").write_bytes(merged)
                    self.flowbook("resolve", "m", codes=(1,))
                    self.assertIn("conflict]", self.flowbook("check", "m", codes=(1,))[1])
                    self.flowbook("resolve", "m", side)
                    self.assertEqual((self.flowbook("resolve", "m")[1], shown(self.folder / "m")), ("", text))
                    self.flowbook("merge", "b", "o", "t", "-o", "f", side, "--force")
                    self.assertEqual(shown(self.folder / "f"), text)
                if base is None:
                    self.flowbook("merge", "b", "o", "t", codes=(1,))
                    self.assertEqual((self.folder / "o").read_bytes(), merged)


    def test_a_part_that_nothing_leads_to(self):
        with tempfile.TemporaryDirectory() as folder:
            self.folder = Path(folder)
            for file, more in (("b", {"x": b"b"}), ("o", {"x": b"changed"}), ("t", {})):
                (self.folder / file).write_bytes(book("a", more=more))
            for ours, theirs, side in (("o", "t", "--ours"), ("o", "t", "--theirs"), ("t", "o", "--theirs")):
                self.assertIn("conflict in /x: ", self.flowbook("merge", "b", ours, theirs, "-o", "m", "--force",
                                                                codes=(1,))[1])
                self.flowbook("resolve", "m", "part", "/x", side)
                is_kept = (side == "--ours") == (ours == "o")
                self.assertEqual("/x" in self.flowbook("parts", "m")[1], is_kept, (ours, side))


if __name__ == "__main__":
    COMMAND = os.path.abspath(sys.argv.pop(1))
    unittest.main()
