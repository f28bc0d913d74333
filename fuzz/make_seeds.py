"""Writes the inputs that fuzzing starts from, a folder for each target.

usage: make_seeds.py FOLDER
"""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "support"))
import make_fixtures as made

MAX_SIZE = 16 * 1024


def parts_of(entries):
    return b"\xff\xff".join(field for name, content in entries.items() for field in (name.encode(), content))


def packages():
    for group in (made.plain_packages(), made.graphs(), made.properties(), made.hostile("file:///canary")):
        for _, arguments in group:
            yield b"\1" + parts_of(made.package(**arguments))
    for _, content in made.containers():
        yield b"\0" + content


def rich_code():
    documents = [made.rich(made.paragraph(text)) for text in ("a\nb", "", "<![CDATA[x]]>&#13;&amp;", "a|lost")]
    documents.append(made.rich(made.paragraph("a"), made.paragraph("t", "text"), made.paragraph("b")))
    documents.append(made.rich(made.paragraph("&e8;"), prolog=made.LAUGHS))
    # What parsers disagree on: names, prefixes, declarations and what is said of them.
    oddities = ("<w:a:b/>", "<:a/>", "<a:/>", '<a xmlns=""/>', '<a xmlns:b=""/>', '<b xmlns:xml="urn:x"/>', "<?a:b c?>",
                '<a xml:space="x" b="&#x85;\t&lt;"/>', "<\u0132\u0e33/>", '<b:a xmlns:b="urn:b" b:c="" c=""/>',
                "&#xFFFE;", '<a xmlns:b="u" xmlns:c="u" b:d="" c:d=""/>', "<!----->", "<!--a--b-->", "]]>",
                "<a b='<'/>", "<xmlns:a/>")
    documents += [made.rich(made.paragraph(text)) for text in oddities]
    for declared in ('version="1.1"', 'version="1.0" standalone="yes"', 'version="1.0" encoding="x"',
                     'encoding="UTF-8"'):
        documents.append(b"<?xml " + declared.encode() + b"?>" + made.rich(made.paragraph("a"), prolog=""))
    for document in documents:
        yield document
        yield b"\xef\xbb\xbf" + document
        yield made.utf16(document)
        yield document.decode().encode("utf-16-le")
    yield '\0\x1f\x7f\x9f\u200b\ufffe\t\r\n\U0001f600'.encode("utf-16-le")


def names():
    texts = ["text/xml", 'a/b;c="d \\" e";f=g', "/tarmic/document.xml", "/a/%C3%A4.xml", "../b?q=1#f\n/a/c",
             "http://h:1/p/../q\nmailto:x", "//h/a\nb/c", "/./ä b[", "s:/.//x\nhttp://h", "..//x:y\na/b"]
    return [text.encode() for text in texts]


def texts():
    codes = ["x = 1\ny = 2\r\nz\r", "]]><&>\"'", "\0\x1f\u200b\ufffe", "\U0001f600ä", "\ud800"]
    for code in codes:
        for length in (0, 3):
            yield bytes([length]) + ("T \r" [:length] + code).encode("utf-16-le", "surrogatepass")


def main(folder):
    seeds = {"fuzz_package": packages(), "fuzz_rich_code": rich_code(), "fuzz_names": names(),
             "fuzz_write_read": texts()}
    for target, contents in seeds.items():
        (folder / target).mkdir(parents=True, exist_ok=True)
        for number, content in enumerate(contents):
            if len(content) <= MAX_SIZE:
                (folder / target / f"seed{number:03}").write_bytes(content)


if __name__ == "__main__":
    main(Path(sys.argv[1]))
