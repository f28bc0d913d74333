#!/usr/bin/env python3
"""Lists what the public headers say that their functions throw, as rows of a C++ table.

usage: list_throws.py SOURCE_FOLDER OUTPUT

Each row is a function, by class and name, and one exception that stands behind "@throws" in its comment.
tests/contract/ThrowsTest.cpp has to provoke every one of them.
"""

import re
import sys
from pathlib import Path

EXCEPTIONS = re.compile(
    r"\b(?:\w+::)*(Flowbook(?:InvalidFileName|NotFound|Encrypted|NotEncrypted|\w+Exception|\w+PackageNotFound)"
    r"|\w+Error|FsysExceptionBase|InvalidXMLDocument|PackageNotFound|PartNotFound|Exception|invalid_argument)\b")
# What these throw is up to the classes that implement them, or needs a library that is missing from the system.
LEFT_OUT = {"InputStream::read", "OutputStream::write", "InputStream::transferTo", "XercesGuard::XercesGuard"}


def comments(text):
    """Each comment for documentation as (words, the declaration that follows, what stands before)."""
    for found in re.finditer(r"((?:^ *///.*\n)+)(?=((?:.*\n){1,3}))", text, re.MULTILINE):
        words = " ".join(line.strip()[3:].strip() for line in found[1].splitlines())
        yield words, found[2], text[:found.start()]


def name_of(declaration, before):
    called = re.search(r"~?\w+(?=\()", declaration)[0]
    classes = re.findall(r"^class (?:PX\w+_EXPORT )?(\w+)", before, re.MULTILINE)
    return f"{classes[-1]}::{called}" if classes else called


def rows(text):
    for words, declaration, before in comments(text):
        _, said, thrown = words.partition("@throws")
        if not said or declaration.lstrip().startswith("class "):
            continue
        name = name_of(declaration, before)
        for exception in dict.fromkeys(found[1] for found in EXCEPTIONS.finditer(thrown)):
            yield name, exception


def main(source, output):
    found = {}
    for folder in ("include", "platform/include"):
        for path in sorted(Path(source, folder).rglob("*.hpp")):
            found.update(dict.fromkeys(row for row in rows(path.read_text(encoding="utf-8")) if row[0] not in LEFT_OUT))
    if len(found) < 40:
        sys.exit(f"only {len(found)} exceptions were found behind @throws")
    Path(output).write_text("".join(f'{{"{name}", "{exception}"}},\n' for name, exception in found), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
