"""Flowbook files made with nothing but the standard library, good ones and bad ones."""

import base64
import zipfile
from xml.sax.saxutils import escape

PACKAGE = "http://schemas.openxmlformats.org/package/2006"
MAKER = "http://schemas.pellarion.com/tarmic/code/2013/relationships/"
DOCUMENT = "application/vnd.pellarion.tarmic.code.document+xml"
DOCUMENT_RELATIONSHIP = ("rId1", MAKER + "document", "/tarmic/document.xml")
CORE_RELATIONSHIP = ("rId9", PACKAGE + "/relationships/metadata/core-properties", "/docProps/core.xml")
PICTURE = b"\x89PNG\r\n\x1a\n" + bytes(range(256))
DATA_URI = b"data:image/png;base64," + base64.b64encode(PICTURE)
SECRET = bytes(range(255, -1, -1))


def rich_code(*lines):
    paragraphs = "".join(
        f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r><w:t>{escape(line)}</w:t></w:r></w:p>' for line in lines)
    return ('<w:document xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main">'
            f"<w:body>{paragraphs}</w:body></w:document>")


def core_properties(elements):
    return (f'<cp:coreProperties xmlns:cp="{PACKAGE}/metadata/core-properties" '
            'xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/" '
            f'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">{elements}</cp:coreProperties>')


def relationships_part(relationships):
    rows = "".join(f'<Relationship Id="{r[0]}" Type="{r[1]}" Target="{escape(r[2])}"'
                   + (f' TargetMode="{r[3]}"/>' if len(r) > 3 else "/>") for r in relationships)
    return f'<Relationships xmlns="{PACKAGE}/relationships">{rows}</Relationships>'


def relationships_name(source):
    folder, _, name = source.rpartition("/")
    return f"{folder}/_rels/{name}.rels"


def write_package(path, parts, relationships):
    """parts: name -> (content type, content); relationships: source ("/" for the package) -> list of tuples."""
    overrides = "".join(f'<Override PartName="{name}" ContentType="{escape(kind, {chr(34): "&quot;"})}"/>'
                        for name, (kind, _) in parts.items())
    types = (f'<Types xmlns="{PACKAGE}/content-types"><Default Extension="rels" '
             f'ContentType="application/vnd.openxmlformats-package.relationships+xml"/>{overrides}</Types>')
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as package:
        package.writestr("[Content_Types].xml", types)
        for source, rows in relationships.items():
            package.writestr(relationships_name(source)[1:], relationships_part(rows))
        for name, (_, content) in parts.items():
            package.writestr(name[1:], content)


def write_flowbook(path, document_type=DOCUMENT, document="", parts=None, links=(), core="", package_links=()):
    """A flowbook with a document, whose relationships are `links`, more parts, and core properties."""
    relationships = {"/": [DOCUMENT_RELATIONSHIP, CORE_RELATIONSHIP, *package_links]}
    if links:
        relationships["/tarmic/document.xml"] = links
    write_package(path, {"/tarmic/document.xml": (document_type, document),
                         "/docProps/core.xml": ("application/vnd.openxmlformats-package.core-properties+xml",
                                                core_properties(core)), **(parts or {})}, relationships)


def write_all(folder):
    write_flowbook(folder / "plain.tqx", DOCUMENT + ';plaincode="true"', rich_code("a = 1;\nb = 2;"),
                   core="<dc:title>Running \"mean\"\tµ</dc:title><dc:description></dc:description>"
                        '<dcterms:created xsi:type="dcterms:W3CDTF">2024-05-01T09:30:00Z</dcterms:created>')
    write_flowbook(folder / "rich.tqx", document=rich_code("größe = 2;", "x < y"),
                   parts={"/media/image1.png": ("image/png", DATA_URI),
                          "/media/image1.svg+xml": ("image/svg+xml", b"data:image/svg+xml,%3Csvg/%3E"),
                          "/tarmic/output.xml": ("text/xml", "<o/>")},
                   links=[("rId1", MAKER + "image", "../media/image1.png"),
                          ("rId2", MAKER + "image", "/media/image1.svg+xml")],
                   package_links=[("rId2", MAKER + "output", "tarmic/output.xml")])
    write_flowbook(folder / "encrypted.tqx", DOCUMENT + ';encryption="AES"', SECRET)
    write_flowbook(folder / "empty.tqx", document=rich_code())
    write_flowbook(folder / "notxml.tqx", document="no XML")
    write_flowbook(folder / "badimage.tqx", document=rich_code("x"), parts={
        "/media/image1.png": ("image/png", b"data:image/png;base64,A*=="),
        "/media/image2.png": ("image/png", PICTURE)})
    write_package(folder / "nocode.tqx", {"/a.txt": ("text/plain", "")}, {"/": []})
    write_package(folder / "dangling.tqx", {"/a.txt": ("text/plain", "")}, {"/": [DOCUMENT_RELATIONSHIP]})
    write_package(folder / "tree.tqx", {"/a": ("text/a", "a"), "/b": ("text/b", "b"), "/alone": ("text/c", "c")},
                  {"/": [("r1", "http://types/first", "a"), ("r2", "http://types/web", "http://x/\u009b", "External"),
                         ("r3", "gone", "none#x")],
                   "/a": [("r1", "down", "b")], "/b": [("r1", "up", "/A")]})
    (folder / "damaged.tqx").write_bytes(b"This is no package.")
    whole = (folder / "plain.tqx").read_bytes()
    (folder / "torn.tqx").write_bytes(whole[:len(whole) // 2])
    (folder / "folder.tqx").mkdir()
    with zipfile.ZipFile(folder / "many.tqx", "w") as package:
        for number in range(16385):
            package.writestr(f"part{number}", b"")
