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

import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import dataclass
from functools import cached_property
from typing import Any, TypeVar, Union

import fsspec  # type: ignore[import]
import pandas  # type: ignore[import]
from dask.bag import core as bag
from dask.dataframe.io import io as dataframe
from dask.utils import parse_bytes

import flowbook

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
    return _from_map(_ReadRows(wanted), blocks or [[]], meta=_frame([], wanted), label="read-flowbooks")


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


@dataclass(frozen=True)
class _File:
    path: str
    url: str
    size: int
    files: Any  # None for the files of the machine

    def open(self) -> flowbook.Flowbook:
        if self.files is None:
            return flowbook.open(os.fspath(self.path))
        if self.size <= _BYTES_AT_ONCE:
            return flowbook.open(self.files.cat_file(self.path))
        return flowbook.open(self.files.open(self.path, "rb", cache_type="none"))


class _ReadRows:
    """Makes a partition; Dask asks for fewer columns when fewer are used."""

    def __init__(self, columns: list[str]) -> None:
        self.columns = columns

    def project_columns(self, columns: list[str]) -> _ReadRows:
        return _ReadRows(list(columns))

    def __call__(self, block: list[_File]) -> Any:
        return _frame([_row(file, self.columns) for file in block], self.columns)


class _MapBlock:
    def __init__(self, func: Callable[[flowbook.Flowbook], Any],
                 on_error: Callable[[str, flowbook.Error], Any] | None) -> None:
        self._func, self._on_error = func, on_error

    def __call__(self, block: list[_File]) -> list[Any]:
        return [self._result(file) for file in block]

    def _result(self, file: _File) -> Any:
        try:
            return self._func(file.open())
        except flowbook.Error as error:
            if self._on_error is None:
                raise
            return self._on_error(file.url, error)


class _Answers:
    """What the columns tell of a flowbook."""

    def __init__(self, book: flowbook.Flowbook) -> None:
        self._book = book

    @cached_property
    def code(self) -> str:
        return self._book.code

    @property
    def lines(self) -> int:
        return self.code.count("\n") + (self.code != "" and not self.code.endswith("\n"))

    @property
    def pictures(self) -> int:
        return len(self._book.images)

    def __getattr__(self, name: str) -> Any:
        return getattr(self._book, name)


def _row(file: _File, columns: list[str]) -> dict[str, Any]:
    row: dict[str, Any] = {"path": file.url}
    try:
        answers = _Answers(file.open())
    except (flowbook.Error, FileNotFoundError) as error:
        return {**row, "error": str(error)}
    for column in columns:
        if column not in {"path", "error"}:
            _answer(row, column, answers)
    return row


def _answer(row: dict[str, Any], column: str, answers: _Answers) -> None:
    try:
        row[column] = getattr(answers, column)
    except flowbook.EncryptedError:
        pass
    except flowbook.Error as error:
        row.setdefault("error", str(error))


def _frame(rows: list[dict[str, Any]], columns: list[str]) -> Any:
    frame = pandas.DataFrame(rows, columns=columns, dtype="object")
    if "modified" in columns:
        frame["modified"] = pandas.to_datetime(frame["modified"], errors="coerce", utc=True)
    return frame.astype({name: COLUMNS[name] for name in columns if name != "modified"})


def _blocks(urlpath: Locations, options: Mapping[str, Any] | None, blocksize: int | str) -> list[list[_File]]:
    """The files, sorted, in groups of about `blocksize` bytes."""
    limit, size = parse_bytes(blocksize), 0
    blocks: list[list[_File]] = []
    for file in _files_of(urlpath, options):
        cost = max(file.size, _BYTES_OF_OPENING)
        if not blocks or size + cost > limit:
            blocks.append([])
            size = 0
        blocks[-1].append(file)
        size += cost
    return blocks


def _files_of(urlpath: Locations, options: Mapping[str, Any] | None) -> list[_File]:
    given = [urlpath] if isinstance(urlpath, (str, os.PathLike)) else list(urlpath)
    found = {file.url: file for each in given for file in _files_at(os.fspath(each), options or {})}
    return [found[url] for url in sorted(found)]


def _files_at(url: str, options: Mapping[str, Any]) -> Iterator[_File]:
    files, path = fsspec.core.url_to_fs(url, **options)
    is_local = isinstance(files, fsspec.implementations.local.LocalFileSystem)
    for name, info in _listed(files, path).items():
        yield _File(name, name if is_local else files.unstrip_protocol(name), int(info.get("size") or 0),
                    None if is_local else files)


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
