"""Any order of calls, held against a model. PXFLOWBOOK_PYTHON_STEPS=20000 runs longer, and PXFLOWBOOK_PYTHON_SEED makes
other calls, which are the same in each run."""
import copy
import os
import pickle
import tempfile

import pytest
from hypothesis import HealthCheck, seed, settings
from hypothesis import strategies as st
from hypothesis.stateful import (RuleBasedStateMachine, initialize, invariant, precondition, rule,
                                 run_state_machine_as_test)

import flowbook

STEPS = int(os.environ.get("PXFLOWBOOK_PYTHON_STEPS", "400"))
SEED = int(os.environ.get("PXFLOWBOOK_PYTHON_SEED", "1"))
TEXT = st.text(st.characters(blacklist_categories=["Cs", "Cc"], blacklist_characters="\u200b\ufffe\uffff"), max_size=20)
LINES = st.lists(TEXT, min_size=1, max_size=3).map("\n".join) | st.text("ab\t\n", max_size=5)
STYLES = st.sampled_from(["code", "Normal", "Heading1", ""])
PROPERTIES = st.sampled_from(["title", "description", "version"])


class Calls(RuleBasedStateMachine):
    """What a flowbook should hold after each call, saved or not."""

    @initialize()
    def begin(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = f"{self.folder.name}/a.tqx"
        flowbook.Flowbook.new(code="x").save(self.path)
        self.book = flowbook.open(self.path)
        self.paragraphs = [("code", "x")]
        self.properties, self.images, self.parts, self.encrypted = {}, {}, {}, None
        self.stored = self.model()

    def model(self):
        return (list(self.paragraphs), dict(self.properties), dict(self.images), dict(self.parts), self.encrypted)

    def readable(self):
        return self.encrypted is None

    @rule(text=LINES)
    def set_code(self, text):
        self.book.set_code(text, flatten=True)
        self.paragraphs, self.encrypted = [("code", text)], None

    @precondition(lambda self: "code" in dict(self.paragraphs))
    @rule(text=LINES, data=st.data())
    def set_a_line(self, text, data):
        """Prose stays, and the code is what it was set to; or it is not clear which line belongs where."""
        lines = "\n".join(text for style, text in self.paragraphs if style == "code").split("\n")
        lines[data.draw(st.integers(0, len(lines) - 1))] = text
        try:
            self.book.code = "\n".join(lines)
        except flowbook.MisuseError:
            return
        made = [(each.style, each.text) for each in self.book.paragraphs]
        prose = [each for each in self.paragraphs if each[0] != "code"]
        assert [each for each in made if each[0] != "code"] == (
            prose if any(text.strip(" \t\r\n") for _, text in prose) else [])
        assert "\n".join(text for style, text in made if style == "code") == "\n".join(lines)
        self.paragraphs = made

    @rule()
    def strip(self):
        self.book.strip()
        if self.book.form == "rich":
            self.images = {}  # no text refers to them

    @rule(content=st.binary(max_size=30))
    def set_encrypted(self, content):
        self.book.encrypted_code = content
        self.encrypted, self.paragraphs = content, []

    @precondition(readable)
    @rule(text=LINES, style=STYLES, at=st.integers(0, 9))
    def insert(self, text, style, at):
        at = min(at, len(self.paragraphs))
        self.book.paragraphs.insert(at, text, style)
        self.paragraphs.insert(at, (style, text))

    @precondition(lambda self: self.readable() and self.paragraphs)
    @rule(text=LINES, data=st.data())
    def replace(self, text, data):
        at = data.draw(st.integers(0, len(self.paragraphs) - 1))
        self.book.paragraphs[at].text = text
        self.paragraphs[at] = self.paragraphs[at][0], text

    @precondition(lambda self: self.readable() and self.paragraphs)
    @rule(data=st.data())
    def remove(self, data):
        at = data.draw(st.integers(0, len(self.paragraphs) - 1))
        self.book.paragraphs[at].remove()
        del self.paragraphs[at]

    @precondition(readable)
    @rule()
    def replace_code(self):
        self.book.replace_code(lambda code: code + "!")
        self.paragraphs = [(style, text + "!" * (style == "code")) for style, text in self.paragraphs]

    @rule(name=PROPERTIES, text=st.none() | TEXT)
    def set_property(self, name, text):
        setattr(self.book, name, text)
        self.properties[name] = text

    @rule(name=st.sampled_from(["creator", "last_modified_by", "title"]), text=TEXT)
    def change_properties(self, name, text):
        self.book.properties[name] = text
        if name == "title":
            self.properties[name] = text
        assert self.book.properties[name] == text == flowbook.open(self.book.to_bytes()).properties[name]
        if name != "title":
            del self.book.properties[name]

    @precondition(lambda self: self.readable() and self.paragraphs)
    @rule(acts=st.lists(st.tuples(st.integers(0, 2), st.integers(0, 99), LINES, STYLES), min_size=2, max_size=12))
    def edit(self, acts):
        """Without a look at anything else meanwhile."""
        for act, number, text, style in acts:
            at = number % (len(self.paragraphs) + 1)
            if act == 0 or at == len(self.paragraphs):
                held = self.book.paragraphs[max(at - 1, 0)] if at else None
                held.insert_after(text, style) if held else self.book.paragraphs.insert(at, text, style)
                self.paragraphs.insert(at, (style, text))
            elif act == 1:
                self.book.paragraphs.replace(at, text)
                self.paragraphs[at] = self.paragraphs[at][0], text
            else:
                self.book.paragraphs.remove(self.book.paragraphs[at])
                del self.paragraphs[at]

    @rule(is_kept=st.booleans(), source=st.sampled_from(["/", "/docProps/core.xml"]))
    def change_relationships(self, is_kept, source):
        link = self.book.add_relationship("http://example.com/", "http://a.b/", source=source, is_internal=False)
        assert link in flowbook.open(self.book.to_bytes()).relationships
        if not is_kept:
            link.remove()
            assert link not in self.book.relationships

    @rule(data=st.binary(max_size=30))
    def add_image(self, data):
        self.images[self.book.add_image(data, "image/png").name] = data

    @precondition(lambda self: self.images)
    @rule(act=st.sampled_from(["replace", "remove", "rename"]), data=st.data())
    def change_image(self, act, data):
        name = data.draw(st.sampled_from(sorted(self.images)))
        image, = [each for each in self.book.images if each.name == name]
        if act == "replace":
            self.images[name] = data.draw(st.binary(max_size=30))
            image.replace(self.images[name])
        elif act == "remove":
            image.remove()
            del self.images[name]
        elif f"{name}x" not in self.images:
            image.rename(f"{name}x")
            self.images[f"{name}x"] = self.images.pop(name)

    @rule(number=st.integers(0, 3), data=st.binary(max_size=30))
    def put_part(self, number, data):
        name = f"/notes/{number}.txt"
        if name in self.parts:
            with pytest.raises(flowbook.ConflictError):
                self.book.add_part(name, b"", "text/plain")
            next(part for part in self.book.parts if part.name == name).replace(data)
        else:
            self.book.add_relationship("http://example.com/note", self.book.add_part(name, data, "text/plain").name)
        self.parts[name] = data

    @rule()
    def save(self):
        self.book.save()
        self.stored = self.model()

    @rule()
    def conflict(self):
        other = flowbook.open(self.path)
        other.version = (other.version or "") + "1"
        other.save()
        self.stored[1]["version"] = other.version
        self.book.title = "mine"
        with pytest.raises(flowbook.ConflictError):
            self.book.save()
        self.reopen()

    @rule()
    def reopen(self):
        self.book.close()
        self.book = flowbook.open(self.path)
        paragraphs, properties, images, parts, self.encrypted = self.stored
        self.paragraphs, self.properties = list(paragraphs), dict(properties)
        self.images, self.parts = dict(images), dict(parts)

    @rule(made=st.sampled_from([lambda book: pickle.loads(pickle.dumps(book)), copy.copy, copy.deepcopy]))
    def copied(self, made):
        self.book = made(self.book)

    @rule()
    def save_over(self):
        """By name, whatever somebody else has saved."""
        flowbook.Flowbook.new(code="other").save(self.path)
        self.book.save(self.path)
        self.stored = self.model()

    @rule()
    def made_whole(self):
        content = self.book.to_bytes()
        assert flowbook.digest(content) == self.book.digest == flowbook.digest(flowbook.repair(content).data)
        if self.readable():
            merged = flowbook.merge(content, self.book, content)
            assert not merged.conflicts and merged.book.code == self.book.code

    @invariant()
    def holds_what_was_set(self):
        for book in (self.book, flowbook.open(self.book.to_bytes())):
            assert {image.name: image.data for image in book.images} == self.images
            assert {part.name: part.data for part in book.parts if part.name.startswith("/notes/")} == self.parts
            assert {name: getattr(book, name) for name in self.properties} == self.properties
            assert book.encrypted_code == self.encrypted
            if self.encrypted is None:
                assert [(each.style, each.text) for each in book.paragraphs] == self.paragraphs
                assert book.code == "\n".join(text for style, text in self.paragraphs if style == "code")
            assert not [finding for finding in book.check() if finding.severity == "error"]

    def teardown(self):
        self.folder.cleanup()


def test_any_order_of_calls():
    steps = 40
    run_state_machine_as_test(seed(SEED)(Calls), settings=settings(
        max_examples=max(STEPS // steps, 1), stateful_step_count=steps, deadline=None, database=None,
        suppress_health_check=list(HealthCheck)))
