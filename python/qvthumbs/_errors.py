"""What can go wrong. Every exception's text says what happened and, where something can be done, what."""

from __future__ import annotations

from typing import Optional


class Error(Exception):
    """Everything that this package raises on its own account."""


class DatabaseError(Error):
    """The database cannot be opened, read or written: the text names it, the reason and what to do."""


class ClosedError(Error):
    """The database is closed; or it was opened before this process was forked, which it does not survive."""


class ThumbnailError(Error):
    """A file has no thumbnail, or could not be read or recorded.

    Those that are none of the subclasses keep changing, differ from another file's name in case only, or are recorded
    for another user.
    """

    reason: str
    """Why, in a few words."""
    path: Optional[str]
    """The file, as it was named; bytes as os.fsdecode has them."""

    def __init__(self, reason: str) -> None:
        super().__init__(reason)
        self.reason = reason
        self.path = None

    def __str__(self) -> str:
        return self.reason if self.path is None else f"{self.path}: {self.reason}"


class UnreadableError(ThumbnailError):
    """The file is missing, may not be read, or is a folder."""


class DamagedError(ThumbnailError):
    """The file is of a known format, and broken."""


class UnsupportedError(ThumbnailError):
    """The file is of no known format, or has pixels that cannot be shown."""


FAILURES = {1: ThumbnailError, 2: UnreadableError, 3: DamagedError, 4: UnsupportedError}


def file_error(kind: int, reason: str) -> ThumbnailError:
    return FAILURES[kind](reason)
