#!/usr/bin/env python3
"""Random flowbooks with all that word processing has: everything in them is on their pages, in its place.
usage: fidelity_test.py FLOWBOOK_COMMAND [COUNT [SEED]]"""

import json
import random
import re
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made
from page_tree import Page

NAMESPACES = ('xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships" '
              'xmlns:m="http://schemas.openxmlformats.org/officeDocument/2006/math" '
              'xmlns:mc="http://schemas.openxmlformats.org/markup-compatibility/2006" xmlns:wp="urn:wp" '
              'xmlns:a="urn:a" xmlns:v="urn:v" xmlns:o="urn:o" xmlns:c="urn:c" xmlns:x="urn:x"')
PICTURE = ("image/svg+xml", b"<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>")
RESTART = '<w:lvlRestart w:val="1"/>'
NUMBERING = (f'<w:numbering xmlns:w="{made.WORD}">' + "".join(
    f'<w:abstractNum w:abstractNumId="{a}">' + "".join(
        f'<w:lvl w:ilvl="{i}"><w:start w:val="{a + 1}"/><w:numFmt w:val="{form}"/></w:lvl>' for i in range(9))
    + "</w:abstractNum>" for a, form in enumerate(("bullet", "decimal", "lowerRoman"))) + "".join(
    f'<w:num w:numId="{a + 1}"><w:abstractNumId w:val="{a}"/></w:num>' for a in range(3)) +
    # The fifth list has labels of all levels, goes on behind level 1 in level 2, and is found by styles alone.
    '<w:abstractNum w:abstractNumId="9">' + "".join(
        f'<w:lvl w:ilvl="{i}"><w:numFmt w:val="{form}"/><w:pStyle w:val="Part{i}"/>{RESTART if i == 2 else ""}'
        f'<w:lvlText w:val="({".".join("%%%d" % (j + 1) for j in range(i + 1))})"/></w:lvl>'
        for i, form in enumerate(("upperRoman", "decimalZero", "upperLetter", "decimal")))
    + '</w:abstractNum><w:num w:numId="5"><w:abstractNumId w:val="9"/></w:num></w:numbering>')
STYLES = (f'<w:styles xmlns:w="{made.WORD}"><w:style w:styleId="Parts"><w:name w:val="My parts"/><w:pPr><w:numPr>'
          '<w:numId w:val="5"/></w:numPr></w:pPr></w:style>' + "".join(
              f'<w:style w:styleId="Part{i}"><w:basedOn w:val="Parts"/><w:pPr><w:numPr><w:ilvl w:val="0"/>'
              '<w:numId w:val="5"/></w:numPr></w:pPr></w:style>' for i in range(4))
          + '<w:style w:styleId="Titel"><w:name w:val="heading 3"/></w:style></w:styles>')
PROPERTIES = ("dc:creator", "dc:subject", "cp:keywords", "cp:category", "cp:lastModifiedBy", "dc:identifier",
              "cp:contentStatus", "cp:contentType", "cp:revision")
ROMAN = [tens + ones for tens in ("", "X", "XX", "XXX")
         for ones in ("", "I", "II", "III", "IV", "V", "VI", "VII", "VIII", "IX")]
ODD = ["", " <b>&amp;", "  two  blanks ", "\t", "\u00e4\u00df", "\u00bd", "]]>"]
ODD_WIDE = ["\u200b", "\u202eabc\u202c", "\u05d0\u200f.", "\U0001f469\u200d\U0001f4bb", "\u0e01\u200b\u0e02",
            "\U0001d11e"]


class Book:
    """A random flowbook, and what its page has to show: tokens in their order, and how deep they stand."""

    def __init__(self, seed):
        self.random = random.Random(seed)
        self.encoding = self.random.choice(["utf-8", "utf-8", "utf-16", "iso-8859-1"])
        self.count, self.tokens, self.levels, self.headings, self.pictures = 0, [], {}, {}, 0
        self.counts, self.labels, self.is_damaged = {}, {}, False  # of items, by list and level

    def chance(self, part):
        return self.random.random() < part

    def token(self):
        self.count += 1
        odd = self.random.choice(ODD + (ODD_WIDE if self.encoding != "iso-8859-1" else []))
        text = f"t{self.count}q" + odd
        self.tokens.append(text)
        return text.replace("&", "&amp;").replace("<", "&lt;").replace("]]>", "]]&gt;")

    def word(self):
        """A token that is told in words, not in a text of its own."""
        self.count += 1
        self.tokens.append(f"t{self.count}q")
        return self.tokens[-1]

    def t(self):
        return f'<w:t xml:space="preserve">{self.token()}</w:t>'

    def fixed(self, xml, shown):
        self.tokens.append(shown)
        return xml

    def run(self, depth=0):
        marks = "".join(f"<w:{m}/>" for m in ("b", "i", "strike", "vanish", "caps") if self.chance(0.15))
        marks += self.random.choice(["", '<w:vertAlign w:val="superscript"/>', '<w:lang w:val="de-DE"/>', "<w:u/>"])
        inside = "".join(self.random.choice(self.RUN)(self, depth) for _ in range(self.random.randint(1, 3)))
        return f"<w:r><w:rPr>{marks}</w:rPr>{inside}</w:r>"

    def drawing(self, depth):
        words = f'<wp:docPr id="1" name="x" title="{self.word()}" descr="{self.word()}"/>'
        if self.chance(0.3):  # with nothing that a page can show
            return f"<w:drawing>{words}</w:drawing>"
        self.pictures += 1
        return f'<w:drawing>{words}<a:blip r:embed="p{self.pictures}"/></w:drawing>'

    def box(self, depth):
        return f"<w:pict><v:textbox><w:txbxContent>{self.blocks(depth + 1, 2)}</w:txbxContent></v:textbox></w:pict>"

    def alternate(self, depth):
        chosen = self.t()
        return (f'<mc:AlternateContent><mc:Choice Requires="x">{chosen}</mc:Choice><mc:Fallback><w:t>never</w:t>'
                "</mc:Fallback></mc:AlternateContent>")

    RUN = [lambda s, d: s.t()] * 6 + [
        lambda s, d: s.fixed("<w:br/>", "\n") + s.t(), lambda s, d: s.fixed("<w:tab/>", "\t") + s.t(),
        lambda s, d: s.t() + s.fixed("<w:noBreakHyphen/>", "\u2011"),
        lambda s, d: s.fixed('<w:sym w:font="Symbol" w:char="F061"/>', "\u03b1"),
        lambda s, d: s.fixed('<w:sym w:font="Odd" w:char="F0E2"/>', "symbol F0E2 of Odd"),
        lambda s, d: f"<w:instrText>{s.word()}</w:instrText>", lambda s, d: f"<w:delText>{s.token()}</w:delText>",
        lambda s, d: f'<w:footnoteReference w:id="{s.word()}"/>', lambda s, d: f'<c:chart r:id="{s.word()}"/>',
        lambda s, d: f"<x:odd>{s.token()}</x:odd>", lambda s, d: f'<w:pict><v:textpath string="{s.word()}"/></w:pict>',
        lambda s, d: f"<w:ruby><w:rubyPr/><w:rubyBase><w:r>{s.t()}</w:r></w:rubyBase><w:rt><w:r>{s.t()}</w:r></w:rt>"
                     "</w:ruby>", alternate, drawing,
        lambda s, d: s.box(d) if d < 2 else s.t()]

    def formula(self):
        e = lambda name: f"<m:{name}><m:r><m:t>{self.word()}</m:t></m:r></m:{name}>"
        return "<m:oMath>" + self.random.choice([
            lambda: f"<m:f>{e('num')}{e('den')}</m:f>", lambda: f"<m:sSup>{e('e')}{e('sup')}</m:sSup>",
            lambda: f"<m:d>{e('e')}{e('e')}</m:d>", lambda: f"<m:sSub>{e('sub')}{e('e')}{e('e')}</m:sSub>",
            lambda: f"<m:m><m:mr>{e('e')}{e('e')}</m:mr><m:mr>{e('e')}{e('e')}</m:mr></m:m>",
            lambda: f"<m:odd>{e('e')}</m:odd>", lambda: f"<m:rad>{e('e')}</m:rad>",
            lambda: f"<m:nary>{e('sub')}{e('sup')}{e('e')}</m:nary>"])() + "</m:oMath>"

    def inline(self, depth):
        return self.random.choice([
            self.run, self.run, self.run, lambda d: self.formula(),
            lambda d: f'<w:hyperlink r:id="link">{self.run(d)}</w:hyperlink>',
            lambda d: f"<w:ins>{self.run(d)}</w:ins>", lambda d: f"<w:del>{self.run(d)}</w:del>",
            lambda d: f"<w:sdt><w:sdtPr/><w:sdtContent>{self.run(d)}</w:sdtContent></w:sdt>",
            lambda d: f'<w:fldSimple w:instr="{self.word()}">{self.run(d)}</w:fldSimple>'])(depth)

    def paragraph(self, depth, properties="", style="text"):
        inside = "".join(self.inline(depth) for _ in range(self.random.randint(1, 3)))
        return f'<w:p><w:pPr><w:pStyle w:val="{style}"/>{properties}</w:pPr>{inside}</w:p>'

    def item(self, depth):
        level, kind = self.random.randint(0, 3), self.random.randint(1, 5)
        token, form = f"t{self.count + 1}q", ("", "bullet", "decimal", "lowerRoman", "", "decimal")[kind]
        counts = self.counts.setdefault(kind, [0] * 9)
        kept = counts[2] if (kind, level) == (5, 1) else 0
        counts[level:] = [counts[level] + 1] + [0] * (8 - level)
        counts[2] = counts[2] or kept
        number = counts[level] + (0 if kind == 5 else kind - 1) if form in ("decimal", "lowerRoman") else None
        numbering = f'<w:pPr><w:numPr><w:ilvl w:val="{level}"/><w:numId w:val="{kind}"/></w:numPr></w:pPr>'
        if kind == 5:
            numbering = f'<w:pPr><w:pStyle w:val="Part{level}"/></w:pPr>'
            shown = [max(count, 1) for count in counts[:level + 1]]
            made_of = [ROMAN[shown[0]], *(f"{each:02}" for each in shown[1:2]),
                       *(" ABCDEFGHIJKLMNOPQRSTUVWXYZ"[each] for each in shown[2:3]), *map(str, shown[3:4])]
            self.labels[token] = f"({'.'.join(made_of)})"
        if self.chance(0.1):
            return f"<w:p>{numbering}</w:p>"  # which counts all the same
        self.levels[token] = (level + 1, number)
        return f"<w:p>{numbering}<w:r>{self.t()}</w:r>{self.run(2)}</w:p>"

    def heading(self, depth):
        style = self.random.choice(["Heading1", "Heading2", "Titel", "Heading4"])
        self.headings[f"t{self.count + 1}q"] = style
        return f'<w:p><w:pPr><w:pStyle w:val="{style}"/></w:pPr><w:r>{self.t()}</w:r></w:p>'

    def table(self, depth):
        words = f'<w:tblCaption w:val="{self.word()}"/><w:tblDescription w:val="{self.word()}"/>'
        rows = ""
        for _ in range(self.random.randint(1, 3)):
            before = self.random.choice(["", "", "<w:tblHeader/>", '<w:gridBefore w:val="2"/>'])
            cells = "".join(self.cell(depth) for _ in range(self.random.randint(1, 3)))
            rows += f"<w:tr><w:trPr>{before}</w:trPr>{cells}</w:tr>"
        return f"<w:tbl><w:tblPr>{words}</w:tblPr>{rows}</w:tbl>"

    def cell(self, depth):
        merged = self.random.choice(["", "", '<w:vMerge w:val="restart"/>', "<w:vMerge/>", '<w:gridSpan w:val="2"/>'])
        inside = "<w:p/>" if merged == "<w:vMerge/>" and self.chance(0.8) else self.blocks(depth + 1, 1)
        return f"<w:tc><w:tcPr>{merged}</w:tcPr>{inside}</w:tc>"

    def code(self, depth):
        code = self.t()
        more = self.fixed("<w:br/>", "\n") + self.t() if self.chance(0.3) else ""
        beside = f"<w:r>{self.t()}</w:r>{self.formula()}" if self.chance(0.3) else ""
        return f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r>{code}{more}</w:r>{beside}</w:p>'

    def blocks(self, depth, most):
        styles = ["Quote", "error", "Caption"]
        kinds = [self.paragraph, self.paragraph, self.item, self.heading, self.code,
                 lambda d: self.paragraph(d, '<w:ind w:left="720"/>', self.random.choice(styles)),
                 lambda d: f"<w:sdt><w:sdtContent>{self.paragraph(d)}</w:sdtContent></w:sdt>",
                 lambda d: self.table(d) if d < 2 else self.paragraph(d)]
        return "".join(self.random.choice(kinds)(depth) for _ in range(self.random.randint(1, most)))

    def outputs(self):
        """Results with tokens of their own, which stand once as results and once as stored."""
        def made_up(kind, cell):
            return f"<{kind}>" + "".join(f"<{cell}>{self.token()}</{cell}>" for _ in "ab") + f"</{kind}>"

        kinds = [lambda: f"<text>{self.token()}</text>", lambda: f"<error>  {self.token()}\n\t{self.token()}</error>",
                 lambda: f"<p>{self.token()}<b>{self.token()}</b>{self.token()}</p>",
                 lambda: f"<table>{made_up('header', 'cell')}{made_up('row', 'cell')}{made_up('row', 'cell')}</table>",
                 lambda: f"<table><caption>{self.token()}</caption><thead>{made_up('tr', 'th')}</thead>"
                         f"<tbody>{made_up('tr', 'td')}</tbody></table>",
                 lambda: f'<x:tbl><x:tr><x:tc><x:p>{self.token()}</x:p></x:tc></x:tr></x:tbl>',
                 lambda: f"<metaData><state>{self.token()}</state></metaData>"]
        inside = "".join(self.random.choice(kinds)() for _ in range(self.random.randint(1, 4)))
        return f'<outputs xmlns:x="urn:x">{inside}</outputs>'

    def declared(self, xml):
        return f'<?xml version="1.0" encoding="{self.encoding}"?>{xml}'

    def write(self, path):
        body = self.blocks(0, 12)
        texts = len(self.tokens)
        self.stored = self.declared(self.outputs())
        self.tokens, self.results = self.tokens[:texts], self.tokens[texts:]
        self.title = self.random.choice([f"title {path.stem}", f"title {path.stem}", " \u200b ", ""])
        core = made.core(made.title(self.title), *(f"<{n}>{path.stem} {n[3:]}</{n}>" for n in PROPERTIES))
        core["root"].append(("o", "output", "tarmic/output.xml"))
        core["parts"].update({"tarmic/output.xml": ("text/xml", self.stored.encode(self.encoding)),
                              "tarmic/numbering.xml": ("application/xml", NUMBERING.encode()),
                              "tarmic/styles.xml": ("application/xml", STYLES.encode()),
                              **{f"media/{i + 1}.svg": PICTURE for i in range(self.pictures)}})
        related = [(f"p{i + 1}", "image", f"/media/{i + 1}.svg") for i in range(self.pictures)]
        document = f'<w:document xmlns:w="{made.WORD}" {NAMESPACES}><w:body>{body}</w:body></w:document>'
        related += [("n", "x:y/numbering", "numbering.xml"),
                    ("s", "x:y/styles", "styles.xml"), ("link", "x:y", "http://a.example/", "External")]
        self.document = self.declared(document).encode(self.encoding)
        if self.encoding == "utf-8" and self.chance(0.2):
            self.damage()
        path.write_bytes(made.zipped(made.package(self.document, document_rels=made.relationships(*related), **core)))

    def damage(self):
        """Of damaged text all is shown that is left, wherever."""
        wrong = [b"&", b"<", b"</w:t>", b"</w:p>", b"\x01", b"\xff\xfe", b"&nosuch;", b"<w:t", b"]]>", b""]
        body = self.document.index(b"<w:body>") + 8
        for _ in range(self.random.randint(1, 3)):
            at = self.random.randint(body, len(self.document))
            rest = self.document[at + self.random.randint(0, 9):]
            self.document = self.document[:at] + self.random.choice(wrong) + rest
        self.document = self.document[:self.random.randint(body, 2 * len(self.document))]
        self.is_damaged = True
        self.tokens = re.findall(">(t[0-9]+q)", self.document.decode(errors="replace"))

    def check(self, html, code):
        page = Page(html).root
        main = page.find("main")[0]
        if self.is_damaged:
            lost = [each for each in self.tokens if each not in main.text()]
            assert not lost, f"damaged: {lost} are lost"
            return
        results = page.find("section", class_="results")[0]
        text = main.text(lambda e: e is results)
        self.in_order(self.tokens, text)
        assert "never" not in text, "both alternatives are shown"
        self.in_order(self.results, results.text(lambda e: e.tag == "details"))
        assert self.stored == results.find("details")[0].find("code")[0].text(), "the outputs are not as stored"
        for name in PROPERTIES:
            assert f" {name[3:]}</dd>" in html, name
        head = page.find("h1")[0].text()
        assert head == self.title if self.title.startswith("title") else head.endswith(".tqx"), head
        self.check_places(main)
        if self.encoding == "utf-8":
            shown = "".join(line for _, line in Page(html).code())
            assert shown == code, f"code: {shown!r}, not {code!r}"

    def in_order(self, tokens, text):
        at = 0
        for token in tokens:
            found = text.find(token, at)
            assert found >= 0, f"{token!r} is not where it belongs: {text[at:at + 80]!r}; in all {token in text}"
            at = found + len(token)

    def check_places(self, main):
        blocks = {tag: [(e, e.text()) for e in main.find(tag)] for tag in ("li", "h2", "h3", "h4", "h5", "h6")}
        for token, (depth, number) in self.levels.items():
            item = min((each for each in reversed(blocks["li"]) if token in each[1]), key=lambda each: len(each[1]))[0]
            cells = [e.tag for e in item.above()]
            inner = cells[:next((i for i, tag in enumerate(cells) if tag in ("td", "div", "main")), len(cells))]
            assert sum(tag in ("ul", "ol") for tag in inner) == depth, (token, inner)
            assert number_of(item) == number, (token, number_of(item), number)
            labels = [each.text() for each in item.children if getattr(each, "tag", "") == "span"]
            assert labels == ([self.labels[token]] if token in self.labels else []), (token, labels, self.labels)
        tags = {}
        for token, style in self.headings.items():
            tag = next(tag for tag in blocks for e, text in blocks[tag] if tag != "li" and text.startswith(token))
            assert tags.setdefault(style, tag) == tag, f"{style} is {tag} and {tags[style]}"


def number_of(item):
    """The number that a browser shows for an item; nothing for a bullet."""
    if item.parent.tag == "ul":
        return None
    number = int(item.parent.attributes["start"]) - 1
    for each in item.parent.children:
        number = int(each.attributes.get("value", number + 1))
        if each is item:
            return number


def main(command, count=150, seed=1):
    failures = 0
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        (folder / "in").mkdir()
        books = {}
        for i in range(seed, seed + count):
            books[f"b{i}"] = Book(i)
            books[f"b{i}"].write(folder / "in" / f"b{i}.tqx")
        subprocess.run([command, "html", "in", "-d", "out"], cwd=folder, check=False, stderr=subprocess.DEVNULL)
        told = subprocess.run([command, "cat", "in", "--json"], cwd=folder, check=False, capture_output=True).stdout
        codes = {Path(r["file"]).stem: r.get("code") for r in map(json.loads, told.decode().splitlines())}
        tidy = subprocess.run(["tidy", "-q", "-e", "-utf8", "--show-warnings", "no", *(folder / "out").iterdir()],
                              check=False, capture_output=True)
        if tidy.returncode > 1:
            failures += 1
            print(f"tidy: {tidy.stderr.decode()[:2000]}")
        for name, book in books.items():
            try:
                page = next((folder / "out").glob(f"{name}-*.html")).read_text()
                book.check(page, codes[name])
            except (AssertionError, StopIteration) as failure:
                failures += 1
                if failures <= 10:
                    print(f"{name} ({book.encoding}): {failure}")
    print(f"{count} flowbooks from seed {seed}: {failures} pages lack something")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(str(Path(sys.argv[1]).resolve()), *map(int, sys.argv[2:])))
