"""The lines of a document that a test runs: blocks of `console`, whose lines begin with `$ `, and what they print."""

import re
from pathlib import Path

DOCS = Path(__file__).resolve().parents[2] / "docs"


def steps(name):
    """Each command of a document, its exit code, and a pattern for what it prints."""
    text = (DOCS / name).read_text(encoding="utf-8")
    blocks = "".join(re.findall(r"```console\n(.*?)```", text, re.DOTALL))
    found = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", blocks, re.MULTILINE)
    assert len(found) == len(re.findall(r"^\$ ", text, re.MULTILINE)) > 0
    for command, expected in found:
        out, code = re.fullmatch(r"(.*?)(?:\[(\d+)\]\n)?", expected, re.DOTALL).groups()
        yield command, int(code or 0), ".*".join(map(re.escape, re.split(r"\.\.\.(?:\n(?=.))?", out)))
