#!/usr/bin/env python3
"""Checks what clang-format does not see: names and places of test files, guards and widths, words, the list of
packages, the share of tests.

usage: check_style.py [--share | --self-test]   (with --share, the share of tests alone; with --self-test it plants a
violation of each kind into a scratch tree and fails unless exactly those are found)
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path

TREE = Path(__file__).resolve().parent.parent
WIDTH = 120
CODE = {".cpp", ".hpp", ".h", ".cc", ".c", ".py", ".sh", ".ipp"}
PRODUCT = ("include/", "platform/", "src/", "kit/", "command/", "python/")
# The folders of tests, and where the rooms are that they test. Other folders of tests are rooms of their own.
ROOMS = {"tests/platform": "platform/src", "tests/src": "src", "tests/kit": "kit"}
# Helpers of test programs that are no tests lie here.
SUPPORT = re.compile(r"tests/(support|install|durability)/|/(support|common)/")
TEST_NAME = re.compile(r"[A-Z]\w*Test\.cpp|[a-z]\w*_test\.(py|sh)")
# Other words stand for these things; see the glossary in ARCHITECTURE.md.
UNWANTED = {r"\bcase[- ]fold": "fold", r"\bzip (item|member)s?\b": "entry",
            r"\b(TODO|FIXME)\b": "do it, or say what is so"}
# What a library may be called for after the destructors of its static objects ran: by those of its host's, by a thread
# that ends. So there are none: what is static is a reference to what is never given back, or needs no destructor.
LASTING = ("platform/", "src/", "kit/")
STATIC = re.compile(r"\s*(?:(?:inline|static|thread_local|const)\s+)*(?:inline|static|thread_local)\s+(?:const\s+)?"
                    r"(?P<type>[\w:]+(?:<.*>)?)\s+\w+(?:\s*[={;]|\([{\"&*\d]|\(u\")"
                    r"|const\s+(?P<named>std::[\w:]+(?:<.*>)?)\s+k\w+(?:\s*[={]|\()")
PLAIN = re.compile(r"(std::)?(bool|u?int\w*|unsigned|long|char\w*|double|size_t|atomic<.*>|mutex|array<bool, \d+>)")
PACKAGES = "packaging/apt-packages.txt"
PACKAGE_LINE = re.compile(r"#.*|\[[a-z]+\]|[a-z0-9][a-z0-9.+-]+|")


def sources(tree):
    """The files of the tree; without git, all that are not built."""
    if (tree / ".git").exists():
        names = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=tree, check=True,
                               stdout=subprocess.PIPE, text=True).stdout.splitlines()
    else:
        names = [path.relative_to(tree).as_posix() for path in sorted(tree.rglob("*"))]
    return [name for name in names if not name.startswith("build/") and (tree / name).is_file()]


def is_code(name):
    path = Path(name)
    return (Path(path.stem) if path.suffix == ".in" else path).suffix in CODE


def against_place(tree, name):
    if not name.startswith("tests/") or not name.endswith((".cpp", ".py")) or SUPPORT.search(name):
        return None
    path = Path(name)
    if not TEST_NAME.fullmatch(path.name):
        return "a test is called XyzTest.cpp or xyz_test.py"
    for tests, sources in ROOMS.items():
        if name.startswith(tests + "/"):
            room = tree / sources / path.parent.relative_to(tests)
            return None if room.is_dir() else f"there is no room {room.relative_to(tree)}"
    return None


def against_text(tree, name):
    lines = (tree / name).read_text(encoding="utf-8").splitlines()
    if name.endswith(".hpp") and (not lines or lines[0] != "#pragma once"):
        yield 1, "a header begins with #pragma once"
    for number, line in enumerate(lines, 1):
        if len(line) > WIDTH:
            yield number, f"{len(line)} columns, more than {WIDTH}"
        if line != line.rstrip() or "\t" in line:
            yield number, "blanks at the end, or tabs"
        if name != "cmake/check_style.py":
            yield from ((number, f"the word is: {word}") for pattern, word in UNWANTED.items()
                        if re.search(pattern, line))


def against_static_objects(tree, name):
    text = (tree / name).read_text(encoding="utf-8")
    for number, line in enumerate(text.splitlines(), 1):
        found = STATIC.match(line)
        kind = found and (found["type"] or found["named"])
        if kind and not PLAIN.fullmatch(kind) and f"is_trivially_destructible_v<{kind}>" not in text:
            yield f"{name}:{number}: a static object that a destructor may end before the last call: {kind}"


def against_packages(tree):
    """A tool that sorts lines has taken the comment of this list apart before."""
    path = tree / PACKAGES
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    for number, line in enumerate(lines, 1):
        if not PACKAGE_LINE.fullmatch(line):
            yield f"{PACKAGES}:{number}: neither a package nor a section"


def violations(tree):
    names = sources(tree)
    found = [f"{name}: {reason}" for name in names if (reason := against_place(tree, name))]
    found += [f"{name}:{number}: {reason}" for name in names if is_code(name)
              for number, reason in against_text(tree, name)]
    found += [line for name in names if name.startswith(LASTING) and is_code(name)
              for line in against_static_objects(tree, name)]
    return found + list(against_packages(tree))


# A file of the scratch tree, what it holds, and whether that is a violation.
SELF_TEST = [
    ("src/reader/Fine.hpp", "#pragma once\n", False),
    ("tests/src/reader/FineTest.cpp", "x\n", False),
    ("tests/src/reader/test_bad.cpp", "x\n", True),
    ("tests/src/nowhere/LostTest.cpp", "x\n", True),
    ("src/reader/Guard.hpp", "// no guard\n", True),
    ("src/reader/Wide.cpp", "x" * (WIDTH + 1) + "\n", True),
    ("src/reader/Blank.cpp", "x \n", True),
    ("src/reader/Tab.cpp", "\tx\n", True),
    ("src/reader/Word.cpp", "// a zip " + "member\n", True),
    ("src/reader/Local.cpp", "    static const std::string name = make();\n", True),
    ("src/reader/Call.cpp", "    static const URI package({1, 2});\n", True),
    ("src/reader/Thread.cpp", "thread_local ParserPtr idle;\n", True),
    ("src/reader/Header.hpp", "#pragma once\ninline const std::u16string kName = u\"x\";\n", True),
    ("src/reader/Constant.cpp", "const std::string kName = \"x\";\n", True),
    ("src/reader/Lasting.cpp", "    static const std::string& name = *new std::string();\nstatic Name of(int);\n"
     "static constexpr Table kTable = all();\nthread_local bool is = false;\nconst char* const kText = \"\";\n"
     "static const Key key = make();\nstatic_assert(std::is_trivially_destructible_v<Key>);\n", False),
    (PACKAGES, "# A comment\n[build]\ng++\n\n[tests],\n", True),
]


def self_test():
    with tempfile.TemporaryDirectory() as folder:
        for name, text, _ in SELF_TEST:
            (Path(folder) / name).parent.mkdir(parents=True, exist_ok=True)
            (Path(folder) / name).write_text(text, encoding="utf-8")
        found = {line.split(":")[0] for line in violations(Path(folder))}
    planted = {name for name, _, violation in SELF_TEST if violation}
    for name in sorted(planted ^ found):
        print(f"style self-test: {'not' if name in planted else 'wrongly'} found: {name}")
    return planted == found


def lines_under(names, folders):
    return sum(1 for name in names if name.startswith(folders) and is_code(name)
               for line in (TREE / name).read_text(encoding="utf-8").splitlines() if line.strip())


def share_is_met(names):
    tests, product = lines_under(names, ("tests/",)), lines_under(names, PRODUCT)
    print(f"style: {tests} lines of tests to {product} of code: {tests / product:.3f}, at most 0.333")
    return 3 * tests <= product


def main(arguments):
    if arguments == ["--share"]:
        return 0 if share_is_met(sources(TREE)) else 1
    if arguments == ["--self-test"]:
        return 0 if self_test() else 1
    found = violations(TREE)
    print("\n".join(found) if found else "style: fine")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
