"""`flowbook.dask` on a cluster of processes, one of which is killed; over folders, memory and a web server."""
import functools
import http.server
import os
import random
import re
import signal
import threading

import fsspec
import pytest
from dask.distributed import Client, LocalCluster

import flowbook
import flowbook.dask

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

    def log_message(self, *_):
        pass

    def do_GET(self):
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
    check(flowbook.dask.read_flowbooks(urls, blocksize="1 MiB").compute())


def test_code_of_a_large_flowbook_costs_little_transfer(folder, server):
    book = flowbook.Flowbook.new(code="x = 1;\n" * 1000)
    book.add_image(random.Random(1).randbytes(50_000_000), "image/png")
    book.save(folder / "large.tqapp")
    size = (folder / "large.tqapp").stat().st_size
    RangeHandler.sent = 0
    assert flowbook.open(f"{server}/large.tqapp").code == "x = 1;\n" * 1000
    (folder / "large.tqapp").unlink()
    assert size > 45_000_000 and 0 < RangeHandler.sent < 300_000
