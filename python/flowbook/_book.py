"""A flowbook, as users see it."""

from __future__ import annotations

import contextlib
import html
import os
import re
import threading
from collections.abc import Callable, Iterator, Mapping
from datetime import datetime, timezone
from types import TracebackType
from typing import Any, TypeVar

from flowbook import _native
from flowbook._errors import EncryptedError, Error, MisuseError, error_of
from flowbook._paragraphs import Paragraphs
from flowbook._parts import Finding, Image, Part, Relationship
from flowbook._places import UTF16, Binary, Memory, Place, Source, Target, binary, place_of
from flowbook._properties import Properties

Self = TypeVar("Self", bound="Flowbook")

# Lone surrogates aside, which no UTF-8 holds (XML 1.0, 2.2).
_NOT_IN_XML = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\ufffe\uffff]")
# Seconds.
_UNTIL_NEXT_LOOK = 0.1
_IMAGE_RELATIONSHIP = "/relationships/image"


class _Turn:
    """A lock that a thread may take again. Raises `MisuseError` instead of waiting for a thread whose call of the
    native flowbook waits for the calling thread."""

    __slots__ = ("_lock", "_native")

    def __init__(self, native: _native.Book) -> None:
        self._lock = threading.RLock()
        self._native = native

    def __enter__(self) -> None:
        while not self._lock.acquire(timeout=_UNTIL_NEXT_LOOK):
            self._native.await_turn()

    def __exit__(self, *_: object) -> None:
        self._lock.release()


class Flowbook:
    """A flowbook: its code, properties, pictures and parts.

    Made by `flowbook.open()` or `Flowbook.new()`. Attributes are read from the file when they are asked for, from the
    version that was opened. What is set is kept until `save()`; the attributes show it at once, as it will be stored:
    line ends are line feeds, and characters that XML cannot hold are U+FFFD in code.

    May be used from several threads; one works on it at a time and others wait. `close()`, or a ``with`` statement,
    gives the file back and drops what was not saved.

    >>> book = Flowbook.new(code="x = 1;\\r\\ny = 2;", title="Two lines")
    >>> book.code, book.form, book.title, book.description
    ('x = 1;\\ny = 2;', 'plain', 'Two lines', None)
    """

    __slots__ = ("__weakref__", "_encrypted_here", "_is_closed", "_native", "_paragraphs", "_place",
                 "_process", "_properties", "_turn", "_version")

    def __init__(self, place: Place) -> None:
        if not hasattr(place, "save_back"):
            raise TypeError("a flowbook is made by flowbook.open() or Flowbook.new()")
        self._place = place
        self._native = place.open()
        self._paragraphs = Paragraphs(self)
        # Counts the changes of the code.
        self._version = 0
        self._encrypted_here = False
        self._is_closed = False
        self._properties: tuple[int, dict[str, _native.Property]] | None = None
        self._turn, self._process = _Turn(self._native), os.getpid()

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

    def close(self) -> None:
        """Gives the file back and drops what was not saved. Later calls raise `MisuseError`; closing again does
        nothing. A file object stays open, as it is the caller's."""
        self._is_closed = True
        self._native.close()

    def __enter__(self: Self) -> Self:
        self._refuse_closed()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 traceback: TracebackType | None) -> None:
        self.close()

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
        """The code as plain text.

        Setting it makes the flowbook plain where there was only code. Prose around the code is kept, if it is clear
        which line belongs to which code paragraph: all changed lines are in one, or each has as many as before. Where
        that is not clear, `MisuseError` is raised and nothing changed; `set_code()` with ``flatten=True`` drops the
        prose.

        >>> book = Flowbook.new()
        >>> book.code = "y = 2;"
        >>> book.code
        'y = 2;'

        Raises `EncryptedError` when it is encrypted, and `DamagedError` when there is none that can be read.
        """
        return self._current().code()

    @code.setter
    def code(self, text: str) -> None:
        self.set_code(text)

    def set_code(self, text: str, *, flatten: bool = False) -> None:
        """Sets the code, as the attribute `code` does.

        Args:
            flatten: whether the flowbook becomes plain, whatever it held: prose, formatting and pictures in the text
                go, and so does encrypted code.
        """
        utf16 = self._checked(text, "code").encode(UTF16)
        with self._changing_code():
            self._refuse_encrypted(flatten)
            self._current().set_code(utf16, flatten)
            self._encrypted_here = False

    def replace_code(self, function: Callable[[str], str]) -> int:
        """Gives each code paragraph what `function` makes of its text; prose and formatting stay. Returns how many
        have changed. When the function raises, nothing is changed.

        >>> book = Flowbook.new(code="old(1);")
        >>> book.replace_code(lambda code: code.replace("old", "new"))
        1
        >>> book.code
        'new(1);'
        """
        texts = {}
        for paragraph in self._paragraphs:
            text = function(paragraph.text) if paragraph.is_code else paragraph.text
            if self._checked(text, "code") != paragraph.text:
                texts[paragraph] = text
        if texts:
            self._paragraphs._replace_many(texts)
        return len(texts)

    @property
    def paragraphs(self) -> Paragraphs:
        """The paragraphs, of prose and of code; they can be replaced, inserted and removed. Raises as `code` does."""
        return self._paragraphs

    @property
    def rich_code(self) -> str:
        """The code with all that is around it, an XML document; raises as `code` does.

        >>> Flowbook.new(code="x").rich_code.startswith("<?xml")
        True
        """
        return self._current().rich_code()

    @rich_code.setter
    def rich_code(self, document: str) -> None:
        utf8 = self._checked(document, "rich_code").encode()
        with self._changing_code():
            self._refuse_encrypted(False)
            self._current().set_rich_code(utf8)
            self._encrypted_here = False

    @property
    def encrypted_code(self) -> bytes | None:
        """The stored bytes of encrypted code, which nothing here decrypts; None when it is not encrypted."""
        return self._current().encrypted_code()

    @encrypted_code.setter
    def encrypted_code(self, content: bytes) -> None:
        stored = binary(content, "encrypted_code")
        with self._changing_code():
            self._current().set_encrypted_code(stored)
            self._encrypted_here = True

    @property
    def title(self) -> str | None:
        """None when there is none; so are the other properties. Setting None, or ``del``, removes it.

        Raises `DamagedError` for one that is faulty.
        """
        return self._property("title")

    @title.setter
    def title(self, text: str | None) -> None:
        self._set_property("title", text)

    @title.deleter
    def title(self) -> None:
        self._set_property("title", None)

    @property
    def description(self) -> str | None:
        """What the flowbook is about."""
        return self._property("description")

    @description.setter
    def description(self, text: str | None) -> None:
        self._set_property("description", text)

    @description.deleter
    def description(self) -> None:
        self._set_property("description", None)

    @property
    def version(self) -> str | None:
        """The version of the document."""
        return self._property("version")

    @version.setter
    def version(self, text: str | None) -> None:
        self._set_property("version", text)

    @version.deleter
    def version(self) -> None:
        self._set_property("version", None)

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
        """When it was saved last, in UTC; after a change, when that was made.

        >>> Flowbook.new(title="t").modified.tzinfo
        datetime.timezone.utc
        """
        return _time(self._property("modified"))

    @property
    def properties(self) -> Properties:
        """All core properties that the file carries, those of other programs too, as text: ``creator``, ``subject``,
        ``keywords``, ``last_modified_by``, ``revision`` and so on. ``del`` removes any; those that are mere text can be
        set.

        >>> book = Flowbook.new(title="t")
        >>> book.properties["creator"] = "Ada"
        >>> book.properties["title"], book.properties["creator"]
        ('t', 'Ada')
        """
        return Properties(self)

    @property
    def images(self) -> tuple[Image, ...]:
        """The pictures, decoded when their data are asked for."""
        native = self._current()
        targets: dict[str, str] = {}
        for each in native.relationships():
            if each.is_internal and each.type.endswith(_IMAGE_RELATIONSHIP):
                targets.setdefault(_resolved(each.source, each.target).lower(), each.id)
        return tuple(Image(self, part.name, part.content_type, part.size, None, targets.get(part.name.lower(), ""))
                     for part in native.parts() if part.is_picture)

    def add_image(self, data: Binary, media_type: str) -> Image:
        """Adds a picture to those that belong to the code, and returns it.

        >>> book = Flowbook.new(code="x")
        >>> image = book.add_image(b"GIF89a...", "image/gif")
        >>> image.name, image.relationship_id, image.data
        ('/media/image1.gif', 'rId1', b'GIF89a...')
        """
        name, relationship = self._current().add_picture(self._checked(media_type, "media_type"), binary(data, "data"))
        info = self._part_info(name)
        return Image(self, name, info.content_type, info.size, None, relationship)

    @property
    def parts(self) -> tuple[Part, ...]:
        """All parts but those that hold relationships, in the order of the file."""
        return tuple(Part(self, part.name, part.content_type, part.size) for part in self._current().parts())

    def add_part(self, name: str, data: Binary, content_type: str) -> Part:
        """Adds a part, to which nothing leads yet; see `add_relationship()`.

        Raises `ConflictError` when there is one of that name, and `MisuseError` for what no part can be called.
        """
        self._checked(name, "name")
        if not self._checked(content_type, "content_type"):
            raise MisuseError("a part has a content type", self.name, name)
        self._current().put_part(name, content_type, binary(data, "data"), True, False)
        info = self._part_info(name)
        return Part(self, info.name, info.content_type, info.size)

    @property
    def relationships(self) -> tuple[Relationship, ...]:
        """Those of the package, then those of each part."""
        return tuple(Relationship(self, each.source, each.id, each.type, each.target, each.is_internal)
                     for each in self._current().relationships())

    def add_relationship(self, type: str, target: str, *, source: str = "/", id: str = "",
                         is_internal: bool = True) -> Relationship:
        """Adds a relationship of the package, or of the part that `source` names, and returns it. Without an `id` it
        gets one that is free.

        >>> book = Flowbook.new(code="x")
        >>> book.add_relationship("http://example.com/see", "http://example.com/", is_internal=False).id
        'rId5'
        """
        for name, value in (("source", source), ("id", id), ("type", type), ("target", target)):
            self._checked(value, name)
        _, made = self._current().add_relationship(source, id, type, target, is_internal)
        return Relationship(self, source, made, type, target, is_internal)

    @property
    def digest(self) -> str:
        """SHA-256 over what the flowbook holds, as `flowbook digest` prints it: saving it without a change, or
        compressing it in another way, gives the same."""
        return self._current().digest(False, True)

    @property
    def undated_digest(self) -> str:
        """As `digest`, without the time at which the flowbook was made: equal for equal content."""
        return self._current().digest(False, False)

    @property
    def code_digest(self) -> str:
        """SHA-256 over the code alone, as `flowbook digest --code` prints it."""
        return self._current().digest(True, True)

    @property
    def text(self) -> str:
        """All of it as lines, for comparing; as `flowbook git textconv` prints it. Never raises for damage within."""
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

    def strip(self) -> bool:
        """Removes outputs, and pictures that nothing refers to, as `flowbook strip` does. Returns whether there were
        any.

        >>> Flowbook.new(code="x").strip()
        True
        """
        with self._changing_code():
            return self._current().strip()

    def to_bytes(self) -> bytes:
        """The flowbook with its changes, as `save()` would write it.

        >>> open(Flowbook.new(code="x").to_bytes()).code
        'x'
        """
        return self._current().to_bytes()

    def canon(self) -> bytes:
        """The flowbook with its changes in the one fixed form of `flowbook canon`: equal contents give equal bytes."""
        return self._current().canonical()

    def save(self, target: Target | None = None, *, storage_options: Mapping[str, Any] | None = None,
             overwrite: bool = False) -> None:
        """Saves the changes where the flowbook came from, or all of it as a copy to another place.

        Saving to a file of the machine is atomic and durable: the file has the old content or the new one, whatever
        happens. `ConflictError` says that somebody else saved since the flowbook was opened; nothing is changed then.
        What was not set keeps its bytes; without any change nothing is written.

        A flowbook that came from no file belongs to the first path or address that it is saved to.

        Saving to where it came from by name replaces whatever is there, also what somebody else has saved meanwhile.

        Args:
            target: a path, an address that fsspec knows, or a binary file that is written from where it stands; the
                one that the flowbook came from gets it in place of its content.
            storage_options: for fsspec.
            overwrite: whether to go back to an address whose store cannot tell if somebody else saved meanwhile, which
                is refused otherwise, and to replace what somebody else saved.
        """
        if target is None:
            self._save_back(overwrite)
        elif isinstance(target, (bytes, bytearray, memoryview)):
            raise TypeError("a path or a binary file is needed")
        else:
            self._save_copy(place_of(target, storage_options))

    def _refuse_closed(self) -> None:
        if self._is_closed:
            raise MisuseError("the flowbook is closed", self.name)

    def _save_back(self, overwrite: bool) -> None:
        self._refuse_closed()
        native = self._current()
        if isinstance(self._place, Memory) or native.is_changed() or overwrite:
            self._place.save_back(native, overwrite)
            self._properties = None

    def _save_copy(self, place: Place) -> None:
        # Over its own place, it is what lies there from now on; from memory, it belongs to its first place.
        moves = place == self._place or isinstance(self._place, Memory) and place.can_be_returned_to
        place.save_copy(self._current(), moves)
        if moves:
            self._place = place

    def _alone(self) -> _Turn:
        """Lets one thread at a time work on the paragraphs, which are counted. What another thread was at when the
        process was forked is looked at anew. Raises `MisuseError` for a file object that the flowbook calls, as another
        thread may have the lock and wait for that call."""
        self._native.refuse_own_calls()
        if self._process != os.getpid():
            self._turn, self._process = _Turn(self._native), os.getpid()
            self._version += 1
        return self._turn

    @contextlib.contextmanager
    def _changing_code(self) -> Iterator[None]:
        with self._alone():
            self._version += 1  # first, so that the paragraphs are read anew also when the change is interrupted
            yield

    def _current(self) -> _native.Book:
        """The native flowbook, which knows all changes."""
        if self._paragraphs._are_ahead and not self._is_closed:
            self._paragraphs._give()
        return self._native

    def _rich_text(self) -> list[Any]:
        native = self._current()
        paragraphs, fault = native.rich_text()
        if not paragraphs:
            native.code()  # raises where there is none that can be read
        if fault:
            raise error_of("damaged", fault, self.name)
        return paragraphs

    def _refuse_encrypted(self, permitted: bool) -> None:
        if not permitted and not self._encrypted_here and self._current().form() == "encrypted":
            try:
                self._native.rich_code()
            except EncryptedError as encrypted:
                raise EncryptedError("the code is encrypted; set_code(text, flatten=True) replaces it", self.name,
                                     encrypted.part) from None

    def _set_property(self, label: str, text: str | None) -> None:
        self._current().set_property(label, None if text is None else self._property_text(text, label))
        self._properties = None

    def _property(self, label: str) -> str | None:
        native = self._current()
        known = self._properties
        if known is None or known[0] != native.revision():
            known = native.revision(), {each.label: each for each in native.properties()}
            self._properties = known
        found = known[1][label]
        if found.fault:
            raise error_of("limit" if found.is_of_limit else "damaged", found.fault, self.name, found.part)
        return found.value

    def _part_info(self, name: str) -> _native.PartInfo:
        """Raises `MisuseError` for one that is not there any more."""
        return self._current().part(name)

    def _content_of(self, name: str) -> bytes:
        return self._current().content(name)

    def _picture_of(self, name: str) -> bytes:
        return self._current().picture(name)

    def _put_part(self, name: str, data: Binary, content_type: str | None, *, is_picture: bool) -> None:
        content, kind = binary(data, "data"), self._checked(content_type or "", "content_type")
        self._part_info(name)
        with self._changing_code():
            self._current().put_part(name, kind, content, False, is_picture)

    def _remove_part(self, name: str) -> None:
        self._part_info(name)
        with self._changing_code():
            self._current().remove_part(name)

    def _rename_part(self, name: str, to: str) -> None:
        self._part_info(name)
        self._current().rename_part(name, self._checked(to, "name"))

    def _remove_relationship(self, source: str, id: str) -> None:
        self._current().remove_relationship(source, id)

    def _checked(self, text: str, name: str) -> str:
        """Text that UTF-8 can hold."""
        if not isinstance(text, str):
            raise TypeError(f"{name} is text, not {type(text).__name__}")
        if not text.isascii():
            try:
                text.encode()
            except UnicodeEncodeError as error:
                raise MisuseError(f"{name} cannot hold the lone surrogate {text[error.start]!r}", self.name) from None
        return text

    def _property_text(self, text: str, name: str) -> bytes:
        found = _NOT_IN_XML.search(self._checked(text, name))
        if found:
            raise MisuseError(f"a {name} cannot hold the character {found[0]!r}", self.name)
        return text.encode()

    def _repr_html_(self) -> str:
        """For Jupyter: the page in a frame, so that neither style reaches the other's content."""
        frame = "width: 100%; height: 30em; border: 1px solid #8884; resize: vertical"
        return f'<iframe sandbox style="{frame}" srcdoc="{html.escape(self.html)}"></iframe>'

    def __reduce__(self) -> tuple[Any, ...]:
        """By source: what is unpickled opens the place anew, and has the changes that were not saved. Of bytes and file
        objects the content goes along, and the copy belongs to no file."""
        native = self._current()
        return _unpickled, (type(self), self._place.pickled(native), native.to_bytes() if native.is_changed() else None)

    def __repr__(self) -> str:
        return f"<Flowbook {self.name!r}>"


def _unpickled(kind: type[Flowbook], place: Place, changed: bytes | None) -> Flowbook:
    book = kind(place)
    if changed is not None:
        place.refuse_if_changed(book._native)
        book._native.hold(changed)
    return book


def _resolved(source: str, target: str) -> str:
    """The name of the part that an internal relationship leads to, as far as names without escapes go."""
    path = target.partition("#")[0]
    return os.path.normpath(path if path.startswith("/") else os.path.join(os.path.dirname(source), path))


def _time(text: str | None) -> datetime | None:
    return datetime.fromisoformat(text.removesuffix("Z")).replace(tzinfo=timezone.utc) if text else None


def open(source: Source, *, storage_options: Mapping[str, Any] | None = None) -> Flowbook:
    """Opens a flowbook; any name will do. Code and parts are read when they are asked for.

    >>> import io
    >>> stored = io.BytesIO()
    >>> Flowbook.new(code="x = 1;").save(stored)
    >>> with open(stored.getvalue()) as book:
    ...     book.code
    'x = 1;'

    Args:
        source: a path; the bytes of a flowbook; a binary file, which is read by ranges if it can seek and stays open
            and the caller's; or an address such as ``memory://a.tqx`` of any file system that fsspec knows.
        storage_options: for fsspec.

    Raises:
        NotFoundError: there is no such file.
        DamagedError: it is no flowbook, or is damaged.
        LimitError: it is too large.
        Error: it cannot be read for another reason. What a file object raises is raised as it is.
    """
    return Flowbook(place_of(source, storage_options))
