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
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from typing import Any, NamedTuple, TypeVar, Union

import fsspec  # type: ignore[import]
import pandas  # type: ignore[import]
from dask.bag import core as bag
from dask.dataframe.io import io as dataframe
from dask.utils import parse_bytes

import flowbook
from flowbook import _native
from flowbook._errors import error_of
from flowbook._places import Memory, name_of, native_path, opened, place_of

Result = TypeVar("Result")
Locations = Union[str, "os.PathLike[str]", Sequence[str]]

# Dask is only partly typed.
_from_map: Any = dataframe.from_map
_from_sequence: Any = bag.from_sequence

COLUMNS = {"path": "object", "title": "object", "code": "object", "lines": "Int64", "form": "object",
           "modified": "datetime64[ns, UTC]", "digest": "object", "pictures": "Int64", "error": "object"}
# A small file takes about as long to open as so many bytes of a large one take to read.
_BYTES_OF_OPENING = 64 * 1024
# One request for all of it is quicker than one for each range.
_BYTES_AT_ONCE = 256 * 1024
# At a time, so that neither the server nor the number of open files is overwhelmed.
_REQUESTS = 32


def read_flowbooks(urlpath: Locations, columns: Sequence[str] | None = None,
                   storage_options: Mapping[str, Any] | None = None, blocksize: int | str = "32 MiB") -> Any:
    """A Dask dataframe with a row a flowbook.

    The columns are ``path``, ``title``, ``code``, ``lines`` (of the code), ``form``, ``modified`` (to the nanosecond,
    so years before 1678 and after 2261 are missing), ``digest``, ``pictures`` (their number) and ``error``. What is
    absent is missing, and so is the code of an encrypted flowbook. What is damaged, or gone since the list was made, is
    missing and told in ``error``. Failures of a file system that may be over soon are raised, so that the engine's
    ``retries`` apply.

    Args:
        urlpath: a folder, of which all files named ``*.tqx`` and ``*.tqapp`` at any depth are read; a pattern with
            ``*``; a file; or several of these. Paths or addresses that fsspec knows.
        columns: those wanted. Only what they take is read from a file: ``title`` is cheap, ``digest`` reads it all.
        storage_options: for fsspec.
        blocksize: of a partition, in bytes or such as "32 MiB"; every file counts for 64 KiB at least.
    """
    wanted = list(COLUMNS if columns is None else columns)
    unknown = [name for name in wanted if name not in COLUMNS]
    if unknown:
        raise ValueError(f"there is no column {unknown[0]!r}; there are {', '.join(COLUMNS)}")
    blocks = _blocks(urlpath, storage_options, blocksize)
    return _from_map(_ReadRows(wanted), blocks, meta=_frame({name: [] for name in wanted}, wanted),
                     label="read-flowbooks")


def map_flowbooks(func: Callable[[flowbook.Flowbook], Result], urlpath: Locations,
                  storage_options: Mapping[str, Any] | None = None, blocksize: int | str = "32 MiB",
                  on_error: Callable[[str, flowbook.Error], Result] | None = None) -> Any:
    """A Dask bag of what `func` returns for each flowbook.

    Args:
        func: called with a `flowbook.Flowbook`, once for each, or more often when a worker is lost.
        urlpath, storage_options, blocksize: as `read_flowbooks()` takes them.
        on_error: called with path and error for a flowbook for which there was a `flowbook.Error`, also in `func`;
            what it returns is the result. Without it the error is raised.
    """
    blocks = _from_sequence(_blocks(urlpath, storage_options, blocksize), partition_size=1)
    return blocks.map(_MapBlock(func, on_error)).flatten()


class _File(NamedTuple):
    files: Any  # None for the files of the machine
    path: str
    url: str
    size: int
    stamp: object  # another when the file has changed, as far as the listing tells

    @property
    def cost(self) -> int:
        return max(self.size, _BYTES_OF_OPENING)


class _Block:
    """Files of one file system, which make a partition."""

    def __init__(self, files: Any, given: Sequence[_File] = ()) -> None:
        self.files = files
        self.paths = [file.path for file in given]
        self.sizes = [file.size for file in given]
        self.token = hashlib.sha256(repr([file[2:] for file in given]).encode("utf-8", "surrogatepass")).hexdigest()

    def __dask_tokenize__(self) -> str:
        """So that results for other files, or for these before they changed, are not taken for these."""
        return self.token

    @property
    def urls(self) -> list[str]:
        return self.paths if self.files is None else [self.files.unstrip_protocol(path) for path in self.paths]

    def sources(self) -> Iterator[Any]:
        """The path, content or binary file of each; a FileNotFoundError for one that is gone."""
        if self.files is None:
            return iter(self.paths)
        small = [path for path, size in zip(self.paths, self.sizes) if size <= _BYTES_AT_ONCE]
        contents = dict(zip(small, _contents(self.files, small)))
        return (contents.pop(path) if path in contents else _unless_gone(opened, self.files, path, size)
                for path, size in zip(self.paths, self.sizes))


def _unless_gone(read: Callable[..., Any], *arguments: Any) -> Any:
    try:
        return read(*arguments)
    except FileNotFoundError as gone:
        return gone


def _contents(files: Any, paths: list[str]) -> list[Any]:
    """The bytes of each file, or a FileNotFoundError; by several requests at a time where the file system can."""
    if not files.async_impl:
        return [_unless_gone(files.cat_file, path) for path in paths]
    whole = [None] * len(paths)
    found: list[Any] = files.cat_ranges(paths, whole, whole, batch_size=_REQUESTS)
    for each in found:
        if isinstance(each, BaseException) and not isinstance(each, FileNotFoundError):
            raise each
    return found


class _ReadRows:
    """Makes a partition; Dask asks for fewer columns when fewer are used."""

    def __init__(self, columns: list[str]) -> None:
        self.columns = columns

    def project_columns(self, columns: list[str]) -> _ReadRows:
        return _ReadRows(list(columns))

    def __call__(self, block: _Block) -> Any:
        urls = block.urls
        names = [name_of(os.fsencode(url)) for url in urls]
        rows = _native.rows([name for name in self.columns if name not in {"path", "error"}])
        for name, source in zip(names, block.sources()):
            _add(rows, source, name)
        cells, failures = rows.read()
        errors = [failure and str(error_of(*failure, name)) for name, failure in zip(names, failures)]
        return _frame({**cells, "path": urls, "error": errors}, self.columns)


def _add(rows: _native.Rows, source: Any, name: str) -> None:
    if isinstance(source, str):
        rows.add_path(native_path(os.fsencode(source)), name)
    elif isinstance(source, bytes):
        rows.add_bytes(source, name)
    elif isinstance(source, FileNotFoundError):
        rows.add_missing(name)
    else:
        rows.add_object(source, name)


class _MapBlock:
    def __init__(self, func: Callable[[flowbook.Flowbook], Any],
                 on_error: Callable[[str, flowbook.Error], Any] | None) -> None:
        self._func, self._on_error = func, on_error

    def __call__(self, block: _Block) -> list[Any]:
        return [self._result(url, source) for url, source in zip(block.urls, block.sources())]

    def _result(self, url: str, source: Any) -> Any:
        try:
            return self._func(_book_of(url, source))
        except flowbook.Error as error:
            if self._on_error is None:
                raise
            return self._on_error(url, error)


def _book_of(url: str, source: Any) -> flowbook.Flowbook:
    try:
        if isinstance(source, FileNotFoundError):
            raise source
        return flowbook.Flowbook(Memory(source, url) if isinstance(source, bytes) else place_of(source))
    except FileNotFoundError as gone:
        raise flowbook.NotFoundError("there is no such file", url) from gone


def _frame(cells: Mapping[str, list[Any]], columns: list[str]) -> Any:
    return pandas.DataFrame({name: _series(cells[name], COLUMNS[name]) for name in columns}, columns=columns)


def _series(values: list[Any], kind: str) -> Any:
    if kind.startswith("datetime"):
        return pandas.to_datetime(pandas.Series(values, dtype="object"), errors="coerce", utc=True)
    return pandas.Series(values, dtype=kind)


def _blocks(urlpath: Locations, options: Mapping[str, Any] | None, blocksize: int | str) -> list[_Block]:
    """The files, sorted, in groups of about `blocksize` bytes; one group at least."""
    limit, size = parse_bytes(blocksize), 0
    groups: list[list[_File]] = []
    for file in _files_of(urlpath, options or {}):
        if not groups or size + file.cost > limit or groups[-1][0].files is not file.files:
            groups.append([])
            size = 0
        groups[-1].append(file)
        size += file.cost
    return [_Block(group[0].files, group) for group in groups] or [_Block(None)]


def _files_of(urlpath: Locations, options: Mapping[str, Any]) -> list[_File]:
    given = [urlpath] if isinstance(urlpath, (str, os.PathLike)) else list(urlpath)
    paths: dict[Any, list[str]] = {}
    for each in given:
        files, path = fsspec.core.url_to_fs(os.fspath(each), **options)
        paths.setdefault(files, []).append(path)
    found = {file.url: file for files in paths for file in _files_at(files, paths[files])}
    return [found[url] for url in sorted(found)]


def _files_at(files: Any, paths: list[str]) -> Iterator[_File]:
    is_local = isinstance(files, fsspec.implementations.local.LocalFileSystem)
    known = _sized(files, [path for path in paths if _is_flowbook(path)])
    for path in paths:
        for name, info in ({path: known[path]} if path in known else _listed(files, path)).items():
            stamp = info.get("mtime") or info.get("ETag") or info.get("LastModified")
            yield _File(None if is_local else files, name, name if is_local else files.unstrip_protocol(name),
                        int(info.get("size") or 0), stamp)


def _sized(files: Any, paths: list[str]) -> dict[str, dict[str, Any]]:
    """Those that have a size, which folders have not, where a file system can be asked for several at a time."""
    sizes = files.sizes(paths, batch_size=_REQUESTS) if files.async_impl else []
    return {path: {"size": size} for path, size in zip(paths, sizes) if size}


def _listed(files: Any, path: str) -> dict[str, dict[str, Any]]:
    """What is known of the files that a path means, by their names."""
    if _is_flowbook(path):
        # Not listed, as a web server would send the file itself for that.
        info: dict[str, Any] = files.info(path)
        if info["type"] == "file":
            return {path: info}
    if any(sign in path for sign in "*[") and not files.exists(path):
        found: dict[str, dict[str, Any]] = files.glob(path, detail=True)
        return {name: each for name, each in found.items() if each["type"] == "file"}
    found = files.find(path, detail=True)
    if not found and not files.exists(path):
        raise FileNotFoundError(path)
    return found if list(found) == [path] else {name: each for name, each in found.items() if _is_flowbook(name)}


def _is_flowbook(name: str) -> bool:
    return name.lower().endswith((".tqx", ".tqapp")) and "*" not in name
