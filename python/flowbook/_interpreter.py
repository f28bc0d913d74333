"""Refuses subinterpreters. The native module does so too, but Python runs its start only once in a process."""

from __future__ import annotations

import importlib
import importlib.util
from typing import Any

if importlib.util.find_spec("_xxsubinterpreters") is not None:
    _interpreters: Any = importlib.import_module("_xxsubinterpreters")
    if _interpreters.get_current() != _interpreters.get_main():
        raise ImportError("flowbook works in the main interpreter only, not in subinterpreters")
