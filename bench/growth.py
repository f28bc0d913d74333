#!/usr/bin/env python3
"""Quadruples what a file may be made to hold too much of, and measures by how much the cost of the command grows.

usage: growth.py FLOWBOOK_COMMAND [SHAPE]...

Each measurement is a process of its own: its processor time and its peak memory, less those of a small file. Exits
with 1 when four times the input costs more than five times the time or memory (eight times: ten, ten times: eleven),
or never ends.
"""

import os
import resource
import shutil
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

from process import measure

PACKAGE = "http://schemas.openxmlformats.org/package/2006/"
CODE = "http://schemas.pellarion.com/tarmic/code/2013/relationships/document"
CODE_TYPE = "application/vnd.pellarion.tarmic.code.document+xml;plaincode=true"
RELATIONSHIPS = "application/vnd.openxmlformats-package.relationships+xml"
IMAGE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships/image"
WORDS = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
COMMAND = os.path.realpath(sys.argv[1]) if len(sys.argv) > 1 else None
# The scan of plain documents leaves those with blanks around an equals sign to the DOM.
TO_THE_DOM = '<odd a = ""/>'
SECONDS, BYTES, OVER_A_LIMIT = 60, 4 << 30, 6
# A cost below these is lost in the noise of a process's start.
MIN_SECONDS, MIN_KILOBYTES = 0.02, 4096


def relationships(rows):
    return (f'<Relationships xmlns="{PACKAGE}relationships">' +
            "".join(f'<Relationship Id="{key}" Type="{kind}" Target="{target}"{more}/>'
                    for key, kind, target, more in rows) + "</Relationships>")


def document(inside):
    return f'<w:document xmlns:w="{WORDS}"><w:body>{inside}</w:body></w:document>'


def paragraph(text):
    return f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r><w:t>{text}</w:t></w:r></w:p>'


def book(path, code=document(paragraph("x = 1;")), package_rows=(), code_rows=(), overrides=(), parts=()):
    """Writes a flowbook; `parts` are pairs of name and content."""
    types = "".join(f'<Override PartName="{name}" ContentType="{kind}"/>'
                    for name, kind in [("/code/document.xml", CODE_TYPE), *overrides])
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as file:
        file.writestr("[Content_Types].xml", f'<Types xmlns="{PACKAGE}content-types"><Default Extension="png" '
                      f'ContentType="image/png"/><Default Extension="rels" ContentType="{RELATIONSHIPS}"/>'
                      f'{types}</Types>')
        file.writestr("_rels/.rels", relationships([("code", CODE, "/code/document.xml", ""), *package_rows]))
        file.writestr("code/document.xml", code)
        if code_rows:
            file.writestr("code/_rels/document.xml.rels", relationships(code_rows))
        for name, content in parts:
            file.writestr(name, content)


def ids(path, size):
    book(path, package_rows=[(f"r{i}", "http://x/t", "http://x/", ' TargetMode="External"') for i in range(size)])


def overrides(path, size):
    book(path, overrides=[(f"/none/p{i}.png", "image/png") for i in range(size)])


def on_the_dom(make):
    return lambda path, size: book(path, document(TO_THE_DOM + paragraph("x = 1;") + make(size)))


def one_part_many_times(path, size):
    book(path, code_rows=[(f"r{i}", IMAGE, "/code/a.png", "") for i in range(size)],
         parts=[("code/a.png", bytes(4096 * size))])


def long_name(path, size):
    name = "code/" + "n" * 60000 + ".png"
    book(path, code_rows=[(f"r{i}", IMAGE, "/" + name, "") for i in range(size)], parts=[(name, b"")])


def many_segments(path, size):
    name = "s/" * size + "a.png"
    book(path, code_rows=[("r", IMAGE, "/" + name, "")], parts=[(name, b"")])


def many_parts(path, size):
    book(path, code_rows=[(f"r{i}", IMAGE, f"/code/{i}.png", "") for i in range(size)],
         parts=[(f"code/{i}.png", os.urandom(256)) for i in range(size)])


def many_files(path, size):
    path.mkdir()
    book(path / "0.tqx")
    for i in range(1, size):
        shutil.copy(path / "0.tqx", path / f"{i}.tqx")


def drawn(keys):
    """A paragraph for each picture."""
    namespace = IMAGE.rpartition("/")[0]
    return document("".join(f'<w:p><w:r><w:drawing xmlns:r="{namespace}" r:embed="{key}"/></w:r></w:p>'
                            for key in keys))


def versions(path, base, ours, theirs):
    """Three versions, each a list of pictures, by numbers that stand for their contents."""
    for name, pictures in (("base", base), ("ours", ours), ("theirs", theirs)):
        rows = [(f"r{i}", IMAGE, f"/code/{i}.png", "") for i in range(len(pictures))]
        book(path.with_suffix("." + name), drawn(row[0] for row in rows), code_rows=rows,
             parts=[(f"code/{i}.png", f"data:,{picture}" * 20) for i, picture in enumerate(pictures)])


def pictures_added(path, size):
    some = list(range(10))
    versions(path, some, some + [f"ours {i}" for i in range(size)], some + [f"theirs {i}" for i in range(size)])


def pictures_changed(path, size):
    versions(path, range(size), [f"ours {i}" for i in range(size)], [f"theirs {i}" for i in range(size)])


def merge(path):
    sides = [str(path.with_suffix("." + name)) for name in ("base", "ours", "theirs")]
    return ["merge", "--ours", *sides, "-o", str(path.with_name("merged.tqx")), "--force"]


def cat(path):
    return ["cat", *(sorted(map(str, path.glob("*"))) if path.is_dir() else [str(path)])]


def copy(path):
    return ["copy", str(path), str(path.with_name("copy.tqx")), "--force"]


def parts(path):
    return ["parts", str(path)]


def repair(path):
    damaged = path.with_suffix(".cut")
    damaged.write_bytes(path.read_bytes()[:-22])
    return ["repair", str(damaged), "-o", str(path.with_suffix(".new")), "--force"]


def pack(path):
    folder = path.with_suffix("")
    if not folder.exists():
        subprocess.run([COMMAND, "extract", str(path), "-d", str(folder)], check=True)
    return ["pack", str(folder), "-o", str(path.with_suffix(".new")), "--force"]


def diff(path):
    return ["diff", str(path), str(path)]


def extract(path):
    return ["extract", str(path), "-d", str(path.with_suffix("")), "--images", "--force"]


# What grows, from which size, how many times, and what the command does with it.
SHAPES = {
    "relationship ids": (40000, 4, ids, cat),
    "overrides": (40000, 4, overrides, cat),
    "element names on the DOM": (10000, 4, on_the_dom(lambda n: "".join(f"<e{i}/>" for i in range(n))), cat),
    "attribute names on the DOM": (10000, 4, on_the_dom(lambda n: "".join(f'<e a{i}="1"/>' for i in range(n))), cat),
    "namespaces on the DOM": (10000, 4, on_the_dom(lambda n: "".join(f'<e xmlns="u:{i}"/>' for i in range(n))), cat),
    "elements on the DOM": (100000, 4, on_the_dom(lambda n: "<e/>" * n), cat),
    # The part grows with their number: what holds it once for each grows sixteenfold.
    "relationships to one part": (128, 4, one_part_many_times, copy),
    "relationships to a name of 60 KB": (60, 4, long_name, parts),
    "segments of a name": (8000, 4, many_segments, extract),
    "parts": (1000, 10, many_parts, copy),
    "parts to repair": (1000, 8, many_parts, repair),
    "parts to pack": (1000, 8, many_parts, pack),
    "parts to compare": (1000, 8, many_parts, diff),
    "lines": (20000, 10, lambda path, n: book(path, document(paragraph("value = compute(input);\n" * n))), cat),
    "paragraphs": (20000, 10, lambda path, n: book(path, document(paragraph("value = compute(input);") * n)), cat),
    "files": (200, 10, many_files, cat),
    "pictures that both sides added": (200, 10, pictures_added, merge),
    "pictures that both sides changed": (200, 10, pictures_changed, merge),
}


def limit():
    resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))
    resource.setrlimit(resource.RLIMIT_AS, (BYTES, BYTES))


class Bench:
    def __init__(self, command, folder):
        self.command, self.folder = command, folder
        small = folder / "small.tqx"
        book(small)
        runs = [measure([command, *cat(small)], limit) for _ in range(5)]
        self.seconds, self.kilobytes = min(run.processor for run in runs), min(run.kilobytes for run in runs)

    def cost(self, shape, size):
        _, _, make, work = SHAPES[shape]
        path = self.folder / (shape.replace(" ", "_") + str(size) + ("" if make is many_files else ".tqx"))
        make(path, size)
        best = min((measure([self.command, *work(path)], limit) for _ in range(2)), key=lambda run: run.processor)
        _, seconds, kilobytes, status, messages = best
        if status == OVER_A_LIMIT:
            return None, "refused: " + messages.splitlines()[0][:160].replace(str(self.folder) + "/", "")
        if status != 0:
            return None, f"FAILED with {status}: {messages[:160]}"
        return (max(seconds - self.seconds, MIN_SECONDS), max(kilobytes - self.kilobytes, MIN_KILOBYTES)), ""

    def row(self, shape):
        """A line of the table, and whether it is good."""
        size, times, _, _ = SHAPES[shape]
        bar = {4: 5, 8: 10}.get(times, 11)
        low, why = self.cost(shape, size)
        high, why = self.cost(shape, size * times) if low else (None, why)
        label = f"{shape}, {size:,} to {size * times:,}"
        if high is None:
            return f"{label:58} {why}", why.startswith("refused")
        time, memory = high[0] / low[0], high[1] / low[1]
        good = time <= bar and memory <= bar
        return (f"{label:58} time {high[0]:7.2f} s {time:6.1f} x   memory {high[1] / 1024:7.0f} MB {memory:6.1f} x   "
                f"{'' if good else 'ABOVE '}{bar}", good)


def main(command, shapes):
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(os.path.realpath(command), Path(folder))
        for shape in shapes or SHAPES:
            line, good = bench.row(shape)
            print(line, flush=True)
            failed |= not good
    return 1 if failed else 0


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2:]))
