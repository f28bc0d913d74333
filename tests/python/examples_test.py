#!/usr/bin/env python3
"""Runs the examples in the docstrings of the package `flowbook` and in README, in a folder that is gone afterwards."""
import doctest
import os
import re
import sys
import tempfile
from pathlib import Path

import flowbook
import flowbook.dask

readme = (Path(os.environ["PXFLOWBOOK_SOURCE"]) / "README.md").read_text(encoding="utf-8")
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    results = [doctest.testmod(module) for module in (flowbook, flowbook.dask)]
    for example in re.findall("^```python\n(.*?)^```", readme, re.MULTILINE | re.DOTALL):
        exec(compile(example, "README.md", "exec"), {})
    saved = flowbook.open("mean.tqx")
print(results)
sys.exit(any(result.failed or result.attempted < 5 for result in results) or saved.version != "2")
