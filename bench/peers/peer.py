"""The jobs through python-docx's package reader, and through zipfile and lxml:
peer.py code|read|title FILE REPEATS prints what each repetition took, in microseconds; peer.py loop FOLDER prints the
code of every flowbook in it by zipfile and lxml alone."""
import os
import sys
import time
import zipfile
from pathlib import Path

from lxml import etree

DOCUMENT = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document"
WORD = "{http://schemas.openxmlformats.org/wordprocessingml/2006/main}"


def text_of(xml):
    paragraphs = etree.fromstring(xml).iterfind(f"{WORD}body/{WORD}p")
    return "\n".join(paragraph.findtext(f"{WORD}r/{WORD}t") or "" for paragraph in paragraphs)


def open_package(path):
    from docx.opc.package import OpcPackage  # the loop does without it
    return OpcPackage.open(path)


def code(path):
    return len(text_of(open_package(path).part_related_by(DOCUMENT).blob))


def read(path):
    return sum(len(part.blob) for part in open_package(path).iter_parts())


def title(path):
    package = open_package(path)
    package.core_properties.title = "Another title"
    with open(path + ".docx", "wb") as out:
        package.save(out)
        out.flush()
        os.fsync(out.fileno())
    return 1


def loop(folder):
    for path in sorted(Path(folder).glob("*.tqx")):
        with zipfile.ZipFile(path) as container:
            relationships = etree.fromstring(container.read("_rels/.rels"))
            target = next(each.get("Target") for each in relationships if each.get("Type") == DOCUMENT)
            sys.stdout.write(text_of(container.read(target.lstrip("/"))))


def main(job, path, repeats="1"):
    if job == "loop":
        loop(path)
        return
    work = {"code": code, "read": read, "title": title}[job]
    for _ in range(int(repeats)):
        start = time.perf_counter()
        if not work(path):
            sys.exit(f"nothing was read from {path}")
        print((time.perf_counter() - start) * 1e6)


if __name__ == "__main__":
    main(*sys.argv[1:])
