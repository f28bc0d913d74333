"""Read and write flowbooks: TARMIC code with its pictures and properties in one file (.tqx, .tqapp).

>>> import flowbook
>>> book = flowbook.Flowbook.new(code="x = 1;", title="Running mean")
>>> book.save("mean.tqx")
>>> with flowbook.open("mean.tqx") as book:
...     book.code
...     book.title = "Moving mean"
...     book.save()
'x = 1;'

`flowbook.open()` takes a path, bytes, a binary file or an address that fsspec knows. Failures are `flowbook.Error` and
the classes below it. `flowbook.read_many()` reads columns of many flowbooks, `flowbook.dask` does so on many machines.
"""

from flowbook import _interpreter, _native  # the first refuses subinterpreters
from flowbook._book import Flowbook, open
from flowbook._errors import (ConflictError, DamagedError, EncryptedError, Error, LimitError, MisuseError,
                              NotFoundError)
from flowbook._functions import (Conflict, Merged, Repaired, canon, check, diff, digest, html, merge, repair,
                                 strip)
from flowbook._many import read_many
from flowbook._paragraphs import Paragraph, Paragraphs, Run
from flowbook._parts import Finding, Image, Part, Relationship
from flowbook._properties import Properties

__version__: str = _native.library_version

__all__ = ["Conflict", "ConflictError", "DamagedError", "EncryptedError", "Error", "Finding", "Flowbook", "Image",
           "LimitError", "Merged", "MisuseError", "NotFoundError", "Paragraph", "Paragraphs", "Part", "Properties",
           "Relationship", "Repaired", "Run", "canon", "check", "diff", "digest", "html", "merge", "open",
           "read_many", "repair", "strip"]

# Users need not know in which module each is written; messages and help() name the package.
for _name in __all__:
    globals()[_name].__module__ = __name__
