"""Many flowbooks, on many machines: readers for Dask.

>>> import tempfile, flowbook, flowbook.dask
>>> folder = tempfile.mkdtemp()
>>> for number in range(3):
...     flowbook.Flowbook.new(code="x = 1;\\n" * number).save(f"{folder}/{number}.tqx")
>>> list(flowbook.dask.read_flowbooks(folder, columns=["lines", "form"]).compute().lines)
[0, 1, 2]
>>> sorted(flowbook.dask.map_flowbooks(lambda book: len(book.code), folder).compute(scheduler="sync"))
[0, 7, 14]

The engine, its scheduler and what it does when a worker is lost are Dask's. Reading changes nothing, so whatever is
done twice gives the same rows.
"""

from __future__ import annotations

import hashlib
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any, Generic, Protocol, TypeVar

import pandas  # type: ignore[import]
from dask.bag import core as bag
from dask.dataframe.io import io as dataframe
from dask.utils import parse_bytes

import flowbook
from flowbook import _many
from flowbook._many import ATTEMPTS, File, Locations
from flowbook._places import FileObject, LocalFile, Memory, Place

Result = TypeVar("Result")

# Dask is only partly typed.
_from_map: Any = dataframe.from_map
_from_sequence: Any = bag.from_sequence

COLUMNS = {"path": "object", "title": "object", "code": "object", "lines": "Int64", "form": "object",
           "modified": "datetime64[ns, UTC]", "digest": "object", "pictures": "Int64", "error": "object"}


class Bag(Protocol[Result]):
    """What is used of a Dask bag."""

    def compute(self, **options: Any) -> list[Result]: ...


def read_flowbooks(urlpath: Locations, columns: str | Sequence[str] | None = None,
                   storage_options: Mapping[str, Any] | None = None, blocksize: int | str = "32 MiB") -> Any:
    """A Dask dataframe with a row a flowbook.

    The columns are ``path``, ``title``, ``code``, ``lines`` (of the code), ``form``, ``modified`` (to the nanosecond,
    so years before 1678 and after 2261 are missing), ``digest``, ``pictures`` (their number) and ``error``. What is
    absent is missing, and so is the code of an encrypted flowbook. What is damaged, or gone since the list was made, is
    missing and named in ``error``. Failures of a file system that may be over soon are raised, so that the engine's
    ``retries`` apply.

    Args:
        urlpath: a folder, of which all files named ``*.tqx`` and ``*.tqapp`` at any depth are read; a pattern with
            ``*``, ``?`` or ``[]``; a file; or several of these. Paths or addresses that fsspec knows. An address on the
            web is a file, whatever it looks like, unless it ends in a slash.
        columns: those wanted, or one. Only what they take is read from a file: ``title`` is cheap, ``digest`` reads it
            all.
        storage_options: for fsspec.
        blocksize: of a partition, in bytes or such as "32 MiB"; every file counts for 64 KiB at least.
    """
    wanted = _many.checked_columns(columns)
    blocks = _blocks(urlpath, storage_options, blocksize)
    return _from_map(_ReadRows(wanted), blocks, meta=_frame({name: [] for name in wanted}, wanted),
                     label="read-flowbooks")


def map_flowbooks(func: Callable[[flowbook.Flowbook], Result], urlpath: Locations,
                  storage_options: Mapping[str, Any] | None = None, blocksize: int | str = "32 MiB",
                  on_error: Callable[[str, flowbook.Error], Result] | None = None) -> Bag[Result]:
    """A Dask bag of what `func` returns for each flowbook.

    Args:
        func: called with a `flowbook.Flowbook`, once for each, or more often when a worker is lost.
        urlpath, storage_options, blocksize: as `read_flowbooks()` takes them.
        on_error: called with path and error for a flowbook for which there was a `flowbook.Error`, also in `func`;
            what it returns is the result. Without it the error is raised.
    """
    blocks = _from_sequence(_blocks(urlpath, storage_options, blocksize), partition_size=1)
    made: Bag[Result] = blocks.map(_MapBlock(func, on_error)).flatten()
    return made


class _Block:
    """Files of one file system, which make a partition."""

    def __init__(self, files: Any, given: Sequence[File] = ()) -> None:
        self.files = files
        self.paths = [file.path for file in given]
        # Each address is its path behind what they have in common, so that the graph holds names but once.
        self.begin = given[0].url.removesuffix(given[0].path) if given else ""
        self.others = [] if all(file.url == self.begin + file.path for file in given) else [file.url for file in given]
        self.sizes = [file.size for file in given]
        self.token = hashlib.sha256(repr([file[2:] for file in given]).encode("utf-8", "surrogatepass")).hexdigest()

    def __dask_tokenize__(self) -> str:
        """So that results for other files, or for these before they changed, are not taken for these."""
        return self.token

    @property
    def urls(self) -> list[str]:
        return self.others or [self.begin + path for path in self.paths]

    def sources(self) -> Iterator[Any]:
        """The path, content or binary file of each; a FileNotFoundError for one that is gone."""
        return _many.sources(self.files, self.paths, self.sizes)


class _ReadRows:
    """Makes a partition; Dask asks for fewer columns when fewer are used."""

    def __init__(self, columns: list[str]) -> None:
        self.columns = columns

    def project_columns(self, columns: list[str]) -> _ReadRows:
        return _ReadRows(list(columns))

    def __call__(self, block: _Block) -> Any:
        cells = _many.table(block.files, block.paths, block.urls, block.sizes, self.columns)
        return _frame(cells, self.columns)


class _MapBlock(Generic[Result]):
    def __init__(self, func: Callable[[flowbook.Flowbook], Result],
                 on_error: Callable[[str, flowbook.Error], Result] | None) -> None:
        self._func, self._on_error = func, on_error

    def __call__(self, block: _Block) -> list[Result]:
        return [self._result(block, url, source) for url, source in zip(block.urls, block.sources())]

    def _result(self, block: _Block, url: str, source: Any) -> Result:
        for attempt in range(1, ATTEMPTS + 1):
            try:
                return self._func(flowbook.Flowbook(_place_of(url, source)))
            except flowbook.Error as error:
                if isinstance(error, flowbook.ConflictError) and block.files is not None and attempt < ATTEMPTS:
                    source = _many._unless_gone(_many._opened, block.files, block.paths[block.urls.index(url)])
                elif self._on_error is None:
                    raise
                else:
                    return self._on_error(url, error)
        raise AssertionError


def _place_of(url: str, source: Any) -> Place:
    if isinstance(source, FileNotFoundError):
        raise flowbook.NotFoundError("there is no such file", url) from source
    if isinstance(source, bytes):
        return Memory(source, url)
    if isinstance(source, str):
        return LocalFile(source)
    place = FileObject(source)
    place.name = url
    return place


def _frame(cells: Mapping[str, list[Any]], columns: list[str]) -> Any:
    count = max(map(len, cells.values()), default=0)  # of rows, also when no column is wanted
    return pandas.DataFrame({name: _series(cells[name], COLUMNS[name]) for name in columns}, columns=columns,
                            index=range(count))


def _series(values: list[Any], kind: str) -> Any:
    if kind.startswith("datetime"):
        return pandas.to_datetime(pandas.Series(values, dtype="object"), errors="coerce", utc=True)
    return pandas.Series(values, dtype=kind)


def _blocks(urlpath: Locations, options: Mapping[str, Any] | None, blocksize: int | str) -> list[_Block]:
    """The files, sorted, in groups of about `blocksize` bytes; one group at least."""
    limit, size = parse_bytes(blocksize), 0
    groups: list[list[File]] = []
    found = {file.url: file for file in _many.files_of(urlpath, options)}
    for file in (found[url] for url in sorted(found)):
        if not groups or size + file.cost > limit or groups[-1][0].files is not file.files:
            groups.append([])
            size = 0
        groups[-1].append(file)
        size += file.cost
    return [_Block(group[0].files, group) for group in groups] or [_Block(None)]
