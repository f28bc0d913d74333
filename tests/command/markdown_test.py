#!/usr/bin/env python3
"""Tests of import and of cat --format=md: there and back with random documents, and what single texts become.
usage: markdown_test.py FLOWBOOK_COMMAND [unittest arguments]"""

import base64
import os
import random
import sys
import unittest
import xml.etree.ElementTree as xml
import zipfile
from pathlib import Path
from xml.sax.saxutils import escape, quoteattr

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
from harness import DATA_URI, PICTURE, Case, CommandTest, made

ROUNDS = int(os.environ.get("MARKDOWN_ROUNDS", "60"))
SEED = int(os.environ.get("MARKDOWN_SEED", "20"))
W = f"{{{made.WORD}}}"
R = "{http://schemas.openxmlformats.org/officeDocument/2006/relationships}"
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/"
LETTERS = "aab1é中 x_*`[]()<>&!#-+=~.\\|:\"'—/^$%{}\u00a0"
LOOKS = {"b": "<w:b/>", "i": "<w:i/>", "strike": "<w:strike/>", "u": '<w:u w:val="single"/>',
         "rStyle": '<w:rStyle w:val="VerbatimChar"/>', "vertAlign": '<w:vertAlign w:val="subscript"/>'}
TARGETS = ["http://x.org/a?b=(c)&d", "notes.md#a b", "mailto:a@b"]


def random_text(chance, more=""):
    return "".join(chance.choice(LETTERS + more) for _ in range(chance.randrange(1, 9)))


def random_run(chance):
    look = "".join(LOOKS[name] for name in LOOKS if chance.random() < 0.15)
    # Where a line breaks, it breaks in no look of code.
    text = "".join({"\n": "<w:br/>", "\t": "<w:tab/>"}.get(c, f'<w:t xml:space="preserve">{escape(c)}</w:t>')
                   for c in random_text(chance, "\t" if "rStyle" in look else "\n\t"))
    run = f"<w:r><w:rPr>{look}</w:rPr>{text}</w:r>"
    kind = chance.randrange(12)
    if kind == 0:
        return f'<w:hyperlink r:id="l{chance.randrange(len(TARGETS))}">{run}</w:hyperlink>'
    if kind == 1:
        return (f'<w:r><w:drawing><d:docPr xmlns:d="d" descr={quoteattr("w" + random_text(chance))}/>'
                '<a:blip xmlns:a="a" r:embed="p"/></w:drawing></w:r>')
    return run


def random_block(chance, lists):
    kind = chance.choice(["code", "Heading1", "Heading4", "Quote", "item", "item", "item", "", "", "rule", "table"])
    if kind != "item":
        lists[0] = -1
    if kind == "table":
        columns = chance.randrange(1, 4)
        return "<w:tbl>" + "".join("<w:tr>" + "".join(f"<w:tc><w:p>{random_runs(chance)}</w:p></w:tc>"
                                                      for _ in range(columns)) + "</w:tr>" for _ in "ab") + "</w:tbl>"
    if kind == "code":
        lines = "\n".join(random_text(chance) for _ in range(chance.randrange(1, 4)))
        return f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r><w:t>{escape(lines)}</w:t></w:r></w:p>'
    if kind == "rule":
        return "<w:p><w:pPr><w:pBdr/></w:pPr></w:p>"
    settings = f'<w:pStyle w:val="{kind}"/>' if kind else ""
    if kind == "item":
        # An item is at most one level deeper than the one before it.
        lists[0] = chance.randrange(lists[0] + 2) if lists[0] < 3 else 0
        settings = f'<w:numPr><w:ilvl w:val="{lists[0]}"/><w:numId w:val="{chance.choice([1, 1, 2, 3])}"/></w:numPr>'
    is_empty = kind == "item" and chance.random() < 0.2
    return f"<w:p><w:pPr>{settings}</w:pPr>{'' if is_empty else random_runs(chance)}</w:p>"


def random_runs(chance):
    return "".join(random_run(chance) for _ in range(chance.randrange(1, 5))) + "<w:r><w:t>x</w:t></w:r>"


def random_book(chance):
    lists = [-1]
    blocks = [random_block(chance, lists) for _ in range(chance.randrange(1, 14))]
    kinds = "".join(f'<w:abstractNum w:abstractNumId="{i}">' + "".join(
        f'<w:lvl w:ilvl="{level}"><w:start w:val="{start}"/><w:numFmt w:val="{kind}"/></w:lvl>' for level in range(4))
        + "</w:abstractNum>" for i, start, kind in [(1, 1, "bullet"), (2, 1, "decimal"), (3, 7, "decimal")])
    numbers = "".join(f'<w:num w:numId="{i}"><w:abstractNumId w:val="{i}"/></w:num>' for i in (1, 2, 3))
    return made.zipped(made.package(
        document=made.rich(*blocks, attributes=f' xmlns:r="{R[1:-1]}"'),
        parts={"media/image1.png": ("image/png", DATA_URI), "tarmic/numbering.xml": (
            "text/xml", f'<w:numbering xmlns:w="{made.WORD}">{kinds}{numbers}</w:numbering>'.encode())},
        document_rels=made.relationships(
            ("p", "image", "../media/image1.png"), ("n", OFFICE + "numbering", "numbering.xml"),
            *((f"l{i}", OFFICE + "hyperlink", escape(to), "External") for i, to in enumerate(TARGETS)))))


class Book:
    """The blocks of a flowbook, read from its parts."""

    def __init__(self, path):
        self.lists, self.counts, self.blocks = {}, {}, []
        with zipfile.ZipFile(path) as package:
            self.read = package.read
            self.rels = {}
            if "tarmic/_rels/document.xml.rels" in package.namelist():
                self.rels = {each.get("Id"): each for each in xml.fromstring(self.part("_rels/document.xml.rels"))}
            if "tarmic/numbering.xml" in package.namelist():
                self.read_lists(xml.fromstring(self.part("numbering.xml")))
            for block in xml.fromstring(self.part("document.xml")).iter():
                if block.tag == f"{W}p":
                    self.add(block)
                elif block.tag == f"{W}tbl":
                    self.blocks.append(("table", [len(row.findall(f"{W}tc")) for row in block.iter(f"{W}tr")]))

    def part(self, name):
        return self.read("tarmic/" + name)

    def read_lists(self, root):
        for number in root.iter(f"{W}num"):
            kind = next(each for each in root.iter(f"{W}abstractNum")
                        if each.get(f"{W}abstractNumId") == number[0].get(f"{W}val"))
            for level in kind:
                self.lists[number.get(f"{W}numId"), level.get(f"{W}ilvl")] = (
                    level.find(f"{W}numFmt").get(f"{W}val"), int(level.find(f"{W}start").get(f"{W}val")))

    def add(self, paragraph):
        style = paragraph.find(f"{W}pPr/{W}pStyle")
        style = "" if style is None else style.get(f"{W}val")
        runs = self.runs(paragraph)
        if paragraph.find(f"{W}pPr/{W}pBdr") is not None:
            self.blocks.append("rule")
        elif style == "code" and self.blocks and self.blocks[-1][0] == "code":
            self.blocks[-1] = "code", self.blocks[-1][1] + "\n" + runs[0][0]
        elif style == "code":
            self.blocks.append(("code", runs[0][0]))
        else:
            item = paragraph.find(f"{W}pPr/{W}numPr")
            self.blocks.append((style, self.label(item), runs))

    def label(self, item):
        """The level of an item, and its number in an ordered list."""
        if item is None:
            return None
        level, number = (each.get(f"{W}val") for each in item)
        kind, start = self.lists[number, level]
        key = number, int(level)
        self.counts[key] = self.counts.get(key, -1) + 1
        self.counts.update({each: -1 for each in self.counts if each[0] == number and each[1] > int(level)})
        return level, kind == "bullet" or start + self.counts[key]

    def runs(self, paragraph):
        runs = []
        links = {run: link.get(R + "id") for link in paragraph.iter(f"{W}hyperlink") for run in link}
        for run in paragraph.iter(f"{W}r"):
            look = {each.tag.replace(W, "") for each in run.findall(f"{W}rPr/*")}
            text = "".join({"t": each.text or "", "br": "\n", "tab": "\t", "drawing": "!"}.get(
                each.tag.replace(W, ""), "") for each in run)
            drawing = run.find(f"{W}drawing")
            link = self.rels[links[run]].get("Target") if run in links else ""
            if drawing is not None:
                text = self.picture(drawing)
                look = {"picture"}
            if runs and runs[-1][1:] == (look, link) and drawing is None:
                runs[-1] = (runs[-1][0] + text, look, link)
            else:
                runs.append((text, look, link))
        return runs

    def picture(self, drawing):
        part = self.rels[next(each.get(R + "embed") for each in drawing.iter() if each.tag.endswith("blip"))]
        content = self.read("media/" + part.get("Target").rpartition("/")[2])
        words = next(each.get("descr") for each in drawing.iter() if each.tag.endswith("docPr"))
        return base64.b64decode(content.partition(b",")[2]), words


CASES = [
    Case("import good.md -o -", 0, ("PK",)),
    Case("import good.md", 2, err="--output"),
    Case("import absent.md -o out.tqx", 3, err="absent.md: there is no such file"),
    Case("import latin.md -o out.tqx", 2, err="latin.md: "),
    Case("import gone.md -o out.tqx", 3, err="gone.png: there is no such file"),
    Case("import list -o plain.tqx", 3, err="plain.tqx: exists already; --force replaces it"),
    Case("import text.md -o out.tqx", 2, err="same"),
    Case("cat --format=md encrypted.tqx", 5, err="the code is encrypted"),
    Case("cat --format=md plain.tqx", 0, "```\na = 1;\nb = 2;\n```\n"),
    Case("cat --format=md prose.tqx", 0, "Why\n\n```\na = 1;\nb\n```\n\ntwo\n"),
]
# A text, and what comes back where that is another one.
TEXTS = {
    "# A\n\nb\\\nc **d** *e* `` f` `` [g](<h i>)\n": None,
    "| a\\|b | **c** |\n| --- | --- |\n| `d` <code>e\\|f</code> |  |\n": None,
    "a|b\n-|:-:\nc|d|e\\\\\n\n> f|g\n> -|-\n": "| a | b |  |\n| --- | :-: | --- |\n| c | d | e\\\\ |\n\n"
                                              "> | f | g |\n> | --- | --- |\n",
    "| [a] |\n| --- |\n\n[a]: http://b \"c\"\n": "| [a](http://b) |\n| --- |\n",
    "1.\n   - a\n\n     | b | c | d |\n     | :-- | --: | :-: |\n     | e |  | f |\n\n   g\n"
    "\n> h\n>\n> | i |\n> | --- |\n>\n> j\n": None,
    "- | a | b |\n  |---|---|\n": "-\n  | a | b |\n  | --- | --- |\n",
    "1. a\n2.\n   - b\n     1. c\n\n        -\n3. d\n": None,
    "1. a\n2. ```\n   b\n   ```\n3. c\n": "1. a\n2.\n   ```\n   b\n   ```\n\n3. c\n",
    "\u0e01\u200b\u0e02 \x85 \x7f \x01\n": "\u0e01\u200b\u0e02 \x85 \x7f \ufffd\n",
    "- a\n- b\n  1. c\n  2. d\n\n     e\n\n- f\n\n  ```\n  g\n\n  h\n  ```\n\n- i\n": None,
    "> a\n>\n> b\n": None,
    "```\na\n```\n\n```\n\n```\n\n````\n```\n````\n": None,
    "    indented\n": "```\nindented\n```\n",
    "a\r\nb<!-- c -->\r\n<b>d</b><br>e <x> &copy;\n": "a b\n**d**\\\ne \\<x> ©\n".replace("\n**", " **"),
    "<!-- c -->\n\n<p>\nd\n</p>\n": "\\<p>\\\nd\\\n\\</p>\n",
    "Title\n=====\n\n***\n\n1) a\n\n5. b\n": "# Title\n\n---\n\n1. a\n5) b\n",
    "![a *b*](plot.png) ![](http://x/y.png)\n": f"![a b](data:image/png;base64,{base64.b64encode(PICTURE).decode()})"
                                                " [http://x/y.png](http://x/y.png)\n",
}


class Markdown(CommandTest):
    def test_cases(self):
        self.write({"good.md": b"a", "latin.md": b"\xff", "gone.md": b"![](gone.png)", "text.md": b"![](same)"})
        self.assert_cases(CASES)

    def test_texts(self):
        self.write({"plot.png": PICTURE})
        for text, back in TEXTS.items():
            with self.subTest(text):
                self.flowbook("import", "-", "-o", "book.tqx", "--force", input=text.encode())
                self.assertEqual(self.flowbook("cat", "--format=md", "book.tqx"), back or text)
                self.flowbook("check", "book.tqx")

    def test_random_documents(self):
        chance = random.Random(SEED)
        for turn in range(ROUNDS):
            self.write({"one.tqx": random_book(chance)})
            text = self.flowbook("cat", "--format=md", "one.tqx")
            self.flowbook("import", "-", "-o", "two.tqx", "--force", input=text.encode())
            with self.subTest((SEED, turn, text)):
                self.assertEqual(Book(self.folder / "two.tqx").blocks, Book(self.folder / "one.tqx").blocks)
                self.assertEqual(self.flowbook("cat", "two.tqx"), self.flowbook("cat", "one.tqx"))


if __name__ == "__main__":
    unittest.main()
