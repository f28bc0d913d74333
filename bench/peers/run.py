#!/usr/bin/env python3
"""Runs the same jobs through the library, its floor and other programs for packages, and prints one table.

usage: run.py FOLDER_OF_PROGRAMS BUILD_FOLDER

Medians in microseconds; those of the other programs are of the second half of their repetitions, when they are warm.
"""

import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
JARS = ":".join(f"/usr/share/java/{name}.jar" for name in (
    "poi", "poi-ooxml", "poi-ooxml-schemas", "commons-compress", "commons-collections4", "xmlbeans", "commons-codec"))
# The case of our benchmark, its file, the peers' word for it, and how often they do it.
JOBS = [("read/50_lines", "plain50.tqx", "code", 4000),
        ("read/20000_lines_one_paragraph", "plain20000.tqx", "code", 150),
        ("read/20000_paragraphs", "rich20000.tqx", "code", 60),
        ("snapshot/read_50_MB", "large.tqx", "read", 6),
        ("save/title_of_50_MB", "large.tqx", "title", 4)]
STARTS, FILES, PASSES = 60, 5000, 3


def build(folder):
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["javac", "-cp", JARS, "-d", str(folder), str(HERE / "Peer.java")], check=True)
    subprocess.run(["mcs", "-r:WindowsBase", f"-out:{folder / 'peer.exe'}", str(HERE / "Peer.cs")], check=True)
    return {"python-docx": ["/usr/bin/python3", str(HERE / "peer.py")],
            "Apache POI": ["java", "-cp", f"{folder}:{JARS}", "Peer"],
            "Mono": ["mono", str(folder / "peer.exe")]}


def own_figures(programs, inputs):
    """Floor and library of each case, from the table that the benchmark ends with."""
    cases = "|".join(job[0] for job in JOBS)
    command = [str(programs / "flowbook_bench"), f"--benchmark_filter=^({cases})/", "--benchmark_repetitions=5",
               "--benchmark_min_time=0.2"]
    out = subprocess.run(command, env={**os.environ, "FLOWBOOK_BENCH_FOLDER": str(inputs)}, check=True,
                         stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    rows = [line.split() for line in out.splitlines()]
    return {row[0]: (float(row[1]), float(row[2])) for row in rows if len(row) == 5 and row[0] in cases.split("|")}


def median_of(command, job, path, repeats):
    out = subprocess.run([*command, job, str(path), str(repeats)], check=True, stdout=subprocess.PIPE, text=True).stdout
    times = [float(line) for line in out.split()]
    return statistics.median(times[len(times) // 2:])


def print_jobs(programs, peers, inputs):
    own = own_figures(programs, inputs)
    print(f"{'microseconds':32}" + "".join(f"{name:>13}" for name in ("floor", "flowbook", *peers)) + "    ratio")
    for case, file, job, repeats in JOBS:
        figures = [*own[case], *(median_of(command, job, inputs / file, repeats) for command in peers.values())]
        columns = "".join(f"{each:13,.0f}" for each in figures)
        print(f"{case:32}{columns}{figures[1] / figures[0]:9.2f}", flush=True)


def seconds(command):
    """Elapsed and processor time of one process."""
    start = time.perf_counter()
    with open(os.devnull, "wb") as nowhere:
        child = subprocess.Popen(command, stdout=nowhere)
        _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit(f"failed: {' '.join(command)}")
    return time.perf_counter() - start, usage.ru_utime + usage.ru_stime


def print_processes(title, commands, repeats):
    """Medians of processes that take turns, and the ratio to the first."""
    runs = {name: [] for name in commands}
    for _ in range(repeats):
        for name, command in commands.items():
            runs[name].append(seconds(command))
    print(f"\n{title:44}{'elapsed ms':>12}{'processor ms':>14}{'ratios':>16}")
    first = None
    for name, all_runs in runs.items():
        figures = [statistics.median(column) * 1000 for column in zip(*all_runs)]
        first = first or figures
        print(f"{name:44}{figures[0]:12.2f}{figures[1]:14.2f}{figures[0] / first[0]:9.2f}{figures[1] / first[1]:7.2f}",
              flush=True)


def main(programs, folder):
    peers = build(folder)
    flowbook = str(programs / "flowbook")
    with tempfile.TemporaryDirectory() as scratch:
        inputs = Path(scratch) / "inputs"
        inputs.mkdir()
        print_jobs(programs, peers, inputs)
        small = inputs / "plain50.tqx"
        many = Path(scratch) / "many"
        many.mkdir()
        for i in range(FILES):
            shutil.copyfile(small, many / f"{i}.tqx")
        print_processes("a start", {"unzip -p": ["unzip", "-p", str(small), "[[]Content_Types].xml"],
                                    "flowbook cat": [flowbook, "cat", str(small)]}, STARTS)
        print_processes(f"{FILES:,} files", {"Python, zipfile and lxml": [*peers["python-docx"], "loop", str(many)],
                                             "flowbook cat": [flowbook, "cat", str(many)],
                                             "flowbook cat -j1": [flowbook, "cat", "-j1", str(many)],
                                             "flowbook info": [flowbook, "info", str(many)]}, PASSES)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(Path(sys.argv[1]), Path(sys.argv[2]))
