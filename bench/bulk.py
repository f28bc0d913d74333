#!/usr/bin/env python3
"""Works through a folder of flowbooks with the command, and beside it with the loop that one would write in Python.

usage: bulk.py FLOWBOOK_COMMAND [COUNT]

Makes COUNT (5,000) flowbooks of 100 lines of code with a picture and properties; prints the seconds that pass, the
processor time and the peak memory of the best of three runs. The loops use zipfile, hashlib, re and ElementTree, trust
the names in the package, and check nothing.
"""

import hashlib
import os
import re
import sys
import tempfile
import zipfile
from pathlib import Path
from xml.etree import ElementTree

from growth import IMAGE, WORDS, book, document, paragraph
from process import measure

RUNS = 3
LOOP = "--loop"  # for this program itself: what to do, and in which folder
COMMANDS = {"cat": ["cat"], "info": ["info"], "grep": ["grep", "compute.*input7"],
            "grep --in=all": ["grep", "--in=all", "compute.*input7"], "ls -l": ["ls", "-l"],
            "replace --dry-run": ["replace", "--dry-run", "-q", "input77\\b", "input0"], "digest": ["digest"],
            "check": ["check"], "canon --check": ["canon", "--check"]}


def make(folder, count):
    for number in range(count):
        code = "".join(f"value{line} = compute(input{number * 100 + line});\n" for line in range(100))
        book(folder / f"{number:05}.tqx", document(paragraph(code)), code_rows=[("r1", IMAGE, "/media/image1.png", "")],
             parts=[("media/image1.png", "data:image/png;base64," + "iVBORw0KGgo" * 100)])


def code_of(path):
    with zipfile.ZipFile(path) as file:
        body = ElementTree.fromstring(file.read("code/document.xml"))
    return "\n".join(text.text or "" for text in body.iter(f"{{{WORDS}}}t"))


def python_info(path):
    with zipfile.ZipFile(path) as file:
        ElementTree.fromstring(file.read("[Content_Types].xml"))
        return "".join(f"{entry.filename} {entry.file_size}\n" for entry in file.infolist())


def python_grep(path):
    wanted = re.compile("compute.*input7")
    lines = enumerate(code_of(path).split("\n"), 1)
    return "".join(f"{path}:{number}:{line}\n" for number, line in lines if wanted.search(line))


def python_digest(path):
    with zipfile.ZipFile(path) as file:
        return hashlib.sha256(b"".join(name.encode() + file.read(name) for name in sorted(file.namelist()))).hexdigest()


def python_check(path):
    with zipfile.ZipFile(path) as file:
        for name in file.namelist():
            if name.endswith((".xml", ".rels")):
                ElementTree.fromstring(file.read(name))
        return file.testzip() or ""


LOOPS = {"cat": code_of, "info": python_info, "grep": python_grep, "digest": python_digest, "check": python_check}


def loop(work, folder):
    for path in sorted(folder.rglob("*.tqx")):
        print(work(path))


def report(name, arguments):
    seconds, processor, kilobytes, status, messages = min(measure(arguments) for _ in range(RUNS))
    if status > 1:
        sys.exit(f"a run ended with {status}: {messages}")
    print(f"{name:26} {seconds:6.2f} s   {processor:6.2f} s of processor   {kilobytes / 1024:5.0f} MB", flush=True)


def main(command, count=5000):
    with tempfile.TemporaryDirectory() as scratch:
        folder = Path(scratch)
        make(folder, count)
        for name, arguments in COMMANDS.items():
            report(name, [command, *arguments, str(folder)])
            if name in LOOPS:
                report(f"  a loop in Python: {name}", [sys.executable, __file__, LOOP, name, str(folder)])


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    if sys.argv[1] == LOOP:
        loop(LOOPS[sys.argv[2]], Path(sys.argv[3]))
    else:
        main(os.path.realpath(sys.argv[1]), *map(int, sys.argv[2:]))
