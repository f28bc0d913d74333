#!/usr/bin/env python3
"""Writes the packages that the tests read, all of them with programs other than this library.

usage: make_fixtures.py FOLDER
"""
import datetime
import io
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

from docx.opc.package import OpcPackage
from docx.opc.packuri import PackURI
from docx.opc.part import Part

FLOWBOOK = "http://schemas.pellarion.com/tarmic/code/2013/relationships/"
PACKAGE = "http://schemas.openxmlformats.org/package/2006/"
WORD = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
DOCUMENT_TYPE = "application/vnd.pellarion.tarmic.code.document+xml"
DOCUMENT = "tarmic/document.xml"
TO_DOCUMENT = ("rId1", "document", "/" + DOCUMENT)
CORE_TYPE = "application/vnd.openxmlformats-package.core-properties+xml"
ENTITIES = "".join(f'<!ENTITY e{i + 1} "{"&e%d;" % i * 20}">' for i in range(8))
LAUGHS = f'<!DOCTYPE x [<!ENTITY e0 "ha">{ENTITIES}]>'
EMPTY_DTD = "<!DOCTYPE x>"


def paragraph(text, style="code"):
    runs = "".join(f"<w:r><w:t>{run}</w:t></w:r>" for run in text.split("|"))
    return f'<w:p><w:pPr><w:pStyle w:val="{style}"/></w:pPr>{runs}</w:p>'


def rich(*paragraphs, prolog="", attributes=""):
    return (f'{prolog}<w:document xmlns:w="{WORD}"{attributes}><w:body>{"".join(paragraphs)}</w:body>'
            "</w:document>").encode()


def relationships(*items, prolog=""):
    """Each item: id, type (of this maker's when it has no colon), target, and perhaps the mode."""
    lines = (f'<Relationship Id="{i}" Type="{t if ":" in t else FLOWBOOK + t}" Target="{target}"'
             + "".join(f' TargetMode="{m}"' for m in mode) + "/>" for i, t, target, *mode in items)
    return f'{prolog}<Relationships xmlns="{PACKAGE}relationships">{"".join(lines)}</Relationships>'.encode()


def content_types(parts, prolog=""):
    overrides = "".join(f'<Override PartName="/{name}" ContentType="{kind}"/>' for name, kind in parts)
    rels = '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    return (f'{prolog}<Types xmlns="{PACKAGE}content-types">{rels}{overrides}</Types>').encode()


def package(document=rich(paragraph("a\nb")), parameters="", name=DOCUMENT, root=(TO_DOCUMENT,), parts=None, **entries):
    """The entries of a package: a document part, more `parts` (name: (content type, bytes)), and single
    `entries`, given by the keys below, that replace what would be there."""
    all_parts = {name: (DOCUMENT_TYPE + parameters, document), **(parts or {})}
    keys = {"types": "[Content_Types].xml", "rels": "_rels/.rels", "document_rels": "tarmic/_rels/document.xml.rels"}
    made = {keys["types"]: content_types((n, p[0]) for n, p in all_parts.items() if p[0]),
            keys["rels"]: relationships(*root)}
    made.update((keys[key], value) for key, value in entries.items())
    made.update((n, p[1]) for n, p in all_parts.items())
    return made


class Pipe(io.BytesIO):
    """Cannot seek, so that zipfile writes data descriptors."""

    def seek(self, *_):
        raise OSError


def zipped(entries, compression=zipfile.ZIP_DEFLATED, zip64=False, sink=io.BytesIO):
    out = sink()
    with zipfile.ZipFile(out, "w") as archive:
        for name, content in entries.items():
            info = zipfile.ZipInfo(name)
            info.compress_type = compression
            with archive.open(info, "w", force_zip64=zip64) as entry:
                entry.write(content)
    return out.getvalue()


def info_zipped(entries, *options):
    """What Info-ZIP makes of the entries as files; it adds entries for the folders."""
    with tempfile.TemporaryDirectory() as folder:
        zipfile.ZipFile(io.BytesIO(zipped(entries))).extractall(folder)
        subprocess.run(["zip", "-q", "-r", *options, "made.zip", "."], cwd=folder, check=True)
        return Path(folder, "made.zip").read_bytes()


def utf16(xml):
    return '<?xml version="1.0" encoding="UTF-16"?>'.encode("utf-16") + xml.decode().encode("utf-16-le")


def core(*children, prolog=""):
    """The arguments for a package with core properties."""
    xml = (f'{prolog}<cp:coreProperties xmlns:cp="{PACKAGE}metadata/core-properties" '
           'xmlns:dc="http://purl.org/dc/elements/1.1/" xmlns:dcterms="http://purl.org/dc/terms/" '
           f'xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">{"".join(children)}</cp:coreProperties>')
    to_core = ("c0", PACKAGE + "relationships/metadata/core-properties", "core.xml")
    return dict(root=[TO_DOCUMENT, to_core], parts={"core.xml": (CORE_TYPE, xml.encode())})


def title(value):
    return f"<dc:title>{value}</dc:title>"


def time(element, value):
    return f'<dcterms:{element} xsi:type="dcterms:W3CDTF">{value}</dcterms:{element}>'


def by_python_docx():
    made = OpcPackage()
    code = rich(paragraph("from docx"))
    document = Part(PackURI("/tarmic/document.xml"), DOCUMENT_TYPE + ";plaincode=true", code, made)
    made.relate_to(document, FLOWBOOK + "document")
    made.relate_to(Part(PackURI("/notes/readme.txt"), "text/plain", b"kept as it is", made), "http://example.com/notes")
    document.relate_to(Part(PackURI("/media/image1.png"), "image/png", b"\x89PNG", made), FLOWBOOK + "image")
    core = made.core_properties
    core.title, core.comments, core.version, core.category = "A title", "Some words", "1.2", "Demo"
    core.created = core.modified = datetime.datetime(2020, 5, 6, 7, 8, 9)
    out = io.BytesIO()
    made.save(out)
    return out.getvalue()


def plain_packages():
    """What is zipped in the ordinary way: the arguments of package(), by fixture."""
    yield "one_paragraph", dict(parameters=";plaincode=true")
    yield "encrypted", dict(document=b"\0\xff cipher", parameters=";encryption=AES")
    yield "encrypted_false", dict(document=b"cipher", parameters=";encryption=false;plaincode=true")
    yield "no_code", dict(root=[("rId1", "output", "/" + DOCUMENT)])
    for key, value in {"capitals": "plaincode=TRUE", "quoted": "plaincode=&quot;true&quot;",
                       "other_name": "PlainCode=true", "spaced": " charset=utf-8 ; plaincode=true"}.items():
        yield "plaincode_" + key, dict(parameters=";" + value)
    for key, target in {"relative": DOCUMENT, "fragment": DOCUMENT + "#p1", "capitals": DOCUMENT.upper()}.items():
        yield "target_" + key, dict(root=[("rId1", "document", target)])
    for key, target in {"percent": "/tarmic/d%C3%A4.xml", "iri": "/tarmic/dä.xml"}.items():
        yield "name_" + key, dict(name="tarmic/d%C3%A4.xml", root=[("rId1", "document", target)])
    yield "bom", dict(document=b"\xef\xbb\xbf" + rich(paragraph("a\nb")))
    yield "empty_document", dict(document=b"")
    yield "utf16_document", dict(document=utf16(rich(paragraph("a"))))
    yield "no_body", dict(document=f'<w:document xmlns:w="{WORD}"/>'.encode())
    yield "two_documents", dict(root=[("rId2", "document", "second.xml"), TO_DOCUMENT],
                                parts={"second.xml": (DOCUMENT_TYPE, rich(paragraph("second")))})
    yield "external", dict(root=[("rId1", "document", "http://example.com/" + DOCUMENT, "External")])
    yield "dangling", dict(root=[("rId1", "document", "/tarmic/gone.xml")])


def graphs():
    image, to_image = ("image/png", b"png"), "../media/image1.png"
    yield "graph", dict(document=b"doc", root=[
        ("rId9", "styles", "styles.xml"), TO_DOCUMENT, ("rId3", "documentation", "help.xml"),
        ("rId4", "http://example.com/other", "other.xml"), ("rId2", "output", "tarmic/output.xml")], parts={
            "tarmic/output.xml": ("text/xml", b"out"), "styles.xml": ("text/xml", b"sty"),
            "help.xml": ("text/xml", b"hlp"), "other.xml": ("text/xml", b"oth"), "media/image1.png": image,
            "media/image2.png": ("image/png", b"two"), "media/deep.png": ("image/png", b"dep"),
            "media/_rels/image1.png.rels": (None, relationships(
                ("d", "image", "deep.png"), ("e", "image", "http://example.com/x", "External")))},
        document_rels=relationships(("rId2", "image", "../media/image2.png"), ("rId1", "image", to_image)))
    yield "shared", dict(document=b"doc", root=[("a", "document", DOCUMENT), ("b", "output", "/" + DOCUMENT)])
    yield "cycle", dict(document=b"doc", parts={"media/image1.png": image, "media/_rels/image1.png.rels": (
        None, relationships(("back", "x:y", "/" + DOCUMENT)))},
        document_rels=relationships(("self", "x:y", "document.xml"), ("i", "image", to_image)))
    for key, item in {"external": ("http://example.com/x", "External"), "dangling": ("gone.png",),
                      "odd": ("50%.png",)}.items():
        yield key + "_image", dict(document=b"doc", document_rels=relationships(("i", "image", *item)))
    yield "no_relationships", dict(rels=relationships())


def properties():
    yield "core_dates", core(time("created", "2020"), time("modified", "2020-05-06T07:08:09.5+02:00"), title(""))
    yield "core_dtd", core(prolog=EMPTY_DTD)
    yield "core_faulty", core(title("a"), title("b"), time("created", "2014-04-30Z"), time("modified", ""))


def hostile(canary):
    external = f'<!DOCTYPE x [<!ENTITY e SYSTEM "{canary}">]>'
    yield "xxe", dict(document=rich(paragraph("&e;"), prolog=external))
    yield "xxe_dtd", dict(document=rich(paragraph("a"), prolog=f'<!DOCTYPE x SYSTEM "{canary}">'))
    yield "xxe_include", dict(document=rich(paragraph(
        f'a<i:include xmlns:i="http://www.w3.org/2001/XInclude" href="{canary}" parse="text"/>')))
    yield "laughs", dict(document=rich(paragraph("&e8;"), prolog=LAUGHS))
    for key, prolog in {"dtd": EMPTY_DTD, "laughs": LAUGHS, "xxe": external}.items():
        yield "types_" + key, dict(types=content_types([(DOCUMENT, DOCUMENT_TYPE)], prolog=prolog))
        yield "rels_" + key, dict(rels=relationships(TO_DOCUMENT, prolog=prolog))
        yield "document_rels_" + key, dict(document_rels=relationships(prolog=prolog))
    for key, depth in {"nested": 900, "deep": 100000}.items():
        yield key, dict(document=rich(paragraph("<a>" * depth + key + "</a>" * depth)))
    yield "attributes", dict(document=rich(paragraph("many"), attributes="".join(f' a{i}=""' for i in range(50000))))
    yield "same_names", dict(parts={"TARMIC/Document.xml": (None, b"again")})


def containers():
    """What writers make of a package, and what damage makes of it."""
    usual = package()
    yield "stored", zipped(usual, zipfile.ZIP_STORED)
    yield "zip64", zipped(usual, zip64=True)
    yield "streamed", zipped(usual, sink=Pipe)
    yield "info_zip", info_zipped(usual)
    yield "info_zip_64", info_zipped(usual, "-fz", "-0")
    yield "docx", by_python_docx()
    yield "not_a_zip", b"only text\n" * 10
    yield "truncated", zipped(usual)[:-30]
    yield "empty_file", b""
    yield "no_types", zipped({name: content for name, content in usual.items() if not name.startswith("[")})
    for key, parameters in {"damaged": "", "encrypted_damaged": ";encryption=AES"}.items():
        stored = zipped(package(rich(paragraph("cipher")), parameters), zipfile.ZIP_STORED)
        yield key, stored.replace(b"cipher", b"cypher")


def main(folder):
    folder.mkdir(parents=True, exist_ok=True)
    canary = folder.resolve() / "canary.txt"
    canary.write_text("must not be read\n")
    made = dict(containers())
    for group in (plain_packages(), graphs(), properties(), hostile(canary.as_uri())):
        made.update((name, zipped(package(**arguments))) for name, arguments in group)
    for name, content in made.items():
        (folder / f"{name}.tqx").write_bytes(content)


if __name__ == "__main__":
    main(Path(sys.argv[1]))
