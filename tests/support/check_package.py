#!/usr/bin/env python3
"""Checks a package with programs other than the library that wrote it; ends with an error when one objects.

usage: check_package.py written FILE TITLE PARTS    a new file with that title and so many flowbook parts
       check_package.py updated FILE TITLE BEFORE   a file whose other parts must be as in BEFORE
"""
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

from docx.opc.constants import RELATIONSHIP_TYPE
from docx.opc.package import OpcPackage

DOCUMENT = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document"
SCHEMA = Path(__file__).parent / "schema" / "core-properties.xsd"


def run(*command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)


def check(condition, complaint):
    if not condition:
        sys.exit(complaint)


def is_ours(name):
    """Whether the library may have written the part: package XML and properties."""
    return name.endswith(".rels") or "ropert" in name or "Props" in name or name == "[Content_Types].xml"


def parts(package):
    return {part.partname: part for part in package.iter_parts() if not is_ours(part.partname)}


def opened(file, title):
    run("unzip", "-tqq", file)
    run("zipinfo", file)
    package = OpcPackage.open(file)
    found = package.core_properties
    check(found.title == title, f"the title is {found.title!r}")
    check(found.modified, "the time is missing")
    core = package.part_related_by(RELATIONSHIP_TYPE.CORE_PROPERTIES)
    with tempfile.NamedTemporaryFile(suffix=".xml") as copy:
        copy.write(zipfile.ZipFile(file).read(core.partname[1:]))
        copy.flush()
        run("xmllint", "--nonet", "--noout", "--schema", str(SCHEMA), copy.name)
    return package


def written(file, title, count):
    package = opened(file, title)
    check(package.core_properties.created, "the time of creation is missing")
    names = zipfile.ZipFile(file).namelist()
    check(names[:3] == ["[Content_Types].xml", "_rels/.rels", "tarmic/document.xml"], f"the order is {names}")
    flags = [info.flag_bits & ~0x806 for info in zipfile.ZipFile(file).infolist()]
    check(not any(flags), f"the flags are {flags}")
    check(len(parts(package)) + 1 == int(count), f"the parts are {list(parts(package))}")


def updated(file, title, before):
    package, old = opened(file, title), OpcPackage.open(before)
    document = package.part_related_by(DOCUMENT)
    check(b"new code" in document.blob, "the document is the old one")
    for name, part in parts(old).items():
        check(name in parts(package), f"{name} is gone")
        same = parts(package)[name]
        check(name == document.partname or (same.blob, same.content_type) == (part.blob, part.content_type),
              f"{name} has changed")
    raw, old_raw = zipfile.ZipFile(file), zipfile.ZipFile(before)
    for name in old_raw.namelist():
        if not is_ours(name) and not name.endswith("/") and name != document.partname[1:]:
            check(raw.read(name) == old_raw.read(name), f"the entry {name} has changed")
    authors = [p.core_properties.author for p in (old, package)]
    check(authors[0] == authors[1], f"the author was {authors[0]!r} and is {authors[1]!r}")


if __name__ == "__main__":
    {"written": written, "updated": updated}[sys.argv[1]](*sys.argv[2:])
