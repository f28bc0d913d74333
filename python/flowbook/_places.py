"""Where flowbooks come from and are saved to."""

from __future__ import annotations

import io
import os
import sys
from collections.abc import Mapping
from typing import Any, BinaryIO, Protocol, Union, cast

from flowbook import _native
from flowbook._errors import ConflictError, Error, MisuseError, NotFoundError

Target = Union[str, "os.PathLike[str]", "os.PathLike[bytes]", BinaryIO]
Source = Union[Target, bytes, bytearray, memoryview]


class Place(Protocol):
    """What a flowbook can be opened from and saved to."""

    name: str

    def open(self) -> _native.Document: ...

    def save_back(self, document: _native.Document, change: _native.Change) -> None:
        """Saves what was opened from here, if it is still the same."""

    def save_copy(self, document: _native.Document, change: _native.Change) -> None:
        """Saves what may come from elsewhere, over anything that is here."""


class Memory:
    """Bytes without a place."""

    def __init__(self, content: bytes, name: str = "<bytes>") -> None:
        self._content = content
        self.name = name

    def open(self) -> _native.Document:
        return _native.Document.of_bytes(self._content, self.name)

    def save_back(self, document: _native.Document, change: _native.Change) -> None:
        raise MisuseError("it came from no file; name the one to save to", self.name, kind="misuse")

    save_copy = save_back


_UTF16 = "utf-16-le" if sys.byteorder == "little" else "utf-16-be"


def native_path(path: bytes) -> bytes:
    """A path as the native module takes it."""
    return path.decode("utf-8", "surrogateescape").encode(_UTF16, "surrogatepass")


def name_of(path: bytes) -> str:
    """A path as messages show it."""
    return path.decode("utf-8", "replace")


class LocalFile:
    """A file of the machine. Saving is atomic and durable, and a conflict is found."""

    def __init__(self, path: str | bytes) -> None:
        native = os.fsencode(path)
        if b"\0" in native:
            raise ValueError("embedded null byte")
        if not native:
            raise ValueError("the path is empty")
        # Absolute, as the working directory may be another when the flowbook is saved.
        self._path = native_path(native if native.startswith(b"/") else os.path.abspath(native))
        self.name = name_of(native)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, LocalFile) and other._path == self._path

    def open(self) -> _native.Document:
        return _native.Document.of_path(self._path, self.name)

    def save_back(self, document: _native.Document, change: _native.Change) -> None:
        document.save_back(change)

    def save_copy(self, document: _native.Document, change: _native.Change) -> None:
        document.save_at(change, self._path)


class FileObject:
    """A binary file object, which stays the caller's. Saving overwrites its content, after all of it is made."""

    def __init__(self, file: BinaryIO) -> None:
        self._file = file
        name = getattr(file, "name", None)
        self.name = name if isinstance(name, str) and name.isprintable() else f"<{type(file).__name__}>"

    def open(self) -> _native.Document:
        if _is(self._file, "seekable"):
            return _native.Document.of_object(self._file, self.name)
        content = self._file.read()
        if not isinstance(content, bytes):
            raise TypeError("a binary file is needed: read() gave no bytes")
        return _native.Document.of_bytes(content, self.name)

    def save_back(self, document: _native.Document, change: _native.Change) -> None:
        if not (_is(self._file, "writable") and _is(self._file, "seekable")):
            raise MisuseError("the file object cannot be written; name a file to save to", self.name, kind="misuse")
        content = document.changed(change)
        self._file.seek(0)
        self._write(content)
        self._file.truncate()

    def save_copy(self, document: _native.Document, change: _native.Change) -> None:
        self._write(document.changed(change))

    def _write(self, content: bytes) -> None:
        rest = memoryview(content)
        while rest:
            written: object = self._file.write(rest)
            if not isinstance(written, int) or not 0 < written <= len(rest):
                raise Error("the file object did not take the bytes that were written", self.name)
            rest = rest[written:]
        self._file.flush()


class _Ranges:
    """A file of an asynchronous file system of fsspec, each read of which is a request. The files that those give ask
    for the size again, take any failure of that for a missing file, and a missing file for any failure."""

    def __init__(self, files: Any, path: str, size: int) -> None:
        self._files, self._path, self._size, self._position = files, path, size, 0

    def seek(self, offset: int, whence: int = os.SEEK_SET) -> int:
        self._position = offset + (self._size if whence == os.SEEK_END else 0)
        return self._position

    def tell(self) -> int:
        return self._position

    def read(self, count: int) -> bytes:
        begin, end = self._position, self._position + count
        content: bytes = self._files.cat_file(self._path, start=begin, end=end)
        self._position = end
        # A server that knows no ranges sends all of it.
        return content if len(content) <= count else content[begin:end]


def opened(files: Any, path: str, size: int) -> BinaryIO:
    """A file to read by ranges. No cache: they are few, and a cache would read megabytes ahead of each."""
    return cast(BinaryIO, _Ranges(files, path, size) if files.async_impl else files.open(path, cache_type="none"))


class RemoteFile:
    """A file of a file system that fsspec knows. Saving is as atomic as that file system is; what others changed is
    told by fsspec's key of the version (times, size or entity tag, as far as the file system has them)."""

    def __init__(self, url: str, options: Mapping[str, Any] | None) -> None:
        import fsspec  # type: ignore[import]

        self.name = url.encode("utf-8", "replace").decode("utf-8")
        self._files, self._path = fsspec.core.url_to_fs(url, **(options or {}))
        self._key: object = None

    def __eq__(self, other: object) -> bool:
        return isinstance(other, RemoteFile) and (other._files, other._path) == (self._files, self._path)

    def open(self) -> _native.Document:
        self._key = self._version()
        size = self._files.info(self._path)["size"]
        if size is None:
            return _native.Document.of_bytes(self._files.cat_file(self._path), self.name)
        return _native.Document.of_object(opened(self._files, self._path, size), self.name)

    def save_back(self, document: _native.Document, change: _native.Change) -> None:
        if self._version() != self._key:
            raise ConflictError("it has changed since it was opened", self.name, kind="conflict")
        self.save_copy(document, change)

    def save_copy(self, document: _native.Document, change: _native.Change) -> None:
        self._files.pipe_file(self._path, document.changed(change))
        self._files.invalidate_cache()

    def _version(self) -> object:
        self._files.invalidate_cache()
        try:
            return self._files.ukey(self._path)
        except FileNotFoundError as missing:
            raise NotFoundError("there is no such file", self.name) from missing


def _is(file: BinaryIO, ability: str) -> bool:
    ask = getattr(file, ability, None)
    return bool(ask()) if callable(ask) else hasattr(file, "seek")


def place_of(source: Source, options: Mapping[str, Any] | None = None) -> Place:
    """The place that a path or an address names; of bytes, their content."""
    if isinstance(source, str) and "://" in source:
        return RemoteFile(source, options)
    if isinstance(source, (str, os.PathLike)):
        return LocalFile(os.fspath(source))
    if isinstance(source, (bytes, bytearray, memoryview)):
        return Memory(bytes(source))
    if isinstance(source, io.TextIOBase) or not hasattr(source, "read") and not hasattr(source, "write"):
        raise TypeError(f"a path, bytes or a binary file is needed, not {type(source).__name__}")
    return FileObject(source)
