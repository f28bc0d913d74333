#!/usr/bin/env python3
"""A host may work with flowbooks at any moment of its life, the last one included, and in any order: each of them in a
process of its own, where it is the first that the library hears of, and all of them in one.

usage: ends_test.py LINKED LOADED SANITIZED LIBRARY...   (the two hosts, and the libraries)
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

MOMENTS = ["main", "thread", "thread-end", "key-destructor", "child", "after-close", "main-thread-end", "atexit",
           "static-destructor"]
VALGRIND = ["valgrind", "-q", "--error-exitcode=9", "--leak-check=full", "--errors-for-leak-kinds=definite"]


def make_odd(path):
    """A flowbook whose relationships the plain reader leaves to another one."""
    package = "http://schemas.openxmlformats.org/package/2006/"
    with zipfile.ZipFile(path, "w") as odd:
        types = (f"<Types xmlns='{package}content-types'><Default Extension='rels' "
                 "ContentType='application/vnd.openxmlformats-package.relationships+xml'/></Types>")
        odd.writestr("[Content_Types].xml", types.encode("utf-16"))
        odd.writestr("_rels/.rels", f"<Relationships xmlns='{package}relationships'/>".encode("utf-16"))


def run(host, moments, wrapper=(), busy=False, **environment):
    with tempfile.TemporaryDirectory() as folder:
        make_odd(Path(folder) / "odd.tqx")
        command = [*wrapper, host, *moments, *(["busy-thread"] if busy else [])]
        done = subprocess.run(command, cwd=folder, env=dict(os.environ, **environment), text=True, timeout=300,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        expected = sorted(f"{moment}: done" for moment in [*moments, *(["before-main"] if environment.get("BEFORE_MAIN")
                                                                      else [])])
        # A child ends as its parent does.
        said = [line for line in done.stdout.splitlines() if line != "child ended: 0"]
        twice = {"atexit", "main-thread-end", "static-destructor"}
        said = [line for at, line in enumerate(said) if line not in said[:at] or line.split(":")[0] not in twice]
        if done.returncode == 0 and sorted(said) == expected:
            return 0
        print(f"{' '.join(command)}: ended with {done.returncode}\n{done.stdout}{done.stderr[-3000:]}")
        return 1


def ends_registered(library):
    """For how many objects a library has the process run a destructor. The one permitted is that of the C++ library's
    standard streams, which stay usable."""
    code = subprocess.run(["objdump", "-d", "--no-show-raw-insn", library], check=True, stdout=subprocess.PIPE,
                          text=True).stdout
    return len(re.findall(r"(?:call|jmp)\s.*<__cxa_(?:thread_)?atexit@plt>", code))


def main(linked, loaded, sanitized, *libraries):
    wrong = 0
    for host in (linked, loaded):
        wrong += run(host, MOMENTS, BEFORE_MAIN="1")
        wrong += run(host, MOMENTS, PX_DIAGNOSTIC_LEVELS="12")
        wrong += run(host, [], BEFORE_MAIN="1")
        wrong += sum(run(host, [moment]) for moment in MOMENTS)
        wrong += run(host, ["main", "quick-exit"], QUICK_EXIT="1")
        wrong += run(host, ["main"], UNDERSCORE_EXIT="1")
        # What still works while the process ends is stopped, and stops nothing.
        for end in ({}, {"QUICK_EXIT": "1"}, {"UNDERSCORE_EXIT": "1"}):
            wrong += sum(run(host, [], busy=True, **end) for _ in range(10))
    if not sanitized and shutil.which("valgrind"):
        wrong += run(linked, MOMENTS, VALGRIND) + run(loaded, MOMENTS, VALGRIND)
    for library in libraries:
        if not sanitized and ends_registered(library) > ("log.so" in library):
            print(f"{library}: has {ends_registered(library)} objects destroyed when the process ends")
            wrong += 1
    print(f"ends: {wrong} wrong")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2], sys.argv[3] == "1", *sys.argv[4:]))
