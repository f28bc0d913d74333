"""The failures of flowbooks."""

from __future__ import annotations

import errno
import os
import re


class Error(Exception):
    """A flowbook could not be read or saved.

    >>> import flowbook
    >>> try:
    ...     flowbook.open(b"no package")
    ... except flowbook.Error as error:
    ...     print(type(error).__name__, error.kind, error.file)
    DamagedError damaged <bytes>

    Attributes:
        file: the name of the flowbook as it was given; ``<bytes>`` or the like for one that has none.
        part: the name of the part concerned, such as ``/tarmic/document.xml``; empty when it is about none.
        words: what was being done, and what was found.
        kind: what to do about it, in one word: ``damaged``, ``encrypted``, ``limit``, ``conflict``, ``not-found``,
            ``misuse``, ``input-output``, or ``not-durable`` (saved, but not confirmed to survive power loss).
    """

    def __init__(self, words: str, file: str = "", part: str = "", kind: str = "input-output") -> None:
        super().__init__(words, file, part, kind)
        self.words = words
        self.file = file
        self.part = part
        self.kind = kind

    def __str__(self) -> str:
        return self.words if not self.file or self.file in self.words else f"{self.file}: {self.words}"


class DamagedError(Error):
    """The file is no flowbook, or breaks the rules of one."""


class EncryptedError(Error):
    """Readable code was asked of a flowbook whose code is encrypted."""


class LimitError(Error):
    """The flowbook is larger than the limits permit, which protect against files made to fill the memory."""


class ConflictError(Error):
    """Somebody else has changed, or made, the file since it was opened. Both versions are still there."""


class NotFoundError(Error, FileNotFoundError):
    """There is no such file; a ``FileNotFoundError`` too."""

    def __init__(self, words: str, file: str = "", part: str = "", kind: str = "not-found") -> None:
        super().__init__(words, file, part, kind)
        self.errno = errno.ENOENT
        self.strerror = os.strerror(errno.ENOENT)
        self.filename = file


class MisuseError(Error, ValueError):
    """A value cannot be stored in a flowbook, or the moment of the call is wrong; a ``ValueError`` too."""


_CLASSES: dict[str, type[Error]] = {
    "damaged": DamagedError,
    "encrypted": EncryptedError,
    "limit": LimitError,
    "conflict": ConflictError,
    "not-found": NotFoundError,
    "misuse": MisuseError,
}
_PART = re.compile(r"\bpart (?:'(/[^']*)'|(/[^\s:,]*))")


def error_of(kind: str, words: str, file: str) -> Error:
    """The exception for a failure of the library."""
    found = _PART.search(words)
    part = (found[1] or found[2]) if found else ""
    return _CLASSES.get(kind, Error)(words, file, part, kind)
