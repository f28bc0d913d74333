"""Where flowbooks come from and are saved to."""

from __future__ import annotations

import copy
import fcntl
import io
import os
import sys
from collections.abc import Callable, Mapping
from mmap import mmap
from typing import Any, Protocol, Union, runtime_checkable

from flowbook import _native
from flowbook._errors import ConflictError, Error, MisuseError, error_of


@runtime_checkable
class Readable(Protocol):
    """A binary file that can be read, such as `open()`, `urlopen()`, `zipfile.ZipFile.open()` and `io.BytesIO` give."""

    def read(self, count: int, /) -> bytes: ...


@runtime_checkable
class Writable(Protocol):
    """A binary file that can be written."""

    def write(self, content: bytes, /) -> Any: ...


Path = Union[str, "os.PathLike[str]", "os.PathLike[bytes]"]
Binary = Union[bytes, bytearray, memoryview]
Target = Union[Path, Writable]
Source = Union[Path, Binary, Readable]

# How much of a file that cannot seek is asked for at a time.
_PIECE = 1 << 20

UTF16 = "utf-16-le" if sys.byteorder == "little" else "utf-16-be"


class Place(Protocol):
    """What a flowbook can be opened from and saved to."""

    name: str
    can_be_returned_to: bool

    def open(self) -> _native.Book: ...

    def content(self) -> bytes:
        """All bytes of it, which may be no flowbook."""
        ...

    def save_back(self, book: _native.Book, overwrite: bool) -> None:
        """Saves what was opened from here, if it is still the same or is to be overwritten."""

    def save_copy(self, book: _native.Book, moves: bool) -> None:
        """Saves what may come from elsewhere, over anything that is here. When it `moves`, it comes from here then."""

    def pickled(self, book: _native.Book) -> Place:
        """A place that can be pickled, and shares nothing with this one, which `copy.copy()` would open as it is."""
        ...

    def refuse_if_changed(self, book: _native.Book) -> None:
        """Raises when what was opened from here is another version than the one that was pickled."""


class Memory:
    """Bytes without a place."""

    can_be_returned_to = False

    def __init__(self, content: bytes, name: str = "<bytes>") -> None:
        self._content = content
        self.name = name

    def open(self) -> _native.Book:
        book = _native.Book.of_bytes(self._content, self.name)
        self._content = b""  # the native one has it
        return book

    def content(self) -> bytes:
        return self._content

    def save_back(self, book: _native.Book, overwrite: bool) -> None:
        raise MisuseError("it came from no file; name the one to save to", self.name)

    def save_copy(self, book: _native.Book, moves: bool) -> None:
        self.save_back(book, False)

    def pickled(self, book: _native.Book) -> Place:
        return Memory(book.to_bytes(), self.name)

    def refuse_if_changed(self, book: _native.Book) -> None:
        pass


def native_path(path: bytes) -> tuple[bytes, bytes]:
    """A path as the native module takes it: UTF-16, in which a byte that is no UTF-8 is U+DC80 to U+DCFF, and bytes."""
    return path.decode("utf-8", "surrogateescape").encode(UTF16, "surrogatepass"), path


def name_of(path: bytes) -> str:
    """A path as messages show it."""
    return path.decode("utf-8", "replace")


class LocalFile:
    """A file of the machine. Saving is atomic and durable, and a conflict is found."""

    can_be_returned_to = True

    def __init__(self, path: str | bytes, name: str | None = None) -> None:
        native = path_bytes(path)
        if not native:
            raise MisuseError("the path is empty")
        self.name = name_of(native) if name is None else name
        # Absolute, as the working directory may be another when the flowbook is saved.
        self._bytes = native if native.startswith(b"/") else os.path.join(os.getcwdb(), native)
        self._path = native_path(self._bytes)
        self._expected: object = None

    def __eq__(self, other: object) -> bool:
        """Whether a save to either replaces the same file, as links are followed."""
        return isinstance(other, LocalFile) and os.path.realpath(other._bytes) == os.path.realpath(self._bytes)

    def open(self) -> _native.Book:
        return _native.Book.of_path(self._path, self.name)

    def content(self) -> bytes:
        return _native.content_of(self._path, self.name)

    def save_back(self, book: _native.Book, overwrite: bool) -> None:
        if overwrite:
            self.save_copy(book, True)
        else:
            book.save_back()

    def save_copy(self, book: _native.Book, moves: bool) -> None:
        try:
            book.save_at(self._path, self.name if moves else None)
        except Error as error:
            if error.kind not in {"input-output", "not-found", "conflict", "not-durable"}:
                raise
            # About this file, which the native flowbook does not come from.
            has_folder = error.kind != "input-output" or os.path.isdir(os.path.dirname(self._bytes))
            raise error_of(error.kind if has_folder else "not-found", error.words, self.name) from None

    def pickled(self, book: _native.Book) -> Place:
        place = copy.copy(self)
        place._expected = book.file_version()
        return place

    def refuse_if_changed(self, book: _native.Book) -> None:
        if book.file_version() != self._expected:
            raise ConflictError("it has changed since a flowbook with changes was pickled", self.name)


class FileObject:
    """A binary file object, which stays the caller's. Saving overwrites its content, after all of it is made."""

    can_be_returned_to = False

    def __init__(self, file: Any) -> None:
        self._file = file
        name = getattr(file, "name", None)
        self.name = name if isinstance(name, str) and name.isprintable() else f"<{type(file).__name__}>"

    def __eq__(self, other: object) -> bool:
        return isinstance(other, FileObject) and other._file is self._file

    @property
    def can_seek(self) -> bool:
        return _is(self._file, "seekable")

    def open(self) -> _native.Book:
        if self.can_seek:
            return _native.Book.of_object(self._file, self.name)
        return _native.Book.of_bytes(self.content(), self.name)

    def content(self) -> bytes:
        if self.can_seek:
            self._file.seek(0)
        pieces: list[bytes] = []
        while True:
            piece: object = self._file.read(_PIECE)  # of which it may give less
            if piece is None:
                raise Error("the file object has no bytes ready, as it does not wait for them", self.name)
            if not isinstance(piece, bytes):
                raise TypeError("a binary file is needed: read() gave no bytes")
            if not piece:
                return b"".join(pieces)
            pieces.append(piece)

    def save_back(self, book: _native.Book, overwrite: bool) -> None:
        if not (_is(self._file, "writable") and self.can_seek):
            raise MisuseError("the file object cannot be written; name a file to save to", self.name)
        # Asked for first, as content that is left before or behind the new one would make the file useless.
        if _appends(self._file):
            raise MisuseError("the file object was opened for appending; name a file to save to", self.name)
        if not hasattr(self._file, "truncate") and not isinstance(self._file, mmap):
            raise MisuseError("the file object cannot be cut to another size; name a file to save to", self.name)
        # The flowbook is kept in memory until the file is whole, so that it can be saved again when writing fails.
        content, revision = book.detach()
        if isinstance(self._file, mmap):
            self._file.resize(len(content))
        self._file.seek(0)
        self._write(content)
        if not isinstance(self._file, mmap):
            self._file.truncate()
        book.move_to_object(self._file, revision)

    def save_copy(self, book: _native.Book, moves: bool) -> None:
        if moves and self.can_seek:
            self.save_back(book, True)  # it is read from there, so nothing of it may stay behind what is written
        else:
            self._write(book.to_bytes())

    def pickled(self, book: _native.Book) -> Place:
        return Memory(book.to_bytes(), self.name)

    def refuse_if_changed(self, book: _native.Book) -> None:
        pass

    def _write(self, content: bytes) -> None:
        rest = memoryview(content)
        while rest:
            written: object = self._file.write(rest)
            if written is None and not isinstance(self._file, io.RawIOBase):
                break  # it takes all there is, and does not count it
            if not isinstance(written, int) or not 0 < written <= len(rest):
                raise Error("the file object did not take the bytes that were written", self.name)
            rest = rest[written:]
        flush: Callable[[], object] | None = getattr(self._file, "flush", None)
        if flush is not None:
            flush()


def binary(data: object, name: str) -> bytes:
    """The bytes of what holds bytes. Texts and numbers of NumPy hold some too, which are not meant."""
    if isinstance(data, bytes):
        return data
    try:
        view = memoryview(data)  # type: ignore[arg-type]
        if view.ndim and not isinstance(data, str):
            return view.tobytes()
    except TypeError:
        pass
    raise TypeError(f"{name} is bytes, not {type(data).__name__}")


def path_bytes(path: str | bytes) -> bytes:
    """A path as the system takes it."""
    try:
        native = os.fsencode(path)
    except UnicodeEncodeError as error:
        raise MisuseError(f"no name of a file can hold {error.object[error.start]!a}, as its encoding is "
                          f"{sys.getfilesystemencoding()}") from None
    if b"\0" in native:
        raise MisuseError("a path cannot hold a NUL character")
    return native


def _is(file: Any, ability: str) -> bool:
    ask = getattr(file, ability, None)
    return bool(ask()) if callable(ask) else hasattr(file, "seek") and hasattr(file, "tell")


def _appends(file: Any) -> bool:
    """Whether it writes at its end wherever it stands."""
    try:
        return bool(fcntl.fcntl(file.fileno(), fcntl.F_GETFL) & os.O_APPEND)
    except (AttributeError, OSError, TypeError, ValueError):
        return False


def place_of(source: object, options: Mapping[str, Any] | None = None) -> Place:
    """The place that a path or an address names; of bytes, their content."""
    if isinstance(source, str) and "://" in source:
        local = local_path(source)
        if local is not None:
            return LocalFile(local, source)
        from flowbook._remote import RemoteFile

        return RemoteFile.at(source, options)
    if isinstance(source, (str, os.PathLike)):
        return LocalFile(os.fspath(source))
    fsspec = sys.modules.get("fsspec")  # which has made such an object, if it is one
    if fsspec is not None and isinstance(source, fsspec.core.OpenFile):
        return _place_of_open_file(source)
    if isinstance(source, (bytes, bytearray, memoryview)):
        return Memory(bytes(source))
    if isinstance(source, io.TextIOBase) or not hasattr(source, "read") and not hasattr(source, "write"):
        raise TypeError(f"a path, bytes or a binary file is needed, not {type(source).__name__}")
    return FileObject(source)


def _place_of_open_file(file: Any) -> Place:
    """The file that `fsspec.open()` names and has not opened yet."""
    if file.compression is not None or "b" not in file.mode:
        raise TypeError("a binary file that is not compressed is needed; open it first, by a with statement")
    if "file" in file.fs.protocol:
        return LocalFile(file.path)
    from flowbook._remote import RemoteFile, store_in

    return RemoteFile(file.full_name, store_in(file.fs, file.path))


def local_path(address: str) -> str | None:
    """The path of an address of this machine's files, taken as fsspec takes it: without escapes; None for others."""
    for prefix in ("file://", "local://"):
        if address.startswith(prefix) and "::" not in address:
            path = address[len(prefix):]
            host, _, rest = path.partition("/")
            return "/" + rest if host == "localhost" else path
    return None
