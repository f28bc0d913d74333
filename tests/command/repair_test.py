#!/usr/bin/env python3
"""Damages flowbooks in every way and compares what repair makes of them with what was whole.

usage: repair_test.py FLOWBOOK_COMMAND [SEED [ROUNDS]]"""

import io
import os
import random
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import warnings
import zipfile
import zlib
from pathlib import Path

warnings.simplefilter("ignore")  # of zipfile, about the names that stand there twice
COMMAND, SEED, ROUNDS = None, 1, 120
PACKAGE = "http://schemas.openxmlformats.org/package/2006/"
FLOWBOOK = "http://schemas.pellarion.com/tarmic/code/2013/relationships/"
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
WORDS = "http://schemas.openxmlformats.org/wordprocessingml/2006/main"
CORE = "application/vnd.openxmlformats-package.core-properties+xml"
LIST_TYPE = "application/vnd.openxmlformats-package.relationships+xml"
CODE_TYPE = "application/vnd.pellarion.tarmic.code.document+xml"
TYPES, RELS = "[Content_Types].xml", "_rels/.rels"
CODE, CODE_RELS = "tarmic/document.xml", "tarmic/_rels/document.xml.rels"


def relationships(rows):
    return (f'<Relationships xmlns="{PACKAGE}relationships">' + "".join(
        f'<Relationship Id="{key}" Type="{kind}" Target="{target}"{more}/>' for key, kind, target, more in rows) +
        "</Relationships>").encode()


def contents(rng):
    """The entries of a flowbook with code, output, properties, a link, pictures and an entry that is no part."""
    pictures = [f"/media/image{i}.png" for i in range(1, rng.choice([1, 3, 12]) + 1)]
    shown = "".join(f'<w:p><w:r><a:blip xmlns:a="x" r:embed="rId{i + 1}"/></w:r><w:r><w:t>Figure {i}</w:t></w:r></w:p>'
                    for i in range(len(pictures)))
    body = "".join(f'<w:p><w:pPr><w:pStyle w:val="code"/></w:pPr><w:r><w:t>x{i} = {rng.random()};</w:t></w:r></w:p>'
                   for i in range(rng.choice([1, 40])))
    types = (f'<Types xmlns="{PACKAGE}content-types"><Default Extension="rels" ContentType="{LIST_TYPE}"/>'
             '<Default Extension="png" ContentType="image/png"/>' + "".join(
                 f'<Override PartName="{name}" ContentType="{kind}"/>' for name, kind in [
                     ("/" + CODE, CODE_TYPE), ("/tarmic/output.xml", "text/xml"), ("/docProps/core.xml", CORE)]) +
             "</Types>")
    return {
        TYPES: types.encode(),
        RELS: relationships([("rId1", FLOWBOOK + "document", "/" + CODE, ""), ("rId2", FLOWBOOK + "output",
                             "/tarmic/output.xml", ""), ("rId3", PACKAGE + "relationships/metadata/core-properties",
                             "/docProps/core.xml", "")]),
        CODE: f'<w:document xmlns:w="{WORDS}" xmlns:r="{OFFICE}"><w:body>{shown}{body}</w:body></w:document>'.encode(),
        CODE_RELS: relationships([(f"rId{i + 1}", FLOWBOOK + "image", name, "") for i, name in enumerate(pictures)] +
                                 [("rIdL", OFFICE + "/hyperlink", "http://x/", ' TargetMode="External"')]),
        "tarmic/output.xml": b"<embeddedOutputs>" + rng.randbytes(40).hex().encode() + b"</embeddedOutputs>",
        **{name[1:]: b"data:image/png;base64," + b"AAEC" * rng.randrange(1, 400) for name in pictures},
        "docProps/core.xml": (f'<c:coreProperties xmlns:c="{PACKAGE}metadata/core-properties" xmlns:d="http://purl.org/'
                              'dc/elements/1.1/"><d:title>T</d:title></c:coreProperties>').encode(),
        "notes": b"no part" * 9}


class Unseekable(io.BytesIO):
    """Makes zipfile write data descriptors."""
    def seekable(self):
        return False

    def tell(self):
        raise OSError

    def seek(self, *_):
        raise OSError


class Book:
    """A flowbook as bytes, with where its entries lie."""
    def __init__(self, rng, entries=None):
        self.entries = entries or contents(rng)
        self.streamed = rng.random() < 0.4
        self.is_zip64 = random.Random(repr(self.entries)).random() < 0.2
        out = Unseekable() if self.streamed else io.BytesIO()
        with zipfile.ZipFile(out, "w") as file:
            if rng.random() < 0.3 and not entries:
                with zipfile.ZipFile(inner := io.BytesIO(), "w") as nested:  # its entries are not the flowbook's
                    nested.writestr("media/image1.png", "nested")
                    nested.writestr(TYPES, "nested")
                self.entries["notes"] = inner.getvalue()
            for name, content in self.entries.items():
                if rng.random() < 0.15:
                    file.writestr(name, content + (b"AAEC" if name.startswith("media") else b"<!-- older -->"))
                info = zipfile.ZipInfo(name)
                info.compress_type = rng.choice([zipfile.ZIP_STORED, zipfile.ZIP_DEFLATED])
                with file.open(info, "w", force_zip64=self.is_zip64) as entry:
                    entry.write(content)
            infos = {}
            for info in file.infolist():
                infos[info.filename] = info
            file.filelist = list(infos.values())
            file.NameToInfo = infos
        self.bytes = out.getvalue()
        self.index = self.bytes.rindex(b"PK\5\6")
        self.index = struct.unpack_from("<I", self.bytes, self.index + 16)[0]
        self.data = {}
        for info in infos.values():
            name, extra = struct.unpack_from("<HH", self.bytes, info.header_offset + 26)
            begin = info.header_offset + 30 + name + extra
            self.data[info.filename] = (info.header_offset, begin, begin + info.compress_size)


def flip(rng, book):
    at = rng.choice([rng.randrange(len(book.bytes)), rng.randrange(book.index, len(book.bytes)),
                     (lambda span: rng.randrange(span[0], span[1]))(rng.choice(list(book.data.values())))])
    damaged = bytearray(book.bytes)
    damaged[at] ^= 1 << rng.randrange(8)
    return bytes(damaged), {name for name, span in book.data.items() if not span[1] <= at < span[2]}, f"flip at {at}"


def truncate(rng, book):
    at = rng.randrange(len(book.bytes))
    return book.bytes[:at], {name for name, span in book.data.items() if
                             span[2] + (16 if book.streamed else 0) <= at}, f"truncated at {at}"


def cut_middle(rng, book):
    begin = rng.randrange(book.index)
    end = min(book.index, begin + rng.randrange(1, 600))
    tail = 16 if book.streamed else 0
    return (book.bytes[:begin] + book.bytes[end:],
            {name for name, span in book.data.items() if span[2] + tail <= begin or span[1] >= end or
             (span[0] >= end)}, f"without {begin} to {end}")


def no_end(rng, book):
    return book.bytes[:book.bytes.rindex(b"PK\5\6")], set(book.data), "no end record"


def no_index(rng, book):
    return book.bytes[:book.index], set(book.data), "no index"


def forged_end(rng, book):
    at = book.bytes.rindex(b"PK\5\6")
    forged = struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, *[rng.randrange(3)] * 2, rng.choice([0, 60, 1 << 20]),
                         rng.choice([0, book.index, at]), 0)
    return (book.bytes[:at] + forged if rng.random() < 0.5 else book.bytes + forged), set(book.data), "forged end"


def moved(rng, book):
    return b"#!/bin/sh\n" * rng.randrange(1, 9) + book.bytes, set(book.data), "something before it"


def index_flips(rng, book):
    damaged = bytearray(book.bytes)
    for _ in range(4):
        damaged[rng.randrange(book.index, len(damaged) - 22)] ^= 1 << rng.randrange(8)
    return bytes(damaged), set(book.data), "flips in the index"


def no_record(rng, book):
    """Of which the end record does not know."""
    at = book.bytes.index(b"PK\1\2", book.index + 1 if rng.random() < 0.5 else book.index)
    end = at + 46 + sum(struct.unpack_from("<HHH", book.bytes, at + 28))
    return book.bytes[:at] + book.bytes[end:], set(book.data), "a record is missing"


IMAGE2, IMAGE6, NOTES2, NOTES6 = "media/image2.png", "media/image6.png", "notes2", "notes6"
LIST, LIST_NAME = relationships([("rId1", "t", "/media/image1.png", "")]), "tarmic/_rels/documenu.xml.rels"
# Where a name stands for another, what entries there are beside those of a flowbook, where which of these are in the
# end if not where they were, and what is told.
NAMES = [
    ("index", IMAGE6, IMAGE2, {}, {}, None), ("index", IMAGE2, IMAGE6, {}, {}, None),
    ("header", IMAGE6, IMAGE2, {}, {}, None),
    ("both", IMAGE6, IMAGE2, {}, {IMAGE2: "renamed/" + IMAGE2, IMAGE6: IMAGE2},
     f"lost: /{IMAGE2}: another entry has this name"),
    ("index", NOTES6, NOTES2, {NOTES2: b"2", NOTES6: b"6"}, {}, f"the name /{NOTES6}, which the file elsewhere gives"),
    ("header", NOTES6, NOTES2, {NOTES2: b"2", NOTES6: b"6"}, {}, f"the name /{NOTES6}, which the file elsewhere gives"),
    ("index", "foombar", "foo/bar", {"foo": b"1", "foombar": b"2"}, {}, "the name /foombar, which the file"),
    ("both", "foo", "f?o", {"foo": b"1"}, {"foo": "f?o"}, None),
    ("index", "foo", "f\udcef\udcef", {"foo": b"1"}, {}, "the name /foo, which the file"),
    ("both", "foo", "f\udcef\udcef", {"foo": b"1"}, {"foo": "renamed/entry"}, ": no entry can have this name"),
    ("index", CODE_RELS, LIST_NAME, {"tarmic/documenu.xml": b"x", LIST_NAME: LIST}, {}, None),
    ("both", CODE_RELS, LIST_NAME, {"tarmic/documenu.xml": b"x", LIST_NAME: LIST}, {CODE_RELS: "renamed/entry"},
     f"lost: /{LIST_NAME}: another entry has this name"),
    ("index", "", "", {"foo": b"1", "foo/bar": b"2"}, {"foo/bar": "renamed/foo/bar"}, "lost: /foo/bar: another name"),
    ("index", "", "", {"foo": b"1", "foo/_rels/a.rels": LIST}, {"foo/_rels/a.rels": "renamed/entry"},
     "lost: /foo/_rels/a.rels: another name excludes this one"),
    ("index", "", "", {"foo/a": b"1", "foo": b"2"}, {"foo": "renamed/foo"}, "lost: /foo: another name"),
]


DAMAGES = [flip, flip, flip, flip, truncate, truncate, cut_middle, cut_middle, no_end, no_index, forged_end, moved,
           index_flips, no_record]


def cut(content):
    return content[:len(content) * 2 // 3]


def in_pieces(name, content, *left_out):
    """In three pieces, less those of these numbers."""
    return {f"{name}/[{i}]{'.last' if i == 2 else ''}.piece": content[5 * i:5 * i + 5] if i < 2 else content[10:]
            for i in range(3) if i not in left_out}


IMAGE1, LOOSE, SHOWN = "media/image1.png", "größe", f"the relationship rId1 of /{CODE} to /media/image1.png, a guess"
# What is wrong with a package in a container that is whole: what becomes of its entries (None: gone), what repair ends
# with and tells, and where what is in the end.
PACKAGES = [
    (lambda e: {}, 0, None, {}), (lambda e: {LOOSE: b"1"}, 0, None, {LOOSE: b"1"}),
    (lambda e: {CODE_RELS: None}, 1, SHOWN, {}), (lambda e: {CODE_RELS: cut(e[CODE_RELS])}, 1, "what is left of", {}),
    (lambda e: {CODE_RELS: e[CODE_RELS].replace(b'.png"', b'.png" TargetMode="x"')}, 1, "has no target mode", {}),
    (lambda e: {CODE_RELS: e[CODE_RELS].replace(b"rIdL", b"rId1")}, 1, "lost: a faulty relationship of /" + CODE, {}),
    (lambda e: {CODE: cut(e[CODE])}, 1, f"lost: /{CODE}: its XML is damaged", {"damaged/" + CODE: cut}),
    (lambda e: {TYPES: e[TYPES].replace(b"</", b'<Default Extension="PNG" ContentType="a/b"/></')}, 1, "types", {}),
    (lambda e: {TYPES: b"<x/>"}, 1, "the content types, from names", {}), (lambda e: {RELS: None}, 1, "a guess", {}),
    (lambda e: {CODE: None, **in_pieces(CODE, e[CODE])}, 0, None, {CODE: lambda code: code}),
    (lambda e: {TYPES: None, **in_pieces(TYPES, e[TYPES])}, 0, None, {}),
    (lambda e: {IMAGE1: None, **in_pieces(IMAGE1, e[IMAGE1], 1)}, 1, "lost: /" + IMAGE1,
     {"damaged/" + IMAGE1: b"data:", IMAGE1 + "/[2].last.piece": lambda image: image[10:]}),
    (lambda e: {**dict.fromkeys(e), TYPES: e[TYPES], "loose": b"1"}, 1, "empty code in /" + CODE, {"loose": b"1"}),
]


def zipped(entries, *, before=(), out=None, compression=zipfile.ZIP_DEFLATED, extra=b""):
    with zipfile.ZipFile(out := out or io.BytesIO(), "w", compression) as file:
        for name, content in [*before, *entries.items()]:
            info = zipfile.ZipInfo(name)
            info.compress_type, info.extra = compression, extra
            with file.open(info, "w") as entry:
                entry.write(content)
    return out.getvalue()


def without_index(file):
    return file[:struct.unpack_from("<I", file, file.rindex(b"PK\5\6") + 16)[0]]


def numbered(numbers):
    return {f"number{i}": bytes([i] * 99) for i in numbers}


def without_first(file):
    return file[file.index(b"PK\3\4", 1):]


def zeroed(file, signature, name, begin, end):
    """With zeros in the last header or record of a name."""
    at = file.rindex(name.encode()) - (46 if signature == b"PK\1\2" else 30)
    assert file[at:at + 4] == signature
    return file[:at + begin] + bytes(end - begin) + file[at + end:]


SIGNATURE = struct.pack("<HH", 0xCAFE, 40) + b"PK\3\4" * 10
# What is wrong with the container of whole entries, what repair ends with and tells, and what else is there then.
CONTAINERS = [
    (lambda e: b"junk" + zipped({CODE: b"other"}) + zipped(e), 1, "joined to this one", {"renamed/" + CODE: b"other"}),
    (lambda e: zipped(e) + zipped({CODE: b"other"}), 1, "joined to this one", {"renamed/" + CODE: b"other"}),
    (lambda e: without_index(zipped(e, before=[(CODE, b"older")])), 1, f"lost: /{CODE}: another entry has this name, "
     "and no index says which counts", {"renamed/" + CODE: b"older"}),
    (lambda e: zipped(e).replace(b"\n", b"\r\n"), 0, None, {}),
    (lambda e: without_index(zipped(e, extra=SIGNATURE)), 0, None, {}),
    (lambda e: zipped(e).replace(struct.pack("<I", zlib.crc32(e[CODE])), b"\0" * 4, 1), 0, None, {}),
    (lambda e: without_index(zipped(e, out=Unseekable(), compression=zipfile.ZIP_STORED)).replace(b"PK\7\x08", b"") +
     bytes(999), 0, None, {}),
    (lambda e: zipped(e) + zipped({CODE: b"other"}, compression=zipfile.ZIP_STORED).replace(b"other", b"ether"), 1,
     "joined to this one, and damaged or gone; 5 bytes", {"damaged/" + CODE: b"ether"}),
    (lambda e: zipped(e) + zipped({CODE: b"other" * 9}).replace(struct.pack("<I", zlib.crc32(b"other" * 9)), b"1234"),
     1, "joined to this one, and damaged or gone; 45 bytes", {"damaged/" + CODE: b"other" * 9}),
    (lambda e: zeroed(without_index(zipped(e, compression=zipfile.ZIP_STORED)), b"PK\3\4", CODE, 18, 20), 0,
     None, {}),
    (lambda e: zeroed(zipped(e), b"PK\1\2", "tarmic/output.xml", 10, 28), 0, None, {}),
    (lambda e: zeroed(zipped(e), b"PK\1\2", "media/image1.png", 20, 54), 0, None, {}),
    (lambda e: b"PK\7\x08" + without_index(zipped({"z": zipped({CODE: b"other"}), **e},
                                                 compression=zipfile.ZIP_STORED)), 0, None, {}),
    (lambda e: without_index(zipped({TYPES: e[TYPES], CODE: b"other"})) + without_first(zipped(e)), 1,
     "joined to this one", {"renamed/" + CODE: b"other"}),
    (lambda e: without_index(zipped({**e, TYPES: bytes(len(e[TYPES])), **numbered(range(9))},
                                    compression=zipfile.ZIP_STORED))
     + without_first(zipped({**e, **numbered(range(1, 4))}, compression=zipfile.ZIP_STORED)), 1, "content types",
     numbered(range(9))),
]


class Repair(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.file, self.new = Path(scratch.name) / "a.tqx", Path(scratch.name) / "b.tqx"

    def run_command(self, *arguments):
        return subprocess.run([COMMAND, *arguments], capture_output=True, check=False, timeout=300)

    def repair(self, damaged):
        self.file.write_bytes(damaged)
        self.new.unlink(missing_ok=True)
        done = self.run_command("repair", self.file, "-o", self.new)
        told = done.stderr.decode()
        self.assertIn(done.returncode, (0, 1, 4), told)
        if done.returncode == 4:
            return 4, told, {}
        self.assertIn((check := self.run_command("check", self.new)).returncode, (0, 1), (told, check.stdout))
        with zipfile.ZipFile(self.new) as file:
            result = {name: file.read(name) for name in file.namelist()}
        for name in re.findall(r"saved: /(.*)", told):
            self.assertIn(name, result)
        again = self.new.with_name("again.tqx")
        self.run_command("repair", "--force", self.new, "-o", again)
        self.assertEqual(again.read_bytes(), self.new.read_bytes(), told)
        return done.returncode, told, result

    def targets(self, rels):
        return {(key, target.lower()) for key, target in re.findall(rb'Id="(.*?)".*?Target="(.*?)"', rels or b"")}

    def judge(self, book, whole, what, code, told, result):
        lists = {TYPES, RELS, CODE_RELS}
        for name in whole - lists:
            other = re.search(f"the name /(.*), which the file elsewhere gives as /{name}$", told, re.MULTILINE)
            self.assertEqual(result.get(other.group(1) if other else name), book.entries[name], name)
        for name in set(result) - lists - {n for n in result if n.endswith(".rels")}:
            if name not in whole:
                # Of an entry whose local header is cut off nothing tells that it was there.
                kept = result[name] == book.entries.get(name) or ("byte" in told and result[name][:9] ==
                                                                  book.entries.get(name, b"?")[:9])
                cut_off = re.findall("lost: /(.*): the content is damaged or gone$", told, re.MULTILINE)
                kept = kept or any(name.startswith(each) for each in cut_off)  # A newer one's name is cut off.
                is_empty_code = name == CODE and "empty code in" in told or f"the name /{name}, " in told
                self.assertTrue(kept or is_empty_code or re.match("damaged/|older/|renamed/", name), name)
        for name in set(book.entries) - lists - whole:
            if RELS in whole and TYPES in whole and name in (CODE, "tarmic/output.xml", "docProps/core.xml"):
                self.assertTrue(name in result or re.search(f"lost: /{name}", told), name)
        if lists <= whole:
            for name in (RELS, CODE_RELS):
                self.assertEqual(self.targets(result[name]), self.targets(book.entries[name]))
        elif CODE in whole and whole >= {n for n in book.entries if n.startswith("media/")}:
            pictures = {each for each in self.targets(book.entries[CODE_RELS]) if each[1].startswith(b"/media")}
            self.assertTrue(pictures <= self.targets(result[CODE_RELS]), result[CODE_RELS])
        if code == 0:
            self.assertFalse(re.search("lost: |made anew: ", told))
            # Of an entry that the file was cut off just before nothing tells that it was there.
            self.assertTrue(set(book.entries) <= set(result) or what.startswith("truncated"))

    def test_what_is_whole_is_saved(self):
        for seed in range(SEED, SEED + ROUNDS):
            rng = random.Random(seed)
            book = Book(rng)
            damaged, whole, what = rng.choice(DAMAGES)(rng, book)
            with self.subTest(f"seed {seed}: {what}"):
                code, told, result = self.repair(damaged)
                if not whole - {TYPES} and code == 4:
                    continue
                try:
                    self.judge(book, whole, what, code, told, result)
                except AssertionError as failure:
                    raise AssertionError(f"{failure}\n{told}") from failure

    def test_packages_that_are_wrong(self):
        for number, (change, code, words, places) in enumerate(PACKAGES):
            with self.subTest(number):
                entries = contents(random.Random(3))
                changed = {name: content for name, content in {**entries, **change(entries)}.items()
                           if content is not None}
                with zipfile.ZipFile(out := io.BytesIO(), "w") as file:
                    for name, content in changed.items():
                        file.writestr(name, content)
                found, told, result = self.repair(out.getvalue())
                self.assertEqual((found, re.findall("lost: |made anew: ", told) == []), (code, code == 0), told)
                self.assertIn(words or "", told)
                is_whole = code == 0 and set(result) == set(changed)
                self.assertEqual(self.new.read_bytes() == out.getvalue(), is_whole)
                for name, place in places.items():
                    entry = entries.get(re.sub(r"damaged/|/\[.*", "", name))
                    self.assertEqual(result.get(name), place(entry) if callable(place) else place)

    def test_containers_that_are_wrong(self):
        entries = contents(random.Random(3))
        for number, (make, code, words, more) in enumerate(CONTAINERS):
            with self.subTest(number):
                damaged = make(entries)
                found, told, result = self.repair(damaged)
                self.assertEqual(found, code, told)
                self.assertIn(words or "", told)
                self.assertNotEqual(self.new.read_bytes(), damaged)
                for name, content in {**entries, **more}.items():
                    self.assertTrue(name in (TYPES, RELS, CODE_RELS) or result.get(name) == content, (name, told))
        # Only the index tells of the last entry: its record is cut off, or the size of the name in it is damaged.
        listed = zeroed(zipped({**entries, "xyz": b"1"}, extra=b"\xfe\xca\0\0" * 9), b"PK\1\2", "xyz", 0, 0)
        listed = listed.replace(b"PK\3\4" + listed[(at := listed.index(b"xyz")) - 26:at + 40], bytes(70))
        at = listed.index(b"xyz")
        for damaged in (listed[:at + 9], listed[:at - 17] + b"\x7f" + listed[at - 16:]):
            self.assertIn("lost: /xyz: the content is damaged or gone", self.repair(damaged)[1])
        self.assertEqual(self.run_command("repair", "/dev/zero", "-o", self.new).returncode, 3)

    def test_names_that_claim_each_other(self):
        for where, name, claimed, more, moved_to, words in NAMES:
            with self.subTest(f"{name} as {claimed!r} in {where}, {list(more)}"):
                rng = random.Random(3)
                while IMAGE6 not in (entries := contents(rng)):
                    pass
                book = Book(rng, {**entries, **more})
                local, index = book.bytes[:book.index], book.bytes[book.index:]
                local = local.replace(name.encode(), os.fsencode(claimed)) if where != "index" else local
                index = index.replace(name.encode(), os.fsencode(claimed)) if where != "header" else index
                code, told, result = self.repair(local + index)
                for entry in set(book.entries) - {TYPES, RELS, CODE_RELS} | set(moved_to):
                    found = [each for each in result if each.startswith(moved_to.get(entry, entry))]
                    self.assertIn(book.entries[entry], [result[each] for each in found], (entry, told))
                self.assertEqual((code, re.findall("lost: |made anew: ", told)) == (0, []), words is None, told)
                self.assertIn(words or "", told)


if __name__ == "__main__":
    if len(sys.argv) > 2:
        SEED = int(sys.argv.pop(2))
        ROUNDS = int(sys.argv.pop(2)) if len(sys.argv) > 2 else 1
    COMMAND = str(Path(sys.argv.pop(1)).resolve())
    print("seeds from", SEED, file=sys.stderr)
    unittest.main()
