"""Runs a process and reports what it cost."""

import os
import tempfile
import time
from typing import NamedTuple

TIME = "/usr/bin/time"


class Cost(NamedTuple):
    seconds: float
    processor: float
    kilobytes: int
    status: int
    messages: str


def measure(arguments, prepare=lambda: None):
    """Runs a program without its output. It is a child of time(1), as the memory of a process is that of its parent at
    first, and Python's is not small."""
    start = time.monotonic()
    with tempfile.TemporaryFile() as messages, tempfile.NamedTemporaryFile() as kilobytes:
        child = os.fork()
        if child == 0:
            prepare()
            os.dup2(os.open(os.devnull, os.O_WRONLY), 1)
            os.dup2(messages.fileno(), 2)
            os.execv(TIME, [TIME, "-q", "-f", "%M", "-o", kilobytes.name, *arguments])
        _, status, usage = os.wait4(child, 0)
        seconds = time.monotonic() - start
        messages.seek(0)
        text = messages.read().decode(errors="replace").strip()
        return Cost(seconds, usage.ru_utime + usage.ru_stime, int(kilobytes.read()), os.waitstatus_to_exitcode(status),
                    text)
