"""The paragraphs of rich code."""

from __future__ import annotations

import operator
import re
import sys
from collections.abc import Iterator, Sequence
from typing import TYPE_CHECKING, Any, NamedTuple, overload

from flowbook import _native
from flowbook._errors import Error, MisuseError

if TYPE_CHECKING:
    from flowbook._book import Flowbook, _Turn


# As the library stores text: what XML cannot hold, or would disturb an editor, becomes U+FFFD.
_REPLACED = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u200b\ufffe\uffff]")
# A style of which it is known how it comes back.
_PLAIN_STYLE = re.compile("[A-Za-z0-9 _-]*")


def as_stored(text: str) -> str:
    """Text as it comes back once it was stored."""
    return _REPLACED.sub("\ufffd", text.replace("\r\n", "\n").replace("\r", "\n"))


class Run(NamedTuple):
    """Text of one look within a paragraph. `link` and `picture` are ids of relationships of the code's part."""

    text: str
    bold: bool = False
    italic: bool = False
    underline: bool = False
    strike: bool = False
    link: str = ""
    picture: str = ""


class Paragraph:
    """One paragraph, of prose or of code. It stays the same one when others are inserted and removed. A pickled one
    belongs to no flowbook."""

    __slots__ = ("__weakref__", "_heading", "_held_by", "_hint", "_is_block", "_is_code", "_runs", "_style", "_text")

    def __init__(self, owner: Paragraphs | None, style: str, heading: int, text: str, is_code: bool,
                 is_block: bool = True, runs: tuple[Run, ...] = ()) -> None:
        self._held_by = owner
        self._text = text
        self._is_block = is_block
        self._hint = 0
        self._runs = runs
        self._style = style
        self._heading = heading
        self._is_code = is_code

    @property
    def style(self) -> str:
        """The name of its style, such as ``Heading1``; empty for none."""
        return self._style

    @property
    def heading(self) -> int:
        """1 to 9 for headings, 0 for others."""
        return self._heading

    @property
    def is_code(self) -> bool:
        """Whether it counts as code."""
        return self._is_code

    @property
    def runs(self) -> tuple[Run, ...]:
        """Its text in pieces of one look."""
        if self._held_by is not None:
            self._held_by._settle()
        return self._runs

    @property
    def text(self) -> str:
        """The text; of a code paragraph, its code. Setting it is `replace()`."""
        return self._text

    @text.setter
    def text(self, text: str) -> None:
        self.replace(text)

    def replace(self, text: str) -> None:
        """Gives the paragraph another text. What stays the same in prose keeps its formatting, what is new takes that
        of what stands before it; what stands beside the code in a code paragraph stays."""
        self._owner._replace(self, text)

    def insert_before(self, text: str, style: str = "code") -> Paragraph:
        """A new paragraph before this one, of code unless another style is given; "" is prose without a style."""
        return self._insert(0, text, style)

    def insert_after(self, text: str, style: str = "code") -> Paragraph:
        """As `insert_before()`, behind this one."""
        return self._insert(1, text, style)

    def _insert(self, offset: int, text: str, style: str) -> Paragraph:
        with self._owner._alone():
            return self._owner.insert(self._owner.index(self) + offset, text, style)

    insert = insert_before

    def remove(self) -> None:
        """Removes the paragraph with all that is in it."""
        self._owner.remove(self)

    @property
    def _owner(self) -> Paragraphs:
        if self._held_by is None:
            raise MisuseError("the paragraph belongs to no flowbook, as it was pickled")
        return self._held_by

    def __reduce__(self) -> tuple[Any, ...]:
        return Paragraph, (None, self._style, self._heading, self._text, self._is_code, self._is_block, self.runs)

    def _is_like(self, other: Paragraph) -> bool:
        return (self._text, self._style, self._heading, self._is_code, self._is_block) == (
            other._text, other._style, other._heading, other._is_code, other._is_block)

    def __repr__(self) -> str:
        return f"<Paragraph {'code' if self.is_code else 'prose'} {self.style!r} {self.text[:40]!r}>"


class Paragraphs(Sequence[Paragraph]):
    """The paragraphs of a flowbook's code, in document order; those of tables and boxes too.

    >>> import flowbook
    >>> book = flowbook.Flowbook.new(code="x = 1;")
    >>> book.paragraphs.insert(0, "Setting up", "Heading1")
    <Paragraph prose 'Heading1' 'Setting up'>
    >>> book.paragraphs.append("y = 2;")
    <Paragraph code 'code' 'y = 2;'>
    >>> [paragraph.text for paragraph in book.paragraphs if paragraph.is_code]
    ['x = 1;', 'y = 2;']
    >>> book.paragraphs[0].remove()
    >>> book.code
    'x = 1;\\ny = 2;'
    """

    __slots__ = ("__weakref__", "_all", "_batch", "_batches", "_book", "_changed", "_drift", "_has_edits",
                 "_has_stale_runs", "_known", "_searched", "_version")

    # Edits are collected here, as the flowbook reads and writes the whole text for each batch of them. What belongs
    # together is assigned in one statement, between whose parts no handler of a signal can raise.
    def __init__(self, book: Flowbook) -> None:
        self._book = book
        self._version = -1
        self._all: list[Paragraph] = []
        # As the native flowbook has them, and those of them that have another text by now.
        self._known: list[Paragraph] = []
        self._changed: dict[Paragraph, None] = {}
        self._has_edits = False
        # Edits that are being made, and their number.
        self._batch: tuple[list[tuple[str, int, str, str]], int] | None = None
        self._batches = 0
        self._has_stale_runs = False
        # How far the paragraph that was looked up last stood from its hint, and how many were looked at for that.
        self._drift = 0
        self._searched = 0

    def insert(self, index: int, text: str, style: str = "code") -> Paragraph:
        """A new paragraph before the one at `index`, or behind the last, of code unless another style is given; "" is
        prose without a style. Paragraphs in tables and boxes get no neighbours.
        """
        with self._alone():
            self._load()
            at = slice(operator.index(index), None).indices(len(self._all))[0]
            self._book._checked(text, "text")
            self._book._checked(style, "style")
            if not self._known or not _PLAIN_STYLE.fullmatch(style):
                return self._insert_now(at, text, style)
            if at < len(self._all):
                self._refuse_inner(at)
            made = Paragraph(self, style, _native.heading_of(style), as_stored(text), style == "code")
            made._hint = at
            self._has_edits = self._has_stale_runs = True
            self._all.insert(at, made)
            return made

    def append(self, text: str, style: str = "code") -> Paragraph:
        """A new paragraph behind the last."""
        return self.insert(sys.maxsize, text, style)

    def remove(self, paragraph: Paragraph) -> None:
        """Removes a paragraph with all that is in it."""
        with self._alone():
            index = self.index(paragraph)
            self._refuse_inner(index)
            if index + 1 < len(self._all) and not self._all[index + 1]._is_block:
                self._edit_now(("remove", index, "", ""))  # a box in it may hold paragraphs, which go too
            else:
                self._has_edits = True
                del self._all[index]

    def replace(self, index: int, text: str) -> None:
        """Gives the paragraph at `index` another text, as `Paragraph.replace()` does."""
        self[index].replace(text)

    def index(self, paragraph: object, start: int = 0, stop: int | None = None) -> int:
        """Where a paragraph stands. Raises `MisuseError`, a ``ValueError``, for one that was removed."""
        with self._alone():
            self._load()
            if isinstance(paragraph, Paragraph) and paragraph._held_by is self:
                index = self._found(paragraph)
                if index in range(*slice(start, stop).indices(len(self._all))):
                    return index
        raise MisuseError("the paragraph is not in the flowbook any more", self._book.name)

    @overload
    def __getitem__(self, index: int) -> Paragraph: ...

    @overload
    def __getitem__(self, index: slice) -> list[Paragraph]: ...

    def __getitem__(self, index: int | slice) -> Paragraph | list[Paragraph]:
        return self._loaded()[index]

    def __len__(self) -> int:
        return len(self._loaded())

    def __iter__(self) -> Iterator[Paragraph]:
        """Those that there are when it begins, so that they may be removed meanwhile."""
        return iter(list(self._loaded()))

    def __reduce__(self) -> tuple[Any, ...]:
        """Those of a flowbook that is pickled."""
        return getattr, (self._book, "paragraphs")

    def __repr__(self) -> str:
        return f"<Paragraphs of {self._book.name!r}: {'closed' if self._book._is_closed else len(self)}>"

    def _alone(self) -> _Turn:
        return self._book._alone()

    def _found(self, paragraph: Paragraph) -> int:
        """The index of a paragraph, looked for around the place where it would be when it has moved like the last one;
        -1 when there is none. When many were looked at, the hints are made anew."""
        count, guess = len(self._all), paragraph._hint + self._drift
        for distance in range(max(guess, count - guess, 0) + 1):
            for index in (guess - distance, guess + distance):
                if 0 <= index < count and self._all[index] is paragraph:
                    self._drift = index - paragraph._hint
                    self._searched += distance
                    if self._searched > count:
                        self._give_hints()
                    return index
        return -1

    def _give_hints(self) -> None:
        for index, paragraph in enumerate(self._all):
            paragraph._hint = index
        self._drift = self._searched = 0

    def _refuse_inner(self, index: int) -> None:
        if not self._all[index]._is_block:
            raise MisuseError(f"paragraph {index} stands in a table or box, which stays as it is", self._book.name)

    def _replace(self, paragraph: Paragraph, text: str) -> None:
        with self._alone():
            index = self.index(paragraph)
            if paragraph._is_block:
                self._note_text(paragraph, text)
            else:
                self._edit_now(("replace", index, text, ""))  # alone, as another that is changed may hold it

    def _replace_many(self, texts: dict[Paragraph, str]) -> None:
        with self._alone():
            for paragraph, text in texts.items():
                self.index(paragraph)
                self._note_text(paragraph, text)
            self._give()

    def _note_text(self, paragraph: Paragraph, text: str) -> None:
        stored = as_stored(self._book._checked(text, "text"))
        self._has_edits = self._has_stale_runs = True
        self._changed[paragraph] = None
        paragraph._text = stored

    @property
    def _are_ahead(self) -> bool:
        """Whether there are edits that the native flowbook does not know."""
        return self._has_edits or self._batch is not None

    def _give(self) -> None:
        """Makes the edits. Those of a call that was interrupted are given again with the same number, by which the
        native flowbook knows what it has made already."""
        with self._alone():
            while self._are_ahead:
                if self._batch is None:
                    edits, known = self._edits(), list(self._all)
                    self._batch, self._known, self._changed, self._has_edits = (edits, self._batches), known, {}, False
                    self._batches += 1
                self._make(*self._batch)

    def _make(self, edits: list[tuple[str, int, str, str]], number: int) -> None:
        try:
            if edits:
                self._book._native.edit_paragraphs(edits, number)
        except Error:
            self._version, self._batch, self._has_edits = -1, None, False  # the paragraphs show what there is
            raise
        self._batch = None

    def _edits(self) -> list[tuple[str, int, str, str]]:
        """What leads from those that are known to those that there are; indices are of the known ones."""
        edits: list[tuple[str, int, str, str]] = []
        present = set(self._all)
        edits += [("remove", index, "", "") for index, each in enumerate(self._known) if each not in present]
        indices = {each: index for index, each in enumerate(self._known)}
        following = 0
        for each in self._all:
            index = indices.get(each)
            if index is None:
                edits.append(("insert", following, each._text, each._style))
            else:
                following = index + 1
                if each in self._changed:
                    edits.append(("replace", index, each._text, ""))
        return edits

    def _edit_now(self, edit: tuple[str, int, str, str]) -> None:
        self._give()
        self._version, self._batch, self._batches = -1, ([edit], self._batches), self._batches + 1
        self._give()

    def _insert_now(self, at: int, text: str, style: str) -> Paragraph:
        self._edit_now(("insert", at, text, style))
        made = self._made()[at]
        self._all.insert(at, made)
        self._take(self._all)
        return made

    def _settle(self) -> None:
        """Reads the runs of the paragraphs whose text was replaced."""
        with self._alone():
            if self._has_stale_runs:
                self._take(_kept(self._all, self._made()))

    def _made(self) -> list[Paragraph]:
        return [Paragraph(self, style, heading, text if code is None else code, code is not None, is_block,
                          tuple(Run(*run) for run in runs))
                for style, heading, text, code, is_block, runs in self._book._rich_text()]

    def _loaded(self) -> list[Paragraph]:
        with self._alone():
            self._load()
            return self._all

    def _load(self) -> None:
        """Reads them anew when the code was changed by other means."""
        self._book._refuse_closed()
        if self._version != self._book._version:
            self._take(_kept(self._all, self._made()))

    def _take(self, paragraphs: list[Paragraph]) -> None:
        """Goes on from what the native flowbook has."""
        known = list(paragraphs)
        self._all, self._known, self._version = paragraphs, known, self._book._version
        self._has_stale_runs = False
        self._give_hints()


def _kept(known: list[Paragraph], made: list[Paragraph]) -> list[Paragraph]:
    """Those that were made anew; where they begin and end like the known ones, these, as users may hold them."""
    shorter = min(len(known), len(made))
    begin = next((at for at in range(shorter) if not known[at]._is_like(made[at])), shorter)
    end = next((at for at in range(shorter - begin) if not known[-1 - at]._is_like(made[-1 - at])), shorter - begin)
    same = [*zip(known[:begin], made), *zip(known[len(known) - end:], made[len(made) - end:])]
    for one, other in same:
        one._runs = other._runs
    return [*known[:begin], *made[begin:len(made) - end], *known[len(known) - end:]]
