#!/usr/bin/env python3
"""The Python package beside python-docx's package reader and a loop with zipfile and lxml; the same through Dask.

usage: python.py [FILES [dask]]   (with the package importable; FILES for Dask, 20,000; "dask" for that alone)

Milliseconds of a job, the best of several runs that take turns; rows a second of all files, listing included, with the
same columns, partitions and engine. The loops trust what they read, and check nothing."""

import hashlib
import os
import shutil
import sys
import tempfile
import time
import zipfile
from pathlib import Path

PEERS = Path(__file__).resolve().parent / "peers"
sys.path.insert(0, str(PEERS))
import peer  # noqa: E402
from lxml import etree  # noqa: E402

import flowbook  # noqa: E402

DUBLIN = "{http://purl.org/dc/elements/1.1/}title"
TERMS = "{http://purl.org/dc/terms/}modified"
FEW, TITLE_AND_CODE = ["path", "lines"], ["path", "title", "code"]
ALL = ["path", "title", "code", "lines", "form", "modified", "digest", "pictures", "error"]


def document_of(container):
    relationships = etree.fromstring(container.read("_rels/.rels"))
    return next(each.get("Target") for each in relationships if each.get("Type") == peer.DOCUMENT).lstrip("/")


def zipfile_code(path):
    with zipfile.ZipFile(path) as container:
        return len(peer.text_of(container.read(document_of(container))))


def zipfile_read(path):
    with zipfile.ZipFile(path) as container:
        return sum(len(container.read(name)) for name in container.namelist())


def zipfile_title(path):
    changed = Path(f"{path}.new")
    with zipfile.ZipFile(path) as old, changed.open("wb") as out:
        with zipfile.ZipFile(out, "w", zipfile.ZIP_DEFLATED) as new:
            for entry in old.infolist():
                content = old.read(entry)
                if entry.filename == "docProps/core.xml":
                    core = etree.fromstring(content)
                    core.find(DUBLIN).text = "Another title"
                    content = etree.tostring(core)
                new.writestr(entry, content)
        out.flush()
        os.fsync(out.fileno())
    return changed.rename(path)


def own_title(path):
    book = flowbook.open(path)
    book.title = f"Title of {time.monotonic()}"
    book.save()
    return 1


def over(work):
    return lambda folder: sum(work(path) for path in sorted(folder.glob("*.tqx")))


def own_code(path):
    return len(flowbook.open(path).code)


JOBS = {  # file, repetitions, and the job by the package, by python-docx and by zipfile
    "open and code, 50 lines": ("small.tqx", 200, own_code, peer.code, zipfile_code),
    "20,000 lines, one paragraph": ("lines.tqx", 20, own_code, peer.code, zipfile_code),
    "20,000 paragraphs": ("paragraphs.tqx", 5, own_code, peer.code, zipfile_code),
    "title of 50 MB, set and saved": ("large.tqx", 3, own_title, lambda path: peer.title(str(path)), zipfile_title),
    "everything of 50 MB": ("large.tqx", 3, lambda path: sum(len(part.data) for part in flowbook.open(path).parts),
                            peer.read, zipfile_read),
    "5,000 files": ("many", 2, over(own_code), over(peer.code), over(zipfile_code))}


def code_of(lines):
    return "".join(f"value{line} = compute(input{line}, {line * 7});\n" for line in range(lines))


def make_inputs(folder):
    flowbook.Flowbook.new(code=code_of(50), title="small").save(folder / "small.tqx")
    flowbook.Flowbook.new(code=code_of(20000), title="lines").save(folder / "lines.tqx")
    paragraphs = "".join(f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r><w:t>{line}</w:t></w:r></w:p>'
                         for line in code_of(20000).splitlines())
    rich = f'<w:document xmlns:w="{peer.WORD[1:-1]}"><w:body>{paragraphs}</w:body></w:document>'
    flowbook.Flowbook.new(rich_code=rich, title="paragraphs").save(folder / "paragraphs.tqx")
    large = flowbook.Flowbook.new(code=code_of(50), title="large")
    for _ in range(64):
        large.add_image(os.urandom(750_000), "image/png")
    large.save(folder / "large.tqx")
    copies(folder / "small.tqx", folder / "many", 5000)


def copies(file, folder, count):
    folder.mkdir()
    for number in range(count):
        shutil.copyfile(file, folder / f"{number:06}.tqx")


def milliseconds(work, path):
    start = time.perf_counter()
    if not work(path):
        sys.exit(f"nothing was read from {path}")
    return (time.perf_counter() - start) * 1000


def print_jobs(folder):
    print(f"{'milliseconds':32}{'flowbook':>12}{'python-docx':>13}{'zipfile, lxml':>15}")
    for job, (file, repetitions, *ways) in JOBS.items():
        runs = [[milliseconds(work, folder / file) for work in ways] for _ in range(repetitions)]
        print(f"{job:32}" + "{:12.2f}{:13.2f}{:15.2f}".format(*(min(column) for column in zip(*runs))), flush=True)


def row_of(path, columns):
    """What a user would write, for each column that is asked for."""
    with zipfile.ZipFile(path) as container:
        row = {"path": path}
        if {"code", "lines"} & set(columns):
            row["code"] = peer.text_of(container.read(document_of(container)))
            row["lines"] = len(row["code"].splitlines())
        if {"form", "pictures"} & set(columns):
            types = [each.get("ContentType") for each in etree.fromstring(container.read("[Content_Types].xml"))]
            row["form"] = "plain" if any("plaincode" in each for each in types) else "rich"
            row["pictures"] = sum(each.startswith("image/") for each in types)
        if {"title", "modified"} & set(columns):
            core = etree.fromstring(container.read("docProps/core.xml"))
            row["title"], row["modified"] = core.findtext(DUBLIN), core.findtext(TERMS)
        if "digest" in columns:
            row["digest"] = hashlib.sha256(b"".join(map(container.read, sorted(container.namelist())))).hexdigest()
        return row


class LoopRows:
    def __init__(self, columns):
        self.columns = columns

    def project_columns(self, columns):
        return LoopRows(list(columns))

    def __call__(self, block):
        from flowbook.dask import _frame
        rows = [row_of(path, self.columns) for path in block.paths]
        return _frame({name: [row.get(name) for row in rows] for name in self.columns}, self.columns)


def loop_frame(folder, columns):
    from flowbook.dask import _blocks, _frame, _from_map
    return _from_map(LoopRows(columns), _blocks(folder, None, "32 MiB"),
                     meta=_frame({name: [] for name in columns}, columns), label="loop")


def seconds_of(make, folder, columns):
    start = time.perf_counter()
    rows = make(folder, columns)
    if columns == FEW:
        rows.lines.sum().compute()
    else:
        rows.compute()
    return time.perf_counter() - start


def print_dask(folder, count):
    from dask.distributed import Client, LocalCluster

    from flowbook.dask import read_flowbooks
    copies(folder / "small.tqx", folder / "rows", count)
    print(f"\n{'rows a second':32}{'flowbook':>12}{'zipfile, lxml':>15}")
    for workers, threads in ((1, 1), (2, 1), (1, 2)):
        with LocalCluster(n_workers=workers, threads_per_worker=threads, dashboard_address=None) as cluster:
            with Client(cluster) as client:
                client.run(lambda: __import__("flowbook.dask"))
                for name, columns in (("sum of lines", FEW), ("title and code", TITLE_AND_CODE), ("all columns", ALL)):
                    best = [min(seconds_of(make, folder / "rows", columns) for _ in range(1 if columns == ALL else 2))
                            for make in (read_flowbooks, loop_frame)]
                    print(f"{name}, {workers} x {threads} threads".ljust(32)
                          + "{:12,.0f}{:15,.0f}".format(*(count / each for each in best)), flush=True)


def main(count="20000", *what):
    os.environ["PYTHONPATH"] = os.pathsep.join([str(PEERS), *sys.path[1:]])
    with tempfile.TemporaryDirectory() as scratch:
        make_inputs(Path(scratch))
        if "dask" not in what:
            print_jobs(Path(scratch))
        print_dask(Path(scratch), int(count))


if __name__ == "__main__":
    main(*sys.argv[1:])
