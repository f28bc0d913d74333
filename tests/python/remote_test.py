"""Flowbooks at addresses: a web server with entity tags, memory, FTP and Apache httpd."""
import http.server
import io
import os
import pathlib
import shutil
import socket
import subprocess
import tempfile
import threading
import time
import types

import fsspec
import pytest

import flowbook
import flowbook.dask
from flowbook import _remote

ROUNDS = 5 * int(os.environ.get("PXFLOWBOOK_PYTHON_RUNS", "2"))
SMALL = flowbook.Flowbook.new(code="x = 1;", title="old").to_bytes()


class Handler(http.server.BaseHTTPRequestHandler):
    """Files in memory with ranges and entity tags; PUT with If-Match compares and swaps."""

    protocol_version = "HTTP/1.1"
    files, lock, swaps, refused, weak = {}, threading.Lock(), {}, set(), False

    def log_message(self, *_):
        pass

    def answer(self, status, content=b"", **headers):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name.replace("_", "-"), value)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content if self.command != "HEAD" else b"")

    def do_GET(self):
        name = self.path.partition("?")[0]
        if self.command in self.refused:
            return self.answer(403)
        with self.lock:
            if name not in self.files:
                return self.answer(404)
            version, content = self.files[name]
            if name in self.swaps and self.headers.get("Range", "").startswith("bytes=") and version:
                self.files[name] = self.swaps.pop(name)
        begin, end = 0, len(content)
        given = self.headers.get("Range")
        tag = ("W/" if self.weak else "") + f'"{version}"'
        if given:
            first, last = given.removeprefix("bytes=").split("-")
            begin, end = int(first), min(int(last) + 1, end)
            return self.answer(206, content[begin:end], ETag=tag,
                               Content_Range=f"bytes {begin}-{end - 1}/{len(content)}")
        return self.answer(200, content, ETag=tag)

    do_HEAD = do_GET

    def do_DELETE(self):
        del self.files[self.path]
        return self.answer(204)

    def do_PUT(self):
        content = self.rfile.read(int(self.headers["Content-Length"]))
        with self.lock:
            version, _ = self.files.get(self.path, (0, b""))
            if not self.blind and self.headers.get("If-Match") not in {None, f'"{version}"'}:
                return self.answer(412)
            self.files[self.path] = version + 1, content
        return self.answer(204)


@pytest.fixture
def server():
    Handler.files, Handler.swaps, Handler.refused, Handler.weak = {"/a.tqx": (1, SMALL)}, {}, set(), False
    Handler.blind = False
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        yield f"http://127.0.0.1:{server.server_port}"
        server.shutdown()


def count_up(address, rounds, **options):
    for _ in range(rounds):
        while True:
            book = flowbook.open(address, **options)
            book.version = str(int(book.version or 0) + 1)
            try:
                book.save()
                break
            except flowbook.ConflictError:
                pass


def race(address, **options):
    threads = [threading.Thread(target=count_up, args=(address, ROUNDS), kwargs=options) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return flowbook.open(address, **options).version


def test_no_update_is_lost_where_versions_are_compared(server):
    memory = "memory://race.tqx"
    flowbook.open(SMALL).save(memory)
    for address in (f"{server}/a.tqx", memory):
        assert race(address) == str(4 * ROUNDS)
        first, second = flowbook.open(address), flowbook.open(address)
        first.title, second.title = "first", "second"
        first.save()
        with pytest.raises(flowbook.ConflictError) as conflict:
            second.save()
        assert conflict.value.file == address and flowbook.open(address).title == "first"
        first.title = "again"
        first.save()
        second.save(overwrite=True)
        assert flowbook.open(address).title == "second"


def test_a_server_that_takes_no_notice_of_tags_is_not_gone_back_to(server):
    Handler.blind = True
    book = flowbook.open(f"{server}/a.tqx")
    book.title = "new"
    with pytest.raises(flowbook.MisuseError, match="overwrite=True"):
        book.save()
    assert Handler.files == {"/a.tqx": (1, SMALL)}
    book.save(overwrite=True)
    assert list(Handler.files) == ["/a.tqx"] and flowbook.open(f"{server}/a.tqx").title == "new"


def test_web_addresses(server):
    Handler.files["/x?sig=[1]"] = Handler.files["/signed"] = 1, SMALL
    Handler.refused = {"HEAD"}
    address = f"{server}/signed?sig=a*[1]&x=%2F"
    assert flowbook.open(address).code == "x = 1;"
    rows = flowbook.dask.read_flowbooks([address], columns="title").compute(scheduler="sync")
    assert rows.title.tolist() == ["old"]
    assert flowbook.read_many([address, f"{server}/none.tqx"], ["title"]) == [{"title": "old"}, {"title": None}]
    for failing, error in ((f"{server}/none.tqx", flowbook.NotFoundError), ("nosuch://a.tqx", flowbook.MisuseError),
                           ("http://127.0.0.1:9/a.tqx", flowbook.Error)):
        with pytest.raises(error) as raised:
            flowbook.open(failing)
        assert raised.value.file == failing and raised.value.kind == error._kind
        for read in (flowbook.read_many, flowbook.dask.read_flowbooks) if error is not flowbook.NotFoundError else ():
            with pytest.raises(error) as raised:
                getattr(read([failing]), "compute", list)()
            assert raised.value.file == failing


def test_a_web_file_that_changes_between_ranges(server):
    versions = [flowbook.Flowbook.new(code=os.urandom(300_000).hex(), title=title).to_bytes() for title in "ab"]
    Handler.files["/l.tqx"], Handler.swaps["/l.tqx"] = (1, versions[0]), (2, versions[1])
    with pytest.raises(flowbook.ConflictError):
        flowbook.open(f"{server}/l.tqx").digest
    Handler.files["/l.tqx"] = (1, versions[0])
    frame = flowbook.dask.read_flowbooks(f"{server}/l.tqx", columns=["title", "digest", "error"])
    Handler.swaps["/l.tqx"] = (2, versions[1])
    row, = frame.compute(scheduler="sync").to_dict("records")
    assert row["title"] == "b" and row["error"] is None and row["digest"] == flowbook.digest(versions[1])


@pytest.mark.parametrize("told", ["bytes 0-9/{}", "bytes 0-9/*", "bytes 0-9/" + "9" * 30, ""])
def test_servers_that_send_another_range(server, monkeypatch, told):
    content = flowbook.Flowbook.new(code=os.urandom(300_000).hex()).to_bytes()
    Handler.files["/l.tqx"] = 1, content
    book = flowbook.open(f"{server}/l.tqx")
    answer = 206, {"ETag": '"1"', "Content-Range": told.format(len(content))}, bytes(10)
    monkeypatch.setattr(_remote.WebStore, "_request", lambda *_: answer)
    with pytest.raises(flowbook.Error, match="Content-Range"):
        book.code


class ObjectFiles(fsspec.AbstractFileSystem):
    """Stands in for s3fs: objects with entity tags, replaced with IfMatch in one step."""

    protocol, objects, lock, blind = "s3", {}, threading.Lock(), False
    _kwargs_helper = types.SimpleNamespace(_get_valid_keys=lambda _: {"IfMatch"})

    def info(self, path, **_):
        version, content = self.objects[path]
        return {"name": path, "type": "file", "size": len(content), "ETag": f'"{version}"'}

    def cat_file(self, path, **_):
        return self.objects[path][1]

    def split_path(self, path):
        return *path.split("/", 1), None

    def call_s3(self, method, Bucket, Key, Body=None, IfMatch=None):
        path = f"{Bucket}/{Key}"
        with self.lock:
            if method == "delete_object":
                return self.objects.pop(path)
            version, _ = self.objects.get(path, (0, b""))
            if not self.blind and IfMatch not in {None, f'"{version}"'}:
                raise OSError("An error occurred (PreconditionFailed) when calling the PutObject operation")
            self.objects[path] = version + 1, Body
            return {"ETag": f'"{version + 1}"'}


def test_an_interrupted_save_to_an_address_is_no_conflict(server, monkeypatch):
    fsspec.register_implementation("s3", ObjectFiles, clobber=True)
    for address in (f"{server}/a.tqx", "memory://interrupted.tqx", "s3://interrupted/a.tqx"):
        flowbook.open(SMALL).save(address)
        book = flowbook.open(address)
        book.title = "new"
        store = type(book._place._store)
        put = (store, "_request") if "http" in address else (type(book._place._store.files),
                                                             "call_s3" if "s3:" in address else "pipe_file")
        original = getattr(*put)

        def interrupted(self, *arguments, **named):
            result = original(self, *arguments, **named)
            if "memory" in address or arguments[0] == "PUT" or named.get("Body"):
                raise KeyboardInterrupt
            return result

        with monkeypatch.context() as patched, pytest.raises(KeyboardInterrupt):
            patched.setattr(*put, interrupted)
            book.save()
        book.description = "d"
        book.save()
        read = flowbook.open(address)
        assert (read.title, read.description) == ("new", "d")


def test_objects_with_entity_tags():
    fsspec.register_implementation("s3", ObjectFiles, clobber=True)
    flowbook.open(SMALL).save("s3://bucket/a.tqx")
    book, ObjectFiles.blind = flowbook.open("s3://bucket/a.tqx"), True
    book.title = "lost"
    with pytest.raises(flowbook.MisuseError, match="overwrite=True"):
        book.save()
    ObjectFiles.blind = False
    assert [each for each in ObjectFiles.objects if each.startswith("bucket")] == ["bucket/a.tqx"]
    assert race("s3://bucket/a.tqx") == str(4 * ROUNDS)
    book, other = flowbook.open("s3://bucket/a.tqx"), flowbook.open("s3://bucket/a.tqx")
    other.title = "other"
    other.save()
    book.title = "mine"
    with pytest.raises(flowbook.ConflictError):
        book.save()
    book.save(overwrite=True)
    book.title = "again"
    book.save()
    assert flowbook.open("s3://bucket/a.tqx").title == "again"


class WithoutPlace(io.BytesIO):
    """Its seek() tells no place, as that of SFTP."""

    def seek(self, *arguments):
        super().seek(*arguments)


def test_files_whose_seek_tells_nothing():
    assert flowbook.open(_remote.Watched(WithoutPlace(SMALL), "a")).title == "old"
    assert flowbook.open(WithoutPlace(SMALL)).title == "old"


# The FTP server imports Python's module crypt, in which the address sanitizer's crypt() ends the process.
@pytest.mark.skipif("asan" in os.environ.get("LD_PRELOAD", ""), reason="crypt() fails under the sanitizer")
def test_stores_that_cannot_compare_are_not_gone_back_to(tmp_path):
    servers = pytest.importorskip("pyftpdlib.servers")
    from pyftpdlib.authorizers import DummyAuthorizer
    from pyftpdlib.handlers import FTPHandler

    (tmp_path / "a.tqx").write_bytes(SMALL)
    handler = type("Handler", (FTPHandler,), {"authorizer": DummyAuthorizer(), "use_encoding": "utf-8"})
    handler.authorizer.add_user("u", "p", str(tmp_path), perm="elradfmwMT")
    server = servers.ThreadedFTPServer(("127.0.0.1", 0), handler)
    thread = threading.Thread(target=server.serve_forever, kwargs={"timeout": 0.05, "handle_exit": False}, daemon=True)
    thread.start()
    try:
        address = f"ftp://u:p@127.0.0.1:{server.address[1]}/a.tqx"
        book = flowbook.open(address)
        book.title = "new"
        with pytest.raises(flowbook.MisuseError, match="overwrite=True"):
            book.save()
        assert flowbook.open(tmp_path / "a.tqx").title == "old"
        book.save(overwrite=True)
        assert flowbook.open(tmp_path / "a.tqx").title == "new" and os.listdir(tmp_path) == ["a.tqx"]
        assert flowbook.read_many(os.path.dirname(address) + "/", ["path", "title"]) == [
            {"path": address, "title": "new"}]
    finally:
        server.close_all()


def free_port():
    with socket.socket() as listening:
        listening.bind(("127.0.0.1", 0))
        return listening.getsockname()[1]


@pytest.mark.skipif(not shutil.which("apache2", path="/usr/sbin") or "ASAN_OPTIONS" in os.environ,
                    reason="apache2 is not installed")
def test_apache(request):
    """mod_dav looks at If-Match before it receives the content, so that overlapping saves have to lock the file."""
    folder = tempfile.TemporaryDirectory()  # one that the server's user may enter
    request.addfinalizer(folder.cleanup)
    tmp_path, port, modules = pathlib.Path(folder.name), free_port(), "/usr/lib/apache2/modules"
    (tmp_path / "www").mkdir()
    (tmp_path / "www/a.tqx").write_bytes(SMALL)
    for each in (tmp_path, tmp_path / "www"):
        each.chmod(0o777)
    names = ("mpm_event", "authz_core", "dav", "dav_fs", "dav_lock")
    (tmp_path / "conf").write_text(
        "".join(f"LoadModule {name}_module {modules}/mod_{name}.so\n" for name in names) +
        f"Listen 127.0.0.1:{port}\nServerName localhost\nDocumentRoot {tmp_path}/www\nPidFile {tmp_path}/pid\n"
        f"User www-data\nGroup www-data\nErrorLog {tmp_path}/log\nDavLockDB {tmp_path}/locks\n"
        f"<Directory {tmp_path}/www>\nDav On\nRequire all granted\n</Directory>\n")
    process = subprocess.Popen(["/usr/sbin/apache2", "-X", "-f", tmp_path / "conf"])
    try:
        address = f"http://127.0.0.1:{port}/a.tqx"
        for _ in range(100):
            try:
                book = flowbook.open(address)
                break
            except flowbook.Error:
                time.sleep(0.1)
        other = flowbook.open(address)
        for step in range(3):
            book.title = str(step)
            book.save()
        other.title = "other"
        with pytest.raises(flowbook.ConflictError):
            other.save()
        assert flowbook.open(address).title == "2"
        assert race(address) == str(4 * ROUNDS)
    finally:
        process.terminate()
        process.wait()
