"""A page as a tree, by Python's own parser of HTML."""

from html.parser import HTMLParser

VOID = {"col", "wbr", "meta", "img", "br", "link", "input", "hr"}


class Element:
    def __init__(self, tag, attributes, parent):
        self.tag, self.attributes, self.parent, self.children = tag, dict(attributes), parent, []

    def __iter__(self):
        """All elements inside, and this one, in their order."""
        yield self
        for child in self.children:
            if isinstance(child, Element):
                yield from child

    def find(self, tag=None, **attributes):
        wanted = {key.rstrip("_").replace("_", "-"): value for key, value in attributes.items()}
        return [each for each in self if tag in (None, each.tag) and wanted.items() <= each.attributes.items()]

    def text(self, without=lambda element: False):
        """The text inside; a picture stands for its alternative, a line break for a line feed."""
        parts = []
        for child in self.children:
            if not isinstance(child, Element):
                parts.append(child)
            elif not without(child):
                parts.append({"br": "\n", "img": child.attributes.get("alt", "")}.get(child.tag) or child.text(without))
        return "".join(parts)

    def above(self):
        return [] if self.parent is None else [self.parent, *self.parent.above()]


class Page(HTMLParser):
    def __init__(self, html):
        super().__init__(convert_charrefs=True)
        self.root = self.open = Element("", [], None)
        self.feed(html)
        self.close()
        assert self.open is self.root, f"{self.open.tag} stays open"

    def handle_starttag(self, tag, attrs):
        element = Element(tag, attrs, self.open)
        self.open.children.append(element)
        if tag not in VOID:
            self.open = element

    def handle_endtag(self, tag):
        assert tag == self.open.tag, f"</{tag}> ends <{self.open.tag}>"
        self.open = self.open.parent

    def handle_data(self, data):
        self.open.children.append(data)

    def code(self):
        """The lines of code with their numbers, as they are copied."""
        lines = [each for each in self.root.find("span") if each.attributes.get("id", "").startswith("L")]
        return [(line.attributes["id"], line.text(lambda e: e.tag == "a" or e.attributes.get("class") == "beside"))
                for line in lines]
