#!/usr/bin/env python3
"""Prints the binary interface of a shared library of this project, one fact a line, to be compared with its record.

usage: record.py LIBRARY HEADERS   (a library with debug information, and the folder of its public headers)

Told are the exported symbols with the sizes of data, the layout of the classes of the headers (sizes, bases, members,
places in the table of virtual functions) and the values of enumerations. Left out are symbols of other libraries and
weak ones, of which every user has a copy. What abidw itself prints is forty times as long, and names the machine.
"""

import re
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

NAMESPACES = ("flowbook", "fl", "foundation", "opc", "settings")
MANGLED = "|".join(f"{len(name)}{name}" for name in NAMESPACES)
OWN_SYMBOL = re.compile(rf"(?!_Z)|_Z(T[ITV])?N?[KRO]*({MANGLED})")


def output_of(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


def symbols(library):
    """Lines such as "symbol fl::i18n::to_lower(...)" and "data vtable for opc::OutputStream 48"."""
    rows = [line.split() for line in output_of("nm", "-D", "--defined-only", "-S", library).splitlines()]
    rows = [row[1:] for row in rows if len(row) == 4 and row[2] not in "Wwu" and OWN_SYMBOL.match(row[3])]
    names = output_of("c++filt", input="\n".join(name for _, _, name in rows)).splitlines()
    for (size, kind, mangled), name in zip(rows, names):
        # The size of a text that is no C++ object, such as the version, is none of its users' business.
        sized = kind != "T" and mangled.startswith("_Z")
        yield f"data {name} {int(size, 16)}" if sized else f"symbol {name}"


class Layout:
    def __init__(self, library, headers):
        text = output_of(
            "abidw", "--exported-interfaces-only", "--drop-private-types", "--headers-dir", headers, library)
        self.root = ElementTree.fromstring(text)
        self.types = {}
        self.index(self.root, "")

    def index(self, element, scope):
        """Notes the qualified name of every type by its id; a definition replaces a mere declaration."""
        for child in element:
            inner = scope
            if child.tag in ("namespace-decl", "class-decl", "union-decl"):
                inner = f"{scope}{child.get('name')}::"
            if child.get("id") and (child.get("is-declaration-only") != "yes" or child.get("id") not in self.types):
                self.types[child.get("id")] = (child, scope)
            self.index(child, inner)

    def name(self, type_id):
        element, scope = self.types[type_id]
        if element.get("name") and element.tag != "array-type-def":
            return scope + element.get("name")
        if element.tag == "function-type":
            return "function"
        mark = {"pointer-type-def": "*", "reference-type-def": "&", "qualified-type-def": " const"}
        return self.name(element.get("type-id")) + mark.get(element.tag, "[]")

    def lines(self):
        for type_id, (element, scope) in self.types.items():
            name = scope + element.get("name", "")
            if not name.startswith(tuple(f"{namespace}::" for namespace in NAMESPACES)):
                continue
            if element.tag == "enum-decl":
                for value in element.iter("enumerator"):
                    yield f"enum {name} {value.get('name')} = {value.get('value')}"
            elif element.tag == "class-decl" and element.get("size-in-bits"):
                yield f"class {name} size {element.get('size-in-bits')}"
                yield from self.members(name, element)

    def members(self, name, element):
        for child in element:
            offset = child.get("layout-offset-in-bits")
            if child.tag == "base-class":
                yield f"class {name} base {self.name(child.get('type-id'))} at {offset}"
            elif child.tag == "data-member" and offset is not None:
                member = child.find("var-decl")
                yield f"class {name} member {self.name(member.get('type-id'))} {member.get('name')} at {offset}"
            elif child.get("vtable-offset") is not None:
                yield f"class {name} virtual {child.find('function-decl').get('name')} at {child.get('vtable-offset')}"


def main(library, headers):
    print("\n".join(sorted({*symbols(library), *Layout(library, headers).lines()})))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
