"""The package `flowbook`: reading, writing, failures, and what Python can pass in to do harm."""
import copy
import gc
import io
import mmap
import os
import pickle
import sys
import threading
import weakref
import zipfile
from datetime import timedelta
from pathlib import Path

import fsspec
import pytest

import flowbook
from flowbook import _native

sys.path.insert(0, os.environ["PXFLOWBOOK_SOURCE"] + "/tests/support")
import make_fixtures as make  # noqa: E402

PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256))
ENCRYPTED = make.package(document=b"\0secret", parameters="; encryption=aes")
RICH = make.package(document=make.rich(make.paragraph("prose", "Normal"), make.paragraph("a\nb")))
NO_CODE = make.package(root=())


def zipped(entries):
    return make.zipped(entries) if not isinstance(entries, bytes) else entries


def stored(book):
    out = io.BytesIO()
    book.save(out)
    return out.getvalue()


def large():
    return flowbook.Flowbook.new(code=os.urandom(200_000).hex(), title="large")


@pytest.fixture
def path(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    flowbook.Flowbook.new(code="x = 1;", title="old").save("a.tqx")
    return tmp_path / "a.tqx"


@pytest.mark.parametrize("content, form, code", [
    (RICH, "rich", "a\nb"), (ENCRYPTED, "encrypted", flowbook.EncryptedError),
    (NO_CODE, "none", flowbook.DamagedError)])
def test_forms(content, form, code):
    book = flowbook.open(zipped(content))
    assert book.form == form
    assert book.encrypted_code == (b"\0secret" if form == "encrypted" else None)
    if isinstance(code, str):
        assert book.code == code and "prose" in book.rich_code
    else:
        with pytest.raises(code):
            book.code
        with pytest.raises(code):
            book.rich_code


def test_save_back_keeps_what_is_not_touched(path):
    book = flowbook.open("a.tqx")
    before = {part.name: part.data for part in book.parts}
    os.chdir("/")
    book.description = "d"
    book.save()
    after = {part.name: part.data for part in flowbook.open(path).parts}
    assert {name for name in before if before[name] != after[name]} == {"/docProps/core.xml"}
    assert book.modified.utcoffset() == timedelta(0) and book.created <= book.modified
    stamp = path.stat().st_ctime_ns
    book.save()
    assert path.stat().st_ctime_ns == stamp


def test_conflict(path):
    first, second, third = (flowbook.open(path) for _ in range(3))
    first.title, second.title = "first", "second"
    first.save()
    with pytest.raises(flowbook.ConflictError) as conflict:
        second.save()
    assert conflict.value.file == str(path) and conflict.value.kind == "conflict"
    assert flowbook.open(path).title == "first" and third.title == "old" and second.title == "second"
    path.unlink()
    with pytest.raises(flowbook.Error):
        second.save()
    assert not path.exists()
    second.save(path)
    assert flowbook.open(path).title == "second"


@pytest.mark.parametrize("name", [b"\xff.tqx", "é.tqx".encode(), b"no extension"])
def test_names(path, name):
    flowbook.open(path).save(os.fsdecode(name))
    book = flowbook.open(Path(os.fsdecode(name)))
    book.version = "2"
    book.save()
    assert flowbook.open(os.fsdecode(name)).version == "2"


@pytest.mark.parametrize("alias", ["{}", "./a.tqx", "link.tqx", "file://{}"])
def test_saving_over_its_own_place_is_no_conflict_later(path, alias):
    os.symlink("a.tqx", "link.tqx")
    book, other = flowbook.open(path), flowbook.open(path)
    other.title = "other"
    other.save()
    book.save(alias.format(path))
    book.version = "2"
    book.save()
    read = flowbook.open(path)
    assert (read.title, read.version) == ("old", "2")


def test_new_belongs_to_its_first_file(path):
    book = flowbook.Flowbook.new(rich_code=flowbook.open(zipped(RICH)).rich_code)
    with pytest.raises(flowbook.MisuseError):
        book.save()
    book.save("b.tqx")
    book.add_image(PNG, "image/png")
    book.set_code("z", flatten=True)
    book.save()
    read = flowbook.open("b.tqx")
    assert (read.code, read.form, [image.data for image in read.images]) == ("z", "plain", [PNG])
    assert ("/tarmic/document.xml", "/media/image1.png") in [(each.source, each.target) for each in read.relationships]
    assert read.check() == () and read.digest == flowbook.open(stored(read)).digest


def test_file_object_is_written_back():
    file = io.BytesIO(stored(flowbook.Flowbook.new(code="much code" * 1000)))
    book = flowbook.open(file)
    book.code = "x"
    book.save()
    assert flowbook.open(file.getvalue()).code == "x" == book.code
    book.title = "t"
    book.save(file)
    assert flowbook.open(file.getvalue()).title == "t" and book.form == "plain"


class Changing(io.BytesIO):
    """Changes the flowbook while it is written, as another thread may."""

    def write(self, content):
        self.book.version = "while it was saved"
        return super().write(content)


@pytest.mark.parametrize("address", [None, "memory://changing.tqx"])
def test_what_is_changed_during_a_save_is_not_lost(address, monkeypatch):
    file = Changing(stored(flowbook.Flowbook.new(code="x")))
    flowbook.Flowbook.new(code="x").save("memory://changing.tqx")
    book = file.book = flowbook.open(address or file)
    if address:
        pipe_file = book._place._store.files.pipe_file
        monkeypatch.setattr(type(book._place._store.files), "pipe_file", lambda _, path, content: (
            setattr(book, "version", "while it was saved"), pipe_file(path, content)))
    book.title = "new"
    book.save()
    assert flowbook.open(address or file.getvalue()).version is None
    monkeypatch.undo()
    assert (book.title, book.version) == ("new", "while it was saved")
    book.save()
    assert flowbook.open(address or file.getvalue()).version == "while it was saved"


def test_threads_edit_their_own_paragraphs(request):
    request.addfinalizer(lambda interval=sys.getswitchinterval(): sys.setswitchinterval(interval))
    sys.setswitchinterval(1e-6)
    for _ in range(20):
        book = flowbook.Flowbook.new(code="0")
        own = [*book.paragraphs, *(book.paragraphs.append(str(number)) for number in range(1, 20))]
        removing = threading.Thread(target=lambda: [each.remove() for each in own[:10]])
        removing.start()
        for each in own[10:]:
            each.text += "!"
        removing.join()
        assert book.code == "\n".join(f"{number}!" for number in range(10, 20))


class Lying(io.BytesIO):
    """Answers some reads as it is told to."""

    answer = None

    def read(self, count=-1):
        return super().read(count) if self.answer is None else self.answer(self, count)

    def tell(self):
        return self.size if hasattr(self, "size") else super().tell()


def raiser(error):
    def answer(*_):
        raise error
    return answer


@pytest.mark.parametrize("answer, error", [
    (lambda *_: b"", flowbook.Error), (lambda *_: "text", flowbook.Error), (lambda *_: None, flowbook.Error),
    (lambda _, count: bytes(count + 1), flowbook.Error), (lambda _, count: bytes(count), flowbook.Error),
    (raiser(KeyboardInterrupt()), KeyboardInterrupt), (raiser(OSError("gone")), OSError),
    (lambda self, _: self.book.code, flowbook.MisuseError), (lambda self, _: self.close(), flowbook.Error)])
def test_file_objects_that_lie(answer, error):
    file = Lying(stored(large()))
    book = flowbook.open(file)
    file.book, file.answer = book, answer
    with pytest.raises(error):
        book.code
    file.answer = None
    if not file.closed:
        assert len(book.code) == 400_000


def test_a_file_object_that_uses_the_flowbook_while_another_thread_edits_it():
    """The editing thread waits for the one that reads, which may not wait for it."""
    file = Lying(stored(large()))
    book, answers = flowbook.open(file), []

    def answer(self, count):
        editing = threading.Thread(target=lambda: book.set_code("x", flatten=True))
        if not answers:
            answers.append(editing)
            editing.start()
            while book._turn._lock.acquire(blocking=False):
                book._turn._lock.release()
            with pytest.raises(flowbook.MisuseError):
                len(book.paragraphs)
        return io.BytesIO.read(self, count)

    file.answer = answer
    assert len(book.code) == 400_000
    answers[0].join()
    assert book.code == "x"


@pytest.mark.parametrize("use", [lambda book: book.text, lambda book: len(book.paragraphs)])
def test_file_objects_that_use_each_others_flowbooks(use):
    """One of two threads that would wait for each other fails, and the other goes on."""
    files = [Lying(stored(large())) for _ in range(2)]
    books = [flowbook.open(file) for file in files]
    both, inside, refused = threading.Barrier(2), threading.local(), []

    def answer(self, count):
        if not getattr(inside, "yes", False):
            inside.yes = True
            both.wait()
            try:
                use(books[1 - files.index(self)])
            except flowbook.MisuseError as misuse:
                refused.append(misuse)
        return io.BytesIO.read(self, count)

    for file in files:
        file.answer = answer
    threads = [threading.Thread(target=use, args=(book,)) for book in books]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for file in files:
        file.answer = None
    assert refused and [len(book.code) for book in books] == [400_000] * 2


@pytest.mark.parametrize("size", [0, 1, 10**6, 2**63, 2**64 - 1, 2**64, -1, 2.5, "1", None])
def test_sizes_that_lie(size):
    file = Lying(stored(large()))
    file.size = size
    with pytest.raises((flowbook.Error, RuntimeError, ValueError, TypeError, OverflowError)):
        flowbook.open(file).code


def test_short_reads_are_no_lies():
    file = Lying(stored(large()))
    file.answer = lambda self, count: io.BytesIO.read(self, min(count, 1000))
    assert flowbook.open(file).title == "large"
    file.seekable = file.writable = lambda: False
    file.seek(0)
    assert flowbook.open(file).title == "large"


class Uncounted(io.BytesIO):
    """Takes all that is written, and returns nothing."""

    def write(self, content):
        super().write(content)


def mapped(path):
    with open(path, "r+b") as file:
        return mmap.mmap(file.fileno(), 0)


@pytest.mark.parametrize("opened", [
    mapped, lambda path: open(path, "r+b"), lambda path: open(path, "r+b", buffering=0), fsspec.open, str,
    lambda path: Uncounted(path.read_bytes())])
@pytest.mark.parametrize("code", ["", "much code" * 9000])
def test_files_that_are_saved_back_to(path, opened, code):
    flowbook.Flowbook.new(code=os.urandom(50_000).hex()).save(path)
    file = opened(path)
    book = flowbook.open(file)
    book.code = code
    book.save()
    assert flowbook.open(file.getvalue() if isinstance(file, Uncounted) else path).code == code == book.code


class Uncuttable(io.FileIO):
    truncate = property()


@pytest.mark.parametrize("opened", [lambda path: open(path, "a+b"), lambda path: open(path, "rb"),
                                    lambda path: Uncuttable(path, "r+")])
def test_files_that_cannot_be_saved_back_to(path, opened):
    before, book = path.read_bytes(), flowbook.open(opened(path))
    book.title = "new"
    with pytest.raises(flowbook.MisuseError):
        book.save()
    assert path.read_bytes() == before


@pytest.mark.parametrize("source, error", [
    ("missing.tqx", FileNotFoundError), ("missing.tqx", flowbook.NotFoundError), (b"", flowbook.DamagedError),
    ("", ValueError), ("a\0b", ValueError), ("\ud800.tqx", ValueError), (5, TypeError), (None, TypeError),
    (io.StringIO(), TypeError), ("/", flowbook.Error), ("memory://missing.tqx", FileNotFoundError),
    (stored(flowbook.Flowbook.new())[:-9], flowbook.DamagedError)], ids=str)
def test_sources_that_are_none(path, source, error):
    with pytest.raises(error):
        flowbook.open(source)


@pytest.mark.parametrize("name, value, error", [
    ("title", "\ud800", ValueError), ("code", "\udfff", ValueError), ("title", "a\0b", flowbook.MisuseError),
    ("version", 5, TypeError), ("code", None, TypeError), ("rich_code", "<no", flowbook.DamagedError),
    ("encrypted_code", "text", TypeError), ("form", "plain", AttributeError)])
def test_values_that_cannot_be(name, value, error):
    book = flowbook.Flowbook.new(code="x", title="t")
    with pytest.raises(error) as raised:
        setattr(book, name, value)
    assert getattr(raised.value, "file", "<new>") == "<new>"
    assert (book.code, book.title) == ("x", "t")


@pytest.mark.parametrize("media_type", ["", "png", "text/plain", "image/", "image/png; a=b", "image/\ud800", "image/é",
                                        "image/" + "a" * 128])
def test_pictures_that_are_none(media_type):
    with pytest.raises((flowbook.Error, ValueError)):
        flowbook.Flowbook.new().add_image(PNG, media_type)


WHOLE = make.zipped(make.package(**make.core(make.title("a"))), compression=0)


@pytest.mark.parametrize("entry, act", [
    ("[Content_Types].xml", flowbook.open), ("_rels/.rels", flowbook.open),
    ("tarmic/document.xml", lambda content: flowbook.open(content).code),
    ("tarmic/document.xml", lambda content: flowbook.merge(None, WHOLE, content)),
    ("tarmic/document.xml", flowbook.strip), ("core.xml", lambda content: flowbook.open(content).title),
    ("core.xml", lambda content: len(flowbook.open(content).properties)), ("core.xml", flowbook.digest)])
def test_damage_names_the_part(entry, act):
    content = bytearray(WHOLE)
    with zipfile.ZipFile(io.BytesIO(WHOLE)) as archive:
        at = archive.getinfo(entry).header_offset + 30 + len(entry)
    content[at + 9] ^= 1  # so that its checksum is wrong
    with pytest.raises(flowbook.DamagedError) as damage:
        act(bytes(content))
    assert (damage.value.part, damage.value.file) == (f"/{entry}", "<bytes>") and damage.value.words


def test_threads(path):
    book, codes = flowbook.open(path), set()

    def work(number):
        for step in range(20):
            book.title = f"{number} {step}"
            codes.add((book.code, len(book.parts), book.form))
            assert book.title.count(" ") == 1

    threads = [threading.Thread(target=work, args=(number,)) for number in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    book.save()
    assert codes == {("x = 1;", 4, "plain")}


def test_fixtures_fail_as_flowbooks_do(tmp_path, monkeypatch):
    """Whatever a file holds, what is asked of it is answered or fails as an Error of this package."""
    monkeypatch.delenv("LD_PRELOAD", raising=False)  # a sanitizer's, which would watch the programs that make them
    make.main(tmp_path)
    names = [name for name in dir(flowbook.Flowbook) if name == "_repr_html_" or not name.startswith("_")]
    answered = 0
    for file in tmp_path.iterdir():
        for name in set(names) - {"new", "save", "close", "set_code", "replace_code"} - {each for each in names
                                                                                         if each.startswith("add")}:
            try:
                answer = getattr(flowbook.open(file.read_bytes()), name)
                answer = answer() if callable(answer) else answer
                answered += 1
            except flowbook.Error as error:
                assert error.kind and str(error)
    assert answered > 500


ACTS = [copy.copy, copy.deepcopy, lambda each: pickle.loads(pickle.dumps(each))]


@pytest.mark.parametrize("act", ACTS)
@pytest.mark.parametrize("address", [None, "memory://copies/a.tqx"])
def test_copies_share_no_version(act, address, path):
    """A copy opens what somebody else saved meanwhile; the flowbook that it was made of does not come from there."""
    place = address or path
    flowbook.open(path).save(place)
    book, others = flowbook.open(place), flowbook.open(place)
    others.code = "theirs"
    others.save()
    assert act(book).code == "theirs"
    book.title = "mine"
    with pytest.raises(flowbook.ConflictError):
        act(act(book))
    with pytest.raises(flowbook.ConflictError):
        book.save()
    others.title = "not saved"
    act(act(others)).save()
    assert (flowbook.open(place).code, flowbook.open(place).title) == ("theirs", "not saved")


@pytest.mark.parametrize("act", ACTS)
def test_copies(act, path):
    """A copy is opened from the same source, has the changes that were not saved, and its data with it."""
    book = flowbook.open(path)
    image = book.add_image(PNG, "image/png")
    other = act(book)
    assert other.images[0].data == PNG == act(image).data and act(image) == image != act(book.parts[0])
    assert act(book.relationships) == book.relationships and act(flowbook.open(stored(book))).code == "x = 1;"
    with pytest.raises(flowbook.MisuseError):
        pickle.loads(pickle.dumps(image)).remove()
    packed = pickle.dumps(book)
    other.save()
    with pytest.raises(flowbook.ConflictError):
        book.save()
    with pytest.raises(flowbook.ConflictError):
        pickle.loads(packed)
    error = flowbook.ConflictError("x", "f", "/p")
    error.add_note("see there")
    error = act(error)
    assert (type(error), error.kind, error.file, error.part) == (flowbook.ConflictError, "conflict", "f", "/p")
    assert error.__notes__ == ["see there"]


@pytest.mark.parametrize("name", [name for name, each in vars(_native).items() if isinstance(each, type)])
def test_native_objects_are_never_without_their_insides(name):
    made = getattr(_native, name)
    with pytest.raises(TypeError):
        made.__new__(made)
    with pytest.raises(TypeError):
        type("Derived", (made,), {})


def test_a_cycle_through_the_file_is_collected():
    file = Lying(stored(flowbook.Flowbook.new()))
    file.book = flowbook.open(file)
    watch = weakref.ref(file)
    del file
    gc.collect()
    assert watch() is None


def test_a_forked_process_goes_on(path):
    book = flowbook.open(path)
    assert book.code
    child = os.fork()
    if child == 0:
        os._exit(0 if (book.code, flowbook.open(path).title) == ("x = 1;", "old") else 1)
    assert os.waitpid(child, 0)[1] == 0


def read_rows(content):
    rows = _native.rows(["title", "code", "lines", "form", "modified", "digest", "pictures"])
    rows.add_bytes(content, "a")
    rows.add_bytes(b"none", "b")
    rows.add_missing("c")
    rows.add_object(io.BytesIO(content), "d")
    return rows.read()


def fail(call):
    with pytest.raises(Exception):
        call()


@pytest.mark.parametrize("call", [
    lambda book: [book.code, book.rich_code, book.form, book.encrypted_code, book.text, book.digest, book.html],
    lambda book: [book.title, book.modified, book.parts[0].data, book.relationships, book.images[0].data, book.check()],
    lambda book: [setattr(book, "title", "t"), setattr(book, "code", "c"), book.add_image(PNG, "image/png"), book.code],
    lambda book: flowbook.open(io.BytesIO(stored(book))).code, lambda book: read_rows(stored(book)),
    lambda book: fail(lambda: flowbook.open(b"none")), lambda book: fail(lambda: setattr(book, "rich_code", "<")),
    lambda book: fail(lambda: flowbook.open(Lying(b"x" * 9)).code), lambda book: fail(lambda: read_rows(5)),
    lambda book: fail(lambda: flowbook.open(zipped(ENCRYPTED)).code)], ids=range(10))
def test_no_call_keeps_objects(call):
    """Under the address sanitizer, where Python's allocator is malloc, leaks are told at the end instead."""
    before = 0
    for count in (100, 400):
        for _ in range(count):
            book = flowbook.Flowbook.new(code="x" * 300, title="t")
            book.add_image(PNG, "image/png")
            call(book)
        gc.collect()
        grown, before = sys.getallocatedblocks() - before, sys.getallocatedblocks()
    assert grown < 300
