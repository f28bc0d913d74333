"""Flowbooks at addresses, through fsspec."""

from __future__ import annotations

import contextlib
import copy
import hashlib
import os
import threading
import time
from collections.abc import Callable, Iterator, Mapping
from typing import Any
from urllib.parse import urlsplit, urlunsplit

from flowbook import _native
from flowbook._errors import ConflictError, Error, MisuseError, NotFoundError
from flowbook._places import Place

# The first request for a file asks for as much, which is all of a small one.
_FIRST = 64 * 1024
# A server that tells versions apart by their time gives weak entity tags within the second of a change.
_UNTIL_STRONG = 3.0
_UNTIL_UNLOCKED = 20.0
_LOCK = (b'<?xml version="1.0" encoding="utf-8"?><D:lockinfo xmlns:D="DAV:"><D:lockscope><D:exclusive/></D:lockscope>'
         b"<D:locktype><D:write/></D:locktype></D:lockinfo>")


class RemoteFile:
    """A file of a file system that fsspec knows; see `Store` for how it is saved."""

    can_be_returned_to = True

    def __init__(self, name: str, store: Store) -> None:
        self.name = name.encode("utf-8", "replace").decode("utf-8")
        self._store = store

    @classmethod
    def at(cls, url: str, options: Mapping[str, Any] | None) -> RemoteFile:
        """The file at an address."""
        if not isinstance(options, (Mapping, type(None))):
            raise TypeError(f"storage_options is a mapping, not {type(options).__name__}")
        with told(url.encode("utf-8", "replace").decode("utf-8")):
            return cls(url, store_of(url, options))

    def __eq__(self, other: object) -> bool:
        return isinstance(other, RemoteFile) and other._store.identity == self._store.identity

    def open(self) -> _native.Book:
        with told(self.name):
            content = self._store.open()
        if isinstance(content, bytes):
            return _native.Book.of_bytes(content, self.name)
        return _native.Book.of_object(Watched(content, self.name), self.name)

    def content(self) -> bytes:
        with told(self.name):
            found = self._store.open()
            if isinstance(found, bytes):
                return found
            found.seek(0, os.SEEK_END)
            size = found.tell()
            found.seek(0)
            return b"".join(_pieces(found, size))

    def save_back(self, book: _native.Book, overwrite: bool) -> None:
        if not overwrite and not self._store.compares:
            raise MisuseError("its store does not know whether somebody else has saved meanwhile; save(overwrite=True) "
                              "replaces what is there", self.name)
        self._save(book, overwrite, moves=True)

    def save_copy(self, book: _native.Book, moves: bool) -> None:
        self._save(book, True, moves)

    def _save(self, book: _native.Book, overwrite: bool, moves: bool) -> None:
        content, revision = book.detach() if moves else (book.to_bytes(), 0)
        with told(self.name):
            self._store.put(content, overwrite)
        if moves:
            book.move_to(content, revision)

    def pickled(self, book: _native.Book) -> Place:
        return copy.copy(self)

    def refuse_if_changed(self, book: _native.Book) -> None:
        if self._store.version != self._expected:
            raise ConflictError("it has changed since a flowbook with changes was pickled", self.name)

    def __getstate__(self) -> tuple[Any, ...]:
        return self.name, self._store.files, self._store.path, self._store.version

    def __setstate__(self, state: tuple[Any, ...]) -> None:
        self.name, files, path, self._expected = state
        self._store = store_in(files, path)
        self._store.version = self._expected  # to be pickled once more


@contextlib.contextmanager
def told(name: str) -> Iterator[None]:
    """Failures of a file system as those of this package."""
    try:
        yield
    except Error as error:
        error.file = error.file or name
        raise
    except FileNotFoundError as missing:
        raise NotFoundError("there is no such file", name) from missing
    except (ImportError, ValueError) as unknown:
        raise MisuseError(str(unknown), name) from unknown
    except Exception as failure:
        raise Error(str(failure) or type(failure).__name__, name) from failure


def _pieces(file: Any, size: int) -> Iterator[bytes]:
    """All bytes of a file, of which it may give less at a time than was asked for."""
    while size > 0:
        piece: bytes = file.read(size)
        if not piece:
            raise Error(f"the file ends {size} bytes early")
        size -= len(piece)
        yield piece


class Watched:
    """A file whose failures are those of this package."""

    def __init__(self, file: Any, name: str) -> None:
        self._file, self._name = file, name

    def seek(self, offset: int, whence: int = os.SEEK_SET) -> int:
        with told(self._name):
            self._file.seek(offset, whence)  # that of SFTP does not return where it is
            return int(self._file.tell())

    def tell(self) -> int:
        with told(self._name):
            return int(self._file.tell())

    def read(self, count: int) -> bytes:
        with told(self._name):
            content: bytes = self._file.read(count)
            return content


class Ranges:
    """A file that is read by a function of begin and end."""

    def __init__(self, read: Any, size: int) -> None:
        self._read, self._size, self._position = read, size, 0

    def seek(self, offset: int, whence: int = os.SEEK_SET) -> int:
        self._position = offset + (self._size if whence == os.SEEK_END else 0)
        return self._position

    def tell(self) -> int:
        return self._position

    def read(self, count: int) -> bytes:
        begin, end = self._position, min(self._position + count, self._size)
        content: bytes = self._read(begin, end)
        self._position = begin + len(content)
        return content


class Store:
    """A file in a file system of fsspec. This one does not know whether somebody else has saved.

    Attributes:
        compares: whether it replaces a file only if that is still the version that was opened.
        version: identifies the version that was opened or saved last.
    """

    compares = False

    def __init__(self, files: Any, path: str) -> None:
        self.files, self.path = files, path
        self.version: object = None
        # Digests of what was written without knowing whether that went well, as the save was interrupted.
        self._tried: set[bytes] = set()

    @property
    def identity(self) -> object:
        return self.files, self.path

    def open(self) -> Any:
        """The content, or a file to read it from."""
        self.files.invalidate_cache()
        info = self.files.info(self.path)
        self.version = self._version_of(info)  # before it is read, so that a change meanwhile is a conflict
        if info["size"] is None or info["size"] <= _FIRST:
            return self.files.cat_file(self.path)
        if self.files.async_impl:
            return Ranges(lambda begin, end: self.files.cat_file(self.path, start=begin, end=end), info["size"])
        # No cache: the ranges are few, and a cache would read megabytes ahead of each.
        return self.files.open(self.path, cache_type="none")

    def _version_of(self, info: Mapping[str, Any]) -> object:
        return str(info)

    def put(self, content: bytes, overwrite: bool) -> None:
        """Replaces the file; unless it is to be overwritten, only if it is still the version that was opened."""
        self.files.pipe_file(self.path, content)
        self.files.invalidate_cache()


class RenamingStore(Store):
    """FTP and SFTP: a file is written under another name, which it changes when it is whole."""

    def put(self, content: bytes, overwrite: bool) -> None:
        folder, _, name = self.path.rpartition("/")
        temporary = f"{folder}/.~{name}.{os.getpid()}-{threading.get_ident()}~"
        try:
            self.files.pipe_file(temporary, content)
            self.files.mv(temporary, self.path)
        except BaseException:
            with contextlib.suppress(Exception):
                self.files.rm_file(temporary)
            raise
        finally:
            self.files.invalidate_cache()


class MemoryStore(Store):
    """Files of fsspec in this process, which its flowbooks replace one after the other."""

    compares = True
    _one_at_a_time = threading.Lock()

    def open(self) -> Any:
        content: bytes = self.files.cat_file(self.path)
        self.version = content
        return content

    def put(self, content: bytes, overwrite: bool) -> None:
        with self._one_at_a_time:
            if not overwrite:
                present = self.files.cat_file(self.path) if self.files.exists(self.path) else None
                # Content that is there by a save of this flowbook which was interrupted is no conflict.
                if present != self.version and (present is None or _digest(present) not in self._tried):
                    raise ConflictError("it has changed since it was opened")
            self._tried.add(_digest(content))
            self.files.pipe_file(self.path, content)
            self.version = content
            self._tried.clear()


class WebStore(Store):
    """A web server. Its entity tags identify versions; it replaces a file by PUT with If-Match (RFC 9110, 13.1.1).

    A WebDAV server may look at If-Match before it receives the content, so that it loses one of two overlapping
    updates. Where it has locks (RFC 4918, 6), the file is locked while tags are compared and content is put.
    """

    # Where servers were seen to look at If-Match: scheme and host of their addresses.
    _comparing: set[tuple[str, str]] = set()

    @property
    def compares(self) -> bool:  # type: ignore[override]
        if self._tag is None:
            return False
        where = urlsplit(self.path)[:2]
        if where not in self._comparing and (self._has_locks() or self._refuses_another_tag()):
            self._comparing.add(where)
        return where in self._comparing

    def _refuses_another_tag(self) -> bool:
        """Whether the server refuses to make a file that a request takes to be there already. Some put what they get
        without a look at If-Match, so that any update may be lost."""
        address = urlsplit(self.path)
        folder, _, name = address.path.rpartition("/")
        if address.query:
            return True  # signed for this file alone, so no other can be tried
        _, _, present = self._request("GET", {})  # so that nothing is lost where a server has but one file
        other = urlunsplit((*address[:2], f"{folder}/.~{name}.{os.getpid()}-{threading.get_ident()}~", "", ""))
        try:
            status, _, _ = self._request("PUT", {"If-Match": '"another"'}, present, other)
        except Exception:
            return True  # it may be that this file alone can be put, so that nothing is known
        if status == 412:
            return True
        with contextlib.suppress(Exception):
            self._request("DELETE", {}, None, other)
        return False

    def _has_locks(self) -> bool:
        _, headers, _ = self._request("OPTIONS", {})
        return "2" in [each.strip() for each in headers.get("DAV", "").split(",")]

    @property
    def _tag(self) -> str | None:
        """The entity tag in its strong form; one that no version has after another's save was seen."""
        tag = self.version[0] if isinstance(self.version, tuple) else None
        return '"another"' if tag == "" else tag

    def open(self) -> Any:
        status, headers, content = self._request("GET", {"Range": f"bytes=0-{_FIRST - 1}"})
        if status == 416:  # there are no bytes at all
            status, headers, content = self._request("GET", {})
        size = _total(headers) if status == 206 else len(content)
        self.version = _version(headers, size)
        if size == len(content):
            return content
        return Ranges(lambda begin, end: self._range(begin, end, content), size)

    def _range(self, begin: int, end: int, first: bytes) -> bytes:
        if end <= len(first):
            return first[begin:end]
        status, headers, content = self._request("GET", {"Range": f"bytes={begin}-{end - 1}"})
        size = _total(headers) if status == 206 else len(content)
        if status == 416 or _version(headers, size) != self.version:
            raise ConflictError("it has changed since it was opened")
        if status == 206 and not headers["Content-Range"].startswith(f"bytes {begin}-"):
            raise Error(f"the server was asked for the bytes from {begin} on: {_ranges_told(headers)}")
        # A server that knows no ranges sends all of it.
        return content if status == 206 else content[begin:end]

    def put(self, content: bytes, overwrite: bool) -> None:
        with self._locked() as lock:
            self._put_compared(content, overwrite, lock)

    @contextlib.contextmanager
    def _locked(self) -> Iterator[dict[str, str]]:
        """Locks the file where the server can do so, for the headers that a request needs then."""
        if not self._has_locks():
            yield {}
            return
        until = time.monotonic() + _UNTIL_UNLOCKED
        asked = {"Timeout": "Second-60", "Depth": "0", "Content-Type": "application/xml"}
        status, headers, _ = self._request("LOCK", asked, _LOCK)
        while status == 423:
            if time.monotonic() > until:
                raise ConflictError("somebody else has locked it")
            time.sleep(0.02)
            status, headers, _ = self._request("LOCK", asked, _LOCK)
        token = headers["Lock-Token"]
        try:
            yield {"If": f"({token})"}
        finally:
            # Some servers lock what the name stood for, so that the lock is gone when the file was replaced.
            with contextlib.suppress(Exception):
                self._request("UNLOCK", {"Lock-Token": token})

    def _put_compared(self, content: bytes, overwrite: bool, lock: dict[str, str]) -> None:
        earlier = set(self._tried)
        try:
            headers = self._put(content, None if overwrite else self._tag, lock)
        except ConflictError:
            # By an earlier save of this flowbook, which was interrupted before it knew of its success?
            if not earlier or not self._is_there(lambda present: _digest(present) in earlier):
                raise
            headers = self._put(content, self._tag, lock)
        if "ETag" in headers:
            self.version = _version(headers, len(content))
        elif not self._is_there(lambda present: present == content):
            self.version = ("", None, 0)  # somebody else has saved since
        self._tried.clear()

    def _put(self, content: bytes, tag: str | None, lock: dict[str, str]) -> Mapping[str, str]:
        if lock:
            return self._put_locked(content, tag, lock)
        until = time.monotonic() + _UNTIL_STRONG
        while True:
            self._tried.add(_digest(content))
            status, headers, _ = self._request("PUT", {"If-Match": tag} if tag is not None else {}, content)
            if status != 412:
                return headers
            present = self._request("HEAD", {})[1].get("ETag", "")
            if present != f"W/{tag}" or time.monotonic() > until:
                raise ConflictError("it has changed since it was opened")
            time.sleep(0.1)

    def _put_locked(self, content: bytes, tag: str | None, lock: dict[str, str]) -> Mapping[str, str]:
        present = self._request("HEAD", {})[1].get("ETag", "").removeprefix("W/")
        if tag is not None and present != tag:
            raise ConflictError("it has changed since it was opened")
        self._tried.add(_digest(content))
        status, _, _ = self._request("PUT", lock, content)
        if status in {412, 423}:
            raise ConflictError("it has changed since it was opened")
        return {}

    def _is_there(self, is_expected: Callable[[bytes], bool]) -> bool:
        """Whether the file has the content that is expected; it is the version that is known then."""
        _, headers, present = self._request("GET", {})
        if is_expected(present):
            self.version = _version(headers, len(present))
        return is_expected(present)

    def _request(self, method: str, headers: Mapping[str, str], content: bytes | None = None,
                 address: str | None = None) -> tuple[int, Mapping[str, str], bytes]:
        from fsspec.asyn import sync  # type: ignore[import]

        answer: Any = sync(self.files.loop, self._ask, method, headers, content, address or self.path)
        status, given, read = answer
        return status, given, read

    async def _ask(self, method: str, headers: Mapping[str, str], content: bytes | None,
                   address: str) -> tuple[int, Mapping[str, str], bytes]:
        session = await self.files.set_session()
        given = dict(self.files.kwargs)
        all_headers = {"Accept-Encoding": "identity", **given.pop("headers", {}), **headers}
        async with session.request(method, self.files.encode_url(address), headers=all_headers, data=content,
                                   **given) as answer:
            if answer.status == 404:
                raise FileNotFoundError(address)
            if answer.status not in {412, 416, 423} and method != "OPTIONS":
                answer.raise_for_status()
            return answer.status, answer.headers, await answer.read()


class ObjectStore(Store):
    """S3: an object is replaced with IfMatch where the client and the server know that."""

    # Of those that were seen to look at IfMatch, the file system and the bucket.
    _comparing: set[tuple[Any, str]] = set()

    @property
    def compares(self) -> bool:  # type: ignore[override]
        if not self.version or "IfMatch" not in self.files._kwargs_helper._get_valid_keys("put_object"):
            return False
        bucket, key, _ = self.files.split_path(self.path)
        if (self.files, bucket) not in self._comparing and self._refuses_another_tag(bucket, key):
            self._comparing.add((self.files, bucket))
        return (self.files, bucket) in self._comparing

    def _refuses_another_tag(self, bucket: str, key: str) -> bool:
        """As that of WebStore, for servers of which some take no notice of IfMatch."""
        other = f"{key}.~{os.getpid()}-{threading.get_ident()}~"
        try:
            self.files.call_s3("put_object", Bucket=bucket, Key=other, Body=b"", IfMatch='"another"')
        except Exception:
            return True
        with contextlib.suppress(Exception):
            self.files.call_s3("delete_object", Bucket=bucket, Key=other)
        return False

    def _version_of(self, info: Mapping[str, Any]) -> object:
        return info.get("ETag")

    def put(self, content: bytes, overwrite: bool) -> None:
        earlier = set(self._tried)
        try:
            self._put(content, {} if overwrite else {"IfMatch": self.version})
        except ConflictError:
            # By an earlier save of this flowbook, which was interrupted before it knew of its success?
            self.files.invalidate_cache()
            tag = self._version_of(self.files.info(self.path)) if earlier else None
            if not tag or _digest(self.files.cat_file(self.path)) not in earlier:
                raise
            self._put(content, {"IfMatch": tag})
        self._tried.clear()

    def _put(self, content: bytes, given: Mapping[str, Any]) -> None:
        self._tried.add(_digest(content))
        bucket, key, _ = self.files.split_path(self.path)
        try:
            # In one request, whose answer has the tag of what it has put; pipe_file() divides what is large.
            answer = self.files.call_s3("put_object", Bucket=bucket, Key=key, Body=content, **given)
        except OSError as failure:
            if "PreconditionFailed" in str(failure) or "At least one of the pre-conditions" in str(failure):
                raise ConflictError("it has changed since it was opened") from failure
            raise
        finally:
            self.files.invalidate_cache()
        self.version = answer.get("ETag")


def _digest(content: bytes) -> bytes:
    return hashlib.sha256(content).digest()


def _total(headers: Mapping[str, str]) -> int:
    total = headers.get("Content-Range", "").rpartition("/")[2]
    if not (total.isascii() and total.isdigit() and len(total) < 19):
        raise Error(f"the server does not tell the size: {_ranges_told(headers)}")
    return int(total)


def _ranges_told(headers: Mapping[str, str]) -> str:
    return f"Content-Range is {headers.get('Content-Range')!r}"


def _version(headers: Mapping[str, str], size: int) -> tuple[str | None, str | None, int]:
    """What the server says of the version; a tag is enough, and times only serve where there is none."""
    tag = headers.get("ETag")
    return (tag.removeprefix("W/"), None, size) if tag else (None, headers.get("Last-Modified"), size)


_STORES = {"memory": MemoryStore, "http": WebStore, "https": WebStore, "ftp": RenamingStore, "sftp": RenamingStore,
           "ssh": RenamingStore, "s3": ObjectStore, "s3a": ObjectStore}


def store_of(url: str, options: Mapping[str, Any] | None) -> Store:
    """The store of an address."""
    try:
        import fsspec  # type: ignore[import]
    except ImportError:
        raise MisuseError("addresses need fsspec (python3-fsspec)") from None
    files, path = fsspec.core.url_to_fs(url, **(options or {}))
    return store_in(files, path)


def store_in(files: Any, path: str) -> Store:
    """The store of a path in a file system."""
    protocols = [files.protocol] if isinstance(files.protocol, str) else files.protocol
    return next((_STORES[each] for each in protocols if each in _STORES), Store)(files, path)
