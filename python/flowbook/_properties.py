"""The core properties."""

from __future__ import annotations

import re
from collections.abc import Iterator, MutableMapping
from typing import TYPE_CHECKING

from flowbook._errors import MisuseError

if TYPE_CHECKING:
    from flowbook._book import Flowbook

_WORD_BREAK = re.compile("(?<=[a-z])(?=[A-Z])")
# Those that hold any text. The others tell times, or what saved the file.
_TEXTS = {"title", "description", "version", "category", "creator", "subject", "keywords", "last_modified_by",
          "content_status", "identifier", "language", "revision"}


class Properties(MutableMapping[str, str]):
    """The core properties of a flowbook by their names, as it is when it is asked; of two of one name the first. What
    is set and removed is kept until `Flowbook.save()`.

    >>> import flowbook
    >>> book = flowbook.Flowbook.new(title="t")
    >>> del book.properties["title"]
    >>> book.title is None
    True
    """

    __slots__ = ("__weakref__", "_book")

    def __init__(self, book: Flowbook) -> None:
        self._book = book

    def _all(self) -> dict[str, tuple[str, str]]:
        """The name in the file and the value of each."""
        found: dict[str, tuple[str, str]] = {}
        for name, value in self._book._current().carried_properties():
            found.setdefault(_WORD_BREAK.sub("_", name).lower(), (name, value))
        return found

    def __getitem__(self, name: str) -> str:
        return self._all()[name][1]

    def __setitem__(self, name: str, text: str) -> None:
        """Raises `MisuseError` for a property that cannot be set."""
        if name not in _TEXTS:
            raise MisuseError(f"the property {name!r} cannot be set", self._book.name)
        first, *others = name.split("_")
        if not isinstance(text, str):
            raise TypeError(f"{name} is text, not {type(text).__name__}")
        self._book._set_property(first + "".join(map(str.capitalize, others)), text)

    def __delitem__(self, name: str) -> None:
        self._book._set_property(self._all()[name][0], None)

    def __iter__(self) -> Iterator[str]:
        return iter(self._all())

    def __len__(self) -> int:
        return len(self._all())

    def __repr__(self) -> str:
        return repr({} if self._book._is_closed else dict(self))
