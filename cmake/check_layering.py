#!/usr/bin/env python3
"""Checks that the includes of the tree go one way: command and python -> kit -> flowbook ->
platform, and room by room inside those.

Prints one line for each include that goes another way and exits with 1 when there is any. With --self-test it plants
one violation of each kind into a scratch tree and fails unless exactly those are found.
"""

import re
import sys
import tempfile
from pathlib import Path

# Where quoted and angled names are looked for, as the build does, and the area that each root belongs to.
ROOTS = {"include": "api", "platform/include": "platform-api", "src": "src", "platform/src": "platform-src",
         "platform/plainxml": "plainxml", "platform/strictxml": "strictxml", "kit": "kit", "command": "command",
         "python/native": "python"}
MORE_PLACES = ["", "platform"]

# The areas that an area may include, its own among them.
AREAS = {
    "platform-api": {"platform-api"},
    "platform-src": {"platform-api", "platform-src", "plainxml", "strictxml"},
    "plainxml": {"plainxml"},
    "strictxml": {"strictxml", "platform-src"},
    "api": {"api", "platform-api"},
    "src": {"api", "platform-api", "src", "plainxml"},
    "kit": {"api", "platform-api", "kit", "strictxml"},
    "command": {"api", "platform-api", "kit", "command"},
    "python": {"api", "platform-api", "kit", "python"},
}

# The other rooms of its side that a room may include. A file lies in the deepest room whose folder it is in; a public
# header of the platform in that of the source of its name, if there is one.
PLATFORM_ROOMS = {
    "fl": set(),
    "foundation": {"fl"},
    "settings": {"fl", "foundation"},
    "opc": {"foundation", "fl"},
    "opc/interfaces": {"opc", "fl"},
    "opc/names": {"opc", "fl"},
    "opc/xml": {"opc/names", "opc", "fl"},
    "opc/xml/dom": {"opc/xml", "opc/names", "opc", "fl"},
    "opc/relationships": {"opc/names", "opc/xml", "opc", "fl"},
    "opc/zippackage": {"opc/interfaces", "opc", "foundation", "fl"},
    "opc/model": {"opc/relationships", "opc/names", "opc/xml", "opc/interfaces", "opc", "fl"},
    "opc/pxservices": {"opc/model", "opc/relationships", "opc/names", "opc/xml", "opc", "foundation", "fl"},
}
# The rooms of public headers of the platform that lie in another folder than their room and have no source of their
# name there.
ROOMS_OF_HEADERS = {
    "opc/model/ExcludeMode.hpp": "opc/relationships",
    "opc/model/InvalidXMLDocument.hpp": "opc",
    "opc/model/PackageNotFound.hpp": "opc",
    "opc/model/PartNotFound.hpp": "opc",
    "opc/model/TargetMode.hpp": "opc/relationships",
    "opc/model/XercesGuard.hpp": "opc/xml",
    "opc/model/XercesString.hpp": "opc/xml",
}
LIBRARY_ROOMS = {
    "format": set(),
    "package": {"format"},
    "utils": {"format"},
    "reader": {"package", "utils", "format"},
    "writer": {"package", "utils", "format"},
}
KIT_ROOMS = {
    "document": set(),
    "package": {"document"},
    "compare": {"document", "package"},
    "check": {"compare", "document", "package"},
    "page": {"compare", "package", "document"},
    "markdown": {"page", "document"},
}
COMMAND_ROOMS = {
    "terminal": set(),
    "io": {"terminal"},
    "commands": {".", "io", "terminal"},
    ".": {"io", "terminal"},
}
ROOMS = {"platform-api": PLATFORM_ROOMS, "platform-src": PLATFORM_ROOMS, "src": LIBRARY_ROOMS, "kit": KIT_ROOMS,
         "command": COMMAND_ROOMS}

# The library leaves files, archives and XML to the platform, so it sees the plain standard library and Boost.
FORBIDDEN_STANDARD = {"filesystem", "fstream"}
FORBIDDEN_BOOST = ("boost/filesystem", "boost/iostreams", "boost/json", "boost/property_tree")
PROCESSOR = "emmintrin.h"  # the instructions of every x86-64
XML_ROOMS = {"utils", "writer"}
XML_READERS = {"plainxml": {"utils", "opc/xml", "opc/xml/dom"}, "strictxml": {"opc/xml", "document"}}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)


class Checker:
    def __init__(self, tree):
        self.tree = tree.resolve()
        self.sources = None

    def violations(self):
        found = []
        for root, area in ROOTS.items():
            for path in sorted((self.tree / root).rglob("*")):
                if path.suffix in {".cpp", ".hpp", ".in"}:
                    found += self.violations_of(path, root, area)
        return found

    def violations_of(self, path, root, area):
        room = self.room_of(area, path.relative_to(self.tree / root))
        for match in INCLUDE.finditer(path.read_text(encoding="utf-8")):
            reason = self.reason_against(path, area, room, match.group(2))
            if reason:
                yield f"{path.relative_to(self.tree)}: includes {match.group(2)}: {reason}"

    def room_of(self, area, file):
        if area == "platform-api":
            file = self.source_of(file)
        rooms = ROOMS.get(area, {})
        folders = [folder.as_posix() for folder in file.parents if folder.parts]
        return next((folder for folder in folders if folder in rooms), file.parts[0] if folders else ".")

    def source_of(self, header):
        """Where the platform defines what its public header declares."""
        if header.as_posix() in ROOMS_OF_HEADERS:
            return Path(ROOMS_OF_HEADERS[header.as_posix()]) / header.name
        if self.sources is None:
            root = self.tree / "platform/src"
            self.sources = {(path.relative_to(root).parts[0], path.stem): path.relative_to(root)
                            for path in root.rglob("*.cpp")}
        return self.sources.get((header.parts[0], header.stem), header)

    def reason_against(self, path, area, room, name):
        if area in ROOMS and room not in ROOMS[area]:
            return f"{room} is no known room of {area}"
        target = self.resolve(path, area, name)
        if target is None:
            return self.reason_against_outside(area, room, name)
        target_area, target_name = target
        if target_area not in AREAS[area]:
            return f"{area} may not use {target_area}"
        return self.reason_against_room(area, room, target_area, target_name)

    def resolve(self, path, area, name):
        """The area and the root-relative name of the file of this tree that `name` means, or None.

        A name that two areas have counts for the one that the including area may use.
        """
        places = [path.parent / name] + [self.tree / root / name for root in [*ROOTS, *MORE_PLACES]]
        targets = [self.place(place.resolve()) for place in places if place.is_file()]
        targets.sort(key=lambda target: target is None or target[0] not in AREAS[area])
        return targets[0] if targets else None

    def place(self, file):
        for root, area in ROOTS.items():
            base = (self.tree / root).resolve()
            if base in file.parents:
                return area, file.relative_to(base).as_posix()
        return "outside the layers", file.as_posix()

    def reason_against_room(self, area, room, target_area, target_name):
        if target_area in XML_READERS:
            return None if area == target_area or room in XML_READERS[target_area] else f"{room} may not parse XML"
        target_room = self.room_of(target_area, Path(target_name))
        if area == "strictxml" and target_room != "fl":
            return f"strictxml may not use {target_room}"
        if target_room == room:
            return None
        same_side = area in ROOMS and ROOMS[area] is ROOMS.get(target_area)
        return f"{room} may not use {target_room}" if same_side and target_room not in ROOMS[area][room] else None

    @staticmethod
    def reason_against_outside(area, room, name):
        if name.split("/")[0] in {"flowbook", *PLATFORM_ROOMS, *LIBRARY_ROOMS}:
            return "there is no such header"
        if area == "kit" and name.startswith("CLI/"):
            return "arguments belong to the command"
        if name == "expat.h":
            return None if area == "strictxml" else "strictxml alone uses Expat"
        if area not in {"src", "api", *XML_READERS}:
            return None
        if name == PROCESSOR:
            return None
        if area in XML_READERS and not re.fullmatch(r"[a-z_0-9]+", name):
            return f"{area} sees the standard library only"
        if name.startswith("xercesc/"):
            return None if area == "src" and room in XML_ROOMS else f"{room} may not parse XML"
        if name.startswith("boost/") and not name.startswith(FORBIDDEN_BOOST):
            return None
        if re.fullmatch(r"[a-z_0-9]+", name) and name not in FORBIDDEN_STANDARD:
            return None
        return "files, archives and XML belong to the platform"


# A file of the scratch tree, what it includes, and whether that is a violation.
SELF_TEST = [
    ("platform/include/fl/PlatformExport.hpp", "cstddef", False),
    ("platform/include/fl/Text.hpp", "fl/PlatformExport.hpp", False),
    ("platform/include/foundation/Storage.hpp", "fl/Text.hpp", False),
    ("platform/include/opc/Package.hpp", "foundation/Storage.hpp", False),
    ("platform/include/settings/Settings.hpp", "fl/Text.hpp", False),
    ("platform/src/opc/Zip.hpp", "libdeflate.h", False),
    ("platform/src/opc/Zip.cpp", "Zip.hpp", False),
    ("include/flowbook/Reader.hpp", "opc/Package.hpp", False),
    ("src/format/Names.hpp", "string", False),
    ("src/package/Parts.hpp", "format/Names.hpp", False),
    ("src/utils/Code.hpp", "xercesc/dom/DOM.hpp", False),
    ("src/utils/Scan.cpp", "expat.h", True),
    ("src/reader/Impl.hpp", "package/Parts.hpp", False),
    ("platform/plainxml/Reader.hpp", "string_view", False),
    ("platform/plainxml/Reader.cpp", "plainxml/Reader.hpp", False),
    ("src/utils/Plain.cpp", "plainxml/Reader.hpp", False),
    ("platform/src/opc/xml/Plain.cpp", "plainxml/Reader.hpp", False),
    ("platform/plainxml/Up.cpp", "fl/Text.hpp", True),
    ("platform/plainxml/Boost.cpp", "boost/optional.hpp", True),
    ("platform/strictxml/Reader.hpp", "string", False),
    ("platform/strictxml/Reader.cpp", "expat.h", False),
    ("platform/src/opc/xml/Strict.cpp", "strictxml/Reader.hpp", False),
    ("kit/document/Strict.cpp", "strictxml/Reader.hpp", False),
    ("platform/src/fl/Kept.hpp", "memory", False),
    ("platform/strictxml/Kept.cpp", "fl/Kept.hpp", False),
    ("platform/strictxml/Up.cpp", "opc/Zip.hpp", True),
    ("platform/strictxml/Public.cpp", "fl/Text.hpp", True),
    ("platform/src/opc/xml/Scan.cpp", "expat.h", True),
    ("platform/src/opc/model/Strict.cpp", "strictxml/Reader.hpp", True),
    ("src/utils/Strict.cpp", "strictxml/Reader.hpp", True),
    ("kit/check/Strict.cpp", "strictxml/Reader.hpp", True),
    ("src/reader/Plain.cpp", "plainxml/Reader.hpp", True),
    ("platform/src/opc/model/Plain.cpp", "plainxml/Reader.hpp", True),
    ("platform/include/opc/Plain.hpp", "plainxml/Reader.hpp", True),
    ("src/writer/Impl.cpp", "utils/Code.hpp", False),
    ("src/writer/Log.cpp", "boost/exception/diagnostic_information.hpp", False),
    ("command/main.cpp", "flowbook/Reader.hpp", False),
    ("platform/src/fl/Back.cpp", "foundation/Storage.hpp", True),
    ("platform/src/foundation/Back.cpp", "opc/Package.hpp", True),
    ("platform/src/foundation/Hidden.cpp", "../opc/Zip.hpp", True),
    ("platform/src/foundation/Across.cpp", "settings/Settings.hpp", True),
    ("platform/src/opc/Across.cpp", "settings/Settings.hpp", True),
    ("platform/src/opc/Up.cpp", "flowbook/Reader.hpp", True),
    ("platform/include/opc/Leak.hpp", "opc/Zip.hpp", True),
    ("platform/include/opc/model/Name.hpp", "string", False),
    ("platform/src/opc/names/Name.cpp", "opc/model/Name.hpp", False),
    ("platform/src/opc/model/Parts.cpp", "opc/model/Name.hpp", False),
    ("platform/src/opc/xml/Back.hpp", "opc/xml/dom/Tree.hpp", True),
    ("platform/src/opc/xml/dom/Tree.hpp", "opc/model/Name.hpp", False),
    ("platform/src/opc/names/Back.hpp", "opc/xml/Back.hpp", True),
    ("platform/include/opc/model/XercesString.hpp", "string", False),
    ("platform/src/opc/names/Dom.cpp", "opc/model/XercesString.hpp", True),
    ("platform/src/opc/relationships/List.hpp", "opc/model/Name.hpp", False),
    ("platform/src/opc/model/Parts.hpp", "opc/relationships/List.hpp", False),
    ("platform/src/opc/relationships/Back.cpp", "opc/model/Parts.hpp", True),
    ("platform/src/opc/zippackage/Across.cpp", "opc/relationships/List.hpp", True),
    ("platform/src/other/Unknown.cpp", "string", True),
    ("include/flowbook/Leak.hpp", "format/Names.hpp", True),
    ("include/flowbook/Xml.hpp", "xercesc/dom/DOM.hpp", True),
    ("src/format/Back.cpp", "package/Parts.hpp", True),
    ("src/package/Across.cpp", "utils/Code.hpp", True),
    ("src/utils/Back.cpp", "reader/Impl.hpp", True),
    ("src/writer/Across.cpp", "reader/Impl.hpp", True),
    ("src/writer/Internal.cpp", "opc/Zip.hpp", True),
    ("src/writer/Missing.cpp", "opc/Absent.hpp", True),
    ("src/reader/Xml.cpp", "xercesc/dom/DOM.hpp", True),
    ("src/reader/Scan.cpp", "expat.h", True),
    ("src/writer/Zip.cpp", "zip.h", True),
    ("src/writer/Files.cpp", "filesystem", True),
    ("src/reader/Posix.cpp", "sys/stat.h", True),
    ("src/reader/Boost.cpp", "boost/filesystem.hpp", True),
    ("src/other/Unknown.cpp", "string", True),
    ("kit/document/Text.hpp", "flowbook/Reader.hpp", False),
    ("command/io/Input.hpp", "kit/document/Text.hpp", False),
    ("command/commands/Look.hpp", "io/Input.hpp", False),
    ("kit/compare/Merge.hpp", "string", False),
    ("kit/compare/Merge.cpp", "kit/document/Text.hpp", False),
    ("kit/document/Up.cpp", "kit/compare/Merge.hpp", True),
    ("kit/document/Back.cpp", "io/Input.hpp", True),
    ("kit/document/Arguments.cpp", "CLI/CLI.hpp", True),
    ("kit/other/Unknown.cpp", "string", True),
    ("command/io/Back.cpp", "commands/Look.hpp", True),
    ("command/terminal/Back.cpp", "io/Input.hpp", True),
    ("command/other/Unknown.cpp", "string", True),
    ("python/native/Book.hpp", "kit/document/Text.hpp", False),
    ("python/native/Command.cpp", "io/Input.hpp", True),
    ("python/native/Inside.cpp", "format/Names.hpp", True),
    ("command/Reach.cpp", "format/Names.hpp", True),
    ("command/Relative.cpp", "../platform/src/opc/Zip.hpp", True),
]


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        tree = Path(folder)
        for name, include, _ in SELF_TEST:
            path = tree / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(f'#pragma once\n\n#include "{include}"\n', encoding="utf-8")
        found = {line.split(":")[0] for line in Checker(tree).violations()}
    planted = {name for name, _, violation in SELF_TEST if violation}
    for name in sorted(planted - found):
        print(f"layering self-test: not found: {name}")
    for name in sorted(found - planted):
        print(f"layering self-test: wrongly found: {name}")
    return found == planted


def main(arguments):
    if arguments == ["--self-test"]:
        return 0 if self_test() else 1
    if arguments:
        print("usage: check_layering.py [--self-test]", file=sys.stderr)
        return 2
    found = Checker(Path(__file__).parent.parent).violations()
    print("\n".join(found) if found else "layering: fine")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
