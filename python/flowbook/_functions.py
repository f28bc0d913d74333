"""What the `flowbook` command does, for paths, bytes and flowbooks."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Union

from flowbook import _native
from flowbook._book import Flowbook, open as open_flowbook
from flowbook._errors import DamagedError, MisuseError
from flowbook._parts import Finding
from flowbook._places import FileObject, LocalFile, Memory, Source, place_of

Given = Union[Source, Flowbook]


def check(source: Given) -> tuple[Finding, ...]:
    """What is wrong with a flowbook, a file that is none included; nothing when it can be read whole.

    >>> [finding.id for finding in check(b"no package")]
    ['package.unreadable']
    """
    try:
        return _book(source).check()
    except DamagedError as error:
        return (Finding("error", error.part or "/", "", error.words, "package.unreadable"),)


def digest(source: Given, *, code: bool = False) -> str:
    """SHA-256 over what a flowbook holds, or over its code alone, as `flowbook digest` tells it.

    >>> digest(Flowbook.new(code="x"), code=True) == digest(Flowbook.new(code="x", title="t"), code=True)
    True
    """
    book = _book(source)
    return book.code_digest if code else book.digest


def html(source: Given) -> str:
    """A page that shows a flowbook: one file that runs nothing and loads nothing."""
    return _book(source).html


def canon(source: Given) -> bytes:
    """A flowbook in the one fixed form of `flowbook canon`: equal contents give equal bytes.

    >>> book = Flowbook.new(code="x")
    >>> canon(book) == canon(canon(book))
    True
    """
    return _book(source).canon()


@dataclass(frozen=True)
class Repaired:
    """What could be had of a damaged flowbook.

    Attributes:
        data: the bytes of a flowbook; None when nothing was found.
        saved: names of parts and other entries.
        rebuilt: what was lost and made anew from names and contents, in words.
        lost: what was there and is not any more, in words.
    """

    data: bytes | None
    saved: tuple[str, ...]
    rebuilt: tuple[str, ...]
    lost: tuple[str, ...]

    @property
    def book(self) -> Flowbook:
        """The flowbook; raises `DamagedError` when nothing was found."""
        if self.data is None:
            raise DamagedError("nothing of it could be saved")
        return open_flowbook(self.data)


def repair(source: Source) -> Repaired:
    """Saves what is whole of a damaged file, which it does not change.

    >>> whole = Flowbook.new(code="x = 1;").to_bytes()
    >>> repair(whole[:-40]).book.code
    'x = 1;'
    """
    data, saved, rebuilt, lost = _native.repair(_content(source))
    return Repaired(data, tuple(saved), tuple(rebuilt), tuple(lost))


def _book(source: Given) -> Flowbook:
    return source if isinstance(source, Flowbook) else open_flowbook(source)


def _content(source: object) -> bytes:
    """The bytes of a file that may be no flowbook."""
    place = place_of(source)
    if isinstance(place, LocalFile):
        return place.content()
    if isinstance(place, Memory):
        return place.content()
    if isinstance(place, FileObject):
        return place.content()
    raise MisuseError("a path, bytes or a binary file is needed", place.name)
