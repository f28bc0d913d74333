"""What a flowbook holds, as users see it."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

from flowbook._errors import MisuseError
from flowbook._pictures import dimensions_of, media_type_of
from flowbook._places import Binary

if TYPE_CHECKING:
    from flowbook._book import Flowbook


class Part:
    """A part of the package. It stands for the part of that name in its flowbook, as the flowbook is when it is asked.

    Two are equal when name, content type and data are. A pickled one has its data with it, and belongs to no flowbook.
    """

    __slots__ = ("__weakref__", "_book", "_content_type", "_data", "_name", "_stored_size")

    def __init__(self, book: Flowbook | None, name: str, content_type: str, size: int,
                 data: bytes | None = None) -> None:
        self._book = book
        self._data = data
        self._name = name
        self._content_type = content_type
        self._stored_size = size

    @property
    def name(self) -> str:
        """Such as ``/tarmic/document.xml``; `rename()` gives another."""
        return self._name

    @property
    def content_type(self) -> str:
        """In full, parameters included; `replace()` can give another."""
        return self._content_type

    @property
    def stored_size(self) -> int:
        """Of the content, in bytes, as it is in the part."""
        return self._stored_size

    @property
    def media_type(self) -> str:
        """The content type without its parameters."""
        return self.content_type.partition(";")[0].strip().lower()

    @property
    def data(self) -> bytes:
        """The content, read when it is asked for; of an `Image` the picture itself."""
        return self._owner._content_of(self.name) if self._data is None else self._data

    @property
    def size(self) -> int:
        """Of `data`, in bytes."""
        return self.stored_size

    @property
    def relationships(self) -> tuple[Relationship, ...]:
        """Those that lead from this part to others."""
        return tuple(each for each in self._owner.relationships if each.source == self.name)

    def replace(self, data: Binary, content_type: str | None = None) -> None:
        """Gives the part other content, and another type if one is given. Relationships to it stay.

        >>> import flowbook
        >>> book = flowbook.Flowbook.new()
        >>> part = book.add_part("/notes.txt", b"a", "text/plain")
        >>> part.replace(b"b")
        >>> book.parts[-1].data
        b'b'
        """
        self._owner._put_part(self.name, data, content_type, is_picture=False)
        self._note(content_type)

    def remove(self) -> None:
        """Removes the part, and the relationships to it. What the text refers to by them shows nothing then."""
        self._owner._remove_part(self.name)

    def rename(self, name: str) -> None:
        """Gives the part another name, which the relationships to it follow.

        Raises `ConflictError` when there is a part of that name, and `MisuseError` for what no part can be called.
        """
        self._owner._rename_part(self.name, name)
        self._name = name

    def _note(self, content_type: str | None) -> None:
        info = self._owner._part_info(self.name)
        self._content_type, self._stored_size = info.content_type, info.size

    @property
    def _owner(self) -> Flowbook:
        if self._book is None:
            raise MisuseError(f"{self.name} belongs to no flowbook, as it was pickled")
        return self._book

    def __eq__(self, other: object) -> bool:
        if type(other) is not type(self):
            return NotImplemented
        assert isinstance(other, Part)
        if other is self:
            return True  # also when it cannot be read any more
        known = (self.name, self.content_type, self.stored_size) == (other.name, other.content_type, other.stored_size)
        return known and self.data == other.data

    def __hash__(self) -> int:
        return hash((type(self), self.name))

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (None, self.name, self.content_type, self.stored_size, self.data)

    def __repr__(self) -> str:
        return "{}(name={!r}, content_type={!r}, stored_size={!r})".format(type(self).__name__, self.name,
                                                                          self.content_type, self.stored_size)


class Image(Part):
    """A picture. It is stored as a data URI, which `data` decodes; `stored_size` is that of the data URI."""

    __slots__ = ("_relationship_id",)

    def __init__(self, book: Flowbook | None, name: str, content_type: str, size: int, data: bytes | None = None,
                 relationship_id: str = "") -> None:
        super().__init__(book, name, content_type, size, data)
        self._relationship_id = relationship_id

    @property
    def relationship_id(self) -> str:
        """Of the relationship by which the code refers to it; empty when there is none."""
        return self._relationship_id

    @property
    def data(self) -> bytes:
        """The picture, decoded. Raises `DamagedError` when that cannot be done."""
        return self._owner._picture_of(self.name) if self._data is None else self._data

    @property
    def size(self) -> int:
        """Of the picture, in bytes."""
        return len(self.data)

    @property
    def picture_type(self) -> str:
        """The media type by the picture's first bytes; where they are of no known kind, the part's own `media_type`.

        >>> import flowbook
        >>> flowbook.Flowbook.new().add_image(b"GIF89a", "image/png").picture_type
        'image/gif'
        """
        return media_type_of(self.data) or self.media_type

    @property
    def dimensions(self) -> tuple[int, int] | None:
        """Width and height in pixels, as PNG, GIF, JPEG, BMP and WebP have them; None for others."""
        return dimensions_of(self.data)

    def replace(self, data: Binary, content_type: str | None = None) -> None:
        """Gives it another picture, of another media type if one is given; the text that shows it shows the new one."""
        self._owner._put_part(self.name, data, content_type, is_picture=True)
        self._note(content_type)

    def __reduce__(self) -> tuple[Any, ...]:
        return Image, (None, self.name, self.content_type, self.stored_size, self.data, self.relationship_id)


class Relationship:
    """A relationship of the package, or of a part."""

    __slots__ = ("__weakref__", "_book", "_id", "_is_internal", "_source", "_target", "_type")

    def __init__(self, book: Flowbook | None, source: str, id: str, type: str, target: str, is_internal: bool) -> None:
        self._book = book
        self._source = source
        self._id = id
        self._type = type
        self._target = target
        self._is_internal = is_internal

    @property
    def source(self) -> str:
        """The name of the part that it starts from; ``/`` for the package."""
        return self._source

    @property
    def id(self) -> str:
        """Unique among those of one source."""
        return self._id

    @property
    def type(self) -> str:
        """A URI."""
        return self._type

    @property
    def target(self) -> str:
        """As it is stored: a part name, absolute or relative to the source, or any URI."""
        return self._target

    @property
    def is_internal(self) -> bool:
        """Whether the target is in the package."""
        return self._is_internal

    def remove(self) -> None:
        """Removes it; what it leads to stays."""
        if self._book is None:
            raise MisuseError(f"the relationship {self.id} belongs to no flowbook, as it was pickled")
        self._book._remove_relationship(self.source, self.id)

    def _values(self) -> tuple[str, str, str, str, bool]:
        return self.source, self.id, self.type, self.target, self.is_internal

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Relationship):
            return NotImplemented
        return self._values() == other._values()

    def __hash__(self) -> int:
        return hash(self._values())

    def __reduce__(self) -> tuple[Any, ...]:
        return Relationship, (None, *self._values())

    def __repr__(self) -> str:
        return "Relationship(source={!r}, id={!r}, type={!r}, target={!r}, is_internal={!r})".format(*self._values())


class Finding(NamedTuple):
    """One thing that is wrong with a flowbook: an ``error``, which reading refuses, or a ``warning``.

    `id` stays the same from version to version, such as ``picture.malformed``.
    """

    severity: str
    part: str
    place: str
    words: str
    id: str
