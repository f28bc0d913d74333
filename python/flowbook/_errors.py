"""The failures of flowbooks."""

from __future__ import annotations

import errno
import os
from typing import Any, ClassVar


class Error(Exception):
    """A flowbook could not be read or saved.

    >>> import flowbook
    >>> try:
    ...     flowbook.open(b"no package")
    ... except flowbook.Error as error:
    ...     print(type(error).__name__, error.kind, error.file)
    DamagedError damaged <bytes>
    >>> flowbook.ConflictError("changed").kind
    'conflict'

    Attributes:
        file: the name of the flowbook as it was given; ``<bytes>`` or the like for one that has none.
        part: the name of the part concerned, such as ``/tarmic/document.xml``; empty when it is about none.
        words: what was being done, and what was found.
        kind: the reason in one word: ``damaged``, ``encrypted``, ``limit``, ``conflict``, ``not-found``,
            ``misuse``, ``input-output``, or ``not-durable`` (saved, but not confirmed to survive power loss).
    """

    _kind: ClassVar[str] = "input-output"

    def __init__(self, words: str = "", file: str = "", part: str = "", kind: str | None = None) -> None:
        super().__init__(words, file, part, kind or self._kind)
        self.words = words
        self.file = file
        self.part = part
        self.kind = kind or self._kind

    def __str__(self) -> str:
        return self.words if not self.file or self.file in self.words else f"{self.file}: {self.words}"

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.words, self.file, self.part, self.kind), self.__dict__


class DamagedError(Error):
    """The file is no flowbook, or breaks the rules of one."""

    _kind = "damaged"


class EncryptedError(Error):
    """Readable code was asked of a flowbook whose code is encrypted."""

    _kind = "encrypted"


class LimitError(Error):
    """The flowbook is larger than the limits permit, which protect against files made to fill the memory."""

    _kind = "limit"


class ConflictError(Error):
    """Somebody else has changed, or made, the file since it was opened, or a name is taken. Nothing was replaced."""

    _kind = "conflict"


class NotFoundError(Error, FileNotFoundError):
    """There is no such file; a ``FileNotFoundError`` too."""

    _kind = "not-found"

    def __init__(self, words: str = "", file: str = "", part: str = "", kind: str | None = None) -> None:
        super().__init__(words, file, part, kind)
        self.errno = errno.ENOENT
        self.strerror = os.strerror(errno.ENOENT)
        self.filename = file


class MisuseError(Error, ValueError):
    """A value cannot be stored in a flowbook, or the moment of the call is wrong; a ``ValueError`` too."""

    _kind = "misuse"


_CLASSES: dict[str, type[Error]] = {
    each._kind: each for each in (DamagedError, EncryptedError, LimitError, ConflictError, NotFoundError, MisuseError)
}


def error_of(kind: str, words: str, file: str, part: str = "") -> Error:
    """The exception for a failure of the library."""
    return _CLASSES.get(kind, Error)(words, file, part, kind)
