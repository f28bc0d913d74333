"""`flowbook.dask` on a cluster of processes, one of which is killed; over folders, memory and a web server."""
import functools
import http.server
import os
import random
import re
import signal
import sys
import threading

import fsspec
import numpy
import pandas
import pytest
from dask.distributed import Client, LocalCluster

import flowbook
import flowbook.dask

sys.path.insert(0, os.environ["PXFLOWBOOK_SOURCE"] + "/tests/support")
import make_fixtures as make  # noqa: E402

COUNT = 60
DAMAGED = "13.tqx"


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("books")
    (folder / "deep").mkdir()
    for number in range(COUNT):
        book = flowbook.Flowbook.new(code="x = 1;\n" * number, title=f"book {number}")
        if number == 7:
            book.add_image(b"GIF89a", "image/gif")
        book.save(folder / ("deep" if number % 2 else "") / f"{number:02}.tqx")
    (folder / "deep" / DAMAGED).write_bytes(b"no package")
    (folder / "notes.txt").write_text("no flowbook")
    return folder


@pytest.fixture(scope="module")
def client():
    with LocalCluster(n_workers=3, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with Client(cluster) as client:
            yield client


class RangeHandler(http.server.SimpleHTTPRequestHandler):
    """Serves ranges, as web servers do and Python's does not, and counts what it sends."""

    sent = 0
    answers = {}  # what is answered instead, by the end of the name
    together = None

    def log_message(self, *_):
        pass

    def answers_otherwise(self):
        answer = next((self.answers[end] for end in self.answers if self.path.endswith(end)), None)
        if answer is not None and answer >= 400:
            self.send_error(answer)
        elif answer is not None:
            super().do_GET()
        return answer is not None

    def do_HEAD(self):
        if self.together is not None:
            self.together.wait(timeout=300)
        super().do_HEAD()

    def do_GET(self):
        if self.answers_otherwise():
            return None
        found = re.fullmatch(r"bytes=(\d+)-(\d+)", self.headers.get("Range", ""))
        if not found:
            return super().do_GET()
        content = open(self.translate_path(self.path), "rb").read()
        begin, end = int(found[1]), min(int(found[2]) + 1, len(content))
        self.send_response(206)
        self.send_header("Content-Range", f"bytes {begin}-{end - 1}/{len(content)}")
        self.send_header("Content-Length", str(end - begin))
        self.end_headers()
        self.wfile.write(content[begin:end])
        RangeHandler.sent += end - begin
        return None

    def end_headers(self):
        self.send_header("Accept-Ranges", "bytes")
        super().end_headers()


@pytest.fixture
def server(folder):
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(RangeHandler, directory=folder)) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        yield f"http://127.0.0.1:{server.server_port}"
        server.shutdown()


def check(rows):
    rows = rows.sort_values("path").reset_index(drop=True)
    assert len(rows) == COUNT
    damaged = rows[rows.error.notna()]
    assert [path.endswith(DAMAGED) for path in damaged.path] == [True] and damaged.title.isna().all()
    good = rows[rows.error.isna()]
    names = good.path.str.extract(r"(\d+)\.tqx$")[0].astype(int)
    assert (good.title == "book " + names.astype(str)).all() and (good.lines == names).all()
    assert good.digest.nunique() == COUNT - 1 and good.pictures.sum() == 1 and set(good.form) == {"plain"}
    assert (good.code == names.map(lambda number: "x = 1;\n" * number)).all() and good.modified.notna().all()


def test_folder(folder, client):
    frame = flowbook.dask.read_flowbooks(folder, blocksize="256 KiB")
    assert frame.npartitions == COUNT // 4
    check(frame.compute())
    assert flowbook.dask.read_flowbooks(f"{folder}/*.tqx", columns=["title"]).compute().shape == (COUNT // 2, 1)
    with pytest.raises(FileNotFoundError):
        flowbook.dask.read_flowbooks(folder / "none")


def die_once(marker, book):
    """Kills the process of the first worker that comes by."""
    try:
        os.close(os.open(marker, os.O_CREAT | os.O_EXCL))
    except FileExistsError:
        return book.title
    os.kill(os.getpid(), signal.SIGKILL)


def test_a_killed_worker_changes_nothing(folder, client, tmp_path):
    before = set(client.scheduler_info()["workers"])
    bag = flowbook.dask.map_flowbooks(functools.partial(die_once, str(tmp_path / "killed")), folder, blocksize=1,
                                      on_error=lambda path, error: type(error).__name__)
    assert sorted(bag.compute()) == sorted(
        "DamagedError" if f"{number}.tqx" == DAMAGED else f"book {number}" for number in range(COUNT))
    assert (tmp_path / "killed").exists() and before - set(client.scheduler_info()["workers"])
    with pytest.raises(flowbook.DamagedError):
        flowbook.dask.map_flowbooks(lambda book: book.form, folder).compute()


def test_memory(folder):
    memory = fsspec.filesystem("memory")
    memory.put(str(folder), "/books", recursive=True)
    # Of this process alone, so other processes would find nothing.
    check(flowbook.dask.read_flowbooks("memory://books").compute(scheduler="threads"))


def test_web(folder, client, server):
    urls = [f"{server}/{path.relative_to(folder)}" for path in folder.rglob("*.tqx")]
    # Nobody is answered before two have asked.
    RangeHandler.together = threading.Barrier(2)
    frame = flowbook.dask.read_flowbooks(urls, blocksize="1 MiB")
    RangeHandler.together = None
    check(frame.compute())


@pytest.mark.parametrize("size", [10, 300_000])
def test_what_is_gone_is_told_and_what_fails_is_raised(tmp_path, folder, server, size):
    """Small files are fetched whole, and large ones by ranges."""
    flowbook.Flowbook.new(code=os.urandom(size).hex()).save(folder / "odd.tqapp")
    address = f"{server}/odd.tqapp"
    rows, books = flowbook.dask.read_flowbooks(address), flowbook.dask.map_flowbooks(lambda book: book.form, address,
                                                                                     on_error=lambda *_: "error")
    for answer, told, form in ((206, False, "plain"), (200, False, "plain"), (404, True, "error")):
        RangeHandler.answers = {} if answer == 206 else {"odd.tqapp": answer}
        assert rows.compute(scheduler="sync").error.notna().tolist() == [told]
        assert books.compute(scheduler="sync") == [form]
        if not told:
            assert flowbook.open(address).form == form
    RangeHandler.answers = {"odd.tqapp": 503}
    for failing in (rows, books):
        with pytest.raises(Exception, match="503"):
            failing.compute(scheduler="sync")
    RangeHandler.answers = {}
    (folder / "odd.tqapp").unlink()


def test_rows_tell_what_flowbooks_tell(tmp_path):
    faulty = make.package(**make.core(make.title("a"), make.title("b"), make.time("modified", "2020-05-06T07:08:09Z")))
    for number, entries in enumerate([make.package(document=make.rich(make.paragraph("a\nb"))), make.package(root=()),
                                      make.package(document=b"secret", parameters="; encryption=aes"),
                                      make.package(document=b"<no"), faulty]):
        (tmp_path / f"{number}.tqx").write_bytes(make.zipped(entries))
    columns = [name for name in flowbook.dask.COLUMNS if name not in {"path", "lines", "pictures", "error"}]
    rows = flowbook.dask.read_flowbooks(tmp_path).compute(scheduler="sync")
    for row in rows.to_dict("records"):
        book, error = flowbook.open(row["path"]), None
        for name in columns:
            try:
                expected = getattr(book, name)
            except flowbook.EncryptedError:
                expected = None
            except flowbook.Error as failure:
                expected, error = None, error or str(failure)
            assert row[name] == expected or expected is None and pandas.isna(row[name])
        assert row["error"] == error


def test_a_changed_file_is_read_anew(tmp_path):
    names = set()
    for code in ("x", "y"):
        flowbook.Flowbook.new(code=code).save(tmp_path / "a.tqx")
        names.add(flowbook.dask.read_flowbooks(tmp_path)._name)
    assert len(names) == 2


def test_code_of_a_large_flowbook_costs_little_transfer(folder, server):
    book = flowbook.Flowbook.new(code="x = 1;\n" * 1000)
    book.add_image(random.Random(1).randbytes(50_000_000), "image/png")
    book.save(folder / "large.tqapp")
    size = (folder / "large.tqapp").stat().st_size
    RangeHandler.sent = 0
    assert flowbook.open(f"{server}/large.tqapp").code == "x = 1;\n" * 1000
    (folder / "large.tqapp").unlink()
    assert size > 45_000_000 and 0 < RangeHandler.sent < 300_000


@pytest.mark.parametrize("value", [numpy.str_("text"), numpy.int64(7)], ids=str)
def test_scalars_are_no_bytes(value):
    with pytest.raises(TypeError):
        flowbook.Flowbook.new(code="x").encrypted_code = value
