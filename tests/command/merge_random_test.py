#!/usr/bin/env python3
"""Merges flowbooks made at random and looks into what comes out. usage: merge_random_test.py FLOWBOOK_COMMAND [SEED]

Each round makes three versions as different programs would write them, so that ids and part names clash, and asks of
the result: each picture, link and output that a side shows at a paragraph is shown there or stands in a conflict,
nothing refers to nothing, and the laws merge(b,o,b)=o, merge(b,b,t)=t, merge(b,o,o)=o hold, as does the exchange of
the sides; to settle conflicts afterwards gives what a merge that settles them gives. FLOWBOOK_MERGES is the number of
rounds; FLOWBOOK_SEED, or SEED, starts them elsewhere.
"""

import copy
import io
import os
import random
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as tree
import zipfile
from collections import Counter
from pathlib import PurePosixPath
from posixpath import normpath
from xml.sax.saxutils import escape

sys.path.insert(0, str(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "support")))
import make_fixtures as made

OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
CORE_TYPE_OF_LINK = made.PACKAGE + "relationships/metadata/core-properties"
SITE = "http://example.com/site"
W, R = "{" + made.WORD + "}", "{" + OFFICE + "}"
SINGLE = ("site", "entry", "alias", "language", "frame")  # a link of the package, an entry that is no part, and so on
KINDS = {"picture": made.FLOWBOOK + "image", "link": OFFICE + "/hyperlink", "part": "http://example.com/data"}
PROPERTIES = {"title": "dc:title", "description": "dc:description", "creator": "dc:creator", "version": "cp:version"}


class Book:
    """What a version shows, apart from how it is written."""

    def __init__(self, rng):
        self.lines = [self.line(rng, f"p{i}") for i in range(rng.randrange(1, 9))]
        self.properties = {key: f"{key} 0" for key in PROPERTIES if rng.random() < 0.6}
        self.hanging = {f"hanging {i}" for i in range(rng.randrange(3))}
        self.output, self.styles, self.deep = "output 0", rng.choice([None, "styles 0"]), rng.choice([None, "deep 0"])
        self.code_name = made.DOCUMENT
        self.single = {key: f"{key} 0" for key in SINGLE if rng.random() < 0.5}

    @staticmethod
    def thing(rng, name):
        return rng.choice([*KINDS, "picture"]), name

    @classmethod
    def line(cls, rng, label):
        """A paragraph: its style, its lines, and the things that it shows."""
        style = rng.choice(["code", "code", "text"])
        count = rng.choice([1, 1, 3, 6]) if style == "code" else 1
        things = [cls.thing(rng, f"{label} {i}") for i in range(rng.choice([0, 0, 1, 1, 2]))]
        return [style, [f"{label}.{i}" for i in range(count)], things]

    def changed(self, rng, side):
        book = copy.deepcopy(self)
        for number in range(rng.choice([0, 1, 1, 2, 4])):
            rng.choice([book.insert, book.insert, book.remove, book.rewrite, book.show, book.show, book.set, book.hang,
                        book.unhang, book.rerun, book.restyle, book.redeep, book.rename,
                        book.change, book.move, book.move])(rng, f"{side}{number}")
        return book

    def pick(self, rng):
        return rng.choice(self.lines) if self.lines else ["text", ["none"], []]

    def insert(self, rng, name):
        self.lines.insert(rng.randrange(len(self.lines) + 1), self.line(rng, rng.choice([name, "same"])))

    def remove(self, rng, _):
        if self.lines:
            self.lines.remove(self.pick(rng))

    def move(self, rng, _):
        if self.lines:
            self.lines.insert(rng.randrange(len(self.lines)), self.lines.pop(0))

    def rewrite(self, rng, name):
        texts = self.pick(rng)[1]
        texts[rng.randrange(len(texts))] += " " + rng.choice([name, "alike"])

    def show(self, rng, name):
        things = self.pick(rng)[2]
        if things and rng.random() < 0.3:
            things.pop()
        elif things and rng.random() < 0.6:
            things[rng.randrange(len(things))] = self.thing(rng, rng.choice([name, "same thing"]))
        elif self.hanging and rng.random() < 0.3:
            things.append(("picture", rng.choice(sorted(self.hanging))))
        else:
            things.append(self.thing(rng, rng.choice([name, "same thing"])))

    def set(self, rng, name):
        key = rng.choice(sorted(PROPERTIES))
        if rng.random() < 0.3:
            self.properties.pop(key, None)
        else:
            self.properties[key] = f"{key} " + rng.choice([name, "alike"])

    def hang(self, rng, name):
        self.hanging.add("hanging " + rng.choice([name, "same"]))

    def unhang(self, rng, _):
        if self.hanging:
            self.hanging.remove(rng.choice(sorted(self.hanging)))

    def rerun(self, rng, name):
        self.output = rng.choice([None, "output " + name])

    def restyle(self, rng, name):
        self.styles = rng.choice([None, "styles " + name])

    def redeep(self, rng, name):
        self.deep = rng.choice([None, "deep " + name])

    def change(self, rng, name):
        key = rng.choice(SINGLE)
        if rng.random() < 0.3:
            self.single.pop(key, None)
        else:
            self.single[key] = f"{key} " + rng.choice([name, "alike"])

    def rename(self, rng, _):
        self.code_name = rng.choice([made.DOCUMENT, "other/main.xml"])


class Program:
    """Writes a book in its own way: ids, part names, markup."""

    def __init__(self, rng):
        self.rng = rng
        self.start, self.cdata = rng.choice([1, 1, 5]), rng.random() < 0.5
        self.space, self.indent = rng.choice(["", ' xml:space="preserve"']), rng.choice(["", "\n  "])
        self.folder, self.absolute = rng.choice(["media", "media", "pics"]), rng.random() < 0.5
        self.utf16 = rng.random() < 0.2

    def encoded(self, xml):
        return made.utf16(xml) if self.utf16 else xml

    def write(self, book):
        rng, parts, rows, ids = self.rng, {}, [], {}

        def put(kind, name):
            """The id by which the code reaches a thing."""
            if (kind, name) in ids and rng.random() < 0.8:
                return ids[kind, name]
            ids[kind, name] = key = f"rId{self.start + len(rows)}"
            if kind == "link":
                rows.append((key, KINDS[kind], "http://x/" + name.replace(" ", "/"), "External"))
                return key
            ending, media, content = (("png", "image/png", "data:image/png," + name) if kind == "picture" else
                                      ("bin", "application/x-data", name))
            part = f"{self.folder}/image{len(parts) + 1}.{ending}"
            parts[part] = (media, content.encode())
            rows.append((key, KINDS[kind], self.target(part, book.code_name)))
            return key

        body = "".join(self.paragraph(line, put) for line in book.lines)
        for name in sorted(sorted(book.hanging), key=lambda _: rng.random()):
            put("picture", name)
            ids.pop(("picture", name))
        root = [("rId1", "document", "/" + book.code_name)]
        self.around(book, parts, root)
        frame = f'<w:background w:color="{book.single["frame"]}"/>' if "frame" in book.single else ""
        document = (f'<w:document xmlns:w="{made.WORD}" xmlns:r="{OFFICE}">{frame}<w:body>{body}{self.indent}</w:body>'
                    "</w:document>").encode()
        code = PurePosixPath(book.code_name)
        entries = made.package(document=document, name=book.code_name, root=root, parts=parts)
        entries["_rels/.rels"] = self.encoded(entries["_rels/.rels"])
        if "entry" in book.single:
            entries["an.entry"] = book.single["entry"].encode()
        if rows:
            entries[f"{code.parent}/_rels/{code.name}.rels"] = self.encoded(made.relationships(*rows))
        return made.zipped(entries)

    def target(self, part, source):
        return f"/{part}" if self.absolute else os.path.relpath(part, os.path.dirname(source))

    def paragraph(self, line, put):
        style, texts, things = line
        text = "\n".join(texts)
        shown = f"<![CDATA[{text}]]>" if self.cdata else escape(text)
        drawn = "".join(f'<w:r><w:drawing r:embed="{put(kind, name)}"/></w:r>' if kind != "link" else
                        f'<w:hyperlink r:id="{put(kind, name)}"/>' for kind, name in things)
        return (f'{self.indent}<w:p><w:pPr><w:pStyle w:val="{style}"/></w:pPr><w:r><w:t{self.space}>{shown}</w:t></w:r>'
                f"{drawn}</w:p>")

    def around(self, book, parts, root):
        """What hangs on the package."""
        for key, kind, content in (("o1", "output", book.output), ("s1", "styles", book.styles)):
            if content is not None:
                parts[f"tarmic/{kind}.xml"] = ("text/xml", content.encode())
                root.append((key, kind, f"/tarmic/{kind}.xml"))
        if book.deep is not None:
            parts["data/top.bin"] = ("application/x-top", b"top")
            parts["data/_rels/top.bin.rels"] = (None, made.relationships(("d1", "http://example.com/deep", "deep.bin")))
            parts["data/deep.bin"] = ("application/x-deep", book.deep.encode())
            root.append(("t1", "http://example.com/top", "data/top.bin"))
        if "site" in book.single:
            root.append(("e1", SITE, "http://" + book.single["site"].replace(" ", "/"), "External"))
        if "alias" in book.single and book.deep is not None:
            root.append(("a1", "http://example.com/alias", "data/deep.bin"))
        language = f' xml:lang="{book.single["language"]}"' if "language" in book.single else ""
        core = made.core(*(f"<{PROPERTIES[key]}{language if key == 'title' else ''}>{value}</{PROPERTIES[key]}>"
                           for key, value in sorted(book.properties.items(), key=lambda _: self.rng.random())))
        parts["docProps/core.xml"] = core["parts"]["core.xml"]
        root.append(("c1", CORE_TYPE_OF_LINK, "docProps/core.xml"))


class Found:
    """What a written flowbook shows, read with nothing of ours."""

    def __init__(self, content):
        with zipfile.ZipFile(io.BytesIO(content)) as archive:
            self.entries = {name: archive.read(name) for name in archive.namelist()}
        self.reached, self.faults = set(), []
        root = self.links("")
        to_code = [link for link in root.values() if link[0] == made.FLOWBOOK + "document"]
        self.code_name = to_code[0][1] if to_code else None
        self.package = {kind: target if mode else self.at(target) for kind, target, mode in root.values()}
        self.entry = self.at("an.entry")
        top = self.links(next((target for kind, target, _ in root.values() if kind == "http://example.com/top"), ""))
        self.deep = self.at(top["d1"][1]) if "d1" in top else None
        self.root_count = Counter(kind for kind, _, _ in root.values())
        self.read_code()
        for link in root.values():
            self.reach(link)
        others = ("[Content_Types].xml", "an.entry", "an-theirs1.entry")
        parts = {name for name in self.entries if not name.endswith((".rels", ".x")) and name not in others}
        self.faults += [f"orphan {name}" for name in sorted(parts - self.reached)]
        core = tree.fromstring(self.package[CORE_TYPE_OF_LINK])
        self.properties = {child.tag.partition("}")[2]: (child.text, *child.attrib.values()) for child in core
                           if not {"modified", "created"} & set(child.tag.split("}"))}

    def links(self, source):
        folder, _, name = source.rpartition("/")
        rels = self.entries.get(f"{folder}/_rels/{name}.rels".lstrip("/"))
        rows = tree.fromstring(rels) if rels is not None else ()
        return {row.get("Id"): (row.get("Type"), row.get("Target") if row.get("TargetMode") == "External" else
                                normpath("/" + folder + "/" + row.get("Target") if row.get("Target")[0] != "/" else
                                         row.get("Target")).lstrip("/"), row.get("TargetMode")) for row in rows}

    def at(self, name):
        return self.entries.get(name)

    def reach(self, link):
        if link[2] == "External" or link[1] in self.reached:
            return
        if link[1] not in self.entries:
            self.faults.append(f"dangling {link[1]}")
            return
        self.reached.add(link[1])
        for more in self.links(link[1]).values():
            self.reach(more)

    def read_code(self):
        links, used = self.links(self.code_name), set()
        self.shown = {}
        self.texts = []
        for paragraph in tree.fromstring(self.entries[self.code_name]).iter(W + "p"):
            text = "".join(each.text or "" for each in paragraph.iter(W + "t"))
            things = []
            for element in paragraph.iter():
                for attribute in (R + "embed", R + "id"):
                    key = element.get(attribute)
                    if key is not None and key not in links:
                        self.faults.append(f"{key} leads nowhere")
                    elif key is not None:
                        used.add(key)
                        things.append(self.thing(links[key]))
            self.texts.append(text)
            self.shown.setdefault(label(text), []).extend(things)
        self.hanging = Counter(self.thing(link) for key, link in links.items() if key not in used)
        self.code = "\n".join(self.texts)

    def thing(self, link):
        kind, target, mode = link
        if mode == "External":
            return kind, target
        return kind, (self.entries.get(target) or b"nothing").decode()


def label(text):
    """What a paragraph is known by, whatever became of its words."""
    found = re.search(r"\b(p\d+|[ot]\d+|same|none)\.\d", text)
    return found[1] if found else text


def expected(base, ours, theirs):
    """A value and whether the two sides differ over it."""
    if ours == theirs or base == theirs:
        return ours, False
    return (theirs, False) if base == ours else (None, True)


class Round:
    def __init__(self, command, folder, seed):
        self.command, self.folder, self.seed = command, folder, seed
        rng = random.Random(seed)
        base = Book(rng)
        books = {"b": base, "o": base.changed(rng, "o"), "t": base.changed(rng, "t")}
        programs = {name: Program(rng) for name in books}
        if rng.random() < 0.3:
            programs["o"] = programs["t"] = programs["b"]
        self.found = {}
        for name, book in books.items():
            content = programs[name].write(book)
            self.found[name] = Found(content)
            with open(f"{folder}/{name}.tqx", "wb") as file:
                file.write(content)

    def fail(self, *words):
        raise AssertionError(f"seed {self.seed}: " + " ".join(map(str, words)))

    def check(self, condition, *words):
        if not condition:
            self.fail(*words)

    def merge(self, base, ours, theirs, *options):
        done = subprocess.run([self.command, "merge", *(f"{name}.tqx" for name in (base, ours, theirs)), "-o", "m.tqx",
                               "--force", *options], cwd=self.folder, capture_output=True, timeout=300, check=False)
        told = done.stderr.decode()
        conflicts = [line for line in told.splitlines() if "conflict in" in line]
        self.check(done.returncode in (0, 1), base, ours, theirs, done.returncode, told)
        self.check(done.returncode == bool(conflicts), "exit", done.returncode, told)
        with open(f"{self.folder}/m.tqx", "rb") as file:
            return Found(file.read()), conflicts, told

    def digests(self, *names):
        done = subprocess.run([self.command, "digest", *(f"{name}.tqx" for name in names)], cwd=self.folder,
                              capture_output=True, timeout=300, check=True)
        return [line[:64] for line in done.stdout.decode().splitlines()]

    def laws(self):
        for ours, theirs, wanted in (("o", "b", "o"), ("b", "t", "t"), ("o", "o", "o")):
            _, conflicts, told = self.merge("b", ours, theirs)
            merged, same = self.digests("m", wanted)
            self.check(merged == same and not conflicts, f"law (b,{ours},{theirs})", told)

    def run(self):
        self.laws()
        found, conflicts, told = self.merge("b", "o", "t")
        self.check(not found.faults, "result", found.faults)
        with open(f"{self.folder}/m.tqx", "rb") as file:
            merged = file.read()
        self.listed(conflicts)
        self.paragraphs(found, any("conflict in code" in line for line in conflicts), told)
        self.rest(found, conflicts, told)
        other, others, _ = self.merge("b", "t", "o")
        self.check(len(others) == len(conflicts), "exchange", conflicts, others)
        if not conflicts:
            for field in ("texts", "shown", "hanging", "properties", "entry"):
                self.check(getattr(found, field) == getattr(other, field), "exchange of", field)
        has_conflicts = bool(conflicts)
        for side in ("ours", "theirs"):
            found, conflicts, told = self.merge("b", "o", "t", "--" + side)
            if has_conflicts:
                self.resolve(merged, side, found)
            self.check(not conflicts and not found.faults, side, conflicts, found.faults)
            self.check("<<<<<<<" not in found.code, side, found.code)

    def listed(self, conflicts):
        """What is told at the merge, `resolve` lists and `check` finds."""
        open_ones, found = (subprocess.run([self.command, what, "m.tqx"], cwd=self.folder, capture_output=True,
                                           timeout=120, check=False).stdout.decode() for what in ("resolve", "check"))
        lines = [line for line in open_ones.splitlines() if not line.startswith("outputs ")]
        self.check(len(lines) == len(conflicts), "listed", lines, "told", conflicts)
        self.check(("conflict]" in found) == bool(conflicts), "found", found, "told", conflicts)

    def resolve(self, merged, side, wanted):
        """To settle all conflicts with a side is to have had them settled by the merge."""
        with open(f"{self.folder}/r.tqx", "wb") as file:
            file.write(merged)
        for options in (["--" + side], []):
            done = subprocess.run([self.command, "resolve", "r.tqx", *options], cwd=self.folder, capture_output=True,
                                  timeout=120, check=False)
            self.check((done.returncode, done.stderr) == (0, b""), "resolve", options, done)
        with open(f"{self.folder}/r.tqx", "rb") as file:
            found = Found(file.read())
        self.check(not found.faults, "resolve", side, found.faults)
        for field in ("texts", "shown", "hanging", "entry"):
            self.check(getattr(found, field) == getattr(wanted, field), "resolve", side, field)
        for kind in (made.FLOWBOOK + "output", SITE, "http://example.com/alias"):
            self.check(found.package.get(kind) == wanted.package.get(kind), "resolve", side, kind)
        self.check(all(found.properties.get(key) == wanted.properties.get(key) for key in PROPERTIES), "resolve", side)

    def paragraphs(self, result, is_conflict, told):
        for text, count in Counter(result.texts).items() if not is_conflict else ():
            base, ours, theirs = (self.found[name].texts.count(text) for name in "bot")
            self.check(count <= max(1, base, ours, theirs, ours + theirs - base), "more than once:", text, told)
        base, ours, theirs = (self.found[name].shown for name in "bot")
        for key in {*ours, *theirs}:
            wanted, differ = expected(*(Counter(side[key]) if key in side else None for side in (base, ours, theirs)))
            shown = Counter(result.shown.get(key, []))
            if key in ("same", "none") and not is_conflict:
                continue  # several paragraphs are called so
            if not is_conflict and wanted is None and any(
                    [each for each in base if each in side] != [each for each in side if each in base]
                    for side in (ours, theirs)):
                continue  # what one side moved and the other deleted is kept
            if not is_conflict and not differ:
                self.check(shown == (wanted or Counter()), "at", key, shown, "for", wanted, told)
            elif not is_conflict:
                self.fail("not told:", key, told)
            else:
                needed = wanted or (ours.get(key, Counter()) and Counter(ours.get(key))) or Counter()
                for side in ([wanted] if not differ else [Counter(ours.get(key, [])), Counter(theirs.get(key, []))]):
                    missing = set(side or ()) - set(shown)
                    self.check(not missing, "missing at", key, missing, "of", needed, told)

    def rest(self, result, conflicts, told):
        for key in PROPERTIES:
            wanted, differ = expected(*(self.found[name].properties.get(key) for name in "bot"))
            is_told = any(f"conflict in {key}:" in line for line in conflicts)
            self.check(is_told == differ, key, "told" if is_told else "not told", told)
            self.check(differ or result.properties.get(key) == wanted, key, result.properties.get(key), wanted)
        for what, values, kept in (("relationship /#", [self.found[name].package.get(SITE) for name in "bot"],
                                    result.package.get(SITE)),
                                   ("entry an.entry", [self.found[name].entry for name in "bot"], result.entry)):
            wanted, differ = expected(*values)
            self.check(any("conflict in " + what in line for line in conflicts) == differ, what, values, told)
            self.check(differ or kept == wanted, what, kept, wanted)
        styles = made.FLOWBOOK + "styles"
        wanted, differ = expected(*(self.found[name].package.get(styles) for name in "bot"))
        self.check(any("styles.xml:" in line for line in conflicts) == differ, "styles", told)
        self.check(differ or result.package.get(styles) == wanted, "styles", told)
        output = made.FLOWBOOK + "output"
        sides = [self.found[name].package.get(output) for name in "bot"]
        wanted, differ = expected(*sides)
        kept = result.package.get(output)
        self.check(kept == wanted or (differ and "outputs" in told and kept in sides[1:]), "outputs", kept, told)
        self.check(result.root_count[output] <= 1, "outputs twice")
        self.check(self.found["o"].code != result.code or not differ or None in sides[1:] or kept == sides[1],
                   "outputs of ours")
        alias = result.package.get("http://example.com/alias")
        self.check(conflicts or None in (alias, result.deep) or alias == result.deep, "alias", alias, result.deep)
        for thing in {*self.found["o"].hanging, *self.found["t"].hanging}:
            counts = [self.found[name].hanging[thing] > 0 for name in "bot"]
            everywhere = {each for things in result.shown.values() for each in things} | set(result.hanging)
            self.check(not expected(*counts)[0] or thing in everywhere, "hanging", thing, told)


def main(command, seed):
    rounds = int(os.environ.get("FLOWBOOK_MERGES", "25"))
    print(f"{rounds} rounds from seed {seed}")
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for number in range(seed, seed + rounds):
            try:
                Round(os.path.abspath(command), folder, number).run()
            except (AssertionError, subprocess.SubprocessError, KeyError, zipfile.BadZipFile,
                    tree.ParseError) as failure:
                print(failure.__class__.__name__, failure, flush=True)
                failures += 1
                if not isinstance(failure, AssertionError):
                    print("  in seed", number)
    print(f"{failures} of {rounds} rounds failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], int(sys.argv[2] if len(sys.argv) > 2 else os.environ.get("FLOWBOOK_SEED", "1"))))
