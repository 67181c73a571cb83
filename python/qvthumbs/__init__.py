"""Thumbnails and text information of microscope images, from the cache that ``qvthumbs`` keeps.

    import qvthumbs

    with qvthumbs.open("lab.db") as db:
        picture = db.thumbnail("cells.ome.tif")     # a numpy array: height, width, red-green-blue
        facts = db.info("cells.ome.tif")            # a dictionary
        for path, picture, error in db.iter_thumbnails(paths):
            ...

Thumbnails are made in the background, on two threads, and are stored in the database for the next time. A process can
have one database open at a time; all its threads may use it.
"""

import atexit as _atexit

from ._database import Database, open
from ._errors import (
    ClosedError,
    DamagedError,
    DatabaseError,
    Error,
    ThumbnailError,
    UnreadableError,
    UnsupportedError,
)
from ._gallery import Gallery, gallery
from ._requests import Thumbnail
from ._service import __version__, shut_down as _shut_down

__all__ = [
    "ClosedError",
    "DamagedError",
    "Database",
    "DatabaseError",
    "Error",
    "Gallery",
    "Thumbnail",
    "ThumbnailError",
    "UnreadableError",
    "UnsupportedError",
    "__version__",
    "gallery",
    "open",
]

# What is in flight ends while threads can still be waited for.
_atexit.register(_shut_down)
