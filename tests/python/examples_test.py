#!/usr/bin/env python3
"""Runs the examples in the docstrings of the package `flowbook` and in README, in a folder that is gone afterwards."""
import doctest
import os
import re
import sys
import tempfile
from pathlib import Path

import flowbook

readme = (Path(os.environ["PXFLOWBOOK_SOURCE"]) / "README.md").read_text(encoding="utf-8")
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    result = doctest.testmod(flowbook)
    for example in re.findall("^```python\n(.*?)^```", readme, re.MULTILINE | re.DOTALL):
        exec(compile(example, "README.md", "exec"), {})
    saved = flowbook.open("mean.tqx")
print(result)
sys.exit(result.failed != 0 or result.attempted < 20 or saved.version != "2")
