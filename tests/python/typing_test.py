"""What mypy and pyright have to accept; it is not run."""
from __future__ import annotations

import gzip
import io
import mmap
import tempfile
import zipfile
from pathlib import Path
from typing import Any
from urllib.request import urlopen

import flowbook
import flowbook.dask


def sources(path: Path, paths: list[Path]) -> list[flowbook.Flowbook]:
    with zipfile.ZipFile(path) as archive, gzip.GzipFile(path) as packed, urlopen("http://127.0.0.1/") as page, \
            tempfile.SpooledTemporaryFile() as spooled, path.open("r+b") as file, \
            mmap.mmap(file.fileno(), 0) as mapped, archive.open("a.tqx") as member:
        opened = [flowbook.open(path), flowbook.open(str(path)), flowbook.open(b""), flowbook.open(bytearray()),
                  flowbook.open(memoryview(b"")), flowbook.open(io.BytesIO())]
        opened += [flowbook.open(member), flowbook.open(packed), flowbook.open(page), flowbook.open(spooled),
                   flowbook.open(file), flowbook.open(mapped)]
        opened[0].save(file)
        opened[0].save(spooled)
        opened[0].save(path)
    rows: list[dict[str, Any]] = flowbook.read_many(paths, columns="title", threads=2)
    titles: list[str | None] = flowbook.dask.map_flowbooks(lambda book: book.title, paths).compute()
    return opened if rows and titles else []


def changes(book: flowbook.Flowbook) -> tuple[int, ...]:
    book.title = None
    del book.version
    image: flowbook.Image = book.add_image(b"", "image/png")
    paragraph: flowbook.Paragraph = book.paragraphs[0]
    paragraph.text = paragraph.runs[0].text
    merged: flowbook.Merged = flowbook.merge(None, book, book.to_bytes())
    return image.size, book.replace_code(str.upper), len(merged.conflicts), len(flowbook.diff(book, b""))
