"""What a flowbook holds: paragraphs, pictures, parts, relationships and properties."""
import copy
import io
import os
import pickle
import random
import re
import sys
import zipfile

import pytest

import flowbook
from flowbook import _native
from flowbook._paragraphs import Paragraphs

sys.path.insert(0, os.environ["PXFLOWBOOK_SOURCE"] + "/tests/support")
import make_fixtures as make  # noqa: E402

RUNS = ('<w:p><w:r><w:t>Take </w:t></w:r><w:r><w:rPr><w:b/></w:rPr><w:t>care</w:t></w:r><w:r><w:tab/><w:t> of it</w:t>'
        '</w:r></w:p>')
TABLE = f"<w:tbl><w:tr><w:tc>{RUNS}</w:tc></w:tr></w:tbl>"


def rich(*paragraphs):
    return flowbook.open(make.zipped(make.package(document=make.rich(*paragraphs))))


def texts(book):
    return [(paragraph.style, paragraph.text) for paragraph in book.paragraphs]


def looks(paragraph):
    return [(run.text, run.bold) for run in paragraph.runs]


@pytest.mark.parametrize("text, expected", [
    ("Take care\t of it", [("Take ", False), ("care", True), ("\t of it", False)]),
    ("Take great care\t of it", [("Take great ", False), ("care", True), ("\t of it", False)]),
    ("Take caring\t of it", [("Take ", False), ("caring", True), ("\t of it", False)]),
    ("Take care of it", [("Take ", False), ("care", True), (" of it", False)]),
    ("Take care\t of\nit <&> \"", [("Take ", False), ("care", True), ("\t of\nit <&> \"", False)]),
    ("", []), ("\u00e4\u20ac\U0001f600\ufeff", [("\u00e4\u20ac\U0001f600\ufeff", False)])])
@pytest.mark.parametrize("around", [RUNS, TABLE])
def test_text_of_prose(around, text, expected):
    book = rich(make.paragraph("a"), around)
    book.paragraphs[1].text = text
    assert book.paragraphs[1].text == text and [run for run in looks(book.paragraphs[1]) if run[0]] == expected
    read = flowbook.open(book.to_bytes())
    assert [run for run in looks(read.paragraphs[1]) if run[0]] == expected and read.code == "a" and not read.check()


@pytest.mark.parametrize("old, fresh", [
    ("\n", "0"), ("\n", "x\ny\n"), ("\t", "\n"), ("\na", "x\na"), ("a\n\nb", "a\nx\nb")])
def test_text_beside_line_breaks_and_tabs(old, fresh):
    book = flowbook.Flowbook.new(code="x")
    book.paragraphs.insert(0, old, "Normal").text = fresh
    assert texts(flowbook.open(book.to_bytes())) == [("Normal", fresh), ("code", "x")]


def test_paragraphs_come_and_go():
    book = rich(make.paragraph("Intro", "Heading1"), make.paragraph("a\nb"), make.paragraph("c"))
    first, second, third = book.paragraphs
    assert [each.is_code for each in book.paragraphs] == [False, True, True] and first.heading == 1
    added = second.insert_before("note <&>", style="Quote")
    third.insert_after("d\ne")
    book.paragraphs.append("end", style="")
    third.replace("C\r\nC\x00")
    first.remove()
    with pytest.raises(flowbook.MisuseError):
        first.text = "gone"
    expected = [("Quote", "note <&>"), ("code", "a\nb"), ("code", "C\nC\ufffd"), ("code", "d\ne"), ("", "end")]
    assert texts(book) == expected == texts(flowbook.open(book.to_bytes())) and added.text == "note <&>"
    assert book.replace_code(str.upper) == 2 and book.code == "A\nB\nC\nC\ufffd\nD\nE"
    with pytest.raises(ZeroDivisionError):
        book.replace_code(lambda code: code and 1 / 0)
    assert [style for style, _ in texts(book)] == ["Quote", "code", "code", "code", ""]


def test_code_beside_prose():
    book = rich(make.paragraph("p", "Normal"), make.paragraph("a"), make.paragraph("q", "Normal"), make.paragraph("b"))
    book.code = "A\nB"
    assert texts(book) == [("Normal", "p"), ("code", "A"), ("Normal", "q"), ("code", "B")]
    book.code = "A\nB\n"
    assert book.code == "A\nB\n"
    book.code = "A\nB"
    with pytest.raises(flowbook.MisuseError, match="2 paragraphs of prose") as refused:
        book.code = "x\ny\nz"
    assert refused.value.part == "/tarmic/document.xml" and book.code == "A\nB"
    book.set_code("x\ny\nz", flatten=True)
    assert (book.form, book.code) == ("plain", "x\ny\nz")


@pytest.mark.parametrize("act", [lambda book: book.paragraphs[1].remove(), lambda book: book.paragraphs.insert(1, "x"),
                                 lambda book: book.paragraphs.append("\ud800"), lambda book: book.paragraphs[7]])
def test_paragraphs_that_stay(act):
    book = rich(make.paragraph("a"), TABLE)
    before = book.rich_code
    with pytest.raises((flowbook.MisuseError, IndexError)):
        act(book)
    assert book.rich_code == before


def test_paragraphs_that_are_held():
    """They stay the same when other things are changed, and also when code before and behind them is."""
    book = rich(make.paragraph("a"), make.paragraph("p", "Normal"), make.paragraph("b"), make.paragraph("c"))
    held, paragraphs = list(book.paragraphs), book.paragraphs
    image = book.add_image(b"GIF8", "image/gif")
    for change in (lambda: image.replace(b"GIF9"), image.remove, book.strip, lambda: setattr(book, "code", "a\nB\nc"),
                   lambda: setattr(held[0], "text", "A"), lambda: book.replace_code(str.lower)):
        change()
        assert [held[0], held[1], held[3]] == [paragraphs[0], paragraphs[1], paragraphs[3]]
    held[1].text = "P"
    held[3].remove()
    assert texts(book) == [("code", "a"), ("Normal", "P"), ("code", "b")]
    assert paragraphs.index(held[1], -2) == 1 and held[3] not in paragraphs
    assert paragraphs.insert(-1, "x") is paragraphs[2] and paragraphs.insert(-99, "y") is paragraphs[0]
    with pytest.raises(TypeError):
        paragraphs.insert(0.5, "x")


def test_paragraphs_that_are_copied():
    book = flowbook.Flowbook.new(code="x")
    paragraph = pickle.loads(pickle.dumps(book.paragraphs[0]))
    assert (paragraph.text, paragraph.is_code, paragraph.runs) == ("x", True, book.paragraphs[0].runs)
    for change in (paragraph.remove, lambda: paragraph.replace("y"), lambda: book.paragraphs.remove(paragraph)):
        with pytest.raises(flowbook.MisuseError):
            change()
    copied = copy.deepcopy(book.paragraphs)
    copied[0].text = "y"
    assert (copied._book.code, book.code) == ("y", "x") and copy.copy(book.paragraphs) is book.paragraphs


def test_many_edits_are_made_at_once(monkeypatch):
    """Each batch reads and writes the whole text, so that a batch for each edit would take hours."""
    book, batches, chance = flowbook.Flowbook.new(code="0"), [], random.Random(3)
    expected = [("code", "0")]
    monkeypatch.setattr(Paragraphs, "_make", lambda self, *batch, make=Paragraphs._make: (
        batches.append(batch), make(self, *batch)))
    for step in range(20_000):
        at, act = chance.randrange(len(expected) + 1), chance.randrange(4)
        if act > 1 or at == len(expected):
            book.paragraphs.insert(at, str(step), style := chance.choice(["Normal", "code", "Heading2"]))
            expected.insert(at, (style, str(step)))
        elif act == 1 and len(expected) > 1:
            book.paragraphs[at].remove()
            del expected[at]
        else:
            book.paragraphs[at].text += "!"
            expected[at] = expected[at][0], expected[at][1] + "!"
        if step == 10_000:
            book = flowbook.open(book.to_bytes())
    held = list(book.paragraphs)
    assert texts(book) == expected == texts(flowbook.open(book.to_bytes())) and len(batches) == 2
    assert {each.heading for each in held if each.style == "Heading2"} == {2} and held == list(book.paragraphs)


@pytest.mark.parametrize("inner", ["<w:p><w:r><w:t>inner</w:t></w:r></w:p>"])
def test_paragraphs_with_boxes_go_with_what_is_in_them(inner):
    box = f"<w:p><w:r><w:t>outer</w:t><w:pict><w:txbxContent>{inner}</w:txbxContent></w:pict></w:r></w:p>"
    book = rich(make.paragraph("a"), box, make.paragraph("b"))
    book.paragraphs[0].text = "A"
    book.paragraphs[2].text = "INNER"
    book.paragraphs[1].remove()
    book.paragraphs[1].text = "B"
    assert texts(book) == [("code", "A"), ("code", "B")] == texts(flowbook.open(book.to_bytes()))


PNG = b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x05\0\0\0\x07"
PICTURES = {"image/png": (PNG, (5, 7)), "image/gif": (b"GIF89a\x03\0\x04\0", (3, 4)),
            "image/bmp": (b"BM" + bytes(16) + b"\x05\0\0\0\xfa\xff\xff\xff", (5, 6)),
            "image/jpeg": (b"\xff\xd8\xff\xe0\0\x04ab\xff\xc2\0\x0b\x08\0\x09\0\x08\x01", (8, 9)),
            "image/webp": (b"RIFF\0\0\0\0WEBPVP8X\x0a\0\0\0\0\0\0\0\x01\0\0\x02\0\0", (2, 3)),
            "image/svg+xml": (b"<svg xmlns='http://www.w3.org/2000/svg'/>", None), "image/x-none": (b"?", None)}


@pytest.mark.parametrize("media_type", PICTURES)
def test_pictures(media_type):
    data, dimensions = PICTURES[media_type]
    book = flowbook.Flowbook.new(code="x")
    other, image = book.add_image(b"GIF8", "image/gif"), book.add_image(data, media_type)
    assert (image.size, image.dimensions, image.picture_type) == (len(data), dimensions, media_type)
    assert image in book.images and image != other and len({image.relationship_id, other.relationship_id}) == 2
    image.rename("/pictures/new.bin")
    image.replace(PNG, "image/png")
    other.remove()
    read, = flowbook.open(book.to_bytes()).images
    assert (read.name, read.data, read.media_type) == ("/pictures/new.bin", PNG, "image/png")
    assert read.relationship_id == image.relationship_id and not book.check()
    for act in (lambda: other.data, lambda: other.replace(PNG), lambda: other.rename("/a.gif"), other.remove):
        with pytest.raises(flowbook.MisuseError) as removed:
            act()
        assert removed.value.part == other.name


def test_parts_and_relationships():
    book = flowbook.Flowbook.new(code="x")
    part = book.add_part("/notes/a.txt", b"1", "text/plain; charset=utf-8")
    link = book.add_relationship("http://example.com/notes", part.name, source="/tarmic/document.xml", id="n1")
    web = book.add_relationship("http://example.com/web", "http://example.com/?a=b", is_internal=False)
    assert link.id == "n1" and web.id and part.media_type == "text/plain" and not book.check()
    document, = [each for each in book.parts if each.name == "/tarmic/document.xml"]
    document.rename("/other/code.xml")
    part.replace(b"22")
    part.rename("/notes/b.txt")
    read = flowbook.open(book.to_bytes())
    assert read.code == "x" and not read.check() and read.parts[-1].data == b"22"
    moved, = [each for each in read.relationships if each.id == "n1"]
    assert (moved.source, moved.target) == ("/other/code.xml", "/notes/b.txt")
    moved.remove()
    read.parts[-1].remove()
    assert b"notes/b.txt" not in read.canon()
    assert not [each for each in read.relationships if "notes" in each.type] and len(read.parts) == 4
    for gone in (moved.remove, lambda: book.add_relationship("t", "/a", source="/none")):
        with pytest.raises(flowbook.MisuseError):
            gone()
    for wrong in (lambda: book.add_part("/notes/B.TXT", b"", "text/plain"), lambda: book.add_part("no", b"", "a/b"),
                  lambda: book.add_part("/notes/c.txt", b"", ""),
                  lambda: book.add_relationship("t", "/a", source="/none"), lambda: part.rename("/tarmic/output.xml"),
                  lambda: book.add_relationship("t", "/a", source="/other/code.xml", id="n1")):
        before = book.to_bytes()
        with pytest.raises(flowbook.Error):
            wrong()
        assert book.digest == flowbook.digest(before)


def test_properties():
    core = make.core(make.title("a"), "<dc:creator>me &amp; you</dc:creator>",
                     "<cp:lastModifiedBy>x</cp:lastModifiedBy>", make.time("modified", "2020-05-06T07:08:09Z"))
    book = flowbook.open(make.zipped(make.package(**core)))
    assert book.properties["creator"] == "me & you" and book.properties["last_modified_by"] == "x"
    book.description, book.version = "d", "1"
    del book.title, book.version
    book.description = None
    read = flowbook.open(book.to_bytes())
    assert (read.title, read.description, read.version) == (None, None, None)
    assert read.properties["creator"] == "me & you" and not read.check()
    with pytest.raises(flowbook.LimitError) as limit:
        book.title = "x" * 20_000_000
    assert limit.value.part == "/core.xml" and book.title is None
    book.properties.update(creator="you", title="T", last_modified_by="<y>", subject="s")
    del book.properties["modified"]
    read = flowbook.open(book.to_bytes())
    assert {"creator": "you", "last_modified_by": "<y>", "subject": "s"}.items() <= read.properties.items()
    assert (read.title, book.properties.pop("creator"), "creator" in book.properties) == ("T", "you", False)
    for name, error in (("created", flowbook.MisuseError), ("other", flowbook.MisuseError), ("creator", TypeError)):
        with pytest.raises(error):
            book.properties[name] = b"x"
    with pytest.raises(flowbook.LimitError):
        book.properties["creator"] = "x" * 20_000_000
    assert "creator" not in book.properties
    large = flowbook.open(make.zipped(make.package(**make.core(make.title("x" * (16 << 20))))))
    for read in (lambda: large.title, lambda: large.properties["creator"]):
        with pytest.raises(flowbook.LimitError) as limit:
            read()
        assert limit.value.part == "/core.xml"


def test_mistyped_attributes_are_errors():
    book = flowbook.Flowbook.new(code="x")
    book.add_image(b"GIF8", "image/gif")
    merged, repaired = flowbook.merge(None, book, book), flowbook.repair(book.to_bytes())
    for each in (book, book.images[0], book.parts[0], book.relationships[0], book.paragraphs, book.paragraphs[0],
                 book.paragraphs[0].runs[0], book.properties, merged, repaired, flowbook.check(b"")[0]):
        with pytest.raises(AttributeError):
            each.titel = "x"
    for each, names in ((book.images[0], ["name", "content_type", "stored_size", "relationship_id"]),
                        (book.paragraphs[0], ["style", "heading", "is_code", "runs"]),
                        (book.relationships[0], ["source", "id", "type", "target", "is_internal"])):
        for name in names:  # which would be a change that no save has
            with pytest.raises(AttributeError):
                setattr(each, name, "x")


def test_what_is_given_away_is_what_is_saved():
    """Also where the first change adds the properties that other programs left out, and so takes ids."""
    book = rich(make.paragraph("a"))
    link = book.add_relationship("http://e/", "http://e/", is_internal=False)
    image = book.add_image(b"GIF8", "image/gif")
    read = flowbook.open(book.to_bytes())
    assert read.images[0].relationship_id == image.relationship_id and link in read.relationships
    link.remove()
    assert link not in flowbook.open(book.to_bytes()).relationships


def test_code_keeps_its_first_character(tmp_path):
    book = flowbook.Flowbook.new(code="\ufeffx")
    assert book.code == "\ufeffx" == flowbook.open(book.to_bytes()).code
    book.save(tmp_path / "a.tqx")
    assert flowbook.read_many(tmp_path, "code") == [{"code": "\ufeffx"}]


class OneWay(io.BytesIO):
    def seekable(self):
        return False


def test_the_commands_work_by_functions(tmp_path):
    book = flowbook.Flowbook.new(code="x = 1;", title="t")
    book.save(tmp_path / "a.tqx")
    for given in (book, tmp_path / "a.tqx", str(tmp_path / "a.tqx"), book.to_bytes()):
        assert flowbook.check(given) == () and flowbook.digest(given, code=True) == book.code_digest
        assert "x = 1;" in flowbook.html(given) and flowbook.canon(given)[:2] == b"PK"
    assert flowbook.digest(book.to_bytes()) == flowbook.digest(tmp_path / "a.tqx")
    damaged = flowbook.repair(book.to_bytes()[:-30])
    merged = flowbook.merge(None, book, book)
    for result in (merged, damaged, copy.copy(merged), pickle.loads(pickle.dumps(damaged))):
        result.book.title = "once opened"
        assert result.book.title == "once opened"
    assert damaged.book.code == "x = 1;" and damaged.saved
    with pytest.raises(flowbook.DamagedError):
        flowbook.repair(b"nothing").book
    assert flowbook.check(b"nothing")[0].severity == "error"
    cut = book.to_bytes()[:-30]
    for given in (cut, io.BytesIO(cut), OneWay(cut)):
        assert "x = 1;" in flowbook.html(given)
    assert f"{len(cut)} bytes" in flowbook.diff(book, OneWay(cut)) and flowbook.diff(cut, io.BytesIO(cut)) == ""
    with pytest.raises(flowbook.DamagedError):
        flowbook.html(b"nothing")
    with zipfile.ZipFile(io.BytesIO(book.to_bytes())) as old, zipfile.ZipFile(tmp_path / "b.tqx", "w") as new:
        for name in old.namelist():
            new.writestr(name, old.read(name).replace(b"x = 1;", b"x = \xff;"))
    finding, = flowbook.check(tmp_path / "b.tqx")
    assert finding.words.startswith(str(tmp_path / "b.tqx"))
    assert "://flowbook" not in flowbook.open(tmp_path / "b.tqx").text
    with pytest.raises(flowbook.DamagedError) as damage:
        flowbook.open(tmp_path / "b.tqx").rich_code
    assert damage.value.part == finding.part == "/tarmic/document.xml"
    odd = book.to_bytes().replace(b"docProps/tarmic.xml", b"docProps/\x80armic.xml")
    assert any("\ufffdarmic" in words for words in (*flowbook.repair(odd).saved, *flowbook.repair(odd).lost))


def test_many_of_which_some_cannot_be_looked_at(tmp_path):
    book = flowbook.Flowbook.new(code="x", title="t")
    book.save(tmp_path / "a.tqx")
    (tmp_path / "links").mkdir()
    os.symlink("nothing", tmp_path / "links" / "b.tqx")
    for links in (tmp_path / "links", str(tmp_path / "links/*")):
        row, = flowbook.read_many(links, ["path", "error"])
        assert row["path"] == str(tmp_path / "links/b.tqx") and row["error"]
    given = [tmp_path / "a.tqx" / "none", "n" * 300, tmp_path / "a.tqx", tmp_path / "none.tqx"]
    rows = flowbook.read_many(given, ["title", "error"], threads=10**9)
    assert [(row["title"], bool(row["error"])) for row in rows] == [(None, True), (None, True), ("t", False),
                                                                      (None, True)]
    assert flowbook.read_many(given, []) == [{}] * 4
    for single in given[:2] + given[3:]:
        with pytest.raises(flowbook.Error):
            flowbook.read_many(single)
    for wrong, error in ((["a\0b"], flowbook.MisuseError), ([b"a.tqx"], TypeError), ([None], TypeError)):
        with pytest.raises(error):
            flowbook.read_many(wrong)
    with pytest.raises(TypeError):
        flowbook.read_many(given, threads=1.5)


def applied(old, patch):
    """What a unified diff makes of a text. Each line that stays or goes has to be there."""
    lines, made, at = old.splitlines(keepends=True), [], 0
    for hunk in re.split(r"^(?=@@ )", patch, flags=re.M)[1:]:
        first, count = re.match(r"@@ -(\d+)(?:,(\d+))? ", hunk).groups(default="1")
        begin = int(first) - (count != "0")
        made, at = made + lines[at:begin], begin
        for sign, text in re.findall(r"^([ +-])(.*\n(?!\\)|.*)", hunk, flags=re.M):
            if sign in " -":
                assert lines[at] == text
                at += 1
            made += [text] if sign in " +" else []
    return "".join(made + lines[at:])


def test_unified_differences():
    chance = random.Random(5)
    for _ in range(500):
        old = "".join(chance.choice("ab\n") for _ in range(chance.randrange(40)))
        fresh = "".join(chance.choice([each, each, each, "", "c", "\n"]) for each in old)
        patch = _native.diff("old", old, "fresh", fresh, chance.randrange(5))
        assert applied(old, patch) == fresh and bool(patch) == (old != fresh)
        assert not patch or patch.startswith("--- old\n+++ fresh\n@@ -")
