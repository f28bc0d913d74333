#!/usr/bin/env python3
"""Has spin look at every course that a save can take, and at the same with one thing left out, which has to fail."""

import subprocess
import sys
import tempfile
from pathlib import Path

# What is left out, and whether every course must still be a good one.
VARIANTS = [
    ([], True),
    (["QUIET"], True),
    (["RENAME", "QUIET"], True),
    (["RENAME"], False),  # what cannot be had without an exchange
    (["NO_LOCK", "QUIET"], False),
    (["NO_FILE_SYNC"], False),
    (["NO_FOLDER_SYNC"], False),
    (["NO_LOOK"], False),
    (["GIVE_UP", "QUIET"], True),
    (["GIVE_UP", "RENAME", "QUIET"], False),
    (["IN_PLACE", "QUIET"], True),
    (["IN_PLACE", "QUIET", "NO_CONTENT"], False),
    (["THREE", "QUIET"], True),
    (["THREE", "QUIET", "NO_LOCK"], False),
]


def errors(model, defines):
    with tempfile.TemporaryDirectory() as folder:
        def run(*command):
            done = subprocess.run(command, cwd=folder, check=True, stdout=subprocess.PIPE, text=True)
            return done.stdout

        run("spin", *(f"-D{name}" for name in defines), "-a", model)
        run("cc", "-DSAFETY", "-DCOLLAPSE", "-w", "-o", "pan", "pan.c")
        report = run("./pan", "-m100000", "-w20")
    assert "max search depth too small" not in report and "errors: " in report, report
    return int(report.split("errors: ")[1].split()[0]), report


def main():
    model = Path(__file__).resolve().with_name("save.pml")
    wrong = 0
    for defines, good in VARIANTS:
        count, report = errors(model, defines)
        states = report.split(" states, stored")[0].split()[-1]
        print(f"{' '.join(defines) or 'all there'}: {states} states, {count} errors")
        if (count == 0) != good:
            print(report)
            wrong += 1
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
