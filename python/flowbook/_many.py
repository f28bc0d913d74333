"""Many flowbooks: which there are, and columns of them."""

from __future__ import annotations

import glob
import operator
import os
import re
from collections.abc import Iterable, Iterator, Mapping, Sequence
from typing import Any, NamedTuple, Union

from flowbook import _native
from flowbook._book import _time
from flowbook._errors import ConflictError, Error, error_of
from flowbook._places import local_path, name_of, native_path, path_bytes
from flowbook._remote import Watched, store_in, told

Locations = Union[str, "os.PathLike[str]", Sequence[Union[str, "os.PathLike[str]"]]]

COLUMNS = ("path", "title", "code", "lines", "form", "modified", "digest", "pictures", "error")
# A small file takes about as long to open as so many bytes of a large one take to read.
BYTES_OF_OPENING = 64 * 1024
# One request for all of it is quicker than one for each range.
BYTES_AT_ONCE = 256 * 1024
# At a time, so that neither the server nor the number of open files is overwhelmed.
REQUESTS = 32
# A file on the web that changes between two ranges is read anew so many times.
ATTEMPTS = 3

_NAME = re.compile(r"\.(tqx|tqapp)$", re.IGNORECASE)
_MAGIC = re.compile(r"[*?\[]")


class File(NamedTuple):
    """A file that was found."""

    files: Any  # None for the files of the machine
    path: str
    url: str
    size: int
    stamp: object  # another when the file has changed, as far as the listing shows

    @property
    def cost(self) -> int:
        return max(self.size, BYTES_OF_OPENING)


def files_of(locations: Locations, options: Mapping[str, Any] | None) -> Iterator[File]:
    """The files that paths, folders, patterns and addresses mean, in their order; those of one of them are sorted.
    Raises NotFoundError for one that means none."""
    remote: list[str] = []
    for location in _single(locations):
        each = _location(location)
        path = local_path(each) if "://" in each else each
        if path is None:
            remote.append(each)
            continue
        yield from remote_files(remote, options)
        remote = []
        with told(name_of(os.fsencode(each))):
            yield from _local_files(path)
    yield from remote_files(remote, options)


def _single(locations: Locations) -> Iterable[Any]:
    """One path or address, or each of several."""
    if isinstance(locations, (str, os.PathLike)):
        return [locations]
    if isinstance(locations, (bytes, bytearray, memoryview)):
        raise TypeError(f"paths and addresses are needed, not {type(locations).__name__}")
    return locations


def _location(given: Any) -> str:
    if not isinstance(given, (str, os.PathLike)):
        raise TypeError(f"paths and addresses are needed, not {type(given).__name__}")
    return os.fsdecode(path_bytes(os.fspath(given)))


def _local_files(path: str) -> Iterator[File]:
    if os.path.isdir(path):
        yield from _files_in(os.path.abspath(path))
    elif os.path.exists(path) or not _MAGIC.search(path):
        os.stat(path)  # raises when there is none
        yield _local_file(os.path.abspath(path))
    else:
        found = sorted(filter(_may_be_file, glob.glob(path, recursive=True)))
        yield from (_local_file(os.path.abspath(each)) for each in found)


def _files_in(folder: str) -> Iterator[File]:
    """The flowbooks in a folder, at any depth. A folder below it that cannot be read stands for itself."""
    folders = []
    with os.scandir(folder) as entries:
        found = sorted(entries, key=lambda entry: entry.name)
    for entry in found:
        if entry.is_dir(follow_symlinks=False):
            folders.append(entry.path)
        elif _NAME.search(entry.name) and (entry.is_file() or _may_be_file(entry.path)):  # the first asks no disk
            yield _local_file(entry.path)
    for each in folders:
        try:
            yield from _files_in(each)
        except OSError:
            yield _local_file(each)


def _may_be_file(path: str) -> bool:
    """Whether it is a file, or a link that leads nowhere, which reading it will tell."""
    return os.path.isfile(path) or not os.path.exists(path)


def _local_file(path: str) -> File:
    """What is known of a file; little of one that is gone, or cannot be looked at, as reading it will show."""
    try:
        status = os.stat(path)
    except OSError:
        return File(None, path, path, 0, None)
    return File(None, path, path, status.st_size, status.st_mtime_ns)


def remote_files(urls: list[str], options: Mapping[str, Any] | None) -> Iterator[File]:
    """As `files_of()`, for addresses."""
    if not urls:
        return
    import fsspec  # type: ignore[import]

    systems: dict[Any, dict[str, str]] = {}
    for url in urls:
        with told(url):
            files, path = fsspec.core.url_to_fs(url, **(options or {}))
        systems.setdefault(files, {}).setdefault(path, url)
    for files, paths in systems.items():
        yield from _web_files(files, list(paths)) if _is_web(files) else _stored_files(files, paths)


def _is_web(files: Any) -> bool:
    return "http" in files.protocol


def _web_files(files: Any, paths: list[str]) -> Iterator[File]:
    """Each address is a file, under any name and with any "?" or "[" in it, unless it ends in a slash."""
    from fsspec.asyn import _run_coros_in_chunks, sync  # type: ignore[import]

    single = [path for path in paths if not path.endswith("/")]
    for path in paths:
        if path.endswith("/"):
            with told(path):
                found = sorted(files.find(path))
            single += [name for name in found if _NAME.search(name.partition("?")[0])]

    async def ask() -> Any:
        requests = [files._info(path) for path in single]
        return await _run_coros_in_chunks(requests, batch_size=REQUESTS, return_exceptions=True)

    infos: Any = sync(files.loop, ask)
    for path, info in zip(single, infos):
        # A server may answer no question but the one for the content, as where addresses are signed for that.
        known = info if isinstance(info, dict) else {}
        yield File(files, path, path, int(known.get("size") or 0), known.get("ETag"))


def _stored_files(files: Any, paths: dict[str, str]) -> Iterator[File]:
    for path, url in paths.items():
        with told(url):
            found = _listed(files, path)
        begin = _begin_of(url, path)
        for name in sorted(found):
            info = found[name]
            stamp = info.get("mtime") or info.get("ETag") or info.get("LastModified") or info.get("created")
            address = files.unstrip_protocol(name) if begin is None else begin + name
            yield File(files, name, address, int(info.get("size") or 0), stamp)


def _begin_of(url: str, path: str) -> str | None:
    """What stands before the path in an address, such as the host; None where there is none to be found."""
    address, end = url.rstrip("/"), path.rstrip("/")
    is_known = "://" in address and "::" not in address and address.endswith(end)
    return address[:len(address) - len(end)] if is_known else None


def _listed(files: Any, path: str) -> dict[str, dict[str, Any]]:
    """What is known of the files that a path means, by their names."""
    files.invalidate_cache()
    if _MAGIC.search(path) and not files.exists(path):
        found: dict[str, dict[str, Any]] = files.glob(path, detail=True)
        return {name: each for name, each in found.items() if each["type"] == "file"}
    info = files.info(path)
    if info["type"] == "file":
        return {info["name"]: info}
    return {name: each for name, each in files.find(path, detail=True).items() if _NAME.search(name)}


def checked_columns(columns: str | Sequence[str] | None) -> list[str]:
    """The names of columns. Raises ValueError for one that there is not."""
    wanted = [columns] if isinstance(columns, str) else list(COLUMNS if columns is None else columns)
    unknown = [name for name in wanted if name not in COLUMNS]
    if unknown:
        raise ValueError(f"there is no column {unknown[0]!r}; there are {', '.join(COLUMNS)}")
    return wanted


def table(files: Any, paths: Sequence[str], urls: Sequence[str], sizes: Sequence[int], columns: Sequence[str],
          threads: int = 1) -> dict[str, list[Any]]:
    """The columns of files of one file system. What cannot be read is missing, and named in the column ``error``."""
    for attempt in range(1, ATTEMPTS + 1):
        try:
            return _table(files, paths, urls, sizes, columns, threads)
        except ConflictError:
            if attempt == ATTEMPTS:
                raise
    raise AssertionError


def _table(files: Any, paths: Sequence[str], urls: Sequence[str], sizes: Sequence[int], columns: Sequence[str],
           threads: int) -> dict[str, list[Any]]:
    names = [name_of(os.fsencode(url)) for url in urls]
    rows = _native.rows([name for name in columns if name not in {"path", "error"}])
    for name, source in zip(names, sources(files, paths, sizes)):
        _add(rows, source, name)
    cells, failures = rows.read(threads)
    errors = [failure and str(error_of(failure[0], failure[1], name, failure[2]))
              for name, failure in zip(names, failures)]
    return {**cells, "path": list(urls), "error": errors}


def _add(rows: _native.Rows, source: Any, name: str) -> None:
    if isinstance(source, str):
        rows.add_path(native_path(os.fsencode(source)), name)
    elif isinstance(source, bytes):
        rows.add_bytes(source, name)
    elif isinstance(source, FileNotFoundError):
        rows.add_missing(name)
    else:
        rows.add_object(source, name)


def sources(files: Any, paths: Sequence[str], sizes: Sequence[int]) -> Iterator[Any]:
    """The path, content or binary file of each; a FileNotFoundError for one that is gone."""
    if files is None:
        return iter(paths)
    small = [path for path, size in zip(paths, sizes) if size <= BYTES_AT_ONCE]
    contents = dict(zip(small, _contents(files, small)))
    return (contents.pop(path) if path in contents else _unless_gone(_opened, files, path) for path in paths)


def _opened(files: Any, path: str) -> Any:
    name = files.unstrip_protocol(path)
    with told(name):
        content = store_in(files, path).open()
    return content if isinstance(content, bytes) else Watched(content, name)


def _unless_gone(read: Any, *arguments: Any) -> Any:
    try:
        return read(*arguments)
    except FileNotFoundError as gone:
        return gone


def _contents(files: Any, paths: list[str]) -> list[Any]:
    """The bytes of each file, or a FileNotFoundError; by several requests at a time where the file system can."""
    if not files.async_impl:
        return [_unless_gone(_content, files, path) for path in paths]
    whole = [None] * len(paths)
    found: list[Any] = files.cat_ranges(paths, whole, whole, batch_size=REQUESTS)
    for path, each in zip(paths, found):
        if isinstance(each, BaseException) and not isinstance(each, FileNotFoundError):
            with told(files.unstrip_protocol(path)):
                raise each
    return found


def _content(files: Any, path: str) -> Any:
    with told(files.unstrip_protocol(path)):
        return files.cat_file(path)


def read_many(paths: Locations, columns: str | Sequence[str] | None = None, threads: int | None = None, *,
              storage_options: Mapping[str, Any] | None = None) -> list[dict[str, Any]]:
    """Columns of many flowbooks, a dictionary a flowbook, read by several threads.

    >>> import tempfile, flowbook
    >>> folder = tempfile.mkdtemp()
    >>> flowbook.Flowbook.new(code="x = 1;", title="t").save(f"{folder}/a.tqx")
    >>> flowbook.read_many(folder, ["title", "lines", "error"])
    [{'title': 't', 'lines': 1, 'error': None}]

    The columns are ``path``, ``title``, ``code``, ``lines`` (of the code), ``form``, ``modified``, ``digest``,
    ``pictures`` (their number) and ``error``. What is absent is None, and so is the code of an encrypted flowbook.
    What is damaged, missing or not permitted is None and named in ``error``; so is a folder that cannot be listed.

    Args:
        paths: a folder, of which all files named ``*.tqx`` and ``*.tqapp`` at any depth are read; a pattern with
            ``*``, ``?`` or ``[]``; a file; an address; or several of these, whose order is kept.
        columns: those wanted, or one. Only what they take is read: ``title`` is cheap, ``digest`` reads it all.
        threads: how many read at once; as many as processors when it is None.
        storage_options: for fsspec.

    Raises `NotFoundError` when `paths` is a single path or address that does not exist, and another `Error` for
    failures of file systems at addresses.
    """
    wanted = checked_columns(columns)
    found = files_of(paths, storage_options) if isinstance(paths, (str, os.PathLike)) else _each(paths, storage_options)
    count = len(os.sched_getaffinity(0)) if threads is None else operator.index(threads)
    if count < 1:
        raise ValueError("at least one thread is needed")
    rows: list[dict[str, Any]] = []
    for files, group in _grouped(found):
        cells = table(files, [each.path for each in group], [each.url for each in group],
                      [each.size for each in group], wanted, min(count, len(group)))
        if "modified" in wanted:
            cells["modified"] = [_time(each) for each in cells["modified"]]
        rows += [{name: cells[name][at] for name in wanted} for at in range(len(group))]
    return rows


def _each(paths: Any, options: Mapping[str, Any] | None) -> Iterator[File]:
    """As `files_of()`, but that one which is missing, or cannot be looked at, stands for itself."""
    for path in map(_location, _single(paths)):
        try:
            yield from files_of(path, options)
        except Error as failure:
            if "://" in path and not isinstance(failure, FileNotFoundError):
                raise
            yield _local_file(path)


def _grouped(found: Iterator[File]) -> Iterator[tuple[Any, list[File]]]:
    """Neighbours of one file system, up to some thousands and some hundred MB at a time."""
    group: list[File] = []
    size = 0
    for each in found:
        if group and (group[0].files is not each.files or size > 1 << 28):
            yield group[0].files, group
            group, size = [], 0
        group.append(each)
        size += each.cost
    if group:
        yield group[0].files, group
