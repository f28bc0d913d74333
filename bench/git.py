#!/usr/bin/env python3
"""Measures flowbooks in git: how large a history gets, and how long many files take, with the filter and beside it.

usage: git.py FLOWBOOK_COMMAND [COUNT]

Prints the size of a packed repository with 60 revisions of a flowbook of 3,000 lines of which each changes one, for a
flowbook without a filter, with the filter, and for its code as a plain text; then the seconds that adding and
checking out COUNT (5,000) flowbooks of 100 lines and a picture take without a filter, with a filter that hands
everything back as it came (peers/pass_on.c: the least that a filter costs, as git waits for each answer), with the
filter as one process, and with a process a file, with the largest memory of the filter's process.
"""

import os
import random
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from bulk import make

REVISIONS = 60
LINES = 3000
NAMES = {f"GIT_{who}_{what}": "b@b" for who in ("AUTHOR", "COMMITTER") for what in ("NAME", "EMAIL")}
PLAIN, LEAST, PROCESS, EACH = "without a filter", "handed back", "with the filter", "a process a file"


class Repository:
    def __init__(self, folder, command, kind):
        self.folder, self.kind = folder, kind
        self.environment = {**os.environ, **NAMES, "GIT_CONFIG_GLOBAL": "/dev/null", "GIT_CONFIG_NOSYSTEM": "1"}
        folder.mkdir()
        self.git("init", "-q")
        settings = {PROCESS: {"process": f"/usr/bin/time -ao '{folder}.memory' -f %M '{command}' git filter"},
                    LEAST: {"process": f"'{folder.parent}/pass_on'"},
                    EACH: {way: f"'{command}' git {way}" for way in ("clean", "smudge")}}
        for key, value in settings.get(kind, {}).items():
            self.git("config", f"filter.flowbook.{key}", value)
        (folder / ".gitattributes").write_text("*.tqx filter=flowbook\n", encoding="utf-8")

    def git(self, *arguments):
        return subprocess.run(["git", *arguments], cwd=self.folder, env=self.environment, check=True, text=True,
                              capture_output=True).stdout

    def timed(self, *arguments):
        start = time.monotonic()
        self.git(*arguments)
        return time.monotonic() - start

    def peak(self):
        path = Path(f"{self.folder}.memory")
        return max(map(int, path.read_text(encoding="utf-8").split())) / 1024 if path.exists() else None


def revisions():
    """The code of each revision."""
    chosen = random.Random(1)
    code = [f"value{line} = compute(input{chosen.randrange(10**6)}, {chosen.random():.6f});" for line in range(LINES)]
    for number in range(REVISIONS):
        code[chosen.randrange(LINES)] = f"changed{number} = compute(input{chosen.randrange(10**6)});"
        yield "\n".join(code) + "\n"


def size_of_history(scratch, command, kind, name):
    repository = Repository(scratch / f"history-{kind}-{name}", command, kind)
    for number, code in enumerate(revisions()):
        if name.endswith(".txt"):
            (repository.folder / name).write_text(code, encoding="utf-8")
        else:
            subprocess.run([command, "set" if number else "new", name, "--code", "-"], cwd=repository.folder,
                           input=code.encode(), check=True)
        repository.git("add", ".")
        repository.git("commit", "-qm", f"revision {number}")
    repository.git("gc", "-q", "--aggressive", "--prune=now")
    return sum(path.stat().st_size for path in (repository.folder / ".git/objects/pack").glob("*.pack"))


def times(scratch, command, kind, books):
    repository = Repository(scratch / f"many-{kind}", command, kind)
    shutil.copytree(books, repository.folder, dirs_exist_ok=True)
    add = repository.timed("add", ".")
    repository.git("commit", "-qm", "all")
    for path in repository.folder.glob("*.tqx"):
        path.unlink()
    checkout = repository.timed("checkout", "-q", "HEAD", "--", ".")
    if repository.git("status", "--short"):
        sys.exit(f"{kind}: the status is not clean after a checkout")
    return add, checkout, repository.peak()


def main(command, count):
    with tempfile.TemporaryDirectory(prefix="flowbook-git-") as folder:
        scratch = Path(folder)
        text = size_of_history(scratch, command, PLAIN, "code.txt")
        for label, kind, name in (("plain text", PLAIN, "code.txt"), ("flowbook " + PLAIN, PLAIN, "a.tqx"),
                                  ("flowbook " + PROCESS, PROCESS, "a.tqx")):
            size = text if name == "code.txt" else size_of_history(scratch, command, kind, name)
            print(f"{label:32} {size / 1e6:6.2f} MB   {size / text:5.2f} times the text", flush=True)
        (scratch / "books").mkdir()
        make(scratch / "books", count)
        base = None
        subprocess.run(["cc", "-O2", "-o", scratch / "pass_on", Path(__file__).parent / "peers/pass_on.c"], check=True)
        for kind in (PLAIN, LEAST, PROCESS, EACH):
            add, checkout, peak = times(scratch, command, kind, scratch / "books")
            base = base or (add, checkout)
            memory = f"   {peak:4.0f} MB" if peak else ""
            print(f"{count} files {kind:18} add {add:6.2f} s ({add / base[0]:4.1f})   checkout {checkout:6.2f} s "
                  f"({checkout / base[1]:4.1f}){memory}", flush=True)


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 5000)
