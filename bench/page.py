#!/usr/bin/env python3
"""Makes pages of many flowbooks and of long ones, and opens them in a browser.

usage: page.py FLOWBOOK_COMMAND NPM_FOLDER [COUNT]

Makes COUNT (5,000) flowbooks of 200 lines with a picture, their pages twice (the second time nothing is written), and
pages of what changed in a fifth of them between two commits; then pages of 20,000 and 200,000 lines, and beside each a
page with the same text in one <pre>. Prints the processor time of the command, best of two, and the time that the main
thread of Chromium takes, best of three: all tasks until the page is open, of these style and layout, ten scrolls from
the top to the end, and in the index a filter and a sort.
"""

import html
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from growth import IMAGE, book, document, paragraph
from process import measure

LENGTHS = (20000, 200000)
PIXEL = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg=="
PICTURE = ("media/image1.png", "data:image/png;base64," + PIXEL)


def code(lines, start=0):
    return "".join(f"value{line} = compute(input{start + line}); % a comment\n" for line in range(lines))


def make(folder, count, change=""):
    folder.mkdir(exist_ok=True)
    for number in range(count):
        text = document(paragraph(code(200, number * 200) + change))
        book(folder / f"{number:05}.tqx", text, code_rows=[("r1", IMAGE, "/media/image1.png", "")],
             overrides=[("/media/image1.png", "image/png")], parts=[PICTURE])


def report(what, arguments, folder, runs=2):
    costs = [measure(arguments, lambda: os.chdir(folder)) for _ in range(runs)]
    best = min(costs, key=lambda each: each.processor)
    memory = best.kilobytes // 1024
    print(f"{what:32} {best.seconds:7.2f} s {best.processor:7.2f} s processor {memory:5} MB {best.messages}")


def git(folder, *arguments):
    subprocess.run(["git", "-c", "user.name=a", "-c", "user.email=a@b", *arguments], cwd=folder, check=True)


def make_pages(command, scratch, count):
    make(scratch / "in", count)
    made = [command, "html", "in", "-d", "pages"]
    report(f"{count} pages, new", made, scratch, runs=1)
    report("the same, nothing to write", made, scratch)
    report("one page more", [command, "html", "in/00000.tqx", "-d", "pages"], scratch)
    git(scratch, "init", "-q")
    git(scratch, "add", "in")
    git(scratch, "commit", "-qm", "one")
    make(scratch / "in", count // 5, "changed = 1;\n")
    git(scratch, "commit", "-qam", "two")
    changes = [command, "diff", "--html", "--git", "HEAD~1..HEAD", "-d", "changes"]
    report(f"{count // 5} pages of changes", changes, scratch)
    return [scratch / "pages/index.html", scratch / "changes/index.html"]


def make_long(command, scratch):
    for lines in LENGTHS:
        text = code(lines)
        book(scratch / f"{lines}.tqx", document(paragraph(text)))
        page = scratch / f"{lines}.html"
        report(f"page of {lines} lines", [command, "html", f"{lines}.tqx", "-o", page.name, "--force"], scratch)
        plain = scratch / f"{lines}-pre.html"
        plain.write_text(f"<!DOCTYPE html><meta charset=utf-8><title>x</title><pre>{html.escape(text)}</pre>",
                         encoding="utf-8")
        yield from (page, plain)


def main(command, npm, count=5000):
    browser = shutil.which("chromium")
    script = Path(__file__).with_name("page.mjs").resolve()
    shutil.copy(script, npm / script.name)  # packages are looked for beside the script
    with tempfile.TemporaryDirectory() as folder:
        scratch = Path(folder)
        pages = [*make_pages(command, scratch, count), *make_long(command, scratch)]
        opened = subprocess.run(["node", npm / script.name, browser, *pages], check=True, stdout=subprocess.PIPE,
                                text=True)
        for line in opened.stdout.splitlines():
            cost = json.loads(line)
            name = str(Path(cost.pop("file")).relative_to(scratch))
            print(f"{name:32} " + " ".join(f"{key} {value:.2f} s" for key, value in cost.items() if value is not None))


if __name__ == "__main__":
    main(os.path.realpath(sys.argv[1]), Path(sys.argv[2]), *map(int, sys.argv[3:]))
