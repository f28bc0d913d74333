#!/usr/bin/env python3
"""Runs the examples in the docstrings of the package `flowbook`, in README, docs/python.md and docs/scale.md.

All in a folder that is gone afterwards."""
import doctest
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

import flowbook
import flowbook.dask

source = Path(os.environ["PXFLOWBOOK_SOURCE"])
readme = (source / "README.md").read_text(encoding="utf-8")
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    results = [doctest.testmod(module) for module in (flowbook, flowbook.dask)]
    for example in re.findall("^```python\n(.*?)^```", readme, re.MULTILINE | re.DOTALL):
        exec(compile(example, "README.md", "exec"), {})
    saved = flowbook.open("mean.tqx")
    guide = (source / "docs/python.md").read_text(encoding="utf-8")
    recipes = re.findall("^```python\n(.*?)^```", guide, re.MULTILINE | re.DOTALL)
    for recipe in recipes:
        exec(compile(recipe, "docs/python.md", "exec"), {})
    # GNU parallel is the one engine of the page that Debian has.
    os.mkdir("books")
    saved.save("books/mean.tqx")
    scale = (source / "docs/scale.md").read_text(encoding="utf-8")
    subprocess.run(["bash", "-euc", re.search("^```sh\n(.*?)^```", scale, re.MULTILINE | re.DOTALL)[1]], check=True)
    lines = [json.loads(line) for line in Path("books.jsonl").read_text(encoding="utf-8").splitlines()]
print(results)
sys.exit(any(result.failed or result.attempted < 5 for result in results) or saved.version != "2" or len(recipes) < 8 or
         [line["properties"]["title"] for line in lines] != ["Running mean"])
