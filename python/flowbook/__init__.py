"""Read and write flowbooks: TARMIC code with its pictures and properties in one file (.tqx, .tqapp).

>>> import flowbook
>>> book = flowbook.Flowbook.new(code="x = 1;", title="Running mean")
>>> book.save("mean.tqx")
>>> book = flowbook.open("mean.tqx")
>>> book.code
'x = 1;'
>>> book.title = "Moving mean"
>>> book.save()

`flowbook.open()` takes a path, bytes, a binary file or an address that fsspec knows. Failures are `flowbook.Error` and
the classes below it. `flowbook.dask` reads many flowbooks on many machines.
"""

from flowbook import _native
from flowbook._book import Finding, Flowbook, Image, Part, Relationship, open
from flowbook._errors import (ConflictError, DamagedError, EncryptedError, Error, LimitError, MisuseError,
                              NotFoundError)

__version__: str = _native.library_version

__all__ = ["ConflictError", "DamagedError", "EncryptedError", "Error", "Finding", "Flowbook", "Image", "LimitError",
           "MisuseError", "NotFoundError", "Part", "Relationship", "open"]

# The modules below are nobody's business, in messages and in help().
for _name in __all__:
    globals()[_name].__module__ = __name__
