"""A flowbook, as users see it."""

from __future__ import annotations

import html
import re
import threading
from collections.abc import Callable, Mapping
from dataclasses import dataclass, field
from datetime import datetime, timezone
from typing import Any, NoReturn

from flowbook import _native
from flowbook._errors import MisuseError, error_of
from flowbook._places import FileObject, LocalFile, Memory, Place, RemoteFile, Source, Target, place_of


# Lone surrogates aside, which no UTF-8 holds (XML 1.0, 2.2).
_NOT_IN_XML = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]")


@dataclass(frozen=True)
class Part:
    """A part of the package.

    Attributes:
        name: such as ``/tarmic/document.xml``.
        content_type: in full, parameters included.
        size: of the content, in bytes.
    """

    name: str
    content_type: str
    size: int
    _read: Callable[[str], bytes] = field(repr=False, compare=False)

    @property
    def media_type(self) -> str:
        """The content type without its parameters."""
        return self.content_type.partition(";")[0].strip().lower()

    @property
    def data(self) -> bytes:
        """The content, read when it is asked for; of an `Image` the picture itself."""
        return self._read(self.name)


class Image(Part):
    """A picture. It is stored as a data URI, which `data` decodes."""


@dataclass(frozen=True)
class Relationship:
    """A relationship of the package, whose `source` is ``/``, or of a part."""

    source: str
    id: str
    type: str
    target: str
    is_internal: bool


@dataclass(frozen=True)
class Finding:
    """One thing that is wrong with a flowbook: an ``error``, which reading refuses, or a ``warning``.

    `id` stays the same from version to version, such as ``picture.malformed``.
    """

    severity: str
    part: str
    place: str
    words: str
    id: str


class Flowbook:
    """A flowbook: its code, properties, pictures and parts.

    Made by `flowbook.open()` or `Flowbook.new()`. Attributes are read from the file when they are asked for, from the
    version that was opened. What is set is kept until `save()`; the attributes show it at once, as it will be stored:
    line ends are line feeds, and characters that XML cannot hold are U+FFFD in code.

    May be used from several threads; one works on it at a time and others wait.

    >>> book = Flowbook.new(code="x = 1;\\r\\ny = 2;", title="Two lines")
    >>> book.code, book.form, book.title, book.description
    ('x = 1;\\ny = 2;', 'plain', 'Two lines', None)
    """

    def __init__(self, place: Place) -> None:
        self._lock = threading.RLock()
        self._place = place
        self._document = place.open()
        self._forget_changes()

    @classmethod
    def new(cls, code: str | None = None, *, rich_code: str | None = None, title: str | None = None,
            description: str | None = None, version: str | None = None) -> Flowbook:
        """A flowbook that is in no file yet. Without code it has an empty rich code document.

        >>> Flowbook.new(code="x = 1;").parts[0].name
        '/tarmic/document.xml'
        """
        if code is not None and rich_code is not None:
            raise TypeError("a flowbook has code or rich_code")
        book = cls(Memory(_native.new_flowbook(), "<new>"))
        given = {"code": code, "rich_code": rich_code, "title": title, "description": description, "version": version}
        for name, value in given.items():
            if value is not None:
                setattr(book, name, value)
        return book

    @property
    def name(self) -> str:
        """The path or address that it came from; ``<bytes>`` or the like where there is none."""
        return self._place.name

    @property
    def form(self) -> str:
        """How the code is stored: ``plain``, ``rich`` (with prose around it), ``encrypted``, or ``none``."""
        return self._current().form()

    @property
    def code(self) -> str:
        """The code as plain text. Setting it makes the flowbook plain: prose and formatting around the code go.

        >>> book = Flowbook.new()
        >>> book.code = "y = 2;"
        >>> book.code
        'y = 2;'

        Raises `EncryptedError` when it is encrypted, and `DamagedError` when there is none that can be read.
        """
        return self._current().code()

    @code.setter
    def code(self, text: str) -> None:
        self._change(_native.Change.set_code, _utf8(text, "code"))

    @property
    def rich_code(self) -> str:
        """The code with all that is around it, an XML document; raises as `code` does.

        >>> Flowbook.new(code="x").rich_code.startswith("<?xml")
        True
        """
        return self._current().rich_code()

    @rich_code.setter
    def rich_code(self, document: str) -> None:
        self._change(_native.Change.set_rich_code, _utf8(document, "rich_code"))

    @property
    def encrypted_code(self) -> bytes | None:
        """The stored bytes of encrypted code, which nothing here decrypts; None when it is not encrypted."""
        return self._current().encrypted_code()

    @encrypted_code.setter
    def encrypted_code(self, content: bytes) -> None:
        self._change(_native.Change.set_encrypted_code, bytes(memoryview(content)))

    @property
    def title(self) -> str | None:
        """None when there is none; so are the other properties. Raises `DamagedError` for one that is faulty."""
        return self._property("title")

    @title.setter
    def title(self, text: str) -> None:
        self._change(_native.Change.set_title, _property_text(text, "title"))

    @property
    def description(self) -> str | None:
        """What the flowbook is about."""
        return self._property("description")

    @description.setter
    def description(self, text: str) -> None:
        self._change(_native.Change.set_description, _property_text(text, "description"))

    @property
    def version(self) -> str | None:
        """The version of the document."""
        return self._property("version")

    @version.setter
    def version(self, text: str) -> None:
        self._change(_native.Change.set_version, _property_text(text, "version"))

    @property
    def release(self) -> str | None:
        """The TARMIC release that saved it last."""
        return self._property("release")

    @property
    def created(self) -> datetime | None:
        """When it was made, in UTC."""
        return _time(self._property("created"))

    @property
    def modified(self) -> datetime | None:
        """When it was saved last, in UTC.

        >>> Flowbook.new().modified.tzinfo
        datetime.timezone.utc
        """
        return _time(self._property("modified"))

    @property
    def images(self) -> tuple[Image, ...]:
        """The pictures, decoded when their data are asked for."""
        document = self._current()
        return tuple(Image(part.name, part.content_type, part.size, document.picture)
                     for part in document.parts() if part.is_picture)

    def add_image(self, data: bytes, media_type: str) -> None:
        """Adds a picture to those that belong to the code.

        >>> book = Flowbook.new(code="x")
        >>> book.add_image(b"GIF89a...", "image/gif")
        >>> [(image.name, image.media_type, image.data) for image in book.images]
        [('/media/image1.gif', 'image/gif', b'GIF89a...')]
        """
        self._change(_native.Change.add_picture, _utf8(media_type, "media_type"), bytes(memoryview(data)))

    @property
    def parts(self) -> tuple[Part, ...]:
        """All parts but those that hold relationships, in the order of the file."""
        document = self._current()
        return tuple(Part(part.name, part.content_type, part.size, document.content) for part in document.parts())

    @property
    def relationships(self) -> tuple[Relationship, ...]:
        """Those of the package, then those of each part."""
        return tuple(Relationship(each.source, each.id, each.type, each.target, each.is_internal)
                     for each in self._current().relationships())

    @property
    def digest(self) -> str:
        """SHA-256 over what the flowbook holds, as `flowbook digest` tells it: saving it without a change, or
        compressing it in another way, gives the same."""
        return self._current().digest()

    @property
    def text(self) -> str:
        """All of it as lines, for comparing; as `flowbook git textconv` tells it. Never raises for damage within."""
        return self._current().text()

    @property
    def html(self) -> str:
        """A page that shows it, as `flowbook html` makes: one file that runs nothing and loads nothing.

        >>> Flowbook.new(code="x").html[:15]
        '<!DOCTYPE html>'
        """
        return self._current().html()

    def check(self) -> tuple[Finding, ...]:
        """What is wrong with it; nothing when it can be read whole.

        >>> Flowbook.new(code="x").check()
        ()
        """
        return tuple(Finding(each.severity, each.part, each.place, each.words, each.id)
                     for each in self._current().check())

    def save(self, target: Target | None = None, *, storage_options: Mapping[str, Any] | None = None) -> None:
        """Saves the changes where the flowbook came from, or all of it as a copy to another place.

        Saving to a file of the machine is atomic and durable: the file has the old content or the new one, whatever
        happens. `ConflictError` tells that somebody else saved since the flowbook was opened; nothing is changed then.
        What was not set keeps its bytes; without any change nothing is written.

        A flowbook that came from no file belongs to the first path or address that it is saved to.

        Saving to where it came from by name replaces whatever is there, also what somebody else has saved meanwhile.

        Args:
            target: a path, an address that fsspec knows, or a binary file that is written from where it stands.
            storage_options: for fsspec.
        """
        with self._lock:
            if target is None:
                self._save_back()
            elif isinstance(target, (bytes, bytearray, memoryview)):
                raise TypeError("a path or a binary file is needed")
            else:
                self._save_copy(place_of(target, storage_options))

    def _save_back(self) -> None:
        if isinstance(self._place, Memory) or not self._changes.is_empty():
            self._place.save_back(self._document, self._changes)
            self._document = self._place.open()
            self._forget_changes()

    def _save_copy(self, place: Place) -> None:
        place.save_copy(self._document, self._changes)
        # Over its own place, it is what lies there from now on.
        if isinstance(self._place, Memory) and isinstance(place, (LocalFile, RemoteFile)) or place == self._place:
            self._document = place.open()
            self._place = place
            self._forget_changes()

    def _forget_changes(self) -> None:
        self._changes = _native.no_change()
        self._preview: _native.Document | None = None
        # Those of one document, which never change; replaced together, so that threads see them together.
        self._properties: tuple[_native.Document | None, dict[str, _native.Property]] = (None, {})

    def _change(self, setter: Callable[..., None], *values: bytes) -> None:
        """Makes a change, unless a flowbook cannot hold it."""
        with self._lock:
            changes = self._changes.copy()
            setter(changes, *values)
            changes.check()
            self._changes, self._preview = changes, None

    def _current(self) -> _native.Document:
        """The flowbook with the changes made, so that they are seen as they will be stored."""
        with self._lock:
            if self._changes.is_empty():
                return self._document
            if self._preview is None:
                self._preview = _native.Document.of_bytes(self._document.changed(self._changes), self._place.name)
            return self._preview

    def _property(self, label: str) -> str | None:
        document = self._current()
        of, properties = self._properties
        if of is not document:
            properties = {each.label: each for each in document.properties()}
            self._properties = document, properties
        found = properties[label]
        if found.fault:
            raise error_of("damaged", found.fault, self._place.name)
        return found.value

    def _repr_html_(self) -> str:
        """For Jupyter: the page in a frame, so that neither style reaches the other's content."""
        frame = "width: 100%; height: 30em; border: 1px solid #8884; resize: vertical"
        return f'<iframe sandbox style="{frame}" srcdoc="{html.escape(self.html)}"></iframe>'

    def __reduce__(self) -> NoReturn:
        raise TypeError("a Flowbook cannot be copied or pickled, as it is an open file with changes; save() it, and "
                        "pass on the path or the bytes")

    def __repr__(self) -> str:
        return f"<Flowbook {self._place.name!r}>"


def _utf8(text: str, name: str) -> bytes:
    if not isinstance(text, str):
        raise TypeError(f"{name} is text, not {type(text).__name__}")
    return text.encode("utf-8")


def _property_text(text: str, name: str) -> bytes:
    utf8 = _utf8(text, name)
    found = _NOT_IN_XML.search(text)
    if found:
        raise MisuseError(f"a {name} cannot hold the character {found[0]!r}", kind="misuse")
    return utf8


def _time(text: str | None) -> datetime | None:
    return datetime.fromisoformat(text.removesuffix("Z")).replace(tzinfo=timezone.utc) if text else None


def open(source: Source, *, storage_options: Mapping[str, Any] | None = None) -> Flowbook:
    """Opens a flowbook; any name will do. Code and parts are read when they are asked for.

    >>> import io
    >>> stored = io.BytesIO()
    >>> Flowbook.new(code="x = 1;").save(stored)
    >>> open(stored.getvalue()).code
    'x = 1;'

    Args:
        source: a path; the bytes of a flowbook; a binary file, which is read by ranges if it can seek and stays open
            and the caller's; or an address such as ``s3://bucket/a.tqx`` of any file system that fsspec knows.
        storage_options: for fsspec.

    Raises:
        NotFoundError: there is no such file.
        DamagedError: it is no flowbook, or is damaged.
        LimitError: it is too large.
        Error: it cannot be read for another reason. What a file object raises is raised as it is.
    """
    return Flowbook(place_of(source, storage_options))
