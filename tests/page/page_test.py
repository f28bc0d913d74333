#!/usr/bin/env python3
"""Tests of the subcommands that make pages. usage: page_test.py FLOWBOOK_COMMAND"""

import os
import re
import resource
import subprocess
import sys
import tempfile
import unittest
from itertools import count, islice
from pathlib import Path
from random import Random

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "support"))
import make_fixtures as made
from page_tree import Page

COMMAND = None
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/"
PICTURE = ("image/png", b"data:image/png;base64,AAAA")
FIXTURES = {
    "a/x": dict(document=made.rich(made.paragraph("one\ntwo"), made.paragraph("why &lt;b>", "text"),
                                   made.paragraph("three\n"), made.paragraph("end", "text")),
                **made.core(made.title("T\u202e &amp;lt;script>"))),
    "b/x": dict(parameters=";plaincode=true"),
    "b/X": dict(document=b"secret", parameters=";encryption=AES"),
    "index": dict(parts={"media/image1.png": PICTURE},
                  document_rels=made.relationships(("p", "image", "../media/image1.png"))),
    "\udcff": {},
    "faulty": dict(document=b"<cut", parts={"media/image1.png": ("image/png", b"data:image/png;base64,*")},
                   document_rels=made.relationships(("p", "image", "../media/image1.png"))),
}


class Pages(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        for name, arguments in FIXTURES.items():
            path = self.folder / "in" / f"{name}.tqx"
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(made.zipped(made.package(**arguments)))
        (self.folder / "in" / "damaged.tqx").write_bytes(b"<b>no zip")

    def html(self, *arguments, code=0, command="html", **environment):
        done = subprocess.run([COMMAND, command, *arguments], cwd=self.folder, capture_output=True, timeout=300,
                              check=False, env={**os.environ, **environment})
        self.assertEqual(done.returncode, code, (arguments, done.stderr))
        return done.stdout.decode(), done.stderr.decode()

    def pages(self):
        return {path.name: (path.stat().st_ino, path.read_text()) for path in (self.folder / "out").iterdir()}

    def test_one_page(self):
        page = self.html("in/a/x.tqx")[0]
        self.assertIn("<title>T\\u202e &amp;lt;script&gt;</title>", page)
        self.assertIn('<h1 dir="auto">T<span class="unseen" data-character="U+202E">\u202e</span> &amp;lt;', page)
        self.assertEqual(Page(page).code(), [("L1", "one\n"), ("L2", "two\n"), ("L3", "three\n")])
        self.assertRegex(page, r"(?s)two\n.*<p dir=.auto.>why &lt;b&gt;</p>.*three")
        self.html("in/a/x.tqx", "-o", "page.html")
        self.assertEqual((self.folder / "page.html").read_text(), page)
        self.assertIn("exists already", self.html("in/b/x.tqx", "-o", "page.html", code=3)[1])
        self.html("in/b/x.tqx", "-o", "page.html", "--force")
        self.html("in", code=2)
        self.assertIn("6 bytes, SHA-256 <code>2bb80d53", self.html("in/b/X.tqx")[0])

    def test_what_is_missing_and_what_is_stored(self):
        self.change("out.tqx", root=[made.TO_DOCUMENT, ("o", "output", "o.xml"), ("p", "output", "p.txt")],
                    parts={"o.xml": ("text/xml", b"<o>seen</o>"), "p.txt": ("text/plain", b"as it is")})
        page = self.html("out.tqx")[0]
        self.assertRegex(page, '(?s)<p class="result".*>seen</p>.*<details><summary.*/o.xml.*<details open.*/p.txt')
        self.assertIn(">as it is</code>", page)
        body = '<w:p><w:r><w:drawing><a:blip xmlns:a="urn:a" r:embed="r9" xmlns:r="%s"/></w:drawing></w:r></w:p>%s'
        self.change("out.tqx", document=made.rich(body % (OFFICE + "relationships",
                                                          made.paragraph("Below it", "Caption"))))
        page = self.html("out.tqx", code=4)[0]
        self.assertRegex(page, "(?s)a picture is missing: relationship r9.*<p>Below it</p>")

    def test_what_a_small_file_can_make_large(self):
        lines = made.rich(made.paragraph("\n" * 300000))
        (self.folder / "bomb.tqx").write_bytes(made.zipped(made.package(lines)))
        page = self.html("bomb.tqx")[0]
        self.assertEqual(page.count('<span id="L'), 200000)
        self.assertIn("100,000 lines of code after line 200,000 left out.", page)

        label = '<w:abstractNum w:abstractNumId="0"><w:lvl w:ilvl="0"><w:lvlText w:val="%s"/></w:lvl></w:abstractNum>'
        item = '<w:p><w:pPr><w:numPr><w:ilvl w:val="%s"/><w:numId w:val="1"/></w:numPr></w:pPr></w:p>'
        num = '<w:num w:numId="1"><w:abstractNumId w:val="0"/></w:num>'
        page = self.rich_page(item % 0 * 200, numbering=label % ("%1" * 100000) + num)
        self.assertLess(len(page), 100000)
        page = self.rich_page(item % 999999, numbering=(label % "%9").replace('ilvl="0"', 'ilvl="999999"') + num)
        self.assertEqual(page.count("<li"), 9)

        # A line of a page of changes takes memory for itself, not for all the code that it was cut from.
        for name, letter in (("one.tqx", "x"), ("two.tqx", "y")):
            self.change(name, document=made.rich(made.paragraph(f"{letter * 60}\n" * 6000)))
        self.html("--html", "one.tqx", "two.tqx", command="diff", code=1)
        self.assertLess(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, 1 << 20, "kilobytes")

        # Of alternatives in alternatives, each is looked at once.
        nested = "<c:AlternateContent><c:Choice>" * 200 + "<w:t>deep</w:t>" + "</c:Choice></c:AlternateContent>" * 200
        nested = made.rich(f"<w:p><w:r>{nested}</w:r></w:p>", attributes=' xmlns:c="urn:c"')
        self.change("nested.tqx", document=nested)
        self.assertIn("deep", self.html("nested.tqx")[0])

    def test_what_is_left_of_a_file(self):
        book = made.zipped(made.package(made.rich(made.paragraph("kept", "text"), *(
            made.paragraph(f"x{i} = {i * 7919 % 1000};") for i in range(99))), **made.core(made.title("Saved"))))
        code = book.index(b"PK", book.index(b"document.xml"))
        flipped = book[:code - 200] + b"\xff\xff\xff" + book[code - 197:]
        for damaged, lines in ((flipped, range(20, 99)), (book[:-30], range(99, 100)), (book[:40], None)):
            (self.folder / "cut.tqx").write_bytes(damaged)
            page, told = self.html("cut.tqx", code=4)
            self.assertIn("cut.tqx: ", told)
            self.assertIn("<strong>", page)
            if lines is None:
                self.assertIn("This file cannot be shown", page)
                continue
            self.assertIn("Saved</h1>", page)
            self.assertIn("can save of the file", page)
            self.assertIn(">kept</p>", page)
            shown = [line for _, line in Page(page).code() if line.endswith(";\n")]
            self.assertIn(len(shown), lines)
            self.assertEqual(shown, [f"x{i} = {i * 7919 % 1000};\n" for i in range(len(shown))])

    def test_numbers(self):
        level = ('<w:lvl w:ilvl="%s"><w:start w:val="1"/><w:numFmt w:val="decimal"/>%s<w:lvlText w:val="%s"/></w:lvl>')
        kinds = {0: level % (0, '<w:pStyle w:val="H"/>', "%1") + level % (1, "", "%1.%2"), 1: level % (0, "", "%1.")}
        lists = "".join(f'<w:abstractNum w:abstractNumId="{i}">{xml}</w:abstractNum>' for i, xml in kinds.items())
        lists += '<w:abstractNum w:abstractNumId="7"><w:numStyleLink w:val="L"/></w:abstractNum>' + "".join(
            f'<w:num w:numId="{i}"><w:abstractNumId w:val="{kind}"/>{change}</w:num>' for i, kind, change in (
                (1, 0, ""), (2, 1, ""), (4, 7, ""),
                (3, 1, '<w:lvlOverride w:ilvl="0"><w:startOverride w:val="7"/></w:lvlOverride>')))
        in_list = '<w:pPr><w:numPr><w:numId w:val="%s"/></w:numPr></w:pPr></w:style>'
        styles = ('<w:style w:styleId="H"><w:name w:val="heading 1"/>' + in_list % 1
                  + '<w:style w:styleId="L">' + in_list % 2)

        def item(text, list_id, level=0, style=""):
            return (f'<w:p><w:pPr><w:pStyle w:val="{style}"/><w:numPr><w:ilvl w:val="{level}"/><w:numId '
                    f'w:val="{list_id}"/></w:numPr></w:pPr><w:r><w:t>{text}</w:t></w:r></w:p>')

        merged = ('<w:tr><w:tc><w:tcPr><w:vMerge w:val="restart"/></w:tcPr>%s</w:tc></w:tr>' % item("cell", 2)
                  + '<w:tr><w:tc><w:tcPr><w:vMerge/></w:tcPr>%s</w:tc></w:tr>' % item("", 2))
        blocks = [made.paragraph("Same", "H"), item("below", 1, 1), made.paragraph("Same", "H"), item("one", 2),
                  item("linked", 4), item("anew", 3), item("x = 1", 2, 0, "code"), item("after", 2),
                  f"<w:tbl>{merged}</w:tbl>", item("last", 2)]
        parts = {f"tarmic/{name}.xml": ("application/xml",
                                        f'<w:{name} xmlns:w="{made.WORD}">{xml}</w:{name}>'.encode())
                 for name, xml in {"numbering": lists, "styles": styles}.items()}
        self.change("numbers.tqx", document=made.rich(*blocks), parts=parts, document_rels=made.relationships(
            *((name, f"x:y/{name}", f"{name}.xml") for name in ("numbering", "styles"))))
        tree = Page(self.html("numbers.tqx")[0]).root
        self.assertEqual([(h.attributes["id"], h.text()) for h in tree.find("main")[0].find("h2")],
                         [("section-same", "1 Same"), ("section-same-2", "2 Same")])
        self.assertEqual([li.text() for li in tree.find("main")[0].find("li", class_="labelled")], ["1.1below"])
        numbers = {li.text(): li.attributes.get("value") or li.parent.attributes["start"]
                   for li in tree.find("main")[0].find("li") if li.parent.tag == "ol"}
        self.assertEqual({text: numbers[text] for text in ("anew", "after", "cell", "last")},
                         {"anew": "7", "after": "4", "cell": "5", "last": "6"})
        markdown = self.html("numbers.tqx", "--format=md", command="cat")[0]
        for line in ("# 1 Same\n", "1. one\n2. linked\n", "\n7) anew\n", "\n4. after\n", "| 5. cell |", "\n6. last\n"):
            self.assertIn(line, markdown)

    def rich_page(self, body, **parts):
        """What is in `main`, of a document with parts beside it, such as `styles`."""
        kept = {f"tarmic/{name}.xml": ("application/xml", f'<w:{name} xmlns:w="{made.WORD}">{xml}</w:{name}>'.encode())
                for name, xml in parts.items()}
        self.change("rich.tqx", document=made.rich(body), parts=kept, document_rels=made.relationships(
            *((name, f"x:y/{name}", f"{name}.xml") for name in parts), ("web", "x:y", "http://a.example/", "External")))
        self.whole = self.html("rich.tqx")[0]
        return self.whole[self.whole.index('<main id="text">') + 16:self.whole.index("</main>")]

    def test_looks(self):
        def style(kind, name, base, look):
            return (f'<w:style w:type="{kind}" w:styleId="{name}"><w:basedOn w:val="{base}"/><w:rPr>{look}</w:rPr>'
                    "</w:style>")

        styles = ('<w:docDefaults><w:rPrDefault><w:rPr><w:lang w:val="fr-FR"/></w:rPr></w:rPrDefault></w:docDefaults>'
                  '<w:style w:type="paragraph" w:default="1" w:styleId="N"><w:rPr><w:u/></w:rPr></w:style>'
                  + style("paragraph", "A", "B", "<w:i/>") + style("paragraph", "B", "A", "<w:b/>")
                  + style("character", "C", "D", "<w:i/>")
                  + style("character", "D", "", '<w:vertAlign w:val="superscript"/>'))
        for name, run, shown in (
                ("", "", "<u>%s</u>"), ("A", "", "<strong><em>%s</em></strong>"), ("nosuch", "", "%s"),
                ("A", '<w:rStyle w:val="C"/>', "<strong><sup>%s</sup></strong>"),
                ("A", '<w:rStyle w:val="C"/><w:i/><w:b w:val="0"/>', "<em><sup>%s</sup></em>"),
                ("nosuch", '<w:rStyle w:val="Strong"/>', "<strong>%s</strong>")):
            named = f'<w:pPr><w:pStyle w:val="{name}"/></w:pPr>' if name else ""
            body = f"<w:p>{named}<w:r><w:rPr>{run}</w:rPr><w:t>text</w:t></w:r></w:p>"
            self.assertEqual(self.rich_page(body, styles=styles), f'<p dir="auto">{shown % "text"}</p>')
            self.assertIn('<html lang="fr-FR">', self.whole)

    def test_links_and_places(self):
        def field(code):
            return "".join(f"<w:r>{each}</w:r>" for each in (
                '<w:fldChar w:fldCharType="begin"/>', f"<w:instrText>{code}</w:instrText>",
                '<w:fldChar w:fldCharType="separate"/>', "<w:t>text</w:t>", '<w:fldChar w:fldCharType="end"/>'))

        run = "<w:r><w:t>text</w:t></w:r>"
        for link, target in ((f'<w:hyperlink w:anchor="a &#xE9;">{run}</w:hyperlink>', "#bookmark-a:20:C3:A9"),
                             (f'<w:hyperlink w:anchor="in code">{run}</w:hyperlink>', "#bookmark-in:20code"),
                             (f'<w:hyperlink w:anchor="merged">{run}</w:hyperlink>', "#bookmark-merged"),
                             (f'<w:hyperlink w:anchor="nosuch">{run}</w:hyperlink>', None),
                             (f'<w:hyperlink r:id="web" w:anchor="b">{run}</w:hyperlink>', "http://a.example/#b"),
                             (field(r" REF merged \h "), "#bookmark-merged"), (field("DATE"), None),
                             (field(r'HYPERLINK \o "a tip" \l "in code"'), "#bookmark-in:20code"),
                             (field('hyperlink "https://b.example/"'), "https://b.example/"),
                             (field('HYPERLINK "javascript:alert(1)"'), None),
                             (f'<w:fldSimple w:instr="PAGEREF merged">{run}</w:fldSimple>', "#bookmark-merged")):
            link = link.replace("r:id", f'xmlns:r="{OFFICE}relationships" r:id')
            page = self.rich_page(
                f'<w:p>{link}<w:r><w:t>behind</w:t></w:r></w:p><w:bookmarkStart w:name="a &#xE9;"/><w:p><w:pPr>'
                '<w:pStyle w:val="code"/></w:pPr><w:bookmarkStart w:name="in code"/><w:r><w:t>x</w:t></w:r></w:p>'
                "<w:tbl>" + "".join(
                    f"<w:tr><w:tc><w:tcPr><w:vMerge{more}</w:tcPr><w:p>{inside}</w:p></w:tc></w:tr>"
                    for more, inside in ((' w:val="restart"/>', ""), ("/>", '<w:bookmarkStart w:name="merged"/>')))
                + "</w:tbl>")
            tree = Page(page).root
            links = [(a.attributes["href"], a.text()) for a in tree.find("a") if a.attributes["href"] != "#L1"]
            self.assertEqual(links, [(target, "text")] if target else [])
            self.assertEqual([e.attributes["id"] for e in tree.find() if e.attributes.get("id", "").startswith("book")],
                             ["bookmark-a:20:C3:A9", "bookmark-in:20code", "bookmark-merged"])
        box = "<w:pict><w:txbxContent><w:p><w:r><w:t>box</w:t></w:r></w:p></w:txbxContent></w:pict>"
        for style, shown in (("Heading1", "a[box, below]bbox"), ("code", "1a[box, below]b\nbox"), ("text", "aboxb")):
            self.assertEqual(Page(self.rich_page(
                f'<w:p><w:pPr><w:pStyle w:val="{style}"/></w:pPr><w:r><w:t>a</w:t>{box}<w:t>b</w:t></w:r></w:p>')
            ).root.text(lambda e: e.text().startswith("Text set off")), shown)

    def test_notes(self):
        def text(words, *more):
            return f"<w:p><w:r><w:t>{words}</w:t></w:r>{''.join(more)}</w:p>"

        body = text("a", '<w:r><w:footnoteReference w:id="2"/></w:r>', '<w:r><w:commentReference w:id="0"/></w:r>') \
            + text("b", '<w:r><w:footnoteReference w:id="2"/><w:endnoteReference w:id="9"/></w:r>') + (
                f'<w:p><w:pPr><w:sectPr><w:headerReference xmlns:r="{OFFICE}relationships" r:id="header"/></w:sectPr>'
                "</w:pPr></w:p>")
        notes = {"footnotes": '<w:footnote w:id="0"><w:p><w:r><w:separator/></w:r></w:p></w:footnote><w:footnote '
                              f'w:id="2">{text("foot")}</w:footnote><w:footnote w:id="3">{text("lone")}</w:footnote>',
                 "comments": f'<w:comment w:id="0" w:author="Ann">{text("why")}</w:comment>', "header": text("above")}
        page = Page(self.rich_page(body, **notes)).root
        links = [(a.attributes["href"], a.attributes.get("id"), a.text()) for a in page.find("a")]
        self.assertEqual(links, [
            ("#note-footnote:202", "to-note-footnote:202", "[footnote 2]"),
            ("#note-comment:200", "to-note-comment:200", "[comment 0]"), ("#note-footnote:202", None, "[footnote 2]"),
            ("#note-page:20header:20header", "to-note-page:20header:20header", "[page header header]"),
            *((f"#to-note-{note}", None, "Back to the text")
              for note in ("footnote:202", "comment:200", "page:20header:20header"))])
        self.assertEqual(page.find("section")[0].text(),
                         "Notesfootnote 2 Back to the textfootfootnote 3lonecomment 0, Ann Back to the textwhy"
                         "page header header Back to the textabove")
        self.assertIn("[endnote 9, not shown]", page.text())

    def test_folder_of_pages(self):
        told = self.html("in", "-d", "out", code=4)[1]
        self.assertRegex(told, "(?s)in/damaged.tqx: .*in/faulty.tqx: .*in/faulty.tqx: .*2 of 7 files failed")
        pages = self.pages()
        self.assertEqual(len({name.lower() for name in pages}), 8)
        index = pages["index.html"][1]
        links = [(a.attributes["href"], a.text()) for td in Page(index).root.find("td") for a in td.find("a")]
        self.assertEqual({name for name, _ in links} | {"index.html"}, set(pages))
        self.assertEqual([text for _, text in links],
                         ["in/damaged.tqx", "in/faulty.tqx", "in/index.tqx", "in/\ufffd.tqx", "T\u202e &lt;script>",
                          "in/b/X.tqx", "in/b/x.tqx"])
        self.assertEqual(index.count("data:image/png;base64,AAAA"), 1)
        self.assertNotIn(">0<", index)
        page_of = dict(map(reversed, links))
        self.assertIn("This file cannot be shown", pages[page_of["in/damaged.tqx"]][1])
        self.assertEqual(pages[page_of["in/faulty.tqx"]][1].count("<strong>Damaged"), 2)
        self.assertRegex(pages[page_of["in/b/X.tqx"]][1], 'rel="prev">Previous.*href="%s" rel="next"'
                         % page_of["in/b/x.tqx"])
        for spelled in ("./in/", str(self.folder / "in"), "in/../in"):
            self.html(spelled, "in/b/x.tqx", "-d", "./out/", "-j", "3", code=4)
            self.assertEqual(self.pages(), pages)
        subprocess.run([COMMAND, "set", "in/b/x.tqx", "--title", "New"], cwd=self.folder, check=True)
        self.html("in", "-d", "out", code=4)
        self.assertEqual(len(set(self.pages().values()) - set(pages.values())), 2)

    def test_pages_that_are_there(self):
        self.html("in/a", "in/b", "-d", "out")
        pages = self.pages()
        (self.folder / "in/empty").mkdir()
        for wrong in (["nosuch"], ["in/empty"], ["nosuch.tqx", "in/empty"]):
            self.html(*wrong, "-d", "out", code=3)
            self.html(*wrong, "-d", "never", code=3)
            self.assertEqual(self.pages(), pages)
        self.assertFalse((self.folder / "never").exists())
        self.html("in/a", "-d", "out")
        self.assertEqual(self.pages(), pages)
        # A page that somebody changed, and a flowbook that is gone.
        x = next(name for name in pages if name.startswith("x-") and "three" in pages[name][1])
        page = self.folder / "out" / x
        page.write_text(page.read_text().replace("three", "four"))
        self.assertIn("was changed since", self.html("in", "-d", "out", code=4)[1])
        self.assertIn("four", page.read_text())
        self.assertIn("stays as it is", self.html("in/b", "-d", "out")[1])
        (self.folder / "in/a/x.tqx").unlink()
        self.assertIn(f"out/{x}: its flowbook is gone", self.html("in/b", "-d", "out")[1])
        self.assertNotIn(x, self.pages()["index.html"][1])
        self.assertIn("--force removes it too", self.html("in/b", "-d", "out", "--prune")[1])
        self.html("in/b", "-d", "out", "--prune", "--force")
        self.assertFalse(page.exists())
        (self.folder / "out/index.html").write_text("mine")
        self.assertIn("not made by this command", self.html("in/b", "-d", "out", code=3)[1])
        self.assertEqual((self.folder / "out/index.html").read_text(), "mine")
        self.html("in/b", "-d", "out", "--force")
        self.assertIn("Flowbooks", self.pages()["index.html"][1])

    def test_files_that_cannot_be_read_and_what_was_killed(self):
        other = "setpriv --reuid 65534 --regid 65534 --clear-groups " if os.geteuid() == 0 else ""
        self.folder.chmod(0o777)
        shut = self.folder / "in/b/x.tqx"
        shut.chmod(0)
        done = subprocess.run(f"{other}{COMMAND} html in/a in/b -d out", shell=True, cwd=self.folder, check=False,
                              capture_output=True)
        self.assertEqual((done.returncode, b"in/b/x.tqx" in done.stderr), (3, True), done.stderr)
        shut.chmod(0o644)
        pages = self.pages()
        links = {a.attributes["href"] for _, page in pages.values() for a in Page(page).root.find("a")}
        self.assertEqual({link for link in links if link.endswith(".html")}, set(pages))
        # A run that is killed leaves what it wrote; later ones remove it when it is old.
        leftovers = [self.folder / "out" / name for name in (".flowbook-1", ".flowbook-2", ".flowbook-2x")]
        for each in leftovers:
            each.write_text("left")
            os.utime(each, (0, 0))
        os.utime(leftovers[0])
        self.html("in/a", "-d", "out")
        self.assertEqual([each.exists() for each in leftovers], [True, False, True])

    def test_names_and_runs_at_once(self):
        self.html("in/a", "-d", "out")
        (name,) = (each for each in self.pages() if each != "index.html")
        (self.folder / "deep").mkdir()
        self.html("in/a", "-d", "deep/out")
        self.assertTrue((self.folder / "deep/out" / name).exists())
        # Moved together, flowbooks keep their pages; one that comes to an old place gets another.
        (self.folder / "moved").mkdir()
        for each in ("in", "out"):
            (self.folder / each).rename(self.folder / "moved" / each)
        (self.folder / "in/a").mkdir(parents=True)
        (self.folder / "in/a/x.tqx").write_bytes((self.folder / "moved/in/a/x.tqx").read_bytes())
        self.html("moved/in/a", "in/a", "-d", "moved/out")
        made_now = {path.name for path in (self.folder / "moved/out").iterdir()}
        self.assertTrue({name, "index.html"} < made_now and len(made_now) == 3, made_now)
        for i in range(40):
            for side in "lr":
                path = self.folder / side / f"{i}.tqx"
                path.parent.mkdir(exist_ok=True)
                path.write_bytes(made.zipped(made.package()))
        runs = [subprocess.Popen([COMMAND, "html", side, "-d", "both"], cwd=self.folder) for side in "lr"]
        self.assertEqual([run.wait(60) for run in runs], [0, 0])
        rows = Page((self.folder / "both/index.html").read_text()).root.find("td", class_="title")
        self.assertEqual(len(rows), 80)

    def git(self, *arguments):
        subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=b@c", *arguments], cwd=self.folder, check=True,
                       capture_output=True)

    def change(self, name, **arguments):
        (self.folder / name).write_bytes(made.zipped(made.package(**arguments)))

    def test_changes(self):
        self.change("old.tqx", document=made.rich(made.paragraph("a = 1;\nb = 2;\nc"), made.paragraph("Gone", "text")),
                    **made.core(made.title("Old &lt;b>")))
        self.change("new.tqx", document=made.rich(made.paragraph("a = 1;\nb = 20;\nc")),
                    document_rels=made.relationships(("p", "image", "../m.png")), parts={"m.png": PICTURE})
        page = self.html("--html", "old.tqx", "new.tqx", command="diff", code=1)[0]
        tree = Page(page).root
        self.assertEqual([e.text() for e in tree.find("mark")], ["2", "20"])
        self.assertEqual([e.text() for e in tree.find("del")], ["Old <b>", "b = 2;", "Gone"])
        self.assertEqual(page.count("a = 1;"), 2)
        self.assertIn("There is none.", page)
        self.assertIn("3 bytes, SHA-256 709e80c8", page)
        self.assertIn("The contents are the same.", self.html("--html", "old.tqx", "old.tqx", command="diff")[0])
        # What is outside of paragraphs, or a formula in one, and what is no text.
        body = ('<w:p><w:oMath><w:r><w:t>%s</w:t></w:r></w:oMath></w:p>'
                '<w:tbl><w:tblPr><w:tblW w:w="%s"/></w:tblPr></w:tbl>')
        for name, words in (("one.tqx", ("q", 1)), ("two.tqx", ("p", 1)), ("three.tqx", ("p", 2))):
            self.change(name, document=made.rich(body % words))
        page = self.html("--html", "one.tqx", "two.tqx", command="diff", code=1)[0]
        self.assertEqual([e.text() for e in Page(page).root.find("mark")], ["q", "p"])
        self.assertIn("The markup around paragraphs changed",
                      self.html("--html", "two.tqx", "three.tqx", command="diff", code=1)[0])
        table = '<w:tbl><w:tblPr><w:tblCaption w:val="%s"/></w:tblPr></w:tbl>%s'
        for name, words in (("one.tqx", ("Old words", "<w:r><w:t>loose</w:t></w:r>")), ("two.tqx", ("New words", ""))):
            self.change(name, document=made.rich(table % words))
        page = self.html("--html", "one.tqx", "two.tqx", command="diff", code=1)[0]
        self.assertEqual([e.text() for e in Page(page).root.find("mark")], ["Old", "New"])
        self.assertIn("<del>loose</del>", page)
        self.change("new.tqx", document=made.rich(made.paragraph("a = 1;\nb = 20;\nc")))
        (self.folder / "cut.tqx").write_bytes((self.folder / "new.tqx").read_bytes()[:-40])
        page = self.html("--html", "old.tqx", "cut.tqx", command="diff", code=1)[0]
        self.assertIn("can save of the file", page)
        self.assertEqual([e.text() for e in Page(page).root.find("mark")], ["2", "20"])
        self.html("--html", "/dev/null", "new.tqx", "-o", "c.html", command="diff", code=1)
        self.html("--html", "old.tqx", "nosuch.tqx", command="diff", code=3)
        self.html("--git", "HEAD", "-d", "changes", command="diff", code=2)

    def changed_words(self, before, after):
        """The words that the page of two versions shows as removed, and as added: the marked ones, or else the row."""
        for name, arguments in (("one.tqx", before), ("two.tqx", after)):
            self.change(name, **arguments)
        rows = Page(self.html("--html", "one.tqx", "two.tqx", command="diff", code=int(before != after))[0]).root
        rows = rows.find("main")[0]
        return tuple([mark.text() for row in rows.find(kind) for mark in row.find("mark") or [row]]
                     for kind in ("del", "ins"))

    def test_changed_words(self):
        def note(words):
            notes = f'<w:footnotes xmlns:w="{made.WORD}"><w:footnote w:id="2">{words}</w:footnote></w:footnotes>'
            return dict(document=made.rich('<w:p><w:r><w:footnoteReference w:id="2"/></w:r></w:p>'),
                        parts={"tarmic/footnotes.xml": ("application/octet-stream", notes.encode())},
                        document_rels=made.relationships(("n", "x:y/footnotes", "footnotes.xml")))

        for before, after, shown in (
                ("a b c d;", "more;\na b 3 d;", (["c"], ["more;", "3"])),
                ("gone;\na b c d;\nx y z w;", "x y z 4;\nq;", (["gone;", "a b c d;", "w"], ["4", "q;"])),
                ("\u4e2d\u6587\u6539\u53d8", "\u4e2d\u6587\u6539\u52d5", (["\u53d8"], ["\u52d5"])),
                ("\u00e9t\u00e9 froid", "\u00e9t\u00e8 froid", (["\u00e9t\u00e9"], ["\u00e9t\u00e8"]))):
            documents = [dict(document=made.rich(made.paragraph(text))) for text in (before, after)]
            self.assertEqual(self.changed_words(*documents), shown)
        notes = [note(made.paragraph(f"see {word} there", "text")) for word in ("old", "new")]
        self.assertEqual(self.changed_words(*notes), (["old"], ["new"]))

    def test_random_changes(self):
        for seed in range(40):
            random = Random(seed)
            words = (f"w{i}" for i in count())
            before, after, gone, new = [], [], [], []
            for _ in range(random.randint(2, 30)):
                line = list(islice(words, random.randint(4, 9)))
                before.append((" ".join(line), random.choice(["code", "text"])))
                change = random.choice(["same", "same", "remove", "add", "replace"])
                added = " ".join(islice(words, 4)) if change == "add" else None
                after += [(added, "text")] if added else []
                new += [added] if added else []
                if change == "remove":
                    gone.append(before[-1][0])
                    continue
                if change == "replace":
                    at = random.randrange(len(line))
                    gone.append(line[at])
                    line[at] = next(words)
                    new.append(line[at])
                after.append((" ".join(line), before[-1][1]))
            documents = [dict(document=made.rich(*(made.paragraph(*line) for line in lines)))
                         for lines in (before, after)]
            shown = self.changed_words(*documents)
            self.assertEqual([sorted(each) for each in shown], [sorted(gone), sorted(new)], seed)

    def test_changes_that_are_no_text(self):
        def write(name, inside, target="http://a.example/", link="l", picture="p.png", style="text"):
            parts = {picture: PICTURE}
            run = f'<w:hyperlink r:id="{link}"><w:r>{inside}<w:t>x</w:t></w:r></w:hyperlink>'
            self.change(name, document=made.rich(f'<w:p><w:pPr><w:pStyle w:val="{style}"/></w:pPr>{run}</w:p>',
                                                 attributes=f' xmlns:r="{OFFICE}relationships"'),
                        document_rels=made.relationships((link, "x:y", target, "External"),
                                                         ("p", "image", f"../{picture}")), parts=parts)

        for told, row, change in (("looks different", True, {"inside": "<w:rPr><w:b/></w:rPr>"}),
                                  ("looks different", True, {"target": "http://b.example/"}),
                                  ("", True, {"style": "y"}),
                                  ("Renamed, before /p.png", False, {"picture": "q.png"}),
                                  ("of 1 line changed too", False, {"inside": "<w:rPr><w:sz/></w:rPr>"}),
                                  ("is the same. They differ in", False, {"link": "other"})):
            write("one.tqx", "")
            write("two.tqx", **{"inside": "", **change})
            tree = Page(self.html("--html", "one.tqx", "two.tqx", command="diff", code=1)[0]).root.find("main")[0]
            self.assertIn(told, tree.text())
            self.assertEqual([e.text() for e in tree.find("del") + tree.find("ins")], ["x", "x"] if row else [], change)

        # A box need not hold paragraphs.
        for inside in ("", "<w:r><w:t>x</w:t></w:r>"):
            box = f"<w:p><w:r><w:pict><w:txbxContent>{inside}</w:txbxContent></w:pict></w:r></w:p>"
            self.change("two.tqx", document=made.rich(box))
            self.html("--html", "one.tqx", "two.tqx", command="diff", code=1)

    def test_changes_in_git(self):
        self.git("init", "-q", "-b", "master")
        self.git("add", "in/a", "in/b")
        self.git("commit", "-qm", "one")
        self.change("in/b/x.tqx", document=made.rich(made.paragraph("changed")))
        self.git("mv", "in/a/x.tqx", "in/a/moved.tqx")
        self.change("in/new.tqx")
        self.git("add", "in/new.tqx")
        for name in ("HEAD", "HEAD~1..HEAD", "HEAD~1"):
            self.html("--html", "--git", name, "-d", "out", command="diff")
            index = Page(self.pages()["index.html"][1]).root
            rows = [tuple(td.text() for td in tr.find("td")) for tr in index.find("tr")]
            self.assertEqual(rows[1:], [("in/a/moved.tqx", "renamed", "0", "0"), ("in/b/x.tqx", "changed", "2", "1"),
                                        ("in/new.tqx", "added", "0", "2")])
            pages = self.pages()
            self.html("--html", "--git", name, "-d", "out", command="diff")
            self.assertEqual(self.pages(), pages)
            if name == "HEAD":
                self.git("commit", "-qam", "two")
        # Pages of changes that are no longer told, and one that is no page of changes.
        self.html("in/b/x.tqx", "-o", "out/kept.html")
        told = self.html("--html", "--git", "HEAD~1", "in/b", "-d", "out", command="diff")[1]
        self.assertRegex(told, "(?s)out/moved-.*did not change; --prune.*out/new-")
        self.assertEqual(len(self.pages()), 5)
        self.html("--html", "--git", "HEAD~1", "in/b", "-d", "out", "--prune", command="diff")
        self.assertRegex(" ".join(sorted(self.pages())), "^index.html kept.html x-[0-9a-f]+.html$")
        self.html("--html", "--git", "HEAD~1", "in/b", "-d", "b", command="diff")
        self.assertEqual(len(list((self.folder / "b").iterdir())), 2)
        # An index of the other kind stays.
        self.html("in/b", "-d", "c")
        for folder, command, *arguments in (("b", "html", "in/b"), ("c", "diff", "--html", "--git", "HEAD~1")):
            names = set((self.folder / folder).iterdir())
            told = self.html(*arguments, "-d", folder, command=command, code=3)[1]
            self.assertIn("index.html: is the index of pages of", told)
            self.assertEqual(set((self.folder / folder).iterdir()), names)
        self.html("--html", "--git", "HEAD~1", "-d", "c", "--force", command="diff")
        # From a subfolder, whatever is configured; a version that is damaged; links are no flowbooks; merges.
        self.git("config", "diff.relative", "true")
        self.change("in/b/x.tqx", document=made.rich(made.paragraph("again")))
        (self.folder / "in/new.tqx").write_bytes(b"damage")
        (self.folder / "in/link.tqx").symlink_to("b/x.tqx")
        self.git("add", "in/link.tqx")
        self.assertEqual(self.changed("HEAD", "../out"), [("in/b/x.tqx", "changed", "1", "1"),
                                                          ("in/new.tqx", "changed, damaged", "0", "0")])
        self.git("checkout", "-q", "--", "in/new.tqx")
        self.git("commit", "-qam", "three")
        self.git("checkout", "-qb", "side", "HEAD~1")
        self.change("in/new.tqx", document=made.rich(made.paragraph("side")))
        self.git("commit", "-qam", "side")
        self.git("merge", "-q", "--no-edit", "master")
        self.assertEqual([row[0] for row in self.changed("HEAD^!", "../out")], ["in/b/x.tqx"])
        self.html("--html", "--git", "nosuch", "-d", "b", command="diff", code=3)
        self.html("--html", "--git", "--output=x", "-d", "b", command="diff", code=2)

    def changed(self, revisions, folder):
        subprocess.run([COMMAND, "diff", "--html", "--git", revisions, "-d", folder], cwd=self.folder / "in",
                       check=True)
        rows = Page((self.folder / "in" / folder / "index.html").read_text()).root.find("tr")[1:]
        return [tuple(td.text() for td in tr.find("td")) for tr in rows]

    def test_show(self):
        opener = self.folder / "bin" / "xdg-open"
        opener.parent.mkdir()
        opener.write_text('#!/bin/sh\necho "$(stat -c %a "$1" "${1%/*}") $1"\n')
        opener.chmod(0o700)
        shown = self.html("in/a/x.tqx", command="show", TMPDIR=str(self.folder),
                          PATH=f"{opener.parent}:{os.environ['PATH']}")[0]
        page = Path(re.fullmatch(r"600\n700 (\S+)\n", shown).group(1))
        self.assertEqual(page.read_text(), self.html("in/a/x.tqx")[0])
        told = self.html("in/a/x.tqx", command="show", TMPDIR=str(self.folder), PATH="/nonexistent", code=3)[1]
        self.assertTrue(Path(re.search(r"the page is (\S+)", told).group(1)).exists())


if __name__ == "__main__":
    COMMAND = str(Path(sys.argv.pop(1)).resolve())
    unittest.main()
