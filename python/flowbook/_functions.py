"""What the `flowbook` command does, for paths, bytes and flowbooks."""

from __future__ import annotations

import functools
import operator
from typing import NamedTuple, Union

from flowbook import _native
from flowbook._book import Flowbook, open as open_flowbook
from flowbook._errors import DamagedError, Error
from flowbook._parts import Finding
from flowbook._places import FileObject, Memory, Place, Source, place_of

Given = Union[Source, Flowbook]

_MOST_LINES = 1 << 30


def check(source: Given) -> tuple[Finding, ...]:
    """What is wrong with a flowbook, a file that is none included; nothing when it can be read whole.

    >>> [finding.id for finding in check(b"no package")]
    ['package.unreadable']
    """
    try:
        return _book(source).check()
    except DamagedError as error:
        return (Finding("error", error.part or "/", "", error.words, "package.unreadable"),)


def digest(source: Given, *, code: bool = False, dated: bool = True) -> str:
    """SHA-256 over what a flowbook holds, or over its code alone, as `flowbook digest` prints it. When it is not
    `dated`, the time at which the flowbook was made does not count.

    >>> digest(Flowbook.new(code="x"), code=True) == digest(Flowbook.new(code="x", title="t"), code=True)
    True
    """
    book = _book(source)
    return book.code_digest if code else book.digest if dated else book.undated_digest


def html(source: Given) -> str:
    """A page that shows a flowbook: one file that runs nothing and loads nothing. Of a damaged file it shows what
    `repair()` would save, and says so; `DamagedError` is raised when that is nothing.

    >>> "x = 1;" in html(Flowbook.new(code="x = 1;").to_bytes()[:-40])
    True
    """
    if isinstance(source, Flowbook):
        return source.html
    place = _place(source)
    try:
        return Flowbook(place).html
    except DamagedError as damage:
        page = _native.damaged_html(place.content(), place.name, damage.words)
        if page is None:
            raise
        return page


def canon(source: Given) -> bytes:
    """A flowbook in the one fixed form of `flowbook canon`: equal contents give equal bytes.

    >>> book = Flowbook.new(code="x")
    >>> canon(book) == canon(canon(book))
    True
    """
    return _book(source).canon()


class _Result:
    """A result whose flowbook is opened once, so that what is changed in it is there when it is saved."""

    def __setattr__(self, name: str, value: object) -> None:
        raise AttributeError(f"{type(self).__name__} has no attribute {name!r} that can be set")


class _Repaired(NamedTuple):
    data: bytes | None
    saved: tuple[str, ...]
    rebuilt: tuple[str, ...]
    lost: tuple[str, ...]


class Repaired(_Repaired, _Result):
    """What could be had of a damaged flowbook.

    Attributes:
        data: the bytes of a flowbook; None when nothing was found.
        saved: names of parts and other entries.
        rebuilt: what was lost and made anew from names and contents, in words.
        lost: what was there and is not any more, in words.
    """

    @functools.cached_property
    def book(self) -> Flowbook:
        """The flowbook; raises `DamagedError` when nothing was found."""
        if self.data is None:
            raise DamagedError("nothing of it could be saved")
        return open_flowbook(self.data)


def strip(source: Given) -> bytes:
    """A flowbook without outputs, and without pictures that nothing refers to, as `flowbook strip` leaves it; the rest
    keeps its bytes. `Flowbook.strip()` does so in place.

    >>> [part.name for part in open(strip(Flowbook.new(code="x"))).parts if "output" in part.name]
    []
    """
    book = _book(source)
    content = book.to_bytes()
    return _native.stripped(content, book.name) or content


def diff(a: Given, b: Given, *, context: int = 3) -> str:
    """How two flowbooks differ: properties, parts, prose and code, as lines in the unified format; empty when they
    hold the same. Of a file that is no flowbook there are its size and digest to compare.

    >>> [line for line in diff(Flowbook.new(code="x"), Flowbook.new(code="y")).splitlines() if line[1:3] == "  "]
    ['-  x', '+  y']
    """
    lines = min(max(operator.index(context), 0), _MOST_LINES)
    return _native.diff(*_named_text(a), *_named_text(b), lines)


def _named_text(source: Given) -> tuple[str, str]:
    if isinstance(source, Flowbook):
        return source.name, source.text
    place = _place(source)
    try:
        return place.name, Flowbook(place).text
    except DamagedError:
        return place.name, _native.text_of(place.content())


class Conflict(NamedTuple):
    """Something that both sides of a merge changed, each in its own way.

    Attributes:
        kind: ``code``, ``property``, ``part``, ``relationship`` or ``entry`` (of the container, which is no part).
        what: which one: the label of a property, the name of a part, and so on.
        words: what became of it.
        base, ours, theirs: the values as far as they are text; None for one that is not there.
    """

    kind: str
    what: str
    words: str
    base: str | None
    ours: str | None
    theirs: str | None


class _Merged(NamedTuple):
    data: bytes
    conflicts: tuple[Conflict, ...]
    notes: tuple[str, ...]


class Merged(_Merged, _Result):
    """What a merge has made.

    Attributes:
        data: the bytes of a flowbook. Where code is in conflict, it has both sides between markers.
        conflicts: what is to be settled.
        notes: what was decided without being a conflict, in words.
    """

    @functools.cached_property
    def book(self) -> Flowbook:
        """The flowbook, which is in no file yet."""
        return open_flowbook(self.data)


def merge(base: Given | None, ours: Given, theirs: Given, *, favour: str | None = None, outputs: str | None = None,
          labels: tuple[str, str] = ("ours", "theirs")) -> Merged:
    """Brings two changes of a flowbook together, as `flowbook merge` does: by paragraph, line, property and part.

    >>> base = Flowbook.new(code="a;\\nb;\\nc;")
    >>> ours, theirs = (open(base.to_bytes()) for _ in range(2))
    >>> ours.code, theirs.title = "A;\\nb;\\nc;", "t"
    >>> merged = merge(base, ours, theirs)
    >>> merged.book.code, merged.book.title, merged.conflicts
    ('A;\\nb;\\nc;', 't', ())

    Args:
        base: the version that both come from; None when there is none.
        favour: whose change is taken where both changed the same: ``ours`` or ``theirs``; None leaves a conflict.
        outputs: of which side outputs are kept: ``ours``, ``theirs``, ``drop`` or ``conflict``; None keeps those of the
            side whose code the merged code is.
        labels: what the sides are called in the markers.
    """
    for name, given, known in (("favour", favour, ("ours", "theirs")),
                               ("outputs", outputs, ("ours", "theirs", "drop", "conflict"))):
        if given is not None and given not in known:
            raise ValueError(f"{name} is one of {', '.join(known)}, not {given!r}")
    first, second = labels
    old, mine, other = None if base is None else _book(base), _book(ours), _book(theirs)
    try:
        data, conflicts, notes = _native.merge(None if old is None else old.to_bytes(), mine.to_bytes(),
                                               other.to_bytes(), favour or "", outputs or "", first, second)
    except Error:
        for each in (old, mine, other):
            if each is not None:
                each.digest  # raises the failure of the one that cannot be read, with its name
        raise
    return Merged(data, tuple(Conflict(*each) for each in conflicts), tuple(notes))


def repair(source: Given) -> Repaired:
    """Saves what is whole of a damaged file, which it does not change.

    >>> whole = Flowbook.new(code="x = 1;").to_bytes()
    >>> repair(whole[:-40]).book.code
    'x = 1;'
    """
    data, saved, rebuilt, lost = _native.repair(_content(source))
    return Repaired(data, tuple(saved), tuple(rebuilt), tuple(lost))


def _book(source: Given) -> Flowbook:
    return source if isinstance(source, Flowbook) else open_flowbook(source)


def _place(source: Source) -> Place:
    """A place that can be read twice."""
    place = place_of(source)
    can_be_read_again = not isinstance(place, FileObject) or place.can_seek
    return place if can_be_read_again else Memory(place.content(), place.name)


def _content(source: Given) -> bytes:
    """The bytes of a file that may be no flowbook."""
    return source.to_bytes() if isinstance(source, Flowbook) else place_of(source).content()
