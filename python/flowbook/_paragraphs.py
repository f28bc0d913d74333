"""The paragraphs of rich code."""

from __future__ import annotations

import operator
import re
import sys
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, overload

from flowbook._errors import MisuseError

if TYPE_CHECKING:
    import threading

    from flowbook._book import Flowbook


# As the library stores text: what XML cannot hold, or would disturb an editor, becomes U+FFFD.
_REPLACED = re.compile("[\x00-\x08\x0b\x0c\x0e-\x1f\x7f-\x9f\u200b\ufffe\uffff]")


def as_stored(text: str) -> str:
    """Text as it comes back once it was stored."""
    return _REPLACED.sub("\ufffd", text.replace("\r\n", "\n").replace("\r", "\n"))


@dataclass(frozen=True, slots=True)
class Run:
    """Text of one look within a paragraph. `link` and `picture` are ids of relationships of the code's part."""

    text: str
    bold: bool = False
    italic: bool = False
    underline: bool = False
    strike: bool = False
    link: str = ""
    picture: str = ""


class Paragraph:
    """One paragraph, of prose or of code. It stays the same one when others are inserted and removed.

    Attributes:
        style: its name, such as ``Heading1``; empty for none.
        heading: 1 to 9 for headings, 0 for others.
        is_code: whether it counts as code.
    """

    __slots__ = ("__weakref__", "_hint", "_is_block", "_owner", "_runs", "_text", "heading", "is_code", "style")

    def __init__(self, owner: Paragraphs, style: str, heading: int, text: str, code: str | None, is_block: bool,
                 runs: tuple[Run, ...]) -> None:
        self._owner = owner
        self._text = text if code is None else code
        self._is_block = is_block
        self._hint = 0
        self._runs = runs
        self.style = style
        self.heading = heading
        self.is_code = code is not None

    @property
    def runs(self) -> tuple[Run, ...]:
        """Its text in pieces of one look."""
        self._owner._settle()
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

    def _is_like(self, other: Paragraph) -> bool:
        return (self._text, self.style, self.heading, self.is_code, self._is_block) == (
            other._text, other.style, other.heading, other.is_code, other._is_block)

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

    __slots__ = ("__weakref__", "_all", "_book", "_has_stale_runs", "_version")

    def __init__(self, book: Flowbook) -> None:
        self._book = book
        self._all: list[Paragraph] = []
        self._has_stale_runs = False
        self._version = -1

    def insert(self, index: int, text: str, style: str = "code") -> Paragraph:
        """A new paragraph before the one at `index`, or behind the last, of code unless another style is given; "" is
        prose without a style. Paragraphs in tables and boxes get no neighbours.
        """
        with self._alone():
            self._load()
            at = slice(operator.index(index), None).indices(len(self._all))[0]
            self._book._edit_paragraphs([("insert", at, text, style)])
            return self._reload(at)

    def append(self, text: str, style: str = "code") -> Paragraph:
        """A new paragraph behind the last."""
        return self.insert(sys.maxsize, text, style)

    def remove(self, paragraph: Paragraph) -> None:
        """Removes a paragraph with all that is in it."""
        with self._alone():
            index = self.index(paragraph)
            self._book._edit_paragraphs([("remove", index, "", "")])
            self._all.pop(index)
            self._note()

    def replace(self, index: int, text: str) -> None:
        """Gives the paragraph at `index` another text, as `Paragraph.replace()` does."""
        self[index].replace(text)

    def index(self, paragraph: object, start: int = 0, stop: int | None = None) -> int:
        """Where a paragraph stands. Raises `MisuseError`, a ``ValueError``, for one that was removed."""
        with self._alone():
            self._load()
            hint = paragraph._hint if isinstance(paragraph, Paragraph) else 0
            if start == 0 and stop is None and hint < len(self._all) and self._all[hint] is paragraph:
                return hint
            for index in range(*slice(start, stop).indices(len(self._all))):
                if self._all[index] is paragraph:
                    self._all[index]._hint = index
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

    def __repr__(self) -> str:
        return f"<Paragraphs of {self._book.name!r}: {len(self)}>"

    def _alone(self) -> threading.RLock:
        return self._book._alone()

    def _replace(self, paragraph: Paragraph, text: str) -> None:
        with self._alone():
            index = self.index(paragraph)
            self._book._replace_paragraph(index, text, at_once=not paragraph._is_block)
            self._note_texts({paragraph: text})

    def _replace_many(self, texts: dict[Paragraph, str]) -> None:
        with self._alone():
            self._book._edit_paragraphs([("replace", self.index(each), text, "") for each, text in texts.items()])
            self._note_texts(texts)

    def _note_texts(self, texts: dict[Paragraph, str]) -> None:
        for paragraph, text in texts.items():
            paragraph._text = as_stored(text)
        self._has_stale_runs = True
        self._note()

    def _settle(self) -> None:
        """Reads the runs of the paragraphs whose text was replaced."""
        with self._alone():
            if self._has_stale_runs:
                self._all = _kept(self._all, self._made())
                self._has_stale_runs = False

    def _made(self) -> list[Paragraph]:
        return [Paragraph(self, style, heading, text, code, is_block, tuple(Run(*run) for run in runs))
                for style, heading, text, code, is_block, runs in self._book._rich_text()]

    def _loaded(self) -> list[Paragraph]:
        with self._alone():
            self._load()
            return self._all

    def _load(self) -> None:
        """Reads them anew when the code was changed by other means."""
        if self._version != self._book._version:
            self._all = _kept(self._all, self._made())
            self._has_stale_runs = False
            for index, paragraph in enumerate(self._all):
                paragraph._hint = index
            self._note()

    def _reload(self, new: int) -> Paragraph:
        self._all.insert(new, self._made()[new])
        self._all[new]._hint = new
        self._note()
        return self._all[new]

    def _note(self) -> None:
        self._version = self._book._version


def _kept(known: list[Paragraph], made: list[Paragraph]) -> list[Paragraph]:
    """Those that were made anew; where they begin and end like the known ones, these, as users may hold them."""
    shorter = min(len(known), len(made))
    begin = next((at for at in range(shorter) if not known[at]._is_like(made[at])), shorter)
    end = next((at for at in range(shorter - begin) if not known[-1 - at]._is_like(made[-1 - at])), shorter - begin)
    same = [*zip(known[:begin], made), *zip(known[len(known) - end:], made[len(made) - end:])]
    for one, other in same:
        one._runs = other._runs
    return [*known[:begin], *made[begin:len(made) - end], *known[len(known) - end:]]
